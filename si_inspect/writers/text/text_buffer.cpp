#include "writers/text/text_buffer.h"

namespace orvix::si_inspect {

void text_buffer::grow(std::size_t count) { bytes_.resize(std::max(2 * size_, size_ + count)); }

}  // namespace orvix::si_inspect
