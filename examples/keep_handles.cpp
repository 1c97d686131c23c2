// keep_handles FILE: prints the names of the events on air. One thread parses with a single table
// object; the descriptors outlive its next parse and are printed and released by another thread.

#include <log/orvix_log.h>
#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>
#include <si_parser/eit.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

namespace {

using orvix::section_feed::packet;
using orvix::section_feed::packet_reader;
using orvix::section_feed::section;
using orvix::section_feed::section_collector;
using orvix::si_parser::eit;
using short_event_ptr = boost::shared_ptr<orvix::si_parser::short_event_descriptor>;

constexpr std::uint16_t eit_pid = 0x0012;
constexpr std::uint8_t present_following = 0x4E;

/// Hands descriptors from the thread that parses to the one that shows.
class handle_queue {
public:
    void push(short_event_ptr handle) {
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.push_back(std::move(handle));
        changed_.notify_one();
    }
    void close() {
        const std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
        changed_.notify_one();
    }
    /// Waits for the next one; an empty handle after `close`, when none is left.
    short_event_ptr pop() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
        if (waiting_.empty()) return {};
        short_event_ptr next = std::move(waiting_.front());
        waiting_.pop_front();
        return next;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<short_event_ptr> waiting_;
    bool closed_ = false;
};

/// The handle's last copy dies here, on another thread than the one that parsed, and while the
/// table object holds a later section. `data` must not be read any more: it pointed into the
/// section's bytes, which are gone.
void show(handle_queue& from) {
    std::set<std::string> shown;
    while (const short_event_ptr event = from.pop()) {
        const std::string& name = event->event_name;
        if (!name.empty() && shown.insert(name).second) std::cout << name << '\n';
    }
}

void collect(std::FILE* stream, handle_queue& into) {
    eit table;
    section_collector collector([&](const section& found) {
        if (found.bytes[0] != present_following) return;
        table.parse(found.bytes, static_cast<unsigned int>(found.size));
        for (const auto& event : table.events) {
            using orvix::si_parser::short_event_descriptor;
            auto name = table.get_descriptor_from<short_event_descriptor>(0x4D, event.descriptors);
            if (name) into.push(std::move(name));
        }
    });
    collector.follow(eit_pid);

    constexpr std::size_t piece = 64 * 1024;
    packet_reader reader;
    packet p;
    while (const std::size_t size = std::fread(reader.room(piece), 1, piece, stream)) {
        reader.filled(size);
        while (reader.next(p)) collector.push(p);
    }
    reader.finish();
    while (reader.next(p)) collector.push(p);
}

/// Closes the queue and waits for the thread, also when parsing throws.
class viewer {
public:
    explicit viewer(handle_queue& queue) : queue_(queue), thread_(show, std::ref(queue)) {}
    ~viewer() {
        queue_.close();
        thread_.join();
    }
    viewer(const viewer&) = delete;
    viewer& operator=(const viewer&) = delete;

private:
    handle_queue& queue_;
    std::thread thread_;
};

}  // namespace

int main(int argc, char** argv) try {
    OrvixLog::reporting_level() = OrvixLog::ERROR;  // before there are other threads
    if (argc != 2) {
        std::cerr << "usage: keep_handles FILE\n";
        return 2;
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(argv[1], "rb"),
                                                                 std::fclose);
    if (!stream) {
        std::perror(argv[1]);
        return 1;
    }
    handle_queue queue;
    const viewer on_screen(queue);
    collect(stream.get(), queue);
} catch (const std::exception& e) {
    std::cerr << "keep_handles: " << e.what() << '\n';
    return 1;
}
