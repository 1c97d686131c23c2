#include <log/orvix_log.h>
#include <si_parser/tdt.h>

#include "refuse.h"

namespace orvix::si_parser {

tdt::tdt() = default;

tdt::~tdt() = default;

void tdt::parse(unsigned char* buffer, unsigned int size) {
    // One byte more than the section has on air. Demultiplexers hand it over with a spare byte, and
    // receivers refuse it without, so the bound stays.
    if (size < 9) {
        ORVIX_LOG(ERROR, "tdt", "parse: size is < 9");
        refuse("Aborting tdt parse");
    }
    clear();
    table_id = buffer[0];
    utc_time = full_mjd_to_time_t(buffer, 3);
}

}  // namespace orvix::si_parser
