#pragma once

#include <stream_writer.h>

#include <cstddef>
#include <cstdint>

namespace orvix::test {

/// An ordinary multiplex, for as long as one wants: a clock, an event every half hour, each with a
/// PMT of its own, and a schedule of eight days that comes round in an hour. In each hour a packet
/// is lost and one is damaged.
class endless_broadcast {
public:
    explicit endless_broadcast(std::uint16_t services) : services_(services) {}

    // Tables come rarely, so that a week stays small: what they say changes as on air.
    static constexpr unsigned int seconds_of_step = 10;
    static constexpr unsigned int steps_of_day = 86'400 / seconds_of_step;

    /// What is sent in the next seconds, in packets of 188 bytes; the first begin at midnight.
    bytes next_step();

private:
    void write_tables();
    void write_schedule();
    void lose_and_damage();
    std::vector<bytes> with_clock();
    std::size_t packets_of_second() const;

    std::uint16_t services_;
    unsigned int step_ = 0;
    stream_writer tables_;
    stream_writer clock_;
};

}  // namespace orvix::test
