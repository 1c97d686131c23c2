#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvix::broadcast {

struct named_value;

/// What a broadcast says, in the shapes that it has: nothing, a number, a text, bytes, and lists
/// and records of these.
struct value {
    struct number {
        std::int64_t value = 0;
        int hex_digits = 0;   ///< how it is written where people read it; 0: decimal only
        std::string meaning;  ///< empty: the number says it all
    };
    struct octets {
        std::string bytes;
    };
    using list = std::vector<value>;
    using record = std::vector<named_value>;

    std::variant<std::nullptr_t, number, std::string, octets, list, record> is;

    value() = default;
    value(number n) : is(std::move(n)) {}             // NOLINT: a number is a value
    value(std::string utf8) : is(std::move(utf8)) {}  // NOLINT: and so are the others
    value(octets bytes) : is(std::move(bytes)) {}     // NOLINT
    value(list values) : is(std::move(values)) {}     // NOLINT
    inline value(record fields);                      // NOLINT
};

struct named_value {
    std::string_view name;
    value is;
};

inline value::value(record fields) : is(std::move(fields)) {}

}  // namespace orvix::broadcast
