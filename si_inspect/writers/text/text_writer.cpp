#include "writers/text/text_writer.h"

#include <broadcast/descriptor_visit.h>
#include <broadcast/readings/readings.h>
#include <broadcast/readings/refused_reading.h>
#include <broadcast/refusal_outcome.h>
#include <broadcast/utf8.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>
#include <tuple>
#include <vector>

#include "ascii.h"
#include "display.h"
#include "writers/fields.h"
#include "writers/text/findings_text.h"
#include "writers/text/guide_text.h"
#include "writers/text/services_text.h"
#include "writers/text/text_buffer.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::size_t indent_step = 2;
constexpr std::string_view column_gap = "  ";

constexpr std::string_view bold = "\033[1m";
constexpr std::string_view cyan = "\033[36m";
constexpr std::string_view yellow = "\033[33m";
constexpr std::string_view no_color = "\033[0m";

// --- Kinds of field ---

template <typename Value>
struct is_loop : std::false_type {};
template <typename Entries, typename Describe>
struct is_loop<loop<Entries, Describe>> : std::true_type {};

template <typename Value>
constexpr bool is_descriptors = std::is_same_v<Value, descriptors>;

/// Whether a field has a value of its own, which stands in a column of its loop.
template <typename Value>
constexpr bool is_cell = !is_loop<Value>::value && !is_descriptors<Value>;

/// Whether all that is shown of its value is digits and our own words, and so ASCII.
template <typename Value>
struct is_in_our_words : std::false_type {};
template <typename Value, typename Meaning>
struct is_in_our_words<number<Value, Meaning>> : std::true_type {};
template <typename Value>
struct is_in_our_words<std::optional<Value>> : is_in_our_words<Value> {};

/// Whether its value stands on the line of its name. A loop without entries has "none" there.
template <typename Value>
bool is_single(const Value& value) {
    if constexpr (is_loop<Value>::value) return value.entries.empty();
    return is_cell<Value>;
}

/// Whether the receiver's value already says what was sent: a time that wrapped, a tag that is not
/// there.
template <typename Value>
bool says_what_was_sent(const Value& /*value*/) {
    return std::is_same_v<Value, moment>;
}
template <typename Value>
bool says_what_was_sent(const std::optional<Value>& value) {
    return !value;
}

/// Where a field's value begins behind its name: counts the single fields, measures their names.
struct name_column {
    std::size_t width = 0;
    std::size_t singles = 0;
    std::size_t fields = 0;

    template <typename Value>
    void operator()(std::string_view name, const Value& value) {
        ++fields;
        if (!is_single(value)) return;
        ++singles;
        width = std::max(width, name.size());
    }
};

// --- One value ---

/// A number and the signs around it, put together before it is appended.
class short_line {
public:
    short_line& operator<<(char sign) {
        *end_++ = sign;
        return *this;
    }
    short_line& decimal(std::int64_t value) {
        end_ = std::to_chars(end_, bytes_.data() + bytes_.size(), value).ptr;
        return *this;
    }
    short_line& hex(std::uint32_t value, int least_digits) {
        end_ = write_hex_number(end_, value, least_digits);
        return *this;
    }
    operator std::string_view() const {
        return {bytes_.data(), static_cast<std::size_t>(end_ - bytes_.data())};
    }

private:
    std::array<char, 48> bytes_;  // two numbers of 64 bits and their brackets
    char* end_ = bytes_.data();
};

/// Appends values as people read them.
class value_printer {
public:
    value_printer(text_buffer& to, utc_offset offset) : to_(to), offset_(offset) {}

