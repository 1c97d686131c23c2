#include "writers/json_writer.h"

#include <broadcast/descriptor_visit.h>
#include <broadcast/readings/readings.h>
#include <broadcast/readings/refused_reading.h>
#include <broadcast/refusal_outcome.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <optional>

#include "display.h"
#include "utf8.h"
#include "writers/fields.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

// --- Strings that need care ---

/// Whether `words` stand in JSON as they are.
bool is_plain_json(std::string_view words) {
    for (std::size_t i = 0; i < words.size();) {
        const char c = words[i];
        if (c == '"' || c == '\\') return false;
        if (c >= ' ' && c <= '~') {
            ++i;
            continue;
        }
        const utf8_character next = first_character(words.substr(i));
        if (!next.is_valid || is_hidden(next.code)) return false;
        i += next.size;
    }
    return true;
}

/// Beyond four digits in two halves.
void append_escape(std::string& to, char32_t code) {
    constexpr char32_t first_in_halves = 0x10000;
    const auto append_unit = [&](char32_t unit) {
        to += "\\u";
        append_hex_digits(to, static_cast<std::uint32_t>(unit), 4);
    };
    if (code < first_in_halves) return append_unit(code);
    append_unit(0xD800 + ((code - first_in_halves) >> 10));
    append_unit(0xDC00 + ((code - first_in_halves) & 0x3FF));
}

