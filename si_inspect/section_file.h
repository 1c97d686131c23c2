#pragma once

#include <section_feed/section_gate.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tables_view.h"

namespace orvix::si_inspect {

/// Bare sections, one behind the other, on their way to the tables_view: each is as long as its
/// section_length says.
class section_file {
public:
    /// `name` is what places give as their file. `to` must outlive the object.
    section_file(std::string name, tables_view& to, const section_feed::gate_options& options)
        : name_(std::move(name)), to_(to), options_(options) {}

    /// Room for the file's next bytes, and then how many of them there are.
    std::uint8_t* room(std::size_t size);
    void filled(std::size_t size);
    /// No more bytes come: a section that is not whole by now is lost.
    void end();
    /// Adds what was lost to the tables_view's counts. Call it last.
    void count();

    /// Sections of tables that the library decodes.
    std::uint64_t admitted() const { return admitted_; }

private:
    void take(std::size_t begin, std::size_t size);

    std::string name_;
    tables_view& to_;
    section_feed::gate_options options_;
    std::vector<std::uint8_t> bytes_;  ///< from the first section that is not whole yet, then room
    std::size_t used_ = 0;             ///< of them, those that are the file's
    std::vector<std::uint8_t> section_;
    std::uint64_t sections_ = 0;
    std::uint64_t admitted_ = 0;
    bool unfinished_ = false;
};

}  // namespace orvix::si_inspect
