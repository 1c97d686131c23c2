#pragma once

#include <si_parser/psi_table.h>

#include <memory>
#include <string>

namespace orvix::bench {

/// Copies what a parsed table holds, record by record and descriptor by descriptor, into exactly as
/// much memory as it takes: the allocations that no parser with these results can avoid. The lists
/// of records are reused as a table's are.
class floor_copy {
public:
    virtual ~floor_copy() = default;
    virtual void run() = 0;
};

std::unique_ptr<floor_copy> make_floor(const std::string& table,
                                       const si_parser::psi_table& parsed);

}  // namespace orvix::bench
