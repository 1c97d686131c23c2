#pragma once

#include <broadcast/times.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "writers/writer.h"

// The fields of every table and descriptor, once: by the library's names, in its order, each with
// what its value means. The text and the JSON format show these, so they agree.
namespace orvix::si_inspect {

struct field;
using record = std::vector<field>;

struct number {
    std::int64_t value = 0;
    int hex_digits = 0;   ///< how it is written where people read it; 0: decimal only
    std::string meaning;  ///< empty: the number says it all
};
struct text {
    std::string utf8;
};
/// Bytes that the library keeps as they are on air; in most broadcasts they are text.
struct raw_text {
    std::string bytes;
};
/// On the broadcast's clock.
struct moment {
    std::time_t seconds = 0;
};
struct duration {
    std::time_t seconds = 0;
};
/// Entries of one loop.
struct record_list {
    std::vector<record> records;
};
/// Descriptors: records that begin with tag, length and type.
struct described_list {
    std::vector<record> descriptors;
};

struct field {
    std::string_view name;
    std::variant<bool, number, text, raw_text, moment, duration, record_list, described_list> value;
};

record describe(const broadcast::table_ref& table);

/// "4a6f67": two digits for each byte.
std::string hex(std::string_view bytes);
/// "0x0011".
std::string hex_number(std::int64_t value, int digits);

}  // namespace orvix::si_inspect
