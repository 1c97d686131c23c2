// What an input does when its thread gets no memory. This program replaces the global allocator.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log/orvix_log.h>
#include <sys/stat.h>
#include <unistd.h>
#include <watched_input.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "known_broadcast.h"

namespace {

std::atomic<long> failures_left = 0;  // in other threads than the test's
thread_local bool is_test = false;

bool is_to_fail() {
    if (is_test || failures_left <= 0) return false;
    --failures_left;
    return true;
}

void* allocate(std::size_t size) {
    void* const block = is_to_fail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
    return allocate(size);
} catch (const std::bad_alloc&) {
    return nullptr;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace orvix::test {
namespace {

using si_exporter::monitor;
using si_exporter::watched_input;
using testing::ElementsAre;

/// A pipe that is written to, and the input that reads it.
class LackOfMemory : public testing::Test {
protected:
    LackOfMemory() {
        is_test = true;
        EXPECT_NE(mkdtemp(folder_.data()), nullptr);
        EXPECT_EQ(mkfifo(path().c_str(), S_IRUSR | S_IWUSR), 0);
        // For reading too: so it opens at once, and stays when the other end is closed.
        pipe_ = open(path().c_str(), O_RDWR | O_CLOEXEC);
    }
    ~LackOfMemory() override {
        failures_left = 0;
        close(pipe_);
        unlink(path().c_str());
        rmdir(folder_.c_str());
        OrvixLog::reporting_level() = level_before_;
    }

    void write(const stream_writer& stream) const {
        const bytes all = stream.stream();
        ASSERT_EQ(::write(pipe_, all.data(), all.size()), static_cast<ssize_t>(all.size()));
    }
    std::unique_ptr<watched_input> watch() {
        return std::make_unique<watched_input>(si_exporter::named_input{"tv", path()},
                                               monitor::settings(),
                                               [this](const std::string&, const std::string& line) {
                                                   const std::lock_guard<std::mutex> hold(mutex_);
                                                   said_.push_back(line);
                                               });
    }
    std::vector<std::string> said() {
        const std::lock_guard<std::mutex> hold(mutex_);
        return said_;
    }
    /// Bytes that the input's monitor has; none where it has no monitor.
    static std::uint64_t bytes_of(const watched_input& input) {
        std::uint64_t count = 0;
        input.look([&](const monitor& of, const watched_input::link&) { count = of.bytes(); });
        return count;
    }
    template <typename Condition>
    static void wait_until(Condition holds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!holds() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_TRUE(holds());
    }

private:
    std::string path() const { return folder_ + "/pipe"; }

    std::string folder_ = testing::TempDir() + "/lack_of_memory_XXXXXX";
    // What the receiver's library notes of each section is not looked at.
    const OrvixLog::Level level_before_ =
        std::exchange(OrvixLog::reporting_level(), OrvixLog::NONE);
    int pipe_ = -1;
    std::mutex mutex_;
    std::vector<std::string> said_;
};

stream_writer tables() {
    stream_writer stream;
    stream.section(0x0000, pat()).section(0x0011, sdt()).null_packets(10);
    return stream;
}

TEST_F(LackOfMemory, LetsAnInputBeginAnewWhereItFailsInTheMiddle) {
    const auto input = watch();
    stream_writer before;
    before.null_packets(20);
    write(before);
    wait_until([&] { return bytes_of(*input) == 20 * 188; });

    failures_left = 1;
    write(tables());
    wait_until([&] { return !said().empty(); });
    EXPECT_EQ(failures_left, 0);
    EXPECT_EQ(bytes_of(*input), 0u);

    write(tables());
    const std::uint64_t size = tables().stream().size();
    wait_until([&] { return bytes_of(*input) == size; });
    input->look([](const monitor& of, const watched_input::link& link) {
        EXPECT_EQ(of.sections().at("pat"), 1u);
        EXPECT_EQ(of.sections().at("sdt"), 1u);
        EXPECT_EQ(link.opened, 2u);
    });
    EXPECT_THAT(said(), ElementsAre("std::bad_alloc, begins anew"));
}

TEST_F(LackOfMemory, IsTriedAgainForAsLongAsItLasts) {
    const auto input = watch();
    failures_left = std::numeric_limits<long>::max();
    write(tables());
    wait_until([&] { return failures_left < std::numeric_limits<long>::max() - 2; });
    EXPECT_EQ(bytes_of(*input), 0u);
    failures_left = 0;
    write(tables());
    wait_until([&] { return bytes_of(*input) > 0; });
}

}  // namespace
}  // namespace orvix::test
