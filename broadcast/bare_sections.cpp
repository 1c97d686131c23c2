#include "bare_sections.h"

#include <section_feed/section_gate.h>

namespace orvix::broadcast {

namespace {

constexpr std::size_t header_bytes = 3;  // up to section_length

std::size_t section_size(const std::uint8_t* section) {
    const unsigned int section_length = (section[1] & 0x0Fu) << 8 | section[2];
    return header_bytes + section_length;
}

}  // namespace

std::uint8_t* bare_sections::room(std::size_t size) {
    bytes_.resize(used_ + size);
    return bytes_.data() + used_;
}

void bare_sections::filled(std::size_t size) {
    used_ += size;
    std::size_t begin = 0;
    while (!intake_.is_over() && used_ - begin >= header_bytes) {
        const std::size_t wanted = section_size(bytes_.data() + begin);
        if (used_ - begin < wanted) break;
        take(begin, wanted);
        begin += wanted;
    }
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(begin));
    used_ -= begin;
}

void bare_sections::take(std::size_t begin, std::size_t size) {
    // A copy with the spare byte that the decoder wants.
    const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(begin);
    section_.assign(first, first + static_cast<std::ptrdiff_t>(size));
    section_.push_back(0);

    sighting seen;
    seen.where.file = name_;
    seen.where.number = sections_++;
    seen.size = size;
    const section_feed::gate_result result =
        section_feed::check_section(section_.data(), size, intake_.gate_options());
    if (result.admitted()) {
        ++admitted_;
        intake_.admit(seen, section_.data());
    } else {
        intake_.refuse(seen.where, {result, section_.data(), size});
    }
}

}  // namespace orvix::broadcast
