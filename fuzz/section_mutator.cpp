#include "section_mutator.h"

#include <isdb_sections.h>
#include <rich_sections.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "section_fields.h"

namespace orvix::fuzz {

namespace {

using kind = section_field::kind;
using test::bytes;
using test::operator+;

constexpr std::array<std::uint8_t, 16> tags = {0x00, 0x01, 0x02, 0x04, 0x07, 0x0B, 0x48, 0x4D,
                                               0x50, 0x52, 0x54, 0x55, 0x58, 0xCD, 0x02, 0x09};

std::size_t below(std::size_t end, std::minstd_rand& random) {
    return end == 0 ? 0 : random() % end;
}

bool one_in(unsigned int n, std::minstd_rand& random) { return random() % n == 0; }

void set_length(bytes& section, const section_field& field, std::size_t value) {
    if (field.what == kind::length12) {
        value = std::min<std::size_t>(value, 0xFFF);
        section[field.at] =
            static_cast<std::uint8_t>((section[field.at] & 0xF0) | (value >> 8 & 0x0F));
        if (field.at + 1 < section.size()) {
            section[field.at + 1] = static_cast<std::uint8_t>(value);
        }
    } else {
        section[field.at] = static_cast<std::uint8_t>(value);
    }
}

/// The lengths at which something happens: none, one more or less, up to the section's end or just
/// past it, the largest, once around the PMT's cursor.
std::size_t interesting_length(const bytes& section, const section_field& field,
                               std::minstd_rand& random) {
    const std::size_t up_to_end =
        section.size() > field.counted_from ? section.size() - field.counted_from : 0;
    const std::size_t any = below(field.what == kind::length12 ? 0x1000 : 0x100, random);
    const std::array<std::size_t, 12> choices = {0,
                                                 1,
                                                 field.value + 1,
                                                 field.value - 1,
                                                 up_to_end,
                                                 up_to_end + 1,
                                                 up_to_end - 1,
                                                 0xFFF,
                                                 any,
                                                 any % 16,
                                                 any % 256,
                                                 256 - field.counted_from % 256};
    return choices[below(choices.size(), random)] & 0xFFF;
}

bytes random_descriptor(std::minstd_rand& random) {
    bytes body(below(one_in(8, random) ? 256 : 24, random));
    for (std::uint8_t& byte : body) {
        // Small bytes make plausible inner lengths; escapes are rare by chance.
        byte = static_cast<std::uint8_t>(one_in(4, random) ? random() % 256 : random() % 12);
        if (one_in(16, random)) byte = 0x1D;
    }
    const std::uint8_t tag = tags[below(tags.size(), random)];
    if (tag == 0x02 && body.size() >= 2) {
        body[0] = 0;
        body[1] = static_cast<std::uint8_t>(random() % 5);
    }
    return test::descriptor(tag, body);
}

/// Moves every length that counts the byte at `at` by as much as the section grows there.
void resize_around(bytes& section, const std::vector<section_field>& fields, std::size_t at,
                   std::ptrdiff_t growth) {
    for (const section_field& field : fields) {
        const bool is_length = field.what == kind::length8 || field.what == kind::length12;
        const bool counts_it =
            is_length && field.counted_from <= at && at <= field.counted_from + field.value;
        if (!counts_it || field.at >= at) continue;
        set_length(section, field,
                   static_cast<std::size_t>(static_cast<std::ptrdiff_t>(field.value) + growth));
    }
}

}  // namespace

void mutate_fields(bytes& section, std::minstd_rand& random) {
    const std::vector<section_field> fields = find_fields(section);
    if (fields.empty()) return;
    const section_field field = fields[below(fields.size(), random)];
    const auto place = section.begin() + static_cast<std::ptrdiff_t>(field.at);
    switch (field.what) {
        case kind::length8:
        case kind::length12:
            if (field.what == kind::length12 && one_in(2, random)) {
                // A new descriptor is the first of the loop.
                const bytes added = random_descriptor(random);
                if (field.counted_from > section.size()) return;
                resize_around(section, fields, field.counted_from,
                              static_cast<std::ptrdiff_t>(added.size()));
                section.insert(section.begin() + static_cast<std::ptrdiff_t>(field.counted_from),
                               added.begin(), added.end());
                return;
            }
            if (one_in(8, random)) {
                // The section ends where these bytes do, now and then with an escape.
                const std::size_t end = field.counted_from + field.value;
                if (end < section.size()) section.resize(end);
                if (one_in(2, random)) section.back() = 0x1D;
                return;
            }
            set_length(section, field, interesting_length(section, field, random));
            return;
        case kind::flags:
            *place = static_cast<std::uint8_t>(one_in(2, random) ? random() % 256
                                                                 : *place ^ (1u << random() % 8));
            return;
        case kind::tag: {
            if (one_in(2, random) || field.at + 2 > section.size()) {
                *place = tags[below(tags.size(), random)];
                return;
            }
            const std::size_t size =
                std::min<std::size_t>(2u + section[field.at + 1], section.size() - field.at);
            const bytes old(place, place + static_cast<std::ptrdiff_t>(size));
            if (one_in(2, random)) {  // once more
                resize_around(section, fields, field.at, static_cast<std::ptrdiff_t>(size));
                section.insert(section.begin() + static_cast<std::ptrdiff_t>(field.at), old.begin(),
                               old.end());
            } else {  // away
                resize_around(section, fields, field.at, -static_cast<std::ptrdiff_t>(size));
                section.erase(place, place + static_cast<std::ptrdiff_t>(size));
            }
            return;
        }
    }
}

void repair(bytes& section, std::minstd_rand& random) {
    constexpr std::size_t with_length = 3;
    constexpr std::size_t with_crc = 7;
    if (section.size() >= with_length && !one_in(32, random)) test::repair_section_length(section);
    if (section.size() >= with_crc && !one_in(32, random)) test::repair_crc(section);
}

}  // namespace orvix::fuzz