    void operator()(bool value) { to_ += value ? "true" : "false"; }
    template <typename Value, typename Meaning>
    void operator()(const number<Value, Meaning>& n) {
        short_line line;
        if constexpr (!std::is_same_v<Meaning, no_meaning>) {
            to_ += n.meaning(n.value);
            to_ += put_raw(line << ' ' << '(', n) << ')';
        } else {
            put_raw(line, n);
            if (n.hex_digits != 0) (line << ' ' << '(').decimal(n.value) << ')';
            to_ += line;
        }
    }
    template <typename Value>
    void operator()(const std::optional<Value>& value) {
        if (value) return (*this)(*value);
        to_ += "none";
    }
    void operator()(const text& value) { append_quoted(value.utf8); }
    void operator()(const raw_text& value) {
        if (is_utf8(value.bytes)) return append_quoted(value.bytes);
        append_quoted(from_iso_8859_15(value.bytes));
        to_ += " (ISO/IEC 8859-15)";
    }
    void operator()(const moment& value) {
        append_with_raw(iso_time(value.seconds, offset_), value.seconds);
        if (value.seconds >= 0 || value.seconds == undefined_time) return;
        if (is_wrapped(value.seconds)) {
            to_ += ", the receiver's clock wrapped: ";
            to_ += iso_time(as_sent(value.seconds), offset_);
            to_ += " on air";
        } else {
            to_ += ", sent so: the receiver's clock has not wrapped";
        }
    }
    void operator()(const duration& value) {
        append_with_raw(clock_duration(value.seconds), value.seconds);
    }
    template <typename Entries, typename Describe>
    void operator()(const loop<Entries, Describe>& /*without entries*/) {
        to_ += "none";
    }
    void operator()(const value& v) {
        std::visit([this](const auto& is) { print(is); }, v.is);
    }

private:
    // What the broadcast says.
    void print(std::nullptr_t) { to_ += "none"; }
    void print(const value::number& n) {
        short_line line;
        if (n.meaning.empty()) {
            print_raw(line, n);
            if (n.hex_digits != 0) (line << ' ' << '(').decimal(n.value) << ')';
            to_ += line;
        } else {
            to_ += n.meaning;
            to_ += print_raw(line << ' ' << '(', n) << ')';
        }
    }
    void print(const std::string& utf8) { append_quoted(utf8); }
    void print(const value::octets& octets) {
        to_ += octets.bytes.empty() ? "none" : "bytes ";
        write_hex(to_.push(2 * octets.bytes.size()), octets.bytes);
    }
    void print(const value::list& list) {
        if (list.empty()) to_ += "none";
        for (const value& v : list) {
            if (&v != &list.front()) {
                to_ += std::holds_alternative<value::record>(v.is) ? "; " : ", ";
            }
            (*this)(v);
        }
    }
    void print(const value::record& record) {
        for (const named_value& field : record) {
            if (&field != &record.front()) to_ += ", ";
            to_ += field.name;
            to_ += ' ';
            (*this)(field.is);
        }
    }
    static short_line& print_raw(short_line& line, const value::number& n) {
        if (n.hex_digits == 0) return line.decimal(n.value);
        return line.hex(static_cast<std::uint32_t>(n.value), n.hex_digits);
    }

    void append_quoted(std::string_view words) {
        to_ += '"';
        const bool is_ascii = printable_ascii(words) == words.size();
        is_ascii ? to_ += words : to_ += printable(words);
        to_ += '"';
    }
    void append_with_raw(std::string_view meaning, std::int64_t raw) {
        short_line line;
        to_ += meaning;
        to_ += (line << ' ' << '(').decimal(raw) << ')';
    }
    template <typename Value, typename Meaning>
    static short_line& put_raw(short_line& line, const number<Value, Meaning>& n) {
        if (n.hex_digits == 0) return line.decimal(n.value);
        return line.hex(static_cast<std::uint32_t>(n.value), n.hex_digits);
    }

    text_buffer& to_;
    utc_offset offset_;
};

}  // namespace

// --- Blocks ---

/// The lines of one section as they grow. Its memory serves the next section as well.
class text_block {
public:
    explicit text_block(const text_writer::settings& how)
        : how_(how), print_(text_, how.offset), print_cell_(cells_text_, how.offset) {}

