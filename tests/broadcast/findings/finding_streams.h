#pragma once

// What is found in streams.

#include <broadcast/findings/findings.h>
#include <broadcast/multiplex.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "timed_stream.h"

namespace orvix::test {

/// What is found in the stream, read in pieces of `piece` bytes, or whole.
inline std::vector<broadcast::finding> found_in(const stream_writer& stream,
                                                const broadcast::finding_limits& limits = {},
                                                std::size_t piece = 0) {
    broadcast::findings all({limits, {}, {}});
    broadcast::multiplex from("", all, {});
    const bytes read = stream.stream();
    const std::size_t most = piece == 0 ? read.size() : piece;
    for (std::size_t at = 0; at < read.size(); at += most) {
        const std::size_t count = std::min(most, read.size() - at);
        std::copy_n(read.data() + at, count, from.room(count));
        from.filled(count);
    }
    from.end();
    all.end();
    return all.told();
}

inline std::vector<broadcast::finding> found_in(const timed_stream& stream,
                                                const broadcast::finding_limits& limits = {}) {
    return found_in(stream.write(), limits);
}

/// Those of one name.
inline std::vector<broadcast::finding> only(std::string_view name,
                                            std::vector<broadcast::finding> all) {
    all.erase(std::remove_if(all.begin(), all.end(),
                             [name](const broadcast::finding& f) {
                                 return broadcast::rule_of(f.kind).name != name;
                             }),
              all.end());
    return all;
}

/// What is said, and nothing else.
inline std::vector<std::string> says(const std::vector<broadcast::finding>& all) {
    std::vector<std::string> sentences;
    for (const broadcast::finding& f : all) sentences.push_back(f.says());
    return sentences;
}
template <typename Stream>
std::vector<std::string> says(std::string_view name, const Stream& stream) {
    return says(only(name, found_in(stream)));
}

}  // namespace orvix::test
