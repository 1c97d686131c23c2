#include "intake.h"

namespace orvix::broadcast {

namespace {

// Stands for the PID of sections that have none: a PID has 13 bits.
constexpr std::uint16_t no_pid = 0xFFFF;

}  // namespace

const table_ref* intake::admit(sighting seen, std::uint8_t* section) {
    seen.bytes = section;
    seen.where.crc_error =
        !how_.check_crc && !section_feed::check_section(section, seen.size).admitted();
    seen.is_new = repeats_.is_new(seen.where.pid.value_or(no_pid), section, seen.size);
    table_.reset();
    if (seen.is_new || how_.decode_repeats) table_ = decoder_.decode(section, seen.size);
    if (table_) seen.table = &*table_;
    to_.section(seen);
    is_done_ = to_.is_done();
    return seen.is_new ? seen.table : nullptr;
}

void intake::refuse(const place& where, const refusal& what) {
    to_.refused(where, what);
    is_done_ = to_.is_done();
}

}  // namespace orvix::broadcast
