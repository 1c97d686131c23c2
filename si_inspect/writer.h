#pragma once

#include <section_feed/section_gate.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "totals.h"

namespace orvix::si_inspect {

/// Where a section was found.
struct place {
    std::string file;  ///< empty where only one input is read
    /// The number of the packet in which the section ended. In a file of bare sections, the number
    /// of the section. Both count from 0.
    std::uint64_t number = 0;
    std::optional<std::uint16_t> pid;  ///< none in a file of bare sections
};

/// One decoded section; valid during the call that hands it over.
using table_ref = std::variant<const si_parser::pat*, const si_parser::pmt*, const si_parser::sdt*,
                               const si_parser::nit*, const si_parser::eit*, const si_parser::ait*,
                               const si_parser::tdt*, const si_parser::tot*>;

/// A section that the gate refused; valid during the call that hands it over.
struct refusal {
    const section_feed::gate_result& why;
    const std::uint8_t* section = nullptr;
    std::size_t size = 0;
};

/// One output format. What it makes goes through the `output` that its constructor is given.
class writer {
public:
    writer() = default;
    virtual ~writer() = default;
    writer(const writer&) = delete;
    writer& operator=(const writer&) = delete;

    virtual void table(const place& where, const table_ref& table) = 0;
    virtual void refused(const place& /*where*/, const refusal& /*what*/) {}
    /// Called last, once. `counts` is null unless the totals are to stand in the output.
    virtual void finish(const totals* counts) = 0;
};

}  // namespace orvix::si_inspect
