#include "descriptor_bodies.h"

#include <broadcast/names.h>

#include <algorithm>
#include <cstdio>

#include "broadcast_text.h"

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

using number = value::number;
using record = value::record;

number plain(std::int64_t n, std::string_view meaning = {}) { return {n, 0, std::string(meaning)}; }
number hex8(std::int64_t n, std::string_view meaning = {}) { return {n, 2, std::string(meaning)}; }
number hex16(std::int64_t n, std::string_view meaning = {}) { return {n, 4, std::string(meaning)}; }

span body_of(span descriptor) { return descriptor.behind(DESC_HEADER_SIZE); }

value::octets octets(span bytes) {
    return {std::string(reinterpret_cast<const char*>(bytes.begin()), bytes.size())};
}

/// biTStream's getters of a loop's entries take descriptors that may be written to, and do not.
std::uint8_t* for_getter(span descriptor) { return const_cast<std::uint8_t*>(descriptor.begin()); }

// --- FA, terrestrial delivery system ---

constexpr std::string_view guard_intervals[] = {"1/32", "1/16", "1/8", "1/4"};
constexpr std::string_view transmission_modes[] = {"mode 1", "mode 2", "mode 3", "undefined"};

/// In units of 1/7 MHz: channels are 6 MHz wide and lie 1/7 MHz above their middle.
constexpr unsigned int units_per_mhz = 7;
constexpr unsigned int channel_step = 6 * units_per_mhz;
constexpr unsigned int channel_14 = 473 * units_per_mhz + 1;
constexpr unsigned int channel_69 = channel_14 + (69 - 14) * channel_step;

std::string megahertz(unsigned int frequency) {
    const unsigned int kilohertz = (frequency * 1000 + units_per_mhz / 2) / units_per_mhz;
    char text[32];
    std::snprintf(text, sizeof text, "%u.%03u MHz", kilohertz / 1000, kilohertz % 1000);
    return text;
}

value uhf_channel(unsigned int frequency) {
    const bool is_channel = frequency >= channel_14 && frequency <= channel_69 &&
                            (frequency - channel_14) % channel_step == 0;
    if (!is_channel) return {};
    return plain(14 + (frequency - channel_14) / channel_step);
}

record terrestrial_delivery_system(span body) {
    if (body.size() < 2) return {};
    const unsigned int first = body.u16(0);
    value::list frequencies;
    for (span rest = body.behind(2); rest.size() >= 2; rest = rest.behind(2)) {
        const unsigned int frequency = rest.u16(0);
        frequencies.push_back(record{{"frequency", plain(frequency, megahertz(frequency))},
                                     {"UHF_channel", uhf_channel(frequency)}});
    }
    const unsigned int guard_interval = first >> 2 & 3;
    const unsigned int transmission_mode = first & 3;
    return {{"area_code", hex16(first >> 4)},
            {"guard_interval", plain(guard_interval, guard_intervals[guard_interval])},
            {"transmission_mode", plain(transmission_mode, transmission_modes[transmission_mode])},
            {"frequencies", std::move(frequencies)}};
}

// --- FB, partial reception; 41, service list; 40, network name ---

record partial_reception(span body) {
    value::list service_ids;
    for (; body.size() >= 2; body = body.behind(2)) service_ids.push_back(hex16(body.u16(0)));
    return {{"service_ids", std::move(service_ids)}};
}

record service_list(span descriptor) {
    value::list services;
    for (std::uint8_t n = 0;; ++n) {
        const std::uint8_t* const entry = desc41_get_service(for_getter(descriptor), n);
        if (entry == nullptr) break;
        const std::uint8_t type = desc41n_get_type(entry);
        services.push_back(record{{"service_id", hex16(desc41n_get_sid(entry))},
                                  {"service_type", hex8(type, names::service_type(type))}});
    }
    return {{"services", std::move(services)}};
}

record network_name(span descriptor) {
    std::uint8_t length = 0;
    const std::uint8_t* const name = desc40_get_networkname(descriptor.begin(), &length);
    return {{"network_name", broadcast_text({name, length})}};
}

// --- FD, data component; C4, audio component; 0A, ISO 639 language ---

std::string_view data_component(unsigned int data_component_id) {
    switch (data_component_id) {
        case 0x00A0:
            return "carousel of applications";
        case 0x00A3:
            return "application information";
        default:
            return {};
    }
}

record data_component(span body) {
    if (body.size() < 2) return {};
    const unsigned int id = body.u16(0);
    return {{"data_component_id", hex16(id, data_component(id))},
            {"additional_data_component_info", octets(body.behind(2))}};
}

std::string code(span body, std::size_t at) { return broadcast_text(body.behind(at).first(3)); }

record audio_component(span body) {
    constexpr std::size_t fixed = 9;
    if (body.size() < fixed) return {};
    const unsigned int flags = body.u8(5);
    const bool is_multilingual = (flags & 0x80) != 0;
    const std::size_t text = is_multilingual ? fixed + 3 : fixed;
    if (body.size() < text) return {};

    record fields = {{"stream_content", hex8(body.u8(0) & 0x0F)},
                     {"component_type", hex8(body.u8(1))},
                     {"component_tag", hex8(body.u8(2), names::component_tag(body.u8(2)))},
                     {"stream_type", hex8(body.u8(3), names::stream_type(body.u8(3)))},
                     {"simulcast_group_tag", hex8(body.u8(4))},
                     {"ES_multi_lingual_flag", plain(is_multilingual ? 1 : 0)},
                     {"main_component_flag", plain(flags >> 6 & 1)},
                     {"quality_indicator", plain(flags >> 4 & 3)},
                     {"sampling_rate", plain(flags >> 1 & 7)},
                     {"ISO_639_language_code", code(body, 6)}};
    if (is_multilingual) fields.push_back({"ISO_639_language_code_2", code(body, 9)});
    fields.push_back({"text", broadcast_text(body.behind(text))});
    return fields;
}

