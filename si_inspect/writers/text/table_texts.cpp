#include "writers/text/table_texts.h"

#include <broadcast/names.h>

#include <array>

namespace orvix::si_inspect {

using namespace broadcast;

/// A block that does not fit any more is left out, and so is each behind it: what is shown has no
/// holes.
template <typename Write>
void table_texts::add(std::uint8_t table_id, Write write) {
    kind& of = kinds_[names::table_kind(table_id)];
    if (of.left_out != 0) {
        ++of.left_out;
        return;
    }
    std::string block;
    string_sink to(block);
    text_writer blocks(to, {offset_, false});
    write(blocks);
    if (of.text.size() + block.size() > most_bytes_of_a_kind) {
        ++of.left_out;
        return;
    }
    if (!of.text.empty()) of.text += '\n';
    of.text += block;
    ++of.sections;
}

void table_texts::table(const sighting& seen) {
    add(seen.bytes[0], [&](text_writer& to) { to.table(seen); });
}

void table_texts::refused(const place& where, const refusal& what) {
    add(what.section[0], [&](text_writer& to) { to.refused(where, what); });
}

std::vector<table_texts::kind> table_texts::told() const {
    constexpr std::array<std::string_view, 9> order = {"pat", "pmt", "nit", "sdt", "eit",
                                                       "ait", "tdt", "tot", ""};
    std::vector<kind> all;
    for (const std::string_view name : order) {
        const auto known = kinds_.find(name);
        if (known == kinds_.end()) continue;
        all.push_back(known->second);
        all.back().name = name;
    }
    return all;
}

}  // namespace orvix::si_inspect
