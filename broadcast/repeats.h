#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "bound.h"

namespace orvix::broadcast {

/// Tells new sections from those that a broadcast repeats. A repeat is known by its place, its size
/// and a keyed hash of 128 bits, whose key is drawn anew for each object: no broadcast can be made
/// so that a new section passes for a repeat, or that looking one up takes long.
class repeats {
public:
    repeats();
    repeats(const repeats&) = delete;
    repeats& operator=(const repeats&) = delete;

    /// Whether `section` differs from the last one that stood in its place: the same PID, table_id,
    /// table_id_extension and section_number. A time is always new. Remembers it.
    bool is_new(std::uint16_t pid, const std::uint8_t* section, std::size_t size);

    /// What comes on this PID from now on is new.
    void forget(std::uint16_t pid);

    /// What stands in further places is not remembered: it is new each time.
    const bound& places() const { return places_; }

private:
    using secret = std::array<unsigned char, 16>;
    /// PID, table and section_number, as its bytes.
    using place_bytes = std::array<unsigned char, 16>;
    struct content {
        std::array<unsigned char, 16> hash = {};
        std::size_t size = 0;
    };
    struct keyed_hash {
        const secret* key;
        std::size_t operator()(const place_bytes& place) const;
    };
    using content_by_place = std::unordered_map<place_bytes, content, keyed_hash>;

    secret key_;
    std::unordered_map<std::uint16_t, content_by_place> by_pid_;
    std::size_t kept_ = 0;
    // A network of a hundred services with a full schedule of eight days each stays below it.
    bound places_ = {"places of sections", 100'000};
};

}  // namespace orvix::broadcast
