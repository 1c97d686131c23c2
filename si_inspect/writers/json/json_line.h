#pragma once

#include <broadcast/descriptor_visit.h>
#include <broadcast/readings/readings.h>
#include <broadcast/times.h>
#include <broadcast/utf8.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "output.h"
#include "writers/fields.h"

namespace orvix::si_inspect {

/// RapidJSON's writer, and strings whose escapes are known.
class json_text : public rapidjson::Writer<rapidjson::StringBuffer> {
public:
    using Writer::Writer;

    /// A string that stands in JSON as it is.
    void plain(std::string_view words) {
        Prefix(rapidjson::kStringType);
        quote(os_->Push(words.size() + quotes), words);
    }

    // --- Half of a line is keys: they are put out at once, with their value if it is short ---

    /// A key of two parts that stand in JSON as they are.
    void key(std::string_view name, std::string_view suffix) { push_key(name, suffix, 1, 0); }
    void plain(std::string_view name, std::string_view suffix, std::string_view words) {
        char* const to = push_key(name, suffix, 2, 1 + words.size() + quotes);
        *to = ':';
        quote(to + 1, words);
    }
    template <typename Integer>
    void integer(std::string_view name, std::string_view suffix, Integer value) {
        constexpr std::size_t most_digits = 20;
        char* const to = push_key(name, suffix, 2, 1 + most_digits);
        *to = ':';
        const char* const end = std::to_chars(to + 1, to + 1 + most_digits, value).ptr;
        os_->Pop(static_cast<std::size_t>(to + 1 + most_digits - end));
    }

private:
    static constexpr std::size_t quotes = 2;

    static char* quote(char* to, std::string_view words, std::string_view suffix = {}) {
        *to++ = '"';
        to = std::copy(words.begin(), words.end(), to);
        to = std::copy(suffix.begin(), suffix.end(), to);
        *to++ = '"';
        return to;
    }

    /// Returns where `room` begins, behind the key. `values` counts it and what comes there.
    char* push_key(std::string_view name, std::string_view suffix, std::size_t values,
                   std::size_t room) {
        std::size_t& count = level_stack_.template Top<Level>()->valueCount;
        const bool is_first = count == 0;
        count += values;
        const std::size_t size = name.size() + suffix.size() + quotes;
        char* to = os_->Push((is_first ? 0 : 1) + size + room);
        if (!is_first) *to++ = ',';
        return quote(to, name, suffix);
    }
};

/// A line as it grows: an object, and the objects and arrays within. Its memory serves the next
/// line as well.
class json_line {
public:
    explicit json_line(broadcast::utc_offset offset) : offset_(offset), json_(buffer_) {}

    void begin_object() { json_.StartObject(); }
    void end_object() { json_.EndObject(); }
    void begin_array() { json_.StartArray(); }
    void end_array() { json_.EndArray(); }

    void key(std::string_view name, std::string_view suffix = {}) { json_.key(name, suffix); }
    void integer(std::int64_t value) { json_.Int64(value); }
    void integer(std::uint64_t value) { json_.Uint64(value); }
    void null() { json_.Null(); }
    /// Escaped where that is needed.
    void string(std::string_view words);
    void hex(std::string_view bytes) {
        escaped_.resize(2 * bytes.size());
        write_hex(escaped_.data(), bytes);
        json_.plain(escaped_);
    }

    /// In millionths at most; null for none.
    void decimal(std::string_view name, std::optional<double> value);
    /// The broadcast's clock as it stands, and its offset; null for none.
    void iso_time(std::string_view name, std::optional<std::int64_t> time);

    // --- Fields: each value under its name, and its meaning beside it ---

    template <typename Value>
    void field(std::string_view name, Value value) {
        if constexpr (std::is_integral_v<Value>) {
            json_.integer(name, {}, static_cast<std::uint64_t>(value));
        } else {
            key(name);
            string(value);
        }
    }

    /// Words of our own, which need no escapes.
    void word(std::string_view name, std::string_view value) { json_.plain(name, {}, value); }

