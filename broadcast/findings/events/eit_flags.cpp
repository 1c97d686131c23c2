#include "eit_flags.h"

#include <broadcast/readings/section_loops.h>

extern "C" {
#include <bitstream/dvb/si.h>
}

namespace orvix::broadcast {

std::vector<eit_flags> eit_flags_of(const std::uint8_t* sdt, std::size_t size) {
    std::vector<eit_flags> all;
    for (const sent_record& service : find_loops(sdt, size).records) {
        all.push_back({sdtn_get_sid(service.entry), sdtn_get_eitpresent(service.entry),
                       sdtn_get_eitschedule(service.entry)});
    }
    return all;
}

}  // namespace orvix::broadcast
