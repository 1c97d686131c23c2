// Any bytes as a stream, up to what it adds up to: services, guide and findings. The first byte
// decides in what pieces it arrives, which must change nothing. CRC_32s are not asked for, so that
// more gets through the gate.

#include <broadcast/findings/findings.h>
#include <broadcast/guide.h>
#include <broadcast/multiplex.h>
#include <broadcast/services.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "gate_promise.h"

namespace {

using namespace orvix::broadcast;

/// Hands each section to all that puts a broadcast together.
class everything : public findings {
public:
    void section(const sighting& seen) override {
        sighting right = seen;
        right.where.crc_error = false;  // as if it were: those with a wrong one are not judged
        findings::section(right);
        if (!seen.is_new || seen.table == nullptr) return;
        services_.take(right);
        guide_.take(*seen.table, {seen.bytes, seen.size});
    }

    /// A line for each thing that was found or put together.
    std::vector<std::string> told_lines() {
        std::vector<std::string> lines;
        for (const finding& f : told()) {
            check(f);
            lines.push_back(f.says() + ' ' + std::to_string(f.first.number) + ' ' +
                            std::to_string(f.last.number));
        }
        for (const told_service& service : services_.told().services) {
            lines.push_back(service.number + ' ' + service.name);
        }
        for (const channel& channel : guide_.contents().channels) {
            lines.push_back(channel.name + ' ' + std::to_string(channel.programmes.size()));
        }
        return lines;
    }

private:
    static void check(const finding& f) {
        const bool has_happened = f.count > 0 && !f.what.empty();
        const bool is_in_order =
            !f.first.seconds || !f.last.seconds || *f.first.seconds <= *f.last.seconds;
        if (!has_happened || !is_in_order) std::abort();
    }

    services services_;
    guide guide_;
};

std::vector<std::string> read(const std::uint8_t* data, std::size_t size, std::size_t piece) {
    everything to;
    multiplex::settings how;
    how.check_crc = false;
    multiplex from("", to, how);
    for (std::size_t at = 0; at < size; at += piece) {
        const std::size_t count = std::min(piece, size - at);
        std::copy_n(data + at, count, from.room(count));
        from.filled(count);
    }
    from.end();
    to.end();
    return to.told_lines();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    orvix::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t piece = 1 + std::size_t{4} * data[0];
    if (read(data + 1, size - 1, piece) != read(data + 1, size - 1, size - 1)) std::abort();
    return 0;
}