    void title(const place& where, std::uint32_t table_id) {
        begin_color(bold);
        for (const char c : names::table_kind(table_id)) {
            text_ += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        if (!where.file.empty()) text_.append(column_gap).append(printable(where.file));
        if (where.pid) text_.append(column_gap).append(name_of_pid(*where.pid));
        text_.append(column_gap).append(where.pid ? "packet " : "section ");
        text_ += short_line().decimal(static_cast<std::int64_t>(where.number));
        text_.append(column_gap).append(names::table_id(table_id));
        if (where.crc_error) text_.append(column_gap).append("wrong CRC_32");
        end_color();
        text_ += '\n';
    }

    /// A table's fields, and where the broadcast's reading of it differs.
    template <typename Table>
    void table(const Table& table, const readings& found) {
        found_ = &found;
        told_.assign(found.differences.size(), false);
        next_skipped_ = 0;
        here_ = behind_here_ = nullptr;
        enter(std::nullopt, std::nullopt);
        fields([&table](auto& to) { visit_fields(table, to); }, indent_step);
        found_ = nullptr;
    }

    /// "note: ...", in a colour of its own.
    void remark(std::string_view kind, std::string_view sentence) {
        begin_line(indent_step);
        begin_color(yellow);
        text_.append(kind).append(": ").append(sentence);
        end_color();
        text_ += '\n';
    }

    void append(std::string_view lines) { text_ += lines; }

    /// Writes the block, whole and apart from the one before, and is empty again.
    void write(sink& to) {
        // One write, so that no block is ever seen in part.
        to.write(text_.view());
        text_.clear();
        // The blank line in front of the next one.
        text_ += '\n';
    }

private:
    // Of the loops that fields.h describes.
    static constexpr std::size_t most_columns = 8;

    /// A part of cells_text_.
    struct cell {
        std::size_t begin;
        std::size_t size;
        std::size_t width;  ///< columns of a terminal
    };

    /// Names and values in two columns, each loop behind the field that it belongs to.
    /// `describe(to)` names the fields.
    template <typename Describe>
    void fields(const Describe& describe, std::size_t indent) {
        name_column column;
        describe(column);
        auto line = [&](std::string_view name, const auto& value) {
            using kind = std::decay_t<decltype(value)>;
            if constexpr (!is_cell<kind>) {
                if (!is_single(value)) return named_loop(name, value, indent);
            }
            if constexpr (!is_descriptors<kind>) {
                begin_line(indent);
                begin_color(cyan);
                text_ += name;
                text_.spaces(column.width - name.size());
                end_color();
                text_ += column_gap;
                print_(value);
                const difference* const d = take_difference(name);
                if (d != nullptr && !says_what_was_sent(value)) {
                    append_difference(*d, !is_cell<kind>);
                }
                text_ += '\n';
            }
        };
        describe(line);
        untold_differences(indent, column.width);
    }

    void named_loop(std::string_view name, const descriptors& value, std::size_t indent) {
        const difference* const d = take_difference(name);
        if (value.list.empty() && d == nullptr && !is_skipped_next()) return;
        begin_line(indent);
        colored(name);
        if (d != nullptr) append_difference(*d, true);
        text_ += '\n';
        descriptor_lines(value, indent + indent_step);
    }
    template <typename Entries, typename Describe>
    void named_loop(std::string_view name, const loop<Entries, Describe>& value,
                    std::size_t indent) {
        begin_line(indent);
        colored(name);
        if (const difference* const d = take_difference(name)) append_difference(*d, true);
        text_ += '\n';
        rows(value, indent + indent_step);
    }

    /// A column for each field and a line for each entry, its loops behind it.
    template <typename Entries, typename Describe>
    void rows(const loop<Entries, Describe>& value, std::size_t indent) {
        const std::size_t first_cell = cells_.size();
        const std::size_t first_byte = cells_text_.size();
        std::array<std::size_t, most_columns> widths = {};
        std::size_t column = 0;
        const auto end_cell = [&](std::size_t begin, bool is_ascii) {
            const std::string_view shown = cells_text_.view().substr(begin);
            const std::size_t width =
                is_ascii ? shown.size() : display_width(shown).value_or(shown.size());
            cells_.push_back({begin, shown.size(), width});
            widths[column] = std::max(widths[column], cells_.back().width);
            ++column;
        };
        auto heading = [&](std::string_view name, const auto& field) {
            if constexpr (is_cell<std::decay_t<decltype(field)>>) {
                const std::size_t begin = cells_text_.size();
                cells_text_ += name;
                end_cell(begin, true);
            }
        };
        auto value_cell = [&](std::string_view name, const auto& field) {
            using kind = std::decay_t<decltype(field)>;
            if constexpr (is_cell<kind>) {
                const std::size_t begin = cells_text_.size();
                print_cell_(field);
                const difference* const d = take_difference(name);
                const bool is_told = d != nullptr && !says_what_was_sent(field);
                if (is_told) {
                    cells_text_ += " broadcast: ";
                    print_cell_(d->broadcast);
                }
                end_cell(begin, is_in_our_words<kind>() && !is_told);
            }
        };
        value.describe(*value.entries.begin(), heading);
        const std::size_t columns = column;
        const field_place outer = at_;
        std::size_t record = 0;
        const auto begin_record = [&] {
            // The rows within a descriptor are no records of the table.
            if (!outer.descriptor) enter(record++, std::nullopt);
        };
        for (const auto& entry : value.entries) {
            column = 0;
            begin_record();
            value.describe(entry, value_cell);
        }
        record = 0;

        std::size_t next = first_cell;
        const auto line_of_cells = [&] {
            for (column = 0; column < columns; ++column) {
                const bool is_last = column + 1 == columns;
                append_cell(cells_[next++], is_last ? 0 : widths[column]);
                if (!is_last) text_ += column_gap;
            }
        };
        auto loops = [&](std::string_view name, const auto& field) {
            using kind = std::decay_t<decltype(field)>;
            if constexpr (is_descriptors<kind>) {
                descriptor_lines(field, indent + indent_step);
            } else if constexpr (is_loop<kind>::value) {
                if (!is_single(field)) named_loop(name, field, indent + indent_step);
            }
        };
        begin_line(indent);
        begin_color(cyan);
        line_of_cells();
        end_color();
        text_ += '\n';
        for (const auto& entry : value.entries) {
            begin_line(indent);
            line_of_cells();
            text_ += '\n';
            begin_record();
            value.describe(entry, loops);
        }
        if (!outer.descriptor) enter(outer.record, std::nullopt);
        cells_.resize(first_cell);
        cells_text_.shorten(first_byte);
    }

    void append_cell(const cell& shown, std::size_t width) {
        text_ += cells_text_.view().substr(shown.begin, shown.size);
        if (width > shown.width) text_.spaces(width - shown.width);
    }

    /// Known descriptors and skipped ones, as they were sent.
    void descriptor_lines(const descriptors& value, std::size_t indent) {
        std::size_t number = 0;
        for (std::size_t i = 0; i <= value.list.size(); ++i) {
            while (is_skipped_next(i)) {
                enter(at_.record, number++);
                skipped(indent);
            }
            if (i == value.list.size()) break;
            enter(at_.record, number++);
            visit_descriptor(*value.list[i], [&](const auto& known) { descriptor(known, indent); });
        }
        enter(at_.record, std::nullopt);
    }

    /// "0x52 stream_identifier_descriptor, 1 byte"
    void descriptor_heading(std::uint8_t tag, std::string_view type, std::uint8_t length,
                            std::size_t indent) {
        begin_line(indent);
        text_ += short_line().hex(tag, 2) << ' ';
        colored(type);
        text_ += std::string_view(", ");
        text_ += short_line().decimal(length);
        text_ += length == 1 ? " byte" : " bytes";
    }

    template <typename Descriptor>
    void descriptor(const Descriptor& d, std::size_t indent) {
        descriptor_heading(d.tag, type_name<Descriptor>, d.length, indent);
        if (const difference* const other = take_difference("type")) {
            append_difference(*other, false);
        }
        descriptor_body([&d](auto& to) { visit_fields(d, to); }, indent);
    }

    void skipped(std::size_t indent) {
        const skipped_descriptor& d = found_->skipped[next_skipped_++];
        descriptor_heading(d.tag, d.name, d.length, indent);
        begin_color(yellow);
        text_ += ", skipped by the receiver";
        end_color();
        if (!d.fields.empty()) {
            return descriptor_body([&d](auto& to) { visit_fields(d.fields, to); }, indent);
        }
        if (d.body_size != 0) {
            text_ += ": bytes ";
            write_hex(text_.push(2 * d.body_size),
                      {reinterpret_cast<const char*>(d.body), d.body_size});
        }
        text_ += '\n';
    }

    /// What it says: a single field on the same line.
    template <typename Describe>
    void descriptor_body(const Describe& describe, std::size_t indent) {
        name_column told;
        describe(told);
        if (told.fields == 1 && told.singles == 1) {
            auto only = [&](std::string_view name, const auto& value) {
                if constexpr (!is_descriptors<std::decay_t<decltype(value)>>) {
                    text_ += ": ";
                    colored(name);
                    text_ += ' ';
                    print_(value);
                    if (const difference* const d = take_difference(name)) {
                        append_difference(*d, false);
                    }
                }
            };
            describe(only);
            text_ += '\n';
            untold_differences(indent + 2 * indent_step, 0);
        } else {
            text_ += '\n';
            fields(describe, indent + 2 * indent_step);
        }
    }

    // --- What the broadcast says ---

    bool is_skipped_next() const {
        return found_ != nullptr && next_skipped_ < found_->skipped.size() &&
               found_->skipped[next_skipped_].record == at_.record;
    }
    bool is_skipped_next(std::size_t known_before) const {
        return is_skipped_next() && found_->skipped[next_skipped_].known_before == known_before;
    }

    /// Goes on with another record or descriptor: its differences are looked up once for all
    /// fields.
    void enter(std::optional<std::size_t> record, std::optional<std::size_t> descriptor) {
        at_.record = record;
        at_.descriptor = descriptor;
        const std::vector<difference>& all = found_->differences;
        if (all.empty()) return;
        std::tie(here_, behind_here_) =
            std::equal_range(all.data(), all.data() + all.size(), at_, place_order());
    }
    struct place_order {
        static auto key(const field_place& at) { return std::tie(at.record, at.descriptor); }
        static auto key(const difference& d) { return key(d.at); }
        template <typename A, typename B>
        bool operator()(const A& a, const B& b) const {
            return key(a) < key(b);
        }
    };

    /// Of the field of this name, if there is one.
    const difference* take_difference(std::string_view name) {
        if (here_ == behind_here_) return nullptr;
        const difference* const found = std::find_if(
            here_, behind_here_, [name](const difference& d) { return d.at.field == name; });
        if (found == behind_here_) return nullptr;
        told_[number_of(*found)] = true;
        return found;
    }
    std::size_t number_of(const difference& d) const {
        return static_cast<std::size_t>(&d - found_->differences.data());
    }

    void append_difference(const difference& d, bool with_reason) {
        text_ += column_gap;
        begin_color(yellow);
        text_ += "broadcast: ";
        print_(d.broadcast);
        if (with_reason) text_.append(" (").append(d.why).append(")");
        end_color();
    }

    /// Those of fields that the receiver's object lacks.
    void untold_differences(std::size_t indent, std::size_t width) {
        for (const difference* d = here_; d != behind_here_; ++d) {
            if (told_[number_of(*d)]) continue;
            begin_line(indent);
            colored(d->at.field);
            text_.spaces(width - std::min(width, d->at.field.size()));
            append_difference(*d, true);
            text_ += '\n';
        }
    }

    void begin_line(std::size_t indent) { text_.spaces(indent); }
    void begin_color(std::string_view color) {
        if (how_.color) text_ += color;
    }
    void end_color() {
        if (how_.color) text_ += no_color;
    }
    void colored(std::string_view name) {
        begin_color(cyan);
        text_ += name;
        end_color();
    }

    const text_writer::settings& how_;
    text_buffer text_;
    value_printer print_;
    // The cells of the loops that are being written, an inner loop's behind its outer one's.
    text_buffer cells_text_;
    std::vector<cell> cells_;
    value_printer print_cell_;
    // The readings of the table that is being written, and how far they are.
    const readings* found_ = nullptr;
    field_place at_;
    const difference* here_ = nullptr;  ///< the first of those at this place
    const difference* behind_here_ = nullptr;
    std::vector<bool> told_;
    std::size_t next_skipped_ = 0;
};

text_writer::text_writer(sink& to, const settings& how)
    : to_(to), how_(how), block_(std::make_unique<text_block>(how_)) {}

text_writer::~text_writer() = default;

void text_writer::table(const sighting& seen) {
    const readings found = read_broadcast(seen.bytes, seen.size, *seen.table);
    std::visit(
        [&](const auto* decoded) {
            block_->title(seen.where, decoded->table_id);
            block_->table(*decoded, found);
        },
        *seen.table);
    block_->write(to_);
}

void text_writer::refused(const place& where, const refusal& what) {
    block_->title(where, what.section[0]);
    block_->remark("refused", what.why.text());
    if (is_well_formed(what)) block_->remark("the section", "is well formed");
    block_->remark("the receiver", refusal_outcome(what.why));
    block_->write(to_);
}

void text_writer::services(const std::string& file, const told_services& all) {
    block_->append(services_text(file, all, how_));
    block_->write(to_);
}

void text_writer::findings(const std::string& file, const std::vector<finding>& all) {
    block_->append(findings_text(file, all, how_));
    block_->write(to_);
}

void text_writer::finding_changed(const std::string& file, const finding& changed) {
    to_.write(finding_change_text(file, changed, how_));
}

void text_writer::differences(const changes& all) {
    if (all.empty()) return;
    for (const change& c : all) block_->append(printable(c.sentence) + '\n');
    block_->write(to_);
}

void text_writer::guide(const guide_contents& all) {
    for (const std::string& day : guide_days(all, how_.color)) {
        block_->append(day);
        block_->write(to_);
    }
}

void text_writer::finish(const totals* counts) {
    if (counts == nullptr) return;
    block_->append(to_text(*counts));
    block_->write(to_);
}

}  // namespace orvix::si_inspect
