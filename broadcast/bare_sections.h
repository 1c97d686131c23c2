#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "intake.h"

namespace orvix::broadcast {

/// Bare sections, one behind the other, on their way to an observer: each is as long as its
/// section_length says.
class bare_sections {
public:
    /// `name` is what places give as their file. `to` must outlive the object.
    bare_sections(std::string name, observer& to, const intake_settings& how)
        : name_(std::move(name)), intake_(to, how) {}

    /// Room for the file's next bytes, and then how many of them there are.
    std::uint8_t* room(std::size_t size);
    void filled(std::size_t size);
    /// No more bytes come: a section that is not whole by now is lost.
    void end() { is_unfinished_ = used_ > 0; }

    /// Sections of tables that the library decodes.
    std::uint64_t admitted() const { return admitted_; }
    /// Whether the last section was not whole.
    bool is_unfinished() const { return is_unfinished_; }
    /// What the file may make us keep.
    std::vector<bound> bounds() const { return {intake_.places()}; }

private:
    void take(std::size_t begin, std::size_t size);

    std::string name_;
    intake intake_;
    std::vector<std::uint8_t> bytes_;  ///< from the first section that is not whole yet, then room
    std::size_t used_ = 0;             ///< of them, those that are the file's
    std::vector<std::uint8_t> section_;
    std::uint64_t sections_ = 0;
    std::uint64_t admitted_ = 0;
    bool is_unfinished_ = false;
};

}  // namespace orvix::broadcast
