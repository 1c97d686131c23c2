#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "table_ref.h"

namespace orvix::broadcast {

/// One object of each table, as a receiver has them, filled anew with each section.
class table_decoder {
public:
    /// Decodes an admitted section, which has one spare byte behind its `size` bytes. The result is
    /// valid until the next call. Nothing where the library passes the section over: one without
    /// section_syntax_indicator.
    std::optional<table_ref> decode(std::uint8_t* section, std::size_t size);

private:
    si_parser::pat pat_;
    si_parser::pmt pmt_;
    si_parser::sdt sdt_;
    si_parser::nit nit_;
    si_parser::eit eit_;
    si_parser::ait ait_;
    si_parser::tdt tdt_;
    si_parser::tot tot_;
};

}  // namespace orvix::broadcast
