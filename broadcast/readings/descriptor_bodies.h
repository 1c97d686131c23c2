#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "span.h"
#include "value.h"

namespace orvix::broadcast {

/// Whether the whole descriptor is there, as its length says.
bool is_whole(span descriptor);

/// The fields of a whole descriptor that the receiver skips, of those that engineers ask for; none
/// of others, and none where the body is too short for them. An extended event's items and text are
/// not among them: they are joined from several descriptors.
value::record fields_of(span descriptor);

/// The extended events (0x4E) of one loop, put together from their parts.
class extended_events {
public:
    /// Takes a whole descriptor; `id` tells it from the others of the loop.
    void add(std::size_t id, span descriptor);

    struct joined {
        std::size_t id = 0;    ///< of the first part
        value::record fields;  ///< its items and its text, those of the other parts behind them
    };
    /// One for each language.
    std::vector<joined> join();

private:
    struct part {
        std::uint32_t order;  ///< by language, then by descriptor_number
        std::size_t id;
        span descriptor;
    };
    std::vector<part> parts_;
};

/// The codes of a whole ISO 639 language descriptor (0x0A), "por, eng"; empty where it has none.
std::string languages_of(span descriptor);

}  // namespace orvix::broadcast
