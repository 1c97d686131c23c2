#pragma once

#include <broadcast/observer.h>
#include <broadcast/times.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sink.h"
#include "writers/text/text_writer.h"

namespace orvix::si_inspect {

/// The blocks of the text format, gathered by kind of table.
class table_texts {
public:
    struct kind {
        std::string name;            ///< "pat", "pmt", ...; empty for tables that are not decoded
        std::string text;            ///< blocks with a blank line between
        std::uint64_t sections = 0;  ///< in `text`
        std::uint64_t left_out = 0;  ///< for which there was no room
    };

    explicit table_texts(broadcast::utc_offset offset) : offset_(offset) {}

    void table(const broadcast::sighting& seen);
    void refused(const broadcast::place& where, const broadcast::refusal& what);

    /// Those that have come, in the order in which a receiver needs them.
    std::vector<kind> told() const;

private:
    // Everything but a long schedule fits. A page of eight kinds stays below a mebibyte.
    static constexpr std::size_t most_bytes_of_a_kind = 96 * 1024;

    class string_sink : public sink {
    public:
        explicit string_sink(std::string& to) : to_(to) {}
        void write(std::string_view text) override { to_ += text; }

    private:
        std::string& to_;
    };

    template <typename Write>
    void add(std::uint8_t table_id, Write write);

    broadcast::utc_offset offset_;
    std::map<std::string_view, kind> kinds_;
};

}  // namespace orvix::si_inspect
