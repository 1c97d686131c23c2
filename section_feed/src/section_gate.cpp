// Follows the parser read by read: where the parser reads, the gate asks whether the bytes are
// there. Tables, descriptors and fields stand in the order in which the parser takes them.

#include <section_feed/section_gate.h>

#include <bitset>
#include <cstdio>

#include "crc32.h"

namespace orvix::section_feed {

namespace {

/// A length: what it is called, where it stands, what it says.
struct length_field {
    const char* name;
    unsigned int at;
    unsigned int value;
};

class gate {
public:
    gate(const std::uint8_t* section, std::size_t size, gate_options options)
        : s_(section), size_(static_cast<unsigned int>(size)), options_(options) {}

    gate_result check() {
        if (fixed(0, 1, "table_id")) table();
        return result_;
    }

private:
    // Each of these returns false once the section is refused.
    bool table();
    bool long_section(const char* table, bool (gate::*body)());
    bool crc();
    bool pat();
    bool pmt();
    bool sdt();
    bool nit();
    bool eit();
    bool ait();
    bool tdt();
    bool tot();

    bool descriptors(unsigned int loop, const length_field& length);
    bool descriptor(unsigned int loop, unsigned int i);
    bool application(unsigned int at);
    bool application_name(unsigned int at);
    bool transport_protocol(unsigned int loop, unsigned int i);
    bool transport_protocol_ip(unsigned int loop, unsigned int selector, unsigned int length);
    bool ginga_location(unsigned int at);
    bool icon_information(unsigned int at);
    bool service(unsigned int at);
    bool short_event(unsigned int at);
    bool component(unsigned int at);
    bool stream_identifier(unsigned int at);
    bool entries(unsigned int at, unsigned int entry_size, const char* entry);
    bool ts_information(unsigned int at);

    // --- Questions: are the bytes there? ---

    /// Fields of a fixed size.
    bool fixed(unsigned int at, unsigned int bytes, const char* fields) {
        return at + bytes <= size_ || refuse(verdict::too_short, {fields, at, bytes}, size_);
    }

    /// As many bytes from `start` as a length says.
    bool counted(unsigned int start, const length_field& length) {
        return start + length.value <= size_ || refuse(verdict::overrun, length, size_);
    }

    /// A text that becomes UTF-8: an escape byte that ends it takes the byte behind it.
    bool text(unsigned int start, const length_field& length) {
        if (!counted(start, length)) return false;
        const unsigned int end = start + length.value;
        return end < size_ || !ends_in_escape(start, end) ||
               fixed(end, 1, "symbol of the escape that ends the text");
    }

    bool language_code(unsigned int at) {
        return fixed(at, 3, "ISO_639_language_code") && text(at, {"ISO_639_language_code", at, 3});
    }

    bool refuse(verdict why, const length_field& field, std::uint32_t limit) {
        result_.why = why;
        result_.byte = field.at;
        result_.field = field.name;
        result_.value = field.value;
        result_.limit = limit;
        return false;
    }

    /// An escape byte takes the byte behind it, another escape too: only an odd run of them is
    /// open.
    bool ends_in_escape(unsigned int start, unsigned int end) const {
        constexpr std::uint8_t escape = 0x1D;
        unsigned int run = 0;
        while (run < end - start && s_[end - 1 - run] == escape) ++run;
        return run % 2 != 0;
    }

    // --- Fields ---

    unsigned int u16(unsigned int at) const {
        return static_cast<unsigned int>(s_[at]) << 8 | s_[at + 1];
    }
    bool top_bit(unsigned int at) const { return (s_[at] & 0x80) != 0; }
    unsigned int descriptor_length(unsigned int at) const { return s_[at + 1]; }
    length_field length8(const char* name, unsigned int at) const { return {name, at, s_[at]}; }
    length_field length12(const char* name, unsigned int at) const {
        return {name, at, u16(at) & 0x0FFF};
    }

