// Where libdvbpsi is not at hand.

#include <stdexcept>

#include "work.h"

namespace orvix::bench {

bool peer_decodes(const corpus& /*c*/) { return false; }

std::unique_ptr<work> make_peer(const corpus& /*c*/) { throw std::logic_error("no libdvbpsi"); }

}  // namespace orvix::bench
