#include <si_parser/descriptors.h>

namespace orvix::si_parser {

descriptor::~descriptor() = default;

}  // namespace orvix::si_parser
