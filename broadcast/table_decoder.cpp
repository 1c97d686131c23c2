#include "table_decoder.h"

#include <algorithm>

namespace orvix::broadcast {

namespace {

// The library wants to be told of the spare byte behind the 8 of a broadcast's TDT.
constexpr std::size_t smallest_tdt = 9;

template <typename Table>
std::optional<table_ref> parsed(Table& table, std::uint8_t* section, std::size_t size) {
    // What is passed over would leave the section before it in place.
    table.clear();
    table.parse(section, static_cast<unsigned int>(size));
    if (table.cleared) return std::nullopt;
    return &table;
}

/// `cleared` says nothing of tables without the long header.
template <typename Table>
table_ref parsed_time(Table& table, std::uint8_t* section, std::size_t size) {
    table.parse(section, static_cast<unsigned int>(size));
    return &table;
}

}  // namespace

std::optional<table_ref> table_decoder::decode(std::uint8_t* section, std::size_t size) {
    switch (section[0]) {
        case 0x00:
            return parsed(pat_, section, size);
        case 0x02:
            return parsed(pmt_, section, size);
        case 0x40:
        case 0x41:
            return parsed(nit_, section, size);
        case 0x42:
        case 0x46:
            return parsed(sdt_, section, size);
        case 0x70:
            return parsed_time(tdt_, section, std::max(size, smallest_tdt));
        case 0x73:
            return parsed_time(tot_, section, size);
        case 0x74:
            return parsed(ait_, section, size);
        default:
            return parsed(eit_, section, size);
    }
}

}  // namespace orvix::broadcast