    void operator()(std::string_view name, bool value) {
        key(name);
        json_.Bool(value);
    }
    template <typename Value, typename Meaning>
    void operator()(std::string_view name, const number<Value, Meaning>& n) {
        json_.integer(name, {}, static_cast<std::int64_t>(n.value));
        if constexpr (!std::is_same_v<Meaning, no_meaning>) {
            json_.plain(name, "_name", n.meaning(n.value));
        }
    }
    template <typename Value>
    void operator()(std::string_view name, const std::optional<Value>& value) {
        if (value) return (*this)(name, *value);
        key(name);
        json_.Null();
    }
    void operator()(std::string_view name, const text& value) { field(name, value.utf8); }
    void operator()(std::string_view name, const raw_text& value) {
        if (broadcast::is_utf8(value.bytes)) return field(name, value.bytes);
        field(name, std::string_view(broadcast::from_iso_8859_15(value.bytes)));
        key(name, "_hex");
        hex(value.bytes);
    }
    void operator()(std::string_view name, const moment& value) {
        const std::int64_t sent = broadcast::as_sent(value.seconds);
        json_.integer(name, {}, static_cast<std::int64_t>(value.seconds));
        json_.plain(name, "_iso", broadcast::iso_time(sent, offset_));
        key(name, "_unix");
        if (value.seconds == broadcast::undefined_time) {
            json_.Null();
            return;
        }
        integer(sent - std::chrono::seconds(offset_).count());
        if (value.seconds < 0) {
            key(name, "_wrapped");
            json_.Bool(broadcast::is_wrapped(value.seconds));
        }
    }
    void operator()(std::string_view name, const duration& value) {
        json_.integer(name, {}, static_cast<std::int64_t>(value.seconds));
        json_.plain(name, "_iso", broadcast::iso_duration(value.seconds));
    }
    template <typename Entries, typename Describe>
    void operator()(std::string_view name, const loop<Entries, Describe>& value) {
        key(name);
        begin_array();
        const std::optional<std::size_t> outer = record_;
        record_ = 0;
        for (const auto& entry : value.entries) {
            begin_object();
            value.describe(entry, *this);
            end_object();
            ++*record_;
        }
        record_ = outer;
        end_array();
    }
    void operator()(std::string_view name, const descriptors& value) {
        key(name);
        begin_array();
        for (std::size_t i = 0; i < value.list.size(); ++i) {
            skipped_before(i);
            broadcast::visit_descriptor(*value.list[i],
                                        [this](const auto& known) { descriptor(known); });
        }
        skipped_before(value.list.size());
        end_array();
    }

    // --- What the broadcast says ---

    void operator()(std::string_view name, const broadcast::value& v) {
        if (const auto* const octets = std::get_if<broadcast::value::octets>(&v.is)) {
            key(name, "_hex");
            return hex(octets->bytes);
        }
        key(name);
        bare(v);
        const auto* const n = std::get_if<broadcast::value::number>(&v.is);
        if (n != nullptr && !n->meaning.empty()) {
            key(name, "_name");
            string(n->meaning);
        }
    }

    /// `found` is put where it belongs as the fields of its table come.
    void begin_readings(const broadcast::readings& found) {
        next_skipped_ = found.skipped.data();
        last_skipped_ = next_skipped_ + found.skipped.size();
    }
    void differences(const broadcast::readings& found) {
        key("differs");
        begin_array();
        for (const broadcast::difference& d : found.differences) {
            begin_object();
            field("pointer", std::string_view(d.at.pointer()));
            key("broadcast");
            bare(d.broadcast);
            field("why", std::string_view(d.why));
            end_object();
        }
        end_array();
    }

    /// Writes the line, whole, and is empty again.
    void write(output& to);

private:
    void bare(const broadcast::value& v) {
        std::visit([this](const auto& is) { bare(is); }, v.is);
    }
    void bare(std::nullptr_t) { json_.Null(); }
    void bare(const broadcast::value::number& n) { integer(n.value); }
    void bare(const std::string& words) { string(words); }
    void bare(const broadcast::value::octets& octets) { hex(octets.bytes); }
    void bare(const broadcast::value::list& list) {
        begin_array();
        for (const broadcast::value& v : list) bare(v);
        end_array();
    }
    void bare(const broadcast::value::record& record) {
        begin_object();
        visit_fields(record, *this);
        end_object();
    }

    void skipped_before(std::size_t known) {
        for (; next_skipped_ != last_skipped_ && next_skipped_->record == record_ &&
               next_skipped_->known_before == known;
             ++next_skipped_) {
            descriptor(*next_skipped_);
        }
    }
    void descriptor(const broadcast::skipped_descriptor& d) {
        begin_object();
        (*this)("tag", hex8(d.tag));
        (*this)("length", plain(d.length));
        word("type", "skipped");
        word("tag_name", d.name);
        visit_fields(d.fields, *this);
        key("bytes");
        hex({reinterpret_cast<const char*>(d.body), d.body_size});
        end_object();
    }
    template <typename Descriptor>
    void descriptor(const Descriptor& d) {
        begin_object();
        (*this)("tag", hex8(d.tag));
        (*this)("length", plain(d.length));
        word("type", type_name<Descriptor>);
        visit_fields(d, *this);
        end_object();
    }

    broadcast::utc_offset offset_;
    rapidjson::StringBuffer buffer_;
    json_text json_;
    std::string escaped_;
    std::optional<std::size_t> record_;  ///< whose fields are being written; none: the table's
    const broadcast::skipped_descriptor* next_skipped_ = nullptr;
    const broadcast::skipped_descriptor* last_skipped_ = nullptr;
};

}  // namespace orvix::si_inspect
