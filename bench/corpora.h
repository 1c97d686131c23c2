#pragma once

#include <section_writer.h>

#include <string>
#include <vector>

namespace orvix::bench {

/// One whole section and the table that decodes it: "PAT", "PMT", ...
struct sample {
    std::string table;
    test::bytes section;
};

/// Sections that are worked through together.
struct corpus {
    std::string name;
    std::vector<sample> samples;
};

/// Each table as a Brazilian station sends it, named after the table; the same in bulk
/// ("SDT-dense"); and "mix", what a receiver of that station is handed in ten seconds.
std::vector<corpus> broadcast_corpora();

/// Each table with more and more entries, named "SDT+12" for twelve.
std::vector<corpus> growing_corpora();

/// The sections of a file, one behind the other, by table and then all of them as "mix". Those of
/// other tables, and those that must not be parsed, are left out.
std::vector<corpus> file_corpora(const std::string& file);

}  // namespace orvix::bench
