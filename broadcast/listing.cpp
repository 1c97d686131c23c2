#include "listing.h"

namespace orvix::broadcast {

listing::service_ids listing::take(const si_parser::psi_table& section, std::uint64_t table,
                                   service_ids ids) {
    const std::pair<std::uint64_t, std::uint32_t> version = {table, section.version_number};
    if (version_ != version) {
        version_ = version;
        for (const auto& [section_number, listed] : std::exchange(sections_, {})) unlist(listed);
    }

    for (const std::uint16_t id : ids) {
        ++listings_[id];
        unlisted_.erase(id);
    }
    service_ids& in_place = sections_[section.section_number];
    in_place.swap(ids);
    unlist(ids);  // of the section before

    const bool whole = sections_.size() > section.last_section_number;
    if (!whole) return {};
    has_come_whole_ = true;
    for (const std::uint16_t id : unlisted_) listings_.erase(id);
    service_ids gone(unlisted_.begin(), unlisted_.end());
    unlisted_.clear();
    return gone;
}

void listing::unlist(const service_ids& ids) {
    for (const std::uint16_t id : ids) {
        if (--listings_[id] == 0) unlisted_.insert(id);
    }
}

}  // namespace orvix::broadcast
