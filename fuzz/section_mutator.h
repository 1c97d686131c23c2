#pragma once

#include <section_writer.h>

#include <cstddef>
#include <random>

namespace orvix::fuzz {

/// Changes one thing of a section that keeps the rest of its structure: a length, a tag or a count,
/// a descriptor more or less.
void mutate_fields(test::bytes& section, std::minstd_rand& random);

/// Makes section_length and CRC_32 right again, but for one section of some thirty.
void repair(test::bytes& section, std::minstd_rand& random);

}  // namespace orvix::fuzz
