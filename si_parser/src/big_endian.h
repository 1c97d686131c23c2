#pragma once

// Every read of a multi-byte or packed field. Unchecked: the caller promises the bytes. Bit 7 is a
// byte's most significant bit.

#include <cstdint>
#include <string>

namespace orvix::si_parser {

inline uint16_t u16(const unsigned char* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

inline uint32_t u24(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) << 16 | u16(p + 1);
}

inline uint32_t u32(const unsigned char* p) {
    return static_cast<uint32_t>(u16(p)) << 16 | u16(p + 2);
}

/// A length field: 12 bits below four flags or reserved bits.
inline unsigned int length12(const unsigned char* p) { return u16(p) & 0x0FFFu; }

/// A PID: 13 bits below three reserved bits.
inline unsigned int pid13(const unsigned char* p) { return u16(p) & 0x1FFFu; }

inline bool bit(unsigned char byte, int n) { return ((byte >> n) & 1) != 0; }

/// Bits `high` to `low` of a byte, both included.
inline uint8_t bits(unsigned char byte, int high, int low) {
    return static_cast<uint8_t>((byte >> low) & ((1 << (high - low + 1)) - 1));
}

/// The part of a service_id that numbers a service within its broadcaster.
inline uint32_t low5(uint32_t service_id) { return service_id & 0x1Fu; }

/// Two BCD digits. A nibble above 9 counts as its value.
inline unsigned int bcd(unsigned char byte) { return bits(byte, 7, 4) * 10u + bits(byte, 3, 0); }

/// `size` bytes as they stand.
inline std::string raw_string(const unsigned char* p, unsigned int size) {
    return std::string(reinterpret_cast<const char*>(p), size);
}

}  // namespace orvix::si_parser