/// What is not UTF-8 is replaced, so that every line stays valid; what hides or steers is escaped.
void append_escaped(std::string& to, std::string_view words) {
    constexpr std::string_view escaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    while (!words.empty()) {
        const utf8_character next = first_character(words);
        const std::size_t letter = escaped.find(words[0]);
        if (!next.is_valid) {
            to += "\uFFFD";
        } else if (letter != std::string_view::npos) {
            to.append(1, '\\').append(1, letters[letter]);
        } else if (is_hidden(next.code)) {
            append_escape(to, next.code);
        } else {
            to.append(words.substr(0, next.size));
        }
        words.remove_prefix(next.size);
    }
}

}  // namespace

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
    explicit json_line(utc_offset offset) : offset_(offset), json_(buffer_) {}

    void begin_object() { json_.StartObject(); }
    void end_object() { json_.EndObject(); }
    void begin_array() { json_.StartArray(); }
    void end_array() { json_.EndArray(); }

    void key(std::string_view name) { json_.plain(name); }
    void integer(std::int64_t value) { json_.Int64(value); }
    void integer(std::uint64_t value) { json_.Uint64(value); }
    void string(std::string_view words) {
        if (is_plain_json(words)) return json_.plain(words);
        escaped_.clear();
        append_escaped(escaped_, words);
        json_.plain(escaped_);
    }
    void hex(std::string_view bytes) {
        escaped_.clear();
        append_hex(escaped_, bytes);
        json_.plain(escaped_);
    }

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
        if (is_utf8(value.bytes)) return field(name, value.bytes);
        field(name, std::string_view(from_iso_8859_15(value.bytes)));
        key_of(name, "_hex");
        hex(value.bytes);
    }
    void operator()(std::string_view name, const moment& value) {
        const std::int64_t sent = as_sent(value.seconds);
        key(name);
        integer(static_cast<std::int64_t>(value.seconds));
        key_of(name, "_iso");
        json_.plain(iso_time(sent, offset_));
        key_of(name, "_unix");
        if (value.seconds == undefined_time) {
            json_.Null();
            return;
        }
        integer(sent - std::chrono::seconds(offset_).count());
        if (value.seconds < 0) {
            key_of(name, "_wrapped");
            json_.Bool(is_wrapped(value.seconds));
        }
    }
    void operator()(std::string_view name, const duration& value) {
        key(name);
        integer(static_cast<std::int64_t>(value.seconds));
        key_of(name, "_iso");
        json_.plain(iso_duration(value.seconds));
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
            visit_descriptor(*value.list[i], [this](const auto& known) { descriptor(known); });
        }
        skipped_before(value.list.size());
        end_array();
    }

    // --- What the broadcast says ---

    void operator()(std::string_view name, const value& v) {
        if (const auto* const octets = std::get_if<value::octets>(&v.is)) {
            key_of(name, "_hex");
            return hex(octets->bytes);
        }
        key(name);
        bare(v);
        const auto* const n = std::get_if<value::number>(&v.is);
        if (n != nullptr && !n->meaning.empty()) {
            key_of(name, "_name");
            string(n->meaning);
        }
    }

    /// `found` is put where it belongs as the fields of its table come.
    void begin_readings(const readings& found) {
        next_skipped_ = found.skipped.data();
        last_skipped_ = next_skipped_ + found.skipped.size();
    }
    void differences(const readings& found) {
        key("differs");
        begin_array();
        for (const difference& d : found.differences) {
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
    void write(output& to) {
        buffer_.Put('\n');
        to.write({buffer_.GetString(), buffer_.GetSize()});
        const bool is_large = buffer_.GetSize() > most_bytes_kept;
        buffer_.Clear();
        if (is_large) buffer_.ShrinkToFit();
        json_.Reset(buffer_);
    }

private:
    // A section's line has some thousand bytes. A rare long one does not keep its memory for good.
    static constexpr std::size_t most_bytes_kept = 256 * 1024;

    void key_of(std::string_view name, std::string_view suffix) {
        std::array<char, 64> joined;  // longer than any name of a field
        char* const end = std::copy(name.begin(), name.end(), joined.data());
        std::copy(suffix.begin(), suffix.end(), end);
        key({joined.data(), name.size() + suffix.size()});
    }

    void bare(const value& v) {
        std::visit([this](const auto& is) { bare(is); }, v.is);
    }
    void bare(std::nullptr_t) { json_.Null(); }
    void bare(const value::number& n) { integer(n.value); }
    void bare(const std::string& words) { string(words); }
    void bare(const value::octets& octets) { hex(octets.bytes); }
    void bare(const value::list& list) {
        begin_array();
        for (const value& v : list) bare(v);
        end_array();
    }
    void bare(const value::record& record) {
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
    void descriptor(const skipped_descriptor& d) {
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

    utc_offset offset_;
    rapidjson::StringBuffer buffer_;
    json_text json_;
    std::string escaped_;
    std::optional<std::size_t> record_;  ///< whose fields are being written; none: the table's
    const skipped_descriptor* next_skipped_ = nullptr;
    const skipped_descriptor* last_skipped_ = nullptr;
};

namespace {

/// Where the section was found, and of which table it is.
void begin_section(json_line& line, const place& where, std::uint32_t table_id) {
    line.begin_object();
    if (!where.file.empty()) line.field("file", std::string_view(where.file));
    line.field(where.pid ? "packet" : "section", where.number);
    if (where.pid) line.field("pid", *where.pid);
    if (where.crc_error) line("crc_error", true);
    line.field("table", names::table_kind(table_id));
}

/// Bare sections have no PID.
std::string pid_key(std::uint16_t pid) {
    return pid == totals::no_pid ? "none" : std::to_string(pid);
}

template <typename Reason>
void add_by_pid(json_line& line, std::string_view name,
                const std::map<std::uint16_t, std::map<Reason, std::uint64_t>>& counts) {
    line.key(name);
    line.begin_object();
    for (const auto& [pid, reasons] : counts) {
        line.key(pid_key(pid));
        line.begin_object();
        for (const auto& [reason, count] : reasons) line.field(to_string(reason), count);
        line.end_object();
    }
    line.end_object();
}

void add_tables(json_line& line, const std::map<std::string_view, totals::table_counts>& tables) {
    line.key("tables");
    line.begin_object();
    for (const auto& [table, count] : tables) {
        line.key(table);
        line.begin_object();
        line.field("sections", count.sections);
        line.field("shown", count.shown);
        line.end_object();
    }
    line.end_object();
}

void add_by_pid(json_line& line, std::string_view name,
                const std::map<std::uint16_t, std::uint64_t>& counts) {
    line.key(name);
    line.begin_object();
    for (const auto& [pid, count] : counts) line.field(pid_key(pid), count);
    line.end_object();
}

void add_not_decoded(json_line& line, const totals& counts) {
    line.key("not_decoded");
    line.begin_object();
    for (const auto& [pid, tables] : counts.not_decoded) {
        line.key(pid_key(pid));
        line.begin_object();
        for (const auto& [table_id, count] : tables) {
            line.key(std::to_string(table_id));
            line.begin_object();
            line.field("name", names::table_id(table_id));
            line.field("sections", count);
            line.end_object();
        }
        line.end_object();
    }
    line.end_object();
}

void add_left_out(json_line& line, const totals& counts) {
    line.key("left_out");
    line.begin_object();
    for (const auto& [what, count] : counts.left_out) line.field(what, count);
    line.end_object();
}

}  // namespace

json_writer::json_writer(output& to, utc_offset offset)
    : to_(to), line_(std::make_unique<json_line>(offset)) {}

json_writer::~json_writer() = default;

void json_writer::table(const sighting& seen) {
    const readings found = read_broadcast(seen.bytes, seen.size, *seen.table);
    line_->begin_readings(found);
    std::visit(
        [&](const auto* decoded) {
            begin_section(*line_, seen.where, decoded->table_id);
            visit_fields(*decoded, *line_);
        },
        *seen.table);
    if (!found.differences.empty()) line_->differences(found);
    line_->end_object();
    line_->write(to_);
}

void json_writer::refused(const place& where, const refusal& what) {
    begin_section(*line_, where, what.section[0]);
    line_->field("table_id", what.section[0]);
    line_->key("refused");
    line_->begin_object();
    line_->field("reason", std::string_view(to_string(what.why.why)));
    line_->field("byte", what.why.byte);
    line_->field("sentence", std::string_view(what.why.text()));
    line_->field("receiver", refusal_outcome(what.why));
    if (is_well_formed(what)) (*line_)("well_formed", true);
    line_->end_object();
    line_->key("bytes");
    line_->hex({reinterpret_cast<const char*>(what.section), what.size});
    line_->end_object();
    line_->write(to_);
}

void json_writer::finish(const totals* counts) {
    if (counts == nullptr) return;
    line_->begin_object();
    line_->key("totals");
    line_->begin_object();
    line_->field("packets", counts->packets);
    line_->field("pids", counts->pids.count());
    add_tables(*line_, counts->tables);
    add_not_decoded(*line_, *counts);
    line_->field("passed_over", counts->passed_over);
    add_by_pid(*line_, "transport_errors", counts->transport_errors);
    add_by_pid(*line_, "continuity_errors", counts->continuity_errors);
    add_by_pid(*line_, "refused", counts->refused);
    add_by_pid(*line_, "dropped", counts->dropped);
    line_->field("skipped_bytes", counts->skipped_bytes);
    line_->field("sync_losses", counts->sync_losses);
    add_left_out(*line_, *counts);
    line_->end_object();
    line_->end_object();
    line_->write(to_);
}

}  // namespace orvix::si_inspect
