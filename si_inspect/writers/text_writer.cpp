#include "writers/text_writer.h"

#include <broadcast/names.h>
#include <broadcast/receiver_notes.h>

#include <algorithm>
#include <cctype>

#include "display.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::size_t indent_step = 2;
constexpr std::string_view column_gap = "  ";

constexpr std::string_view bold = "\033[1m";
constexpr std::string_view cyan = "\033[36m";
constexpr std::string_view yellow = "\033[33m";
constexpr std::string_view no_color = "\033[0m";

// --- One value ---

std::string quoted(const std::string& plain) { return '"' + plain + '"'; }

class value_printer {
public:
    explicit value_printer(utc_offset offset) : offset_(offset) {}

    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(const number& n) const {
        const std::string decimal = std::to_string(n.value);
        if (n.hex_digits == 0) return n.meaning.empty() ? decimal : with_raw(n.meaning, decimal);
        const std::string shown = hex_number(n.value, n.hex_digits);
        return n.meaning.empty() ? with_raw(shown, decimal) : with_raw(n.meaning, shown);
    }
    std::string operator()(const text& value) const { return quoted(value.utf8); }
    std::string operator()(const raw_text& value) const {
        return is_plain_text(value.bytes) ? quoted(value.bytes) : "bytes " + hex(value.bytes);
    }
    std::string operator()(const moment& value) const {
        return with_raw(iso_time(value.seconds, offset_), std::to_string(value.seconds));
    }
    std::string operator()(const duration& value) const {
        return with_raw(clock_duration(value.seconds), std::to_string(value.seconds));
    }
    // A loop without entries; the others are printed line by line.
    std::string operator()(const record_list& /*empty*/) const { return "none"; }
    std::string operator()(const described_list& /*empty*/) const { return "none"; }

private:
    static std::string with_raw(const std::string& meaning, const std::string& raw) {
        return meaning + " (" + raw + ")";
    }

    utc_offset offset_;
};

const record_list* records_of(const field& f) {
    const auto* const list = std::get_if<record_list>(&f.value);
    return list != nullptr && !list->records.empty() ? list : nullptr;
}

const described_list* descriptors_of(const field& f) {
    return std::get_if<described_list>(&f.value);
}

/// Whether the field's value stands on the line of its name.
bool is_single(const field& f) { return records_of(f) == nullptr && descriptors_of(f) == nullptr; }

// --- Blocks ---

class block {
public:
    block(const text_writer::settings& how) : how_(how), print_(how.offset) {}

    void title(const std::string& line) { text_ += colored(bold, line) + '\n'; }
    void note(std::string_view sentence) {
        line(indent_step, colored(yellow, "note: " + std::string(sentence)));
    }

    /// Names and values in two columns, each loop behind the field that it belongs to.
    void fields(record::const_iterator begin, record::const_iterator end, std::size_t indent) {
        std::size_t width = 0;
        for (auto f = begin; f != end; ++f) {
            if (is_single(*f)) width = std::max(width, f->name.size());
        }
        for (auto f = begin; f != end; ++f) {
            if (is_single(*f)) {
                line(indent, colored(cyan, padded(std::string(f->name), width)) +
                                 std::string(column_gap) + std::visit(print_, f->value));
            } else {
                loop(*f, indent);
            }
        }
    }

    const std::string& text() const { return text_; }

private:
    void loop(const field& f, std::size_t indent) {
        const record_list* const list = records_of(f);
        const described_list* const described = descriptors_of(f);
        if (described != nullptr && described->descriptors.empty()) return;
        line(indent, colored(cyan, std::string(f.name)));
        if (list != nullptr) {
            rows(list->records, indent + indent_step);
        } else {
            descriptors(*described, indent + indent_step);
        }
    }

