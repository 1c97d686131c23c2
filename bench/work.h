#pragma once

#include <si_parser/psi_table.h>

#include <memory>
#include <string>

#include "corpora.h"

namespace orvix::bench {

/// One kind of work on a corpus.
class work {
public:
    virtual ~work() = default;
    /// Does it once, to every section.
    virtual void run() = 0;
};

std::unique_ptr<si_parser::psi_table> make_table(const std::string& table);

/// The size that a table is told: a TDT has one byte less than its parser wants.
inline unsigned int told_size(const sample& s) {
    return static_cast<unsigned int>(s.section.size()) + (s.table == "TDT" ? 1u : 0u);
}

/// Copies what the parsed sections hold, field by field and text by text, into tables that are
/// reused as a parser's are, each list at once as long as it will be: the allocations that no
/// parser with these results can do without, and little else.
std::unique_ptr<work> make_floor(const corpus& c);

/// libdvbpsi decodes the sections with their descriptors. It takes packets, not sections, and
/// decodes a table anew only with a new version: it is handed packets of 32 versions in turn. Its
/// work therefore holds the putting together and the CRC_32 of each section as well.
std::unique_ptr<work> make_peer(const corpus& c);

/// Whether libdvbpsi decodes the corpus's only section and its descriptors.
bool peer_decodes(const corpus& c);

}  // namespace orvix::bench
