#include "views/page_view.h"

#include <broadcast/bit_rates.h>
#include <broadcast/names.h>

#include "writers/text/missing_text.h"

namespace orvix::si_inspect {

using namespace broadcast;

std::vector<bound> page_view::bounds() const {
    std::vector<bound> all = view::bounds();
    for (const auto& some : {findings_.bounds(), services_.bounds(), guide_.bounds()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    all.push_back(intervals_.limit());
    return all;
}

/// What the stream has counted is gone when `end` is called.
void page_view::input_ended() {
    findings_.end();
    page_.services = services_.told();
    if (!stream_) return;
    page_.shares = share_out(stream_->counts, page_.services);
    page_.seconds = stream_->clock.seconds(page_.shares.packets - 1);
    stream_.reset();
}

void page_view::end() {
    page_.on_air = air_time_.told(page_.seconds);
    page_.guide = guide_.contents();
    page_.findings = findings_.told();
    page_.intervals = intervals_.told();
    page_.tables = texts_.told();
    totals read = counts();
    read.add(bounds());
    if (read.has_missing()) page_.missing = in_words(read.missing->front().missing);
    page_.reading = to_text(read);
    to_.everything(page_);
}

bool page_view::show(const sighting& seen) {
    findings_.section(seen);
    if (seen.table == nullptr || !seen.is_new) return false;
    services_.take(seen);
    guide_.take(*seen.table, {seen.bytes, seen.size});
    air_time_.take(seen);
    const std::string_view kind = names::table_kind(seen.bytes[0]);
    const bool is_time = kind == "tdt" || kind == "tot";
    if (is_time && !passing_time_.is_news(seen)) return false;
    texts_.table(seen);
    return true;
}

void page_view::see_refusal(const place& where, const refusal& what) {
    findings_.refused(where, what);
}

void page_view::show_refusal(const place& where, const refusal& what) {
    texts_.refused(where, what);
}

void page_view::stream_begins(const stream_facts& of) {
    stream_.emplace(of);
    findings_.stream_begins(of);
}

void page_view::packets_passed(std::uint64_t last_packet) { findings_.packets_passed(last_packet); }

void page_view::gap(const packet_gap& skipped) { findings_.gap(skipped); }

void page_view::packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                             section_feed::packet_fault what) {
    findings_.packet_fault(packet, pid, what);
}

void page_view::clock_reference(const section_feed::clock_reference& reference) {
    findings_.clock_reference(reference);
}

void page_view::dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) {
    findings_.dropped(pid, packet, why);
}

}  // namespace orvix::si_inspect