template <typename Visit>
void for_each_language(span descriptor, Visit visit) {
    for (std::uint8_t n = 0;; ++n) {
        const std::uint8_t* const entry = desc0a_get_language(for_getter(descriptor), n);
        if (entry == nullptr) break;
        visit(broadcast_text({desc0an_get_code(entry), 3}), desc0an_get_audiotype(entry));
    }
}

record languages(span descriptor) {
    value::list all;
    for_each_language(descriptor, [&](std::string language, std::uint8_t audio_type) {
        all.push_back(
            record{{"ISO_639_language_code", std::move(language)},
                   {"audio_type", hex8(audio_type, desc0a_get_audiotype_txt(audio_type))}});
    });
    return {{"languages", std::move(all)}};
}

// --- 4E, extended event ---

bool is_extended_event(span descriptor) { return desc4e_validate(descriptor.begin()); }

record extended_event_part(span descriptor) {
    if (!is_extended_event(descriptor)) return {};
    std::uint8_t* const d = for_getter(descriptor);
    return {{"descriptor_number", plain(desc4e_get_desc_number(d))},
            {"last_descriptor_number", plain(desc4e_get_last_desc_number(d))},
            {"ISO_639_language_code", broadcast_text({desc4e_get_lang(d), 3})}};
}

using octet_string = std::vector<std::uint8_t>;

void append(octet_string& to, const std::uint8_t* bytes, std::size_t size) {
    to.insert(to.end(), bytes, bytes + size);
}
std::string text_of(const octet_string& bytes) {
    return broadcast_text({bytes.data(), bytes.size()});
}

/// Joins bytes, not texts: a part may end anywhere.
class joined_parts {
public:
    void add(span descriptor) {
        const std::uint8_t* item = descriptor.begin() + DESC4E_HEADER_SIZE + 1;
        const std::uint8_t* const end = item + desc4e_get_items_length(descriptor.begin());
        while (item < end) item = add_item(item);

        std::uint8_t length = 0;
        const std::uint8_t* const text = desc4e_get_text(for_getter(descriptor), &length);
        append(text_, text, length);
    }

    record fields() const {
        value::list items;
        for (const joined_item& item : items_) {
            items.push_back(record{{"item_description", text_of(item.description)},
                                   {"item", text_of(item.text)}});
        }
        return {{"items", std::move(items)}, {"text", text_of(text_)}};
    }

private:
    struct joined_item {
        octet_string description;
        octet_string text;
    };

    /// Returns where the next one begins. One without a description goes on with the one before.
    const std::uint8_t* add_item(const std::uint8_t* at) {
        std::uint8_t description_length = 0;
        const std::uint8_t* const description =
            desc4en_get_item_description(at, &description_length);
        std::uint8_t text_length = 0;
        const std::uint8_t* const text = desc4en_get_item_text(at, &text_length);
        if (items_.empty() || description_length != 0) items_.emplace_back();
        append(items_.back().description, description, description_length);
        append(items_.back().text, text, text_length);
        return text + text_length;
    }

    std::vector<joined_item> items_;
    octet_string text_;
};

}  // namespace

bool is_whole(span descriptor) {
    return descriptor.size() >= DESC_HEADER_SIZE &&
           descriptor.size() == DESC_HEADER_SIZE + std::size_t{desc_get_length(descriptor.begin())};
}

record fields_of(span descriptor) {
    switch (desc_get_tag(descriptor.begin())) {
        case 0x0A:
            return languages(descriptor);
        case 0x40:
            return network_name(descriptor);
        case 0x41:
            return service_list(descriptor);
        case 0x4E:
            return extended_event_part(descriptor);
        case 0xC4:
            return audio_component(body_of(descriptor));
        case 0xFA:
            return terrestrial_delivery_system(body_of(descriptor));
        case 0xFB:
            return partial_reception(body_of(descriptor));
        case 0xFD:
            return data_component(body_of(descriptor));
        default:
            return {};
    }
}

void extended_events::add(std::size_t id, span descriptor) {
    if (!is_extended_event(descriptor)) return;
    const std::uint8_t* const language = desc4e_get_lang(descriptor.begin());
    const std::uint32_t code = static_cast<std::uint32_t>(language[0]) << 16 |
                               static_cast<std::uint32_t>(language[1]) << 8 | language[2];
    parts_.push_back({code << 4 | desc4e_get_desc_number(for_getter(descriptor)), id, descriptor});
}

std::vector<extended_events::joined> extended_events::join() {
    const auto language_of = [](const part& p) { return p.order >> 4; };
    std::stable_sort(parts_.begin(), parts_.end(),
                     [](const part& a, const part& b) { return a.order < b.order; });
    std::vector<joined> events;
    for (auto p = parts_.begin(); p != parts_.end();) {
        const std::size_t first = p->id;
        const std::uint32_t language = language_of(*p);
        joined_parts parts;
        for (; p != parts_.end() && language_of(*p) == language; ++p) parts.add(p->descriptor);
        events.push_back({first, parts.fields()});
    }
    return events;
}

std::string languages_of(span descriptor) {
    std::string codes;
    for_each_language(descriptor, [&](const std::string& language, std::uint8_t /*audio_type*/) {
        codes += (codes.empty() ? "" : ", ") + language;
    });
    return codes;
}

}  // namespace orvix::broadcast
