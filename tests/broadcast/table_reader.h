#pragma once

// Makes tables of sections, as a reader of a broadcast does.

#include <broadcast/table_decoder.h>
#include <log_capture.h>
#include <section_writer.h>

#include <stdexcept>

namespace orvix::test {

/// Decodes one section after the other.
class table_reader {
public:
    /// Valid until the next call.
    broadcast::table_ref read(const bytes& section) {
        section_ = section;
        section_.push_back(0);  // the spare byte
        const auto table = decoder_.decode(section_.data(), section.size());
        if (!table) throw std::invalid_argument("not a section that is decoded");
        return *table;
    }

    /// The bytes of the last one.
    broadcast::span section() const { return {section_.data(), section_.size() - 1}; }

private:
    log_capture silence_{OrvixLog::NONE};
    broadcast::table_decoder decoder_;
    bytes section_;
};

}  // namespace orvix::test
