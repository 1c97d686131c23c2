#include "names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

namespace orvix::broadcast::names {

namespace {

constexpr std::string_view reserved = "reserved";

struct entry {
    std::uint32_t first;
    std::uint32_t last;
    std::string_view name;
};

/// The name of the first range that holds `value`.
template <std::size_t size>
constexpr std::string_view lookup(const entry (&table)[size], std::uint32_t value,
                                  std::string_view otherwise = reserved) {
    for (const entry& e : table) {
        if (value >= e.first && value <= e.last) return e.name;
    }
    return otherwise;
}

constexpr entry table_ids[] = {
    {0x00, 0x00, "program association"},
    {0x01, 0x01, "conditional access"},
    {0x02, 0x02, "program map"},
    {0x03, 0x03, "transport stream description"},
    {0x3A, 0x3A, "DSM-CC, multiprotocol data"},
    {0x3B, 0x3B, "DSM-CC, control messages"},
    {0x3C, 0x3C, "DSM-CC, data blocks"},
    {0x3D, 0x3D, "DSM-CC, stream descriptors"},
    {0x3E, 0x3F, "DSM-CC, private data"},
    {0x40, 0x40, "network information, actual network"},
    {0x41, 0x41, "network information, other network"},
    {0x42, 0x42, "service description, actual transport stream"},
    {0x46, 0x46, "service description, other transport stream"},
    {0x4A, 0x4A, "bouquet association"},
    {0x4E, 0x4E, "present and following events, actual transport stream"},
    {0x4F, 0x4F, "present and following events, other transport stream"},
    {0x50, 0x5F, "schedule, actual transport stream"},
    {0x60, 0x6F, "schedule, other transport stream"},
    {0x70, 0x70, "time and date"},
    {0x71, 0x71, "running status"},
    {0x72, 0x72, "stuffing"},
    {0x73, 0x73, "time offset"},
    {0x74, 0x74, "application information"},
    {0x7E, 0x7E, "discontinuity information"},
    {0x7F, 0x7F, "selection information"},
    {0x80, 0x81, "user private"},
    {0x82, 0x83, "entitlement control"},
    {0x84, 0x85, "entitlement management"},
    {0x86, 0xBF, "user private"},
    {0xC0, 0xC0, "download control"},
    {0xC1, 0xC1, "download"},
    {0xC2, 0xC2, "partial content announcement"},
    {0xC3, 0xC3, "software download trigger"},
    {0xC4, 0xC4, "broadcaster information"},
    {0xC5, 0xC6, "network board information"},
    {0xC7, 0xC7, "linked description"},
    {0xC8, 0xC8, "common data"},
    {0xD0, 0xD0, "local event information"},
    {0xD1, 0xD1, "event relation"},
    {0xD2, 0xD2, "index transmission"},
    {0xC9, 0xFE, "user private"},
};

constexpr entry table_kinds[] = {
    {0x00, 0x00, "pat"}, {0x02, 0x02, "pmt"}, {0x40, 0x41, "nit"},
    {0x42, 0x42, "sdt"}, {0x46, 0x46, "sdt"}, {0x4E, 0x6F, "eit"},
    {0x70, 0x70, "tdt"}, {0x73, 0x73, "tot"}, {0x74, 0x74, "ait"},
};

constexpr entry stream_types[] = {
    {0x01, 0x01, "MPEG-1 video"},
    {0x02, 0x02, "MPEG-2 video"},
    {0x03, 0x03, "MPEG-1 audio"},
    {0x04, 0x04, "MPEG-2 audio"},
    {0x05, 0x05, "private sections"},
    {0x06, 0x06, "private PES"},
    {0x07, 0x07, "MHEG"},
    {0x08, 0x08, "DSM-CC"},
    {0x09, 0x09, "ITU-T H.222.1"},
    {0x0A, 0x0A, "DSM-CC type A"},
    {0x0B, 0x0B, "DSM-CC type B"},
    {0x0C, 0x0C, "DSM-CC stream events"},
    {0x0D, 0x0D, "DSM-CC type D"},
    {0x0E, 0x0E, "auxiliary data"},
    {0x0F, 0x0F, "AAC audio (ADTS)"},
    {0x10, 0x10, "MPEG-4 video"},
    {0x11, 0x11, "AAC audio (LATM)"},
    {0x12, 0x12, "MPEG-4 systems in PES"},
    {0x13, 0x13, "MPEG-4 systems in sections"},
    {0x14, 0x14, "DSM-CC synchronized download"},
    {0x15, 0x15, "metadata in PES"},
    {0x16, 0x16, "metadata in sections"},
    {0x17, 0x17, "metadata in a data carousel"},
    {0x18, 0x18, "metadata in an object carousel"},
    {0x19, 0x19, "metadata in synchronized download"},
    {0x1A, 0x1A, "IPMP"},
    {0x1B, 0x1B, "H.264 video"},
    {0x1C, 0x1C, "MPEG-4 audio"},
    {0x1D, 0x1D, "MPEG-4 text"},
    {0x1E, 0x1E, "auxiliary video"},
    {0x1F, 0x1F, "H.264 video, scalable"},
    {0x20, 0x20, "H.264 video, multiview"},
    {0x21, 0x21, "JPEG 2000 video"},
    {0x22, 0x22, "MPEG-2 video, additional view"},
    {0x23, 0x23, "H.264 video, additional view"},
    {0x24, 0x24, "HEVC video"},
    {0x25, 0x25, "HEVC video, temporal subset"},
    {0x7F, 0x7F, "IPMP"},
    {0x81, 0x81, "AC-3 audio or private"},
    {0x83, 0x83, "E-AC-3 audio or private"},
    {0x80, 0xFF, "user private"},
};

/// Where the coding or the multiplex does not matter.
constexpr entry stream_kinds[] = {
    {0x03, 0x04, "MPEG audio"}, {0x06, 0x06, "private PES"}, {0x0B, 0x0B, "data carousel"},
    {0x0F, 0x0F, "AAC audio"},  {0x11, 0x11, "AAC audio"},
};

constexpr entry component_tags[] = {
    {0x00, 0x00, "main video"},     {0x01, 0x0F, "video"},
    {0x10, 0x10, "main audio"},     {0x11, 0x2F, "audio"},
    {0x30, 0x37, "captions"},       {0x38, 0x3F, "superimposed text"},
    {0x40, 0x40, "main carousel"},  {0x41, 0x6F, "carousel"},
    {0x70, 0x7F, "event messages"}, {0x80, 0x80, "data carousel"},
    {0x81, 0x82, "1-seg video"},    {0x83, 0x86, "1-seg audio"},
    {0x87, 0x87, "1-seg captions"}, {0x88, 0x88, "1-seg superimposed text"},
    {0x89, 0x8B, "1-seg data"},     {0x90, 0x91, "1-seg audio"},
};

/// The lower four bits; the others are reserved.
constexpr entry stream_contents[] = {
    {1, 1, "video"},
    {2, 2, "audio"},
    {5, 5, "H.264 video"},
};

/// By the upper four bits of a video's component_type.
constexpr entry video_formats[] = {
    {0x0, 0x0, "480i"}, {0xA, 0xA, "480p"}, {0xB, 0xB, "1080i"},
    {0xC, 0xC, "720p"}, {0xD, 0xD, "240p"}, {0xE, 0xE, "1080p"},
};

/// By its lower four bits.
constexpr entry video_shapes[] = {
    {1, 1, "4:3"},
    {2, 2, "16:9 with pan vectors"},
    {3, 3, "16:9"},
    {4, 4, "above 16:9"},
};

constexpr entry audio_modes[] = {
    {0x01, 0x01, "mono"},
    {0x02, 0x02, "dual mono"},
    {0x03, 0x03, "stereo"},
    {0x08, 0x08, "3/2"},
    {0x09, 0x09, "3/2 and LFE (5.1)"},
    {0x40, 0x40, "for the visually impaired"},
    {0x41, 0x41, "for the hard of hearing"},
};

constexpr entry service_types[] = {
    {0x01, 0x01, "digital television"},
    {0x02, 0x02, "digital radio"},
    {0x04, 0x04, "NVOD reference"},
    {0x0C, 0x0C, "data"},
    {0x19, 0x19, "HD television (H.264)"},
    {0xA1, 0xA1, "special video"},
    {0xA2, 0xA2, "special audio"},
    {0xA3, 0xA3, "special data"},
    {0xA4, 0xA4, "engineering"},
    {0xA5, 0xA5, "promotion video"},
    {0xA6, 0xA6, "promotion audio"},
    {0xA7, 0xA7, "promotion data"},
    {0xA8, 0xA9, "data for storage"},
    {0xAA, 0xAA, "bookmark list"},
    {0xC0, 0xC0, "data"},
    {0x80, 0xFE, "user defined"},
};

constexpr entry running_statuses[] = {
    {0, 0, "undefined"}, {1, 1, "not running"}, {2, 2, "starts in a few seconds"},
    {3, 3, "pausing"},   {4, 4, "running"},     {5, 5, "off-air"},
};

/// 0xD has no name of its own, only details. Where those say nothing, it is called by all of them.
constexpr unsigned int group_of_details = 0xD;
constexpr std::string_view names_of_details = "raffle, television sales, prizing";

constexpr entry genre_groups[] = {
    {0x0, 0x0, "news"},        {0x1, 0x1, "sports"},
    {0x2, 0x2, "educational"}, {0x3, 0x3, "soap opera"},
    {0x4, 0x4, "mini-series"}, {0x5, 0x5, "series"},
    {0x6, 0x6, "variety"},     {0x7, 0x7, "reality show"},
    {0x8, 0x8, "information"}, {0x9, 0x9, "comedy"},
    {0xA, 0xA, "children"},    {0xB, 0xB, "erotic"},
    {0xC, 0xC, "movie"},       {0xD, 0xD, ""},
    {0xE, 0xE, "debate"},      {0xF, 0xF, "other"},
};

/// By the whole byte.
constexpr entry genre_details[] = {
    {0x00, 0x00, "news"},        {0x01, 0x01, "report"},           {0x02, 0x02, "documentary"},
    {0x03, 0x03, "biography"},   {0x60, 0x60, "auditorium"},       {0x61, 0x61, "show"},
    {0x62, 0x62, "musical"},     {0x63, 0x63, "making of"},        {0x64, 0x64, "women's"},
    {0x65, 0x65, "game show"},   {0x80, 0x80, "cooking"},          {0x81, 0x81, "fashion"},
    {0x82, 0x82, "rural"},       {0x83, 0x83, "health"},           {0x84, 0x84, "travel"},
    {0xD0, 0xD0, "raffle"},      {0xD1, 0xD1, "television sales"}, {0xD2, 0xD2, "prizing"},
    {0xE0, 0xE0, "discussion"},  {0xE1, 0xE1, "interview"},        {0xF0, 0xF0, "adult cartoon"},
    {0xF1, 0xF1, "interactive"}, {0xF2, 0xF2, "political"},        {0xF3, 0xF3, "religion"},
    {0xFE, 0xFE, "engineering"},
};

constexpr entry rating_ages[] = {
    {1, 1, "L"}, {2, 2, "10"}, {3, 3, "12"}, {4, 4, "14"}, {5, 5, "16"}, {6, 6, "18"},
};

constexpr entry application_types[] = {
    {0x0001, 0x0001, "Ginga-J"},
    {0x0006, 0x0006, "ACAP-J"},
    {0x0007, 0x0007, "ARIB-BML"},
    {0x0009, 0x0009, "Ginga-NCL"},
};

constexpr entry application_control_codes[] = {
    {1, 1, "AUTOSTART"}, {2, 2, "PRESENT"}, {3, 3, "DESTROY"}, {4, 4, "KILL"},
    {5, 5, "PREFETCH"},  {6, 6, "REMOTE"},  {7, 7, "UNBOUND"}, {8, 8, "PLAYBACK_AUTOSTART"},
};

constexpr entry visibilities[] = {
    {0, 0, "none"},
    {1, 1, "applications only"},
    {3, 3, "full"},
};

constexpr entry protocol_ids[] = {
    {1, 1, "object carousel"},
    {2, 2, "IP"},
    {4, 4, "data carousel"},
};

constexpr unsigned int high_nibble(unsigned int byte) { return byte >> 4 & 0xF; }
constexpr unsigned int low_nibble(unsigned int byte) { return byte & 0xF; }

}  // namespace

std::string_view table_id(std::uint32_t value) { return lookup(table_ids, value); }
std::string_view table_kind(std::uint32_t table_id) { return lookup(table_kinds, table_id, ""); }
std::string_view stream_type(std::uint32_t value) { return lookup(stream_types, value); }
std::string_view stream_kind(std::uint8_t stream_type, std::optional<std::uint8_t> component_tag) {
    constexpr std::uint8_t private_pes = 0x06;
    const std::uint8_t tag = component_tag.value_or(0);
    const bool is_captions = (tag >= 0x30 && tag <= 0x37) || tag == 0x87;
    const bool is_superimposed = (tag >= 0x38 && tag <= 0x3F) || tag == 0x88;
    if (stream_type == private_pes && is_captions) return "captions";
    if (stream_type == private_pes && is_superimposed) return "superimposed text";
    return lookup(stream_kinds, stream_type, names::stream_type(stream_type));
}

std::string_view component_tag(std::uint32_t value) { return lookup(component_tags, value); }
std::string_view stream_content(std::uint32_t value) {
    return lookup(stream_contents, low_nibble(value));
}

short_text component_type(std::uint32_t stream_content, std::uint32_t value) {
    constexpr unsigned int video = 1;
    constexpr unsigned int h264_video = 5;
    constexpr unsigned int audio = 2;
    const unsigned int content = low_nibble(stream_content);
    if (content == audio) return lookup(audio_modes, value);
    if (content != video && content != h264_video) return reserved;
    const std::string_view format = lookup(video_formats, high_nibble(value));
    const std::string_view shape = lookup(video_shapes, low_nibble(value));
    if (format == reserved || shape == reserved) return reserved;
    return short_text(format).append(' ').append(shape);
}

std::string_view service_type(std::uint32_t value) { return lookup(service_types, value); }
std::string_view running_status(std::uint32_t value) { return lookup(running_statuses, value); }

std::string_view genre_group(std::uint8_t content_nibble) {
    return lookup(genre_groups, high_nibble(content_nibble));
}

std::string_view genre_detail(std::uint8_t content_nibble) {
    const unsigned int group = high_nibble(content_nibble);
    constexpr unsigned int other = 0xF;
    if (low_nibble(content_nibble) == other) return "other";
    const bool has_list =
        std::any_of(std::begin(genre_details), std::end(genre_details),
                    [&](const entry& e) { return high_nibble(e.first) == group; });
    return lookup(genre_details, content_nibble, has_list ? reserved : "");
}

short_text genre(std::uint8_t content_nibble) {
    const bool has_details_only = high_nibble(content_nibble) == group_of_details;
    const std::string_view group =
        has_details_only ? names_of_details : genre_group(content_nibble);
    const std::string_view detail = genre_detail(content_nibble);
    if (detail.empty()) return group;
    const bool says_it_already = group.find(detail) != std::string_view::npos;
    if (says_it_already) return detail;
    return short_text(group).append(", ").append(detail);
}

std::string_view rating_age(std::uint8_t value) { return lookup(rating_ages, low_nibble(value)); }

namespace {

short_text brazilian_rating(std::uint8_t value) {
    constexpr struct {
        unsigned int bit;
        std::string_view name;
    } contents[] = {{0x10, "drugs"}, {0x20, "violence"}, {0x40, "sex"}};
    short_text name(rating_age(value));
    for (const auto& content : contents) {
        if ((value & content.bit) != 0) name.append(", ").append(content.name);
    }
    return name;
}

}  // namespace

short_text rating(std::string_view country_code, std::uint8_t value) {
    if (country_code == "BRA") return brazilian_rating(value);
    if (value == 0) return "undefined";
    if (value > 0x0F) return "defined by the broadcaster";
    std::array<char, 2> age;
    const char* const end = std::to_chars(age.data(), age.data() + age.size(), value + 3).ptr;
    const auto digits = static_cast<std::size_t>(end - age.data());
    return short_text("from ").append({age.data(), digits}).append(" years");
}

short_text application_type(std::uint32_t value) {
    constexpr std::uint32_t test_application_flag = 0x8000;
    short_text name(lookup(application_types, value & ~test_application_flag));
    if ((value & test_application_flag) != 0) name.append(", test");
    return name;
}

std::string_view application_control_code(std::uint32_t value) {
    return lookup(application_control_codes, value);
}
std::string_view visibility(std::uint32_t value) { return lookup(visibilities, value); }
std::string_view protocol_id(std::uint32_t value) { return lookup(protocol_ids, value); }

short_text language(std::uint32_t value) {
    short_text letters;
    for (const int shift : {16, 8, 0}) {
        const char letter = static_cast<char>(value >> shift & 0xFF);
        const bool is_letter = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
        if (!is_letter) return reserved;
        letters.append(letter);
    }
    return letters;
}

short_text bcd_time(std::uint32_t value) {
    short_text time;
    for (const int shift : {12, 8, 4, 0}) {
        const std::uint32_t digit = value >> shift & 0xF;
        if (digit > 9) return reserved;
        time.append(static_cast<char>('0' + digit));
        if (shift == 8) time.append(':');
    }
    return time;
}

}  // namespace orvix::broadcast::names
