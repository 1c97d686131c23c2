#pragma once

#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

#include "readings/sent_parts.h"

namespace orvix::broadcast {

/// Which sections of a table have come, of the version that came last.
class section_numbers {
public:
    /// Returns whether it begins another version, or another table in the same place.
    bool take(const sent_header& header) {
        const std::uint32_t version =
            std::uint32_t{header.table_id_extension} << 8 | header.version_number;
        const bool is_other = version_ != version;
        if (is_other) come_.reset();
        version_ = version;
        last_ = header.last_section_number;
        come_.set(header.section_number);
        return is_other;
    }

    bool have_any() const { return version_.has_value(); }
    bool have(std::size_t section_number) const { return come_[section_number]; }
    std::uint8_t last() const { return last_; }

    /// Those up to the last one that have not come.
    std::vector<std::uint8_t> missing() const { return missing(0, last_); }
    std::vector<std::uint8_t> missing(std::size_t first, std::size_t last) const {
        std::vector<std::uint8_t> numbers;
        for (std::size_t n = first; n <= last; ++n) {
            if (!come_[n]) numbers.push_back(static_cast<std::uint8_t>(n));
        }
        return numbers;
    }

private:
    std::optional<std::uint32_t> version_;
    std::bitset<256> come_;
    std::uint8_t last_ = 0;
};

}  // namespace orvix::broadcast