    const std::uint8_t* s_;
    unsigned int size_;
    gate_options options_;
    gate_result result_;
};

// --- Tables ---

bool gate::table() {
    const unsigned int table_id = s_[0];
    switch (table_id) {
        case 0x00:
            return long_section("PAT", &gate::pat);
        case 0x02:
            return long_section("PMT", &gate::pmt);
        case 0x40:
        case 0x41:
            return long_section("NIT", &gate::nit);
        case 0x42:
        case 0x46:
            return long_section("SDT", &gate::sdt);
        case 0x70:
            return tdt();
        case 0x73:
            return tot();
        case 0x74:
            return long_section("AIT", &gate::ait);
        default:
            if (table_id >= 0x4E && table_id <= 0x6F) return long_section("EIT", &gate::eit);
            return refuse(verdict::not_decoded, {"table_id", 0, table_id}, 0);
    }
}

bool gate::long_section(const char* table, bool (gate::*body)()) {
    result_.table = table;
    if (!fixed(0, 2, "table_id and section_syntax_indicator")) return false;
    // Without section_syntax_indicator the parser returns at once.
    const bool section_syntax_indicator = top_bit(1);
    if (!section_syntax_indicator) return crc();

    if (!fixed(0, 8, "section header")) return false;
    const length_field section_length = length12("section_length", 1);
    if (section_length.value + 3 != size_) {
        return refuse(verdict::length_mismatch, section_length, size_);
    }
    return crc() && (this->*body)();
}

bool gate::crc() {
    if (!options_.check_crc) return true;
    if (!fixed(3, 4, "CRC_32")) return false;
    const unsigned int end = size_ - 4;
    const std::uint32_t right = crc32(s_, end);
    const std::uint32_t crc_32 = static_cast<std::uint32_t>(u16(end)) << 16 | u16(end + 2);
    return crc_32 == right || refuse(verdict::crc_mismatch, {"CRC_32", end, crc_32}, right);
}

// An entry that starts before the CRC_32 ends before the section does.
bool gate::pat() { return true; }

bool gate::pmt() {
    // The parser's cursor has 8 bits, so it never gets to the end of a longer section.
    constexpr unsigned int wraps_at = 256;
    const unsigned int end = size_ - 4;
    if (end >= wraps_at) {
        return refuse(verdict::endless, length12("section_length", 1), wraps_at);
    }
    if (!fixed(8, 4, "PCR_PID and program_info_length")) return false;
    const length_field program_info_length = length12("program_info_length", 10);
    if (!descriptors(12, program_info_length)) return false;

    // A cursor that wraps may come back to an entry that was read before, and then does so for
    // ever.
    std::bitset<wraps_at> read;
    length_field last_wrap = program_info_length;
    unsigned int cursor = (12 + program_info_length.value) % wraps_at;
    while (cursor < end) {
        if (read.test(cursor)) return refuse(verdict::endless, last_wrap, wraps_at);
        read.set(cursor);
        // The entry's five bytes end before the section does: it starts before the CRC_32.
        const length_field ES_info_length = length12("ES_info_length", cursor + 3);
        if (!descriptors(cursor + 5, ES_info_length)) return false;
        cursor += 5 + ES_info_length.value;
        if (cursor >= wraps_at) last_wrap = ES_info_length;
        cursor %= wraps_at;
    }
    return true;
}

bool gate::sdt() {
    if (!fixed(8, 2, "original_network_id")) return false;
    const unsigned int end = size_ - 4;
    unsigned int offset = 11;
    while (offset < end) {
        // The entry's five bytes end before the section does: it starts before the CRC_32.
        const length_field length = length12("descriptors_loop_length", offset + 3);
        if (!descriptors(offset + 5, length)) return false;
        offset += 5 + length.value;
    }
    return true;
}

bool gate::nit() {
    if (!fixed(8, 2, "network_descriptors_length")) return false;
    const length_field network_descriptors_length = length12("network_descriptors_length", 8);
    if (!descriptors(10, network_descriptors_length)) return false;

    unsigned int offset = 10 + network_descriptors_length.value;
    if (!counted(10, network_descriptors_length)) return false;
    if (!fixed(offset, 2, "transport_stream_loop_length")) return false;
    const length_field loop_length = length12("transport_stream_loop_length", offset);
    offset += 2;

    const unsigned int end = offset + loop_length.value;
    while (offset < end) {
        if (end > size_ && offset + 6 > size_) return refuse(verdict::overrun, loop_length, size_);
        if (!fixed(offset, 6, "transport stream entry")) return false;
        const length_field length = length12("transport_descriptors_length", offset + 4);
        if (!descriptors(offset + 6, length)) return false;
        offset += 6 + length.value;
    }
    return true;
}

bool gate::eit() {
    if (!fixed(8, 6, "transport_stream_id to last_table_id")) return false;
    const unsigned int end = size_ - 4;
    unsigned int offset = 14;
    while (offset < end) {
        if (!fixed(offset, 12, "event_id to descriptors_loop_length")) return false;
        const length_field length = length12("descriptors_loop_length", offset + 10);
        if (!descriptors(offset + 12, length)) return false;
        offset += 12 + length.value;
    }
    return true;
}

bool gate::tdt() {
    result_.table = "TDT";
    return fixed(0, 8, "table_id to UTC_time");
}

bool gate::tot() {
    result_.table = "TOT";
    if (!fixed(0, 10, "section header to descriptors_loop_length") || !crc()) return false;
    // All sixteen bits count, and only the first descriptor is taken.
    const unsigned int descriptors_loop_length = u16(8);
    if (descriptors_loop_length == 0 || size_ == 10) return true;
    return fixed(10, 2, "descriptor_tag and descriptor_length") && descriptor(10, 0);
}

bool gate::ait() {
    if (!fixed(8, 2, "common_descriptors_length")) return false;
    const length_field common_descriptors_length = length12("common_descriptors_length", 8);
    if (!descriptors(10, common_descriptors_length)) return false;

    unsigned int offset = 10 + common_descriptors_length.value;
    if (!counted(10, common_descriptors_length)) return false;
    if (!fixed(offset, 2, "application_loop_length")) return false;
    const length_field application_loop_length = length12("application_loop_length", offset);
    offset += 2;

    // The parser takes the length as an offset from table_id.
    const unsigned int end = application_loop_length.value;
    while (offset < end) {
        if (end > size_ && offset + 9 > size_) {
            return refuse(verdict::overrun, application_loop_length, size_);
        }
        if (!fixed(offset, 9, "application entry")) return false;
        const length_field length = length12("application_descriptors_loop_length", offset + 7);
        if (!descriptors(offset + 9, length)) return false;
        offset += 9 + length.value;
    }
    return true;
}

// --- Descriptors: `at` is the offset of the tag ---

bool gate::descriptors(unsigned int loop, const length_field& length) {
    for (unsigned int i = 0; i < length.value; i += 2 + descriptor_length(loop + i)) {
        const bool header_is_there = loop + i + 2 <= size_;
        if (!header_is_there && !counted(loop, length)) return false;
        if (!fixed(loop + i, 2, "descriptor_tag and descriptor_length")) return false;
        if (!descriptor(loop, i)) return false;
    }
    return true;
}

bool gate::descriptor(unsigned int loop, unsigned int i) {
    const unsigned int at = loop + i;
    switch (s_[at]) {
        case 0x00:
            return application(at);
        case 0x01:
            return application_name(at);
        case 0x02:
            return transport_protocol(loop, i);
        case 0x04:
        case 0x07:
            return ginga_location(at);
        case 0x0B:
            return icon_information(at);
        case 0x48:
            return service(at);
        case 0x4D:
            return short_event(at);
        case 0x50:
            return component(at);
        case 0x52:
            return stream_identifier(at);
        case 0x54:
            return entries(at, 2, "entry of the content_descriptor");
        case 0x55:
            return entries(at, 4, "entry of the parental_rating_descriptor");
        case 0x58:
            return entries(at, 13, "entry of the local_time_offset_descriptor");
        case 0xCD:
            return ts_information(at);
        default:
            return true;
    }
}

bool gate::application(unsigned int at) {
    if (!fixed(at + 2, 1, "application_profiles_length")) return false;
    const length_field profiles_length = length8("application_profiles_length", at + 2);
    if (!counted(at + 3, profiles_length)) return false;
    // Whole profiles are read, the last one even past the length.
    unsigned int cursor = 0;
    while (cursor < profiles_length.value) {
        if (!fixed(at + 3 + cursor, 5, "application profile")) return false;
        cursor += 5;
    }
    return fixed(at + 3 + cursor, 2, "service_bound_flag to application_priority");
}

bool gate::application_name(unsigned int at) {
    const unsigned int end = at + 2 + descriptor_length(at);
    unsigned int offset = at + 2;
    while (offset < end) {
        if (!fixed(offset, 4, "ISO_639_language_code and application_name_length")) return false;
        const length_field name_length = length8("application_name_length", offset + 3);
        if (!counted(offset + 4, name_length)) return false;
        offset += 4 + name_length.value;
    }
    return true;
}

bool gate::transport_protocol(unsigned int loop, unsigned int i) {
    const unsigned int at = loop + i;
    if (!fixed(at + 2, 2, "protocol_id")) return false;
    const unsigned int protocol_id = u16(at + 2);
    const bool carousel = protocol_id == 0x0001 || protocol_id == 0x0004;
    const bool ip = protocol_id == 0x0002;
    if (!carousel && !ip) return true;

    if (!fixed(at + 4, 2, "transport_protocol_label and remote_connection")) return false;
    const bool remote_connection = top_bit(at + 5);
    if (remote_connection && !fixed(at + 6, 6, "original_network_id to service_id")) return false;
    const unsigned int selector = remote_connection ? 12 : 6;

    if (ip) return transport_protocol_ip(loop, i + selector, descriptor_length(at));
    return fixed(at + selector, 1, "component_tag");
}

bool gate::transport_protocol_ip(unsigned int loop, unsigned int selector, unsigned int length) {
    if (!fixed(loop + selector, 1, "alignment_indicator")) return false;
    // Positions in the loop, compared with lengths: the parser's arithmetic.
    for (unsigned int position = selector + 1; position < length; ++position) {
        if (!fixed(loop + position, 1, "URL_length")) return false;
        const length_field URL_length = length8("URL_length", loop + position);
        if (selector < URL_length.value && !counted(loop, URL_length)) return false;
        selector += URL_length.value + 1;
    }
    return true;
}

bool gate::ginga_location(unsigned int at) {
    const unsigned int end = at + 2 + descriptor_length(at);
    if (!fixed(at + 2, 1, "base_directory_length")) return false;
    const length_field base_directory_length = length8("base_directory_length", at + 2);
    if (!counted(at + 3, base_directory_length)) return false;

    const unsigned int rest = at + 3 + base_directory_length.value;
    if (!fixed(rest, 1, "class_extension_length")) return false;
    const length_field class_extension_length = length8("class_extension_length", rest);
    if (!counted(rest + 1, class_extension_length)) return false;

    const bool has_initial_class = rest + 1 + class_extension_length.value < end;
    return !has_initial_class || counted(at + 2, length8("descriptor_length", at + 1));
}

bool gate::icon_information(unsigned int at) {
    return fixed(at + 2, 1, "icon_locator_length") &&
           counted(at + 3, length8("icon_locator_length", at + 2));
}

bool gate::service(unsigned int at) {
    if (!fixed(at + 2, 2, "service_type and service_provider_name_length")) return false;
    const length_field provider_length = length8("service_provider_name_length", at + 3);
    if (!text(at + 4, provider_length)) return false;

    const unsigned int rest = at + 4 + provider_length.value;
    return fixed(rest, 1, "service_name_length") &&
           text(rest + 1, length8("service_name_length", rest));
}

bool gate::short_event(unsigned int at) {
    if (!language_code(at + 2) || !fixed(at + 5, 1, "event_name_length")) return false;
    const length_field event_name_length = length8("event_name_length", at + 5);
    if (!text(at + 6, event_name_length)) return false;

    const unsigned int rest = at + 6 + event_name_length.value;
    return fixed(rest, 1, "text_length") && text(rest + 1, length8("text_length", rest));
}

bool gate::component(unsigned int at) {
    constexpr unsigned int bytes_before_text = 6;
    if (!fixed(at + 2, 3, "stream_content to component_tag") || !language_code(at + 5)) {
        return false;
    }
    const length_field length = length8("descriptor_length", at + 1);
    const length_field text_length = {"text length (descriptor_length - 6, unsigned)", length.at,
                                      length.value - bytes_before_text};
    // The parser subtracts without a check: below six, what is left for the text wraps.
    if (length.value < bytes_before_text) return refuse(verdict::overrun, text_length, size_);
    return counted(at + 2, length) && text(at + 8, text_length);
}

bool gate::stream_identifier(unsigned int at) { return fixed(at + 2, 1, "component_tag"); }

bool gate::entries(unsigned int at, unsigned int entry_size, const char* entry) {
    const unsigned int end = at + 2 + descriptor_length(at);
    for (unsigned int offset = at + 2; offset < end; offset += entry_size) {
        if (!fixed(offset, entry_size, entry)) return false;
    }
    return true;
}

bool gate::ts_information(unsigned int at) {
    if (!fixed(at + 2, 2, "remote_control_key_id to transmission_type_count")) return false;
    const length_field length_of_ts_name = {"length_of_ts_name", at + 3,
                                            static_cast<unsigned int>(s_[at + 3] >> 2)};
    if (!text(at + 4, length_of_ts_name)) return false;

    const unsigned int transmission_type_count = s_[at + 3] & 0x03;
    unsigned int offset = at + 4 + length_of_ts_name.value;
    for (unsigned int i = 0; i < transmission_type_count; ++i) {
        if (!fixed(offset, 2, "transmission_type_info and num_of_service")) return false;
        const unsigned int num_of_service = s_[offset + 1];
        offset += 2;
        // Dropped by the parser, but they belong to the descriptor.
        if (!fixed(offset, 2 * num_of_service, "service_ids of a transmission type")) return false;
        offset += 2 * num_of_service;
    }
    return true;
}

}  // namespace

gate_result check_section(const std::uint8_t* section, std::size_t size, gate_options options) {
    return gate(section, size, options).check();
}

const char* to_string(verdict why) {
    switch (why) {
        case verdict::admitted:
            return "admitted";
        case verdict::not_decoded:
            return "not_decoded";
        case verdict::too_short:
            return "too_short";
        case verdict::length_mismatch:
            return "length_mismatch";
        case verdict::crc_mismatch:
            return "crc_mismatch";
        case verdict::overrun:
            return "overrun";
        case verdict::endless:
            return "endless";
    }
    return "";
}

namespace {

/// The sentence's start: "NIT: ".
std::string table_prefix(const gate_result& result) {
    return *result.table == '\0' ? "" : std::string(result.table) + ": ";
}

std::string hex(const char* format, std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

std::string gate_result::text() const {
    const std::string at_byte = " at byte " + std::to_string(byte);
    const std::string named = table_prefix(*this) + field;
    const std::string valued = named + " " + std::to_string(value) + at_byte;
    switch (why) {
        case verdict::admitted:
            return "";
        case verdict::not_decoded:
            return named + hex(" 0x%02X", value) + at_byte +
                   " belongs to no table that the parser decodes";
        case verdict::too_short:
            return named + at_byte + ": " + std::to_string(value) +
                   (value == 1 ? " byte" : " bytes") + " needed, but the section ends at byte " +
                   std::to_string(limit);
        case verdict::length_mismatch:
            return valued + " makes a section of " + std::to_string(value + 3) + " bytes, but " +
                   std::to_string(limit) + " were handed in";
        case verdict::crc_mismatch:
            return named + hex(" 0x%08X", value) + at_byte +
                   " is wrong: the section's bytes give " + hex("0x%08X", limit);
        case verdict::overrun:
            return valued + " runs past the section's end (byte " + std::to_string(limit) + ")";
        case verdict::endless:
            return valued + " leads the parser's 8-bit cursor past byte " + std::to_string(limit) +
                   ": the parse would never end";
    }
    return "";
}

}  // namespace orvix::section_feed
