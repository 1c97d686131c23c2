#include "component_checks.h"

#include <broadcast/findings/wording.h>
#include <broadcast/names.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>

namespace orvix::broadcast {

namespace {

struct tag_range {
    std::uint8_t first = 0;
    std::uint8_t last = 0;
};

/// The component_tags of a kind of stream; those of 1-seg services come last.
struct tags_of_kind {
    std::array<std::uint8_t, 5> stream_types;  ///< 0 where there are fewer
    std::array<tag_range, 4> ranges;           ///< the last one again where there are fewer
    std::string_view words;
};

constexpr std::array<tags_of_kind, 5> kinds = {{
    {{0x01, 0x02, 0x1B, 0x24},
     {{{0x00, 0x0F}, {0x81, 0x82}, {0x81, 0x82}, {0x81, 0x82}}},
     "video has 0x00 to 0x0F, in 1-seg 0x81 and 0x82"},
    {{0x03, 0x04, 0x0F, 0x11},
     {{{0x10, 0x2F}, {0x83, 0x86}, {0x90, 0x91}, {0x90, 0x91}}},
     "audio has 0x10 to 0x2F, in 1-seg 0x83 to 0x86, 0x90 and 0x91"},
    {{0x06},
     {{{0x30, 0x3F}, {0x87, 0x88}, {0x87, 0x88}, {0x87, 0x88}}},
     "captions and superimposed text have 0x30 to 0x3F, in 1-seg 0x87 and 0x88"},
    {{0x0B},
     {{{0x40, 0x6F}, {0x80, 0x80}, {0x89, 0x8B}, {0x89, 0x8B}}},
     "carousels have 0x40 to 0x6F and 0x80, in 1-seg 0x89 to 0x8B"},
    // Event messages, and carousels besides them.
    {{0x0C, 0x0D},
     {{{0x40, 0x7F}, {0x80, 0x80}, {0x89, 0x8B}, {0x89, 0x8B}}},
     "carousels and event messages have 0x40 to 0x80, in 1-seg 0x89 to 0x8B"},
}};

const tags_of_kind* kind_of(std::uint8_t stream_type) {
    const auto* const found =
        std::find_if(kinds.begin(), kinds.end(), [stream_type](const tags_of_kind& kind) {
            const auto& types = kind.stream_types;
            return stream_type != 0 &&
                   std::find(types.begin(), types.end(), stream_type) != types.end();
        });
    return found == kinds.end() ? nullptr : found;
}

bool allows(const tags_of_kind& kind, std::uint8_t tag) {
    return std::any_of(kind.ranges.begin(), kind.ranges.end(), [tag](const tag_range& range) {
        return tag >= range.first && tag <= range.last;
    });
}

}  // namespace

void component_checks::packets_passed() {
    if (pace_.is_due(to_.now())) review();
}

void component_checks::review() {
    std::uint64_t looked_at = 0;
    to_.begin_review();
    pmts_.for_each([&](std::uint16_t service_id, const std::vector<sent_stream>& streams) {
        looked_at += 1 + streams.size();
        check_tags(service_id, streams);
    });
    looked_at +=
        to_.end_review({finding_kind::component_tag_twice, finding_kind::component_tag_kind});
    pace_.reviewed(to_.now(), looked_at);
}

void component_checks::check_tags(std::uint16_t service_id,
                                  const std::vector<sent_stream>& streams) {
    std::array<std::optional<std::uint16_t>, 0x100> pids = {};  // by component_tag
    for (const sent_stream& stream : streams) {
        if (!stream.component_tag) continue;
        const std::uint8_t tag = *stream.component_tag;
        check_kind(service_id, stream);
        const std::optional<std::uint16_t> other = std::exchange(pids[tag], stream.elementary_pid);
        if (!other) continue;
        to_.stands({finding_kind::component_tag_twice, {{}, service_id, tag}, {}, {}, {}}, [&] {
            return wording::pid(*other) + " and " + wording::pid(stream.elementary_pid) + " of " +
                   wording::service(service_id) + " both have component_tag " +
                   wording::hex(tag, 2) + ": receivers may take one for the other";
        });
    }
}

void component_checks::check_kind(std::uint16_t service_id, const sent_stream& stream) {
    const std::uint8_t tag = *stream.component_tag;
    const tags_of_kind* const kind = kind_of(stream.stream_type);
    if (kind == nullptr || allows(*kind, tag)) return;
    const finding_subject about = {stream.elementary_pid, service_id, tag};
    to_.stands({finding_kind::component_tag_kind, about, {}, {}, {}}, [&] {
        return wording::pid(stream.elementary_pid) + " of " + wording::service(service_id) +
               " is " + std::string(names::stream_type(stream.stream_type)) + " (stream_type " +
               wording::hex(stream.stream_type, 2) + ") with component_tag " +
               wording::hex(tag, 2) + ": " + std::string(kind->words);
    });
}

}  // namespace orvix::broadcast
