#pragma once

#include <section_writer.h>

#include <string>
#include <vector>

namespace orvix::bench {

/// One section of a table as a Brazilian station sends it.
struct sample {
    std::string table;
    test::bytes section;
};

std::vector<sample> samples();

}  // namespace orvix::bench
