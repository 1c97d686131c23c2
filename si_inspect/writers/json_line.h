#pragma once

#include <broadcast/descriptor_visit.h>
#include <broadcast/readings/readings.h>
#include <broadcast/times.h>
#include <broadcast/utf8.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
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

    /// A key or a string that stands in JSON as it is.
    void plain(std::string_view words) {
        Prefix(rapidjson::kStringType);
        char* const quoted = os_->Push(words.size() + 2);
        quoted[0] = '"';
        std::copy(words.begin(), words.end(), quoted + 1);
        quoted[words.size() + 1] = '"';
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

    void key(std::string_view name) { json_.plain(name); }
    void integer(std::int64_t value) { json_.Int64(value); }
    void integer(std::uint64_t value) { json_.Uint64(value); }
    void null() { json_.Null(); }
    /// Escaped where that is needed.
    void string(std::string_view words);
    void hex(std::string_view bytes) {
        escaped_.clear();
        append_hex(escaped_, bytes);
        json_.plain(escaped_);
    }

    /// In millionths at most; null for none.
    void decimal(std::string_view name, std::optional<double> value);
    /// The broadcast's clock as it stands, and its offset; null for none.
    void iso_time(std::string_view name, std::optional<std::int64_t> time);

    // --- Fields: each value under its name, and its meaning beside it ---

    template <typename Value>
    void field(std::string_view name, Value value) {
        key(name);
        if constexpr (std::is_integral_v<Value>) {
            integer(static_cast<std::uint64_t>(value));
        } else {
            string(value);
        }
    }

    void operator()(std::string_view name, bool value) {
        key(name);
        json_.Bool(value);
    }
    template <typename Value, typename Meaning>
    void operator()(std::string_view name, const number<Value, Meaning>& n) {
        key(name);
        integer(static_cast<std::int64_t>(n.value));
        if constexpr (!std::is_same_v<Meaning, no_meaning>) {
            key_of(name, "_name");
            json_.plain(n.meaning(n.value));  // our own words
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
        key_of(name, "_hex");
        hex(value.bytes);
    }
    void operator()(std::string_view name, const moment& value) {
        const std::int64_t sent = broadcast::as_sent(value.seconds);
        key(name);
        integer(static_cast<std::int64_t>(value.seconds));
        key_of(name, "_iso");
        json_.plain(broadcast::iso_time(sent, offset_));
        key_of(name, "_unix");
        if (value.seconds == broadcast::undefined_time) {
            json_.Null();
            return;
        }
        integer(sent - std::chrono::seconds(offset_).count());
        if (value.seconds < 0) {
            key_of(name, "_wrapped");
            json_.Bool(broadcast::is_wrapped(value.seconds));
        }
    }
    void operator()(std::string_view name, const duration& value) {
        key(name);
        integer(static_cast<std::int64_t>(value.seconds));
        key_of(name, "_iso");
        json_.plain(broadcast::iso_duration(value.seconds));
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
            key_of(name, "_hex");
            return hex(octets->bytes);
        }
        key(name);
        bare(v);
        const auto* const n = std::get_if<broadcast::value::number>(&v.is);
        if (n != nullptr && !n->meaning.empty()) {
            key_of(name, "_name");
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
    void key_of(std::string_view name, std::string_view suffix) {
        std::array<char, 64> joined;  // longer than any name of a field
        char* const end = std::copy(name.begin(), name.end(), joined.data());
        std::copy(suffix.begin(), suffix.end(), end);
        key({joined.data(), name.size() + suffix.size()});
    }

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
        field("type", "skipped");
        field("tag_name", d.name);
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
        key("type");
        json_.plain(type_name<Descriptor>);
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
