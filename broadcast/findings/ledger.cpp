#include "ledger.h"

#include <algorithm>

namespace orvix::broadcast {

void ledger::set_time(const moment_of_stream& now) {
    now_ = now;
    end_the_quiet();
}

ledger::entry* ledger::find_or_add(const occurrence& what) {
    const key k = key_of(what.kind, what.about);
    const auto known = entries_.find(k);
    if (known != entries_.end()) return &known->second;
    if (!bound_.admits(entries_.size())) return nullptr;
    entry& added = entries_[k];
    added.is.kind = what.kind;
    added.is.how_bad = what.how_bad.value_or(rule_of(what.kind).how_bad);
    added.is.about = what.about;
    added.is.first = now_;
    return &added;
}

bool ledger::is_worse(const entry& known, const occurrence& what) {
    if (known.is.what.empty()) return true;
    if (!what.measured) return false;
    const bool less_is_worse = what.kind == finding_kind::section_too_soon;
    return less_is_worse ? what.measured < known.is.worst : what.measured > known.is.worst;
}

ledger::entry* ledger::add(const occurrence& what) {
    entry* const known = find_or_add(what);
    if (known == nullptr) return nullptr;
    ++known->is.count;
    begin(*known);
    if (known->lasting == 0) rest(*known);
    known->is.last = now_;
    return take_worst(*known, what);
}

ledger::entry* ledger::hold(const occurrence& what) {
    entry* const known = find_or_add(what);
    if (known == nullptr) return nullptr;
    start(*known);
    return take_worst(*known, what);
}

ledger::entry* ledger::update(const occurrence& what) {
    const auto known = entries_.find(key_of(what.kind, what.about));
    if (known == entries_.end()) return nullptr;
    known->second.is.last = now_;
    return take_worst(known->second, what);
}

ledger::entry* ledger::confirm(const occurrence& what) {
    entry* const known = find_or_add(what);
    if (known == nullptr) return nullptr;
    known->review = review_;
    if (known->lasting == 0) start(*known);
    known->is.last = now_;
    return take_worst(*known, what);
}

/// It counts, and lasts once more.
void ledger::start(entry& e) {
    ++e.is.count;
    ++e.lasting;
    begin(e);
    if (e.recent) recent_.erase(*e.recent);
    e.recent.reset();
    e.is.last = now_;
}

/// Returns the entry if its words are to be those of `what`.
ledger::entry* ledger::take_worst(entry& known, const occurrence& what) const {
    if (!is_worse(known, what)) return nullptr;
    known.is.worst = what.measured;
    if (what.measured) known.is.limit = what.limit.value_or(limits_.of(what.kind));
    return &known;
}

void ledger::begin(entry& e) {
    if (e.is.in_force) return;
    e.is.in_force = true;
    begun_ = &e;
}

/// Told only now that its words are there.
void ledger::announce() {
    entry* const begun = std::exchange(begun_, nullptr);
    if (begun != nullptr && on_change_) on_change_(begun->is);
}

void ledger::ends(finding_kind kind, const finding_subject& about) {
    const auto known = entries_.find(key_of(kind, about));
    if (known != entries_.end()) end(known->second);
}

void ledger::end(entry& e) {
    if (e.lasting == 0) return;
    e.is.last = now_;
    if (--e.lasting == 0) rest(e);
}

/// Puts it behind all that occurred earlier.
void ledger::rest(entry& e) {
    if (e.recent) {
        recent_.splice(recent_.end(), recent_, *e.recent);
    } else {
        e.recent = recent_.insert(recent_.end(), &e);
    }
}

void ledger::end_the_quiet() {
    while (!recent_.empty()) {
        entry& oldest = *recent_.front();
        const std::optional<double>& then = oldest.is.last.seconds;
        if (!now_.seconds || (then && *now_.seconds - *then <= quiet_seconds)) return;
        recent_.pop_front();
        oldest.recent.reset();
        oldest.is.in_force = false;
        if (on_change_) on_change_(oldest.is);
        if (ended_ == ended_findings::forgotten) {
            entries_.erase(key_of(oldest.is.kind, oldest.is.about));
        }
    }
}

std::size_t ledger::end_review(std::initializer_list<finding_kind> kinds) {
    std::size_t looked_at = 0;
    for (const finding_kind kind : kinds) {
        for (auto e = entries_.lower_bound(key_of(kind, {}));
             e != entries_.end() && std::get<finding_kind>(e->first) == kind; ++e) {
            ++looked_at;
            if (e->second.review != review_) end(e->second);
        }
    }
    return looked_at;
}

std::vector<finding> ledger::told() const {
    std::vector<finding> all;
    all.reserve(entries_.size());
    for (const auto& [of, e] : entries_) all.push_back(e.is);
    std::stable_sort(all.begin(), all.end(),
                     [](const finding& a, const finding& b) { return a.how_bad < b.how_bad; });
    return all;
}

}  // namespace orvix::broadcast
