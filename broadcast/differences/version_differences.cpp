#include "version_differences.h"

#include <broadcast/names.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <cstdlib>

#include "words.h"

namespace orvix::broadcast {

namespace {

/// A version_number comes round after 32 changes. An EIT changes several times an hour.
bool may_have_come_round(const snapshot& before, const snapshot& after) {
    constexpr std::int64_t hours_of_32_changes = 3 * 60 * 60;
    const auto was = before.whole.missing().clock;
    const auto is = after.whole.missing().clock;
    return was && is && std::llabs(*is - *was) > hours_of_32_changes;
}

std::string table_words(const table_contents::table_key& key) {
    std::string words(names::table_kind(key.table_id));
    for (char& c : words) c = static_cast<char>(c - 'a' + 'A');
    if (key.table_id == table_ids::pmt || table_ids::is_eit(key.table_id)) {
        words += " of service " + pid_in_words(key.table_id_extension);
    }
    if (table_ids::is_eit(key.table_id)) words += ", " + std::string(names::table_id(key.table_id));
    return words;
}

/// Whether the sections that both have are the same, and whether one has others.
struct comparison {
    bool same_contents = true;
    bool same_sections = true;
};
comparison compare(const table_contents::table& was, const table_contents::table& is) {
    comparison found;
    found.same_sections = was.contents.size() == is.contents.size();
    for (const auto& [section_number, digest] : was.contents) {
        const auto other = is.contents.find(section_number);
        if (other == is.contents.end()) {
            found.same_sections = false;
        } else if (other->second != digest) {
            found.same_contents = false;
        }
    }
    return found;
}

}  // namespace

void add_version_differences(changes& to, const snapshot& before, const snapshot& after,
                             const std::set<std::uint16_t>& wanted) {
    const bool may_be_round = may_have_come_round(before, after);
    for (const auto& [key, is] : after.tables.all()) {
        const auto known = before.tables.all().find(key);
        if (known == before.tables.all().end()) continue;
        const bool is_of_service =
            key.table_id == table_ids::pmt || table_ids::is_eit(key.table_id);
        if (is_of_service && !wanted.empty() && wanted.count(key.table_id_extension) == 0) continue;

        const table_contents::table& was = known->second;
        const comparison found = compare(was, is);
        const bool same_version = was.version_number == is.version_number;
        const bool is_missed = same_version && !found.same_contents &&
                               !(table_ids::is_eit(key.table_id) && may_be_round);
        const bool is_needless = !same_version && found.same_contents && found.same_sections;
        if (!is_missed && !is_needless) continue;

        const std::string old_version = std::to_string(was.version_number);
        const std::string new_version = std::to_string(is.version_number);
        change c;
        c.kind = is_missed ? "content_without_version" : "version_without_content";
        if (is_of_service) c.service_id = key.table_id_extension;
        c.before = value::number{was.version_number, 0, ""};
        c.after = value::number{is.version_number, 0, ""};
        c.sentence = table_words(key);
        c.sentence += is_missed ? ": the contents have changed, and the version is still "
                                : ": the version was " + old_version + " and is now ";
        c.sentence += new_version;
        c.sentence += is_missed ? ": receivers miss it" : ", and the contents are the same";
        to.push_back(std::move(c));
    }
}

}  // namespace orvix::broadcast
