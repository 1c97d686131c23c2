#include "receiver.h"

#include <section_feed/section_gate.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tot.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <ostream>
#include <system_error>

namespace receiver {

namespace {

using namespace orvix;

constexpr std::uint8_t pat_id = 0x00;
constexpr std::uint8_t pmt_id = 0x02;
constexpr std::uint8_t sdt_id = 0x42;
constexpr std::uint8_t tot_id = 0x73;

[[noreturn]] void fail(const char* call) {
    throw std::system_error(errno, std::generic_category(), call);
}

}  // namespace

table_loop::table_loop(demux& device, std::ostream& out) : device_(device), out_(out) {
    follow(0x0000, pat_id);
    follow(0x0011, sdt_id);
    follow(0x0014, tot_id);
}

table_loop::~table_loop() {
    for (const filter& each : filters_) device_.close_filter(each.descriptor);
}

void table_loop::follow(std::uint16_t pid, std::uint8_t table_id) {
    filter added;
    added.descriptor = device_.open_filter();
    if (added.descriptor < 0) fail("open");
    added.pid = pid;
    added.table_id = table_id;
    filters_.push_back(added);
    set_filter(added, false);
}

/// The kernel compares filter[0] with the table_id, and filter[n] from 1 on with byte n + 2: it
/// leaves section_length out. Bits set in `mode` ask for a difference.
void table_loop::set_filter(const filter& which, bool skip_version) {
    dmx_sct_filter_params parameters{};
    parameters.pid = which.pid;
    parameters.filter.filter[0] = which.table_id;
    parameters.filter.mask[0] = 0xFF;
    if (skip_version) {
        constexpr std::size_t version_byte = 5 - 2;
        constexpr std::uint8_t version_bits = 0x3E;
        parameters.filter.filter[version_byte] = static_cast<std::uint8_t>(which.version << 1);
        parameters.filter.mask[version_byte] = version_bits;
        parameters.filter.mode[version_byte] = version_bits;
    }
    parameters.flags = DMX_IMMEDIATE_START | DMX_CHECK_CRC;
    if (device_.set_filter(which.descriptor, parameters) != 0) fail("DMX_SET_FILTER");
}

table_loop::filter* table_loop::find(int descriptor) {
    const auto found =
        std::find_if(filters_.begin(), filters_.end(),
                     [descriptor](const filter& each) { return each.descriptor == descriptor; });
    return found == filters_.end() ? nullptr : &*found;
}

bool table_loop::step(int timeout_ms) {
    std::vector<pollfd> waiting;
    for (const filter& each : filters_) waiting.push_back({each.descriptor, POLLIN, 0});

    const int ready = device_.poll(waiting.data(), waiting.size(), timeout_ms);
    if (ready < 0 && errno == EINTR) return true;
    if (ready < 0) fail("poll");
    // A PAT may close the filters of others in the same round: `read` looks them up anew. Reading
    // is also what takes an error (POLLERR) off a filter; it says which.
    for (const pollfd& each : waiting) {
        if (each.revents != 0) read(each.fd);
    }
    return ready != 0;
}

void table_loop::read(int descriptor) {
    filter* const from = find(descriptor);
    if (from == nullptr) return;
    const ssize_t size = device_.read(descriptor, section_.data(), longest_section);
    if (size >= 0) {
        take(*from, static_cast<std::size_t>(size));
        return;
    }
    switch (errno) {
        case EAGAIN:
        case EINTR:
            return;
        case EOVERFLOW:
            // Nothing is missed for good: until a table is whole, its filter lets repeats through.
            out_ << "PID " << from->pid << ": sections were lost\n";
            return;
        default:
            fail("read");
    }
}

void table_loop::take(filter& from, std::size_t size) {
    const auto gate = section_feed::check_section(section_.data(), size);
    // Once the CRC_32 is right, a refused section is refused each time: it counts as seen, too.
    note_seen(from, size);
    if (!gate.admitted()) {
        out_ << "PID " << from.pid << ": " << gate.text() << '\n';
        return;
    }
    switch (from.table_id) {
        case pat_id:
            take_pat(size);
            break;  // changes filters_: `from` is gone
        case pmt_id:
            take_pmt(size);
            break;
        case sdt_id:
            take_sdt(size);
            break;
        case tot_id:
            take_tot(size);
            break;
        default:
            break;
    }
}

/// As soon as all sections of a version were there, only another version is let through.
void table_loop::note_seen(filter& from, std::size_t size) {
    constexpr std::size_t long_header = 8;
    const bool section_syntax_indicator = (section_[1] & 0x80) != 0;
    if (size < long_header || !section_syntax_indicator) return;

    const int version_number = section_[5] >> 1 & 0x1F;
    const unsigned int section_number = section_[6];
    const unsigned int last_section_number = section_[7];
    if (version_number != from.version) from.seen.reset();
    from.version = version_number;
    from.seen.set(section_number);
    if (from.seen.count() > last_section_number) set_filter(from, true);
}

void table_loop::take_pat(std::size_t size) {
    si_parser::pat table;
    table.parse(section_.data(), static_cast<unsigned int>(size));
    std::vector<std::uint16_t> pmt_pids;
    for (const auto& [program_number, pid] : table.program_map) {
        if (program_number == 0) continue;  // the network's
        out_ << "programme " << program_number << ": PMT on PID " << pid << '\n';
        pmt_pids.push_back(static_cast<std::uint16_t>(pid));
    }
    follow_only(pmt_pids);
}

void table_loop::follow_only(const std::vector<std::uint16_t>& pmt_pids) {
    const auto gone =
        std::stable_partition(filters_.begin(), filters_.end(), [&pmt_pids](const filter& each) {
            return each.table_id != pmt_id ||
                   std::find(pmt_pids.begin(), pmt_pids.end(), each.pid) != pmt_pids.end();
        });
    for (auto each = gone; each != filters_.end(); ++each) device_.close_filter(each->descriptor);
    filters_.erase(gone, filters_.end());

    for (const std::uint16_t pid : pmt_pids) {
        const bool followed = std::any_of(
            filters_.begin(), filters_.end(),
            [pid](const filter& each) { return each.table_id == pmt_id && each.pid == pid; });
        if (!followed) follow(pid, pmt_id);
    }
}

void table_loop::take_pmt(std::size_t size) {
    si_parser::pmt table;
    table.parse(section_.data(), static_cast<unsigned int>(size));
    for (auto& stream : table.streams) {
        const char* const kind = stream.is_video()     ? "video"
                                 : stream.is_audio()   ? "audio"
                                 : stream.is_caption() ? "captions"
                                                       : "other";
        out_ << "programme " << table.program_number << ": " << kind << " on PID "
             << stream.elementary_PID << '\n';
    }
}

void table_loop::take_sdt(std::size_t size) {
    si_parser::sdt table;
    table.parse(section_.data(), static_cast<unsigned int>(size));
    for (const auto& service : table.services) {
        using si_parser::service_descriptor;
        const auto name = table.get_descriptor_from<service_descriptor>(0x48, service.descriptors);
        if (name) out_ << "service " << service.service_id << ": " << name->service_name << '\n';
    }
}

/// The broadcast's clock shows local time, without a zone.
void table_loop::take_tot(std::size_t size) {
    si_parser::tot table;
    table.parse(section_.data(), static_cast<unsigned int>(size));
    std::tm clock{};
    char text[] = "YYYY-MM-DD hh:mm:ss";
    gmtime_r(&table.utc_time, &clock);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &clock);
    out_ << "clock: " << text << '\n';
}

}  // namespace receiver
