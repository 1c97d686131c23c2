// follow_stream [FILE]: prints the services of a transport stream, read from a file or from the
// standard input, each time that their table changes.

#include <log/orvix_log.h>
#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>
#include <si_parser/sdt.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace {

using orvix::section_feed::gate_result;
using orvix::section_feed::packet;
using orvix::section_feed::packet_reader;
using orvix::section_feed::section;
using orvix::section_feed::section_collector;
using orvix::section_feed::verdict;
using orvix::si_parser::sdt;
using orvix::si_parser::service_descriptor;

constexpr std::uint16_t sdt_pid = 0x0011;
constexpr std::uint8_t sdt_actual = 0x42;

/// Prints a service description table when its version is not the one before. A table of several
/// sections would need a version for each section_number.
class service_list {
public:
    void take(const section& found) {
        if (found.bytes[0] != sdt_actual) return;
        table_.parse(found.bytes, static_cast<unsigned int>(found.size));
        if (static_cast<int>(table_.version_number) == version_) return;
        version_ = static_cast<int>(table_.version_number);

        std::cout << "version " << version_ << " after " << found.packet_index << " packets\n";
        for (const auto& service : table_.services) {
            const auto name =
                table_.get_descriptor_from<service_descriptor>(0x48, service.descriptors);
            std::cout << "  " << service.service_id << ' '
                      << (name ? name->service_name : "(no name)") << '\n';
        }
    }

private:
    sdt table_;  // one object for all sections: each parse empties it first
    int version_ = -1;
};

/// What the gate holds back never reaches the parser; a table that is not decoded is no fault.
void report(const section& refused, const gate_result& why) {
    if (why.why == verdict::not_decoded) return;
    std::cerr << "packet " << refused.packet_index << ": " << why.text() << '\n';
}

void follow(std::FILE* stream) {
    service_list services;
    section_collector collector([&](const section& found) { services.take(found); }, report);
    collector.follow(sdt_pid);

    constexpr std::size_t piece = 64 * 1024;
    packet_reader reader;
    packet p;
    while (const std::size_t size = std::fread(reader.room(piece), 1, piece, stream)) {
        reader.filled(size);
        while (reader.next(p)) collector.push(p);
    }
    reader.finish();
    while (reader.next(p)) collector.push(p);
    collector.finish();
}

}  // namespace

int main(int argc, char** argv) try {
    OrvixLog::reporting_level() = OrvixLog::ERROR;
    std::FILE* const stream = argc > 1 ? std::fopen(argv[1], "rb") : stdin;
    if (stream == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    follow(stream);
    if (std::ferror(stream) != 0) {
        std::perror(argc > 1 ? argv[1] : "standard input");
        return 1;
    }
} catch (const std::exception& e) {
    std::cerr << "follow_stream: " << e.what() << '\n';
    return 1;
}
