#include "writers/sections_writer.h"

namespace orvix::si_inspect {

void sections_writer::table(const broadcast::sighting& seen) {
    to_.write({reinterpret_cast<const char*>(seen.bytes), seen.size});
}

}  // namespace orvix::si_inspect
