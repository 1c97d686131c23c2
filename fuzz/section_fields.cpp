#include "section_fields.h"

namespace orvix::fuzz {

namespace {

using kind = section_field::kind;

class field_finder {
public:
    explicit field_finder(const test::bytes& section) : s_(section) {}

    std::vector<section_field> find() {
        if (!s_.empty()) table(s_[0]);
        return fields_;
    }

private:
    bool has(std::size_t at, std::size_t count) const { return at + count <= s_.size(); }

    void mark(kind what, std::size_t at) {
        if (has(at, 1)) fields_.push_back({what, at});
    }

    /// Marks a length and returns where the bytes that it counts end.
    std::size_t length8(std::size_t at) {
        if (!has(at, 1)) return s_.size();
        const std::size_t value = s_[at];
        fields_.push_back({kind::length8, at, at + 1, value});
        return at + 1 + value;
    }

    std::size_t length12(std::size_t at) {
        if (!has(at, 2)) return s_.size();
        const std::size_t value = (s_[at] & 0x0Fu) << 8 | s_[at + 1];
        fields_.push_back({kind::length12, at, at + 2, value});
        return at + 2 + value;
    }

    void table(unsigned int table_id) {
        switch (table_id) {
            case 0x02:
                entries(loop(10), s_.size(), 5);
                break;
            case 0x40:
            case 0x41:
                two_loops(8, 6);
                break;
            case 0x42:
            case 0x46:
                entries(11, s_.size(), 5);
                break;
            case 0x73:
                loop(8);
                break;
            case 0x74:
                two_loops(8, 9);
                break;
            default:
                if (table_id >= 0x4E && table_id <= 0x6F) entries(14, s_.size(), 12);
                break;
        }
    }

    void two_loops(std::size_t at, std::size_t entry_size) {
        const std::size_t second = loop(at);
        const std::size_t end = length12(second);
        entries(second + 2, end, entry_size);
    }

    /// Entries whose last two bytes are the length of a descriptor loop.
    void entries(std::size_t at, std::size_t end, std::size_t entry_size) {
        while (at < end && has(at, entry_size)) at = loop(at + entry_size - 2);
    }

    std::size_t loop(std::size_t at) {
        const std::size_t end = length12(at);
        for (std::size_t i = at + 2; i < end && has(i, 2);) i = descriptor(i);
        return end;
    }

    std::size_t descriptor(std::size_t at) {
        mark(kind::tag, at);
        const std::size_t end = length8(at + 1);
        const std::size_t body = at + 2;
        switch (s_[at]) {
            case 0x00:
            case 0x0B:
                length8(body);
                break;
            case 0x01:
                for (std::size_t i = body; i < end && has(i, 4);) i = length8(i + 3);
                break;
            case 0x02:
                mark(kind::flags, body + 1);  // protocol_id
                mark(kind::flags, body + 3);  // remote_connection
                for (std::size_t i = body + 5; i < end && has(i, 1);) i = length8(i);
                break;
            case 0x04:
            case 0x07:
                length8(length8(body));
                break;
            case 0x48:
                length8(length8(body + 1));
                break;
            case 0x4D:
                length8(length8(body + 3));
                break;
            case 0xCD:
                mark(kind::flags, body + 1);  // length_of_ts_name and transmission_type_count
                if (has(body, 2)) mark(kind::flags, body + 2 + (s_[body + 1] >> 2) + 1);
                break;
            default:
                break;
        }
        return end;
    }

    const test::bytes& s_;
    std::vector<section_field> fields_;
};

}  // namespace

std::vector<section_field> find_fields(const test::bytes& section) {
    return field_finder(section).find();
}

}  // namespace orvix::fuzz
