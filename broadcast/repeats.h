#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace orvix::broadcast {

/// Tells new sections from those that a broadcast repeats.
class repeats {
public:
    /// Whether `section` differs from the last one that stood in its place: the same PID, table_id,
    /// table_id_extension and section_number. A time is always new. Remembers it.
    bool is_new(std::uint16_t pid, const std::uint8_t* section, std::size_t size);

    /// What comes on this PID from now on is new.
    void forget(std::uint16_t pid);

private:
    using content_by_place = std::unordered_map<std::uint64_t, std::uint64_t>;  ///< hashes of both

    std::unordered_map<std::uint16_t, content_by_place> by_pid_;
};

}  // namespace orvix::broadcast