    /// A column for each field and a line for each record, its loops behind it.
    void rows(const std::vector<record>& records, std::size_t indent) {
        std::vector<std::size_t> widths;
        std::vector<std::string> headings;
        for (const field& f : records.front()) {
            if (!is_column(f)) continue;
            headings.emplace_back(f.name);
            widths.push_back(f.name.size());
        }
        std::vector<std::vector<std::string>> cells;
        for (const record& r : records) {
            cells.push_back(cells_of(r));
            for (std::size_t i = 0; i < widths.size(); ++i) {
                const std::string& cell = cells.back()[i];
                widths[i] = std::max(widths[i], display_width(cell).value_or(cell.size()));
            }
        }

        line(indent, colored(cyan, aligned(headings, widths)));
        for (std::size_t i = 0; i < records.size(); ++i) {
            line(indent, aligned(cells[i], widths));
            for (const field& f : records[i]) {
                if (const auto* const list = std::get_if<record_list>(&f.value)) {
                    if (!list->records.empty()) loop(f, indent + indent_step);
                } else if (const described_list* const described = descriptors_of(f)) {
                    descriptors(*described, indent + indent_step);
                }
            }
        }
    }

    void descriptors(const described_list& list, std::size_t indent) {
        for (const record& d : list.descriptors) descriptor(d, indent);
    }

    /// "0x52 stream_identifier_descriptor, 1 byte", and what it says: a single field on the same
    /// line.
    void descriptor(const record& d, std::size_t indent) {
        const std::int64_t tag = std::get<number>(d[0].value).value;
        const std::int64_t length = std::get<number>(d[1].value).value;
        const std::string& type = std::get<si_inspect::text>(d[2].value).utf8;
        const std::string heading = hex_number(tag, 2) + ' ' + colored(cyan, type) + ", " +
                                    std::to_string(length) + (length == 1 ? " byte" : " bytes");
        const auto first = d.begin() + 3;
        const bool fits = d.end() - first == 1 && is_single(*first);
        if (fits) {
            line(indent, heading + ": " + colored(cyan, std::string(first->name)) + ' ' +
                             std::visit(print_, first->value));
        } else {
            line(indent, heading);
            fields(first, d.end(), indent + 2 * indent_step);
        }
    }

    static bool is_column(const field& f) {
        return !std::holds_alternative<record_list>(f.value) &&
               !std::holds_alternative<described_list>(f.value);
    }

    std::vector<std::string> cells_of(const record& r) const {
        std::vector<std::string> cells;
        for (const field& f : r) {
            if (is_column(f)) cells.push_back(std::visit(print_, f.value));
        }
        return cells;
    }

    static std::string aligned(const std::vector<std::string>& cells,
                               const std::vector<std::size_t>& widths) {
        std::string joined;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const bool last = i + 1 == cells.size();
            joined += last ? cells[i] : padded(cells[i], widths[i]) + std::string(column_gap);
        }
        return joined;
    }

    std::string colored(std::string_view color, const std::string& words) const {
        return how_.color ? std::string(color) + words + std::string(no_color) : words;
    }
    void line(std::size_t indent, const std::string& content) {
        text_.append(indent, ' ').append(content).append("\n");
    }

    const text_writer::settings& how_;
    value_printer print_;
    std::string text_;
};

std::string upper_case(std::string_view word) {
    std::string upper;
    for (const char c : word)
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

/// "SDT  PID 0x0011 (17)  packet 13831  service description, actual transport stream"
std::string title_of(const place& where, std::uint32_t table_id) {
    std::string title = upper_case(names::table_kind(table_id));
    const auto add = [&](const std::string& part) { title.append(column_gap).append(part); };
    if (!where.file.empty()) add(printable(where.file));
    if (where.pid) add(name_of_pid(*where.pid));
    add((where.pid ? "packet " : "section ") + std::to_string(where.number));
    add(std::string(names::table_id(table_id)));
    return title;
}

}  // namespace

void text_writer::table(const sighting& seen) {
    const table_ref& table = *seen.table;
    const std::uint32_t table_id =
        std::visit([](const auto* decoded) { return decoded->table_id; }, table);
    const record fields = describe(table);

    block block(how_);
    block.title(title_of(seen.where, table_id));
    block.fields(fields.begin(), fields.end(), indent_step);
    if (how_.notes) {
        for (const std::string_view sentence : receiver_notes(table)) block.note(sentence);
    }
    // One write for the whole block, so that none is ever seen in part.
    to_.write((first_ ? "" : "\n") + block.text());
    first_ = false;
}

void text_writer::finish(const totals* counts) {
    if (counts != nullptr) to_.write((first_ ? "" : "\n") + to_text(*counts));
}

}  // namespace orvix::si_inspect
