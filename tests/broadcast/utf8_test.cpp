#include <broadcast/utf8.h>
#include <gtest/gtest.h>

#include <cstdint>

namespace orvix::broadcast {
namespace {

std::string encoded(char32_t code) {
    const auto byte = [](char32_t value) { return static_cast<char>(value); };
    if (code < 0x80) return {byte(code)};
    const char last = byte(0x80 | (code & 0x3F));
    if (code < 0x800) return {byte(0xC0 | code >> 6), last};
    const char third = byte(0x80 | (code >> 6 & 0x3F));
    if (code < 0x10000) return {byte(0xE0 | code >> 12), third, last};
    return {byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)), third, last};
}

TEST(Utf8, EveryCharacterIsReadAsItIsWritten) {
    for (char32_t code = 0; code <= 0x10FFFF; ++code) {
        const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
        const std::string bytes = encoded(code) + "rest";
        const utf8_character read = first_character(bytes);
        ASSERT_EQ(read.is_valid, !is_surrogate) << static_cast<std::uint32_t>(code);
        if (is_surrogate) continue;
        ASSERT_EQ(read.code, code);
        ASSERT_EQ(read.size, bytes.size() - 4) << static_cast<std::uint32_t>(code);
    }
}

TEST(Utf8, BytesOfIso8859_15AreTheirCharacters) {
    EXPECT_EQ(from_iso_8859_15("Milh\xE3o \xA4 \xBD\xBC \xA6\xA8 \xB4\xB8 \xBE"),
              "Milhão € œŒ Šš Žž Ÿ");
    EXPECT_TRUE(is_utf8(from_iso_8859_15("\x80\xFF")));
    EXPECT_FALSE(is_utf8("Milh\xE3o"));
}

TEST(Utf8, ADamagedCharacterEndsWhereAnotherMayBegin) {
    const auto damaged = [](std::string_view bytes) {
        const utf8_character read = first_character(bytes);
        return read.is_valid ? 0 : read.size;
    };
    EXPECT_EQ(damaged("\x80"), 1u);
    EXPECT_EQ(damaged("\xFF"), 1u);
    EXPECT_EQ(damaged("\xC0\x80"), 1u) << "longer than needed";
    EXPECT_EQ(damaged("\xC3"), 1u);
    EXPECT_EQ(damaged("\xC3("), 1u);
    EXPECT_EQ(damaged("\xE2\x82"), 2u);
    EXPECT_EQ(damaged("\xE2\x82("), 2u);
    EXPECT_EQ(damaged("\xE0\x9F\x80"), 1u) << "longer than needed";
    EXPECT_EQ(damaged("\xF0\x8F\x80\x80"), 1u) << "longer than needed";
    EXPECT_EQ(damaged("\xF0\x9F\x92"), 3u);
    EXPECT_EQ(damaged("\xF4\x90\x80\x80"), 1u) << "beyond U+10FFFF";
    EXPECT_EQ(damaged("\xF5\x80\x80\x80"), 1u);
}

}  // namespace
}  // namespace orvix::broadcast
