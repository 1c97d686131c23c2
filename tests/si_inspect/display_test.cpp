#include <display.h>
#include <gtest/gtest.h>

namespace orvix::si_inspect {
namespace {

TEST(Display, AccentedLettersTakeOneColumnAndWideOnesTwo) {
    EXPECT_EQ(display_width("abc"), 3u);
    EXPECT_EQ(display_width("São Gonçalo"), 11u);
    EXPECT_EQ(display_width("日本"), 4u);
    EXPECT_EQ(display_width("e\xCC\x81"), 1u) << "a combining accent takes none";
    EXPECT_EQ(display_width(""), 0u);
}

TEST(Display, WhatIsNotUtf8OrSteersATerminalIsNoText) {
    EXPECT_FALSE(is_plain_text("Milh\xE3o"));
    EXPECT_FALSE(is_plain_text("cut \xC3"));
    EXPECT_FALSE(is_plain_text("\x1B[31m"));
    EXPECT_FALSE(is_plain_text("two\nlines"));
    EXPECT_FALSE(is_plain_text("\xC2\x9B")) << "a control code of eight bits";
    EXPECT_FALSE(is_plain_text(std::string_view("\0", 1)));
    EXPECT_FALSE(is_plain_text("\xED\xA0\x80")) << "half a surrogate pair";
}

TEST(Display, PaddingCountsColumns) {
    EXPECT_EQ(padded("日本", 6), "日本  ");
    EXPECT_EQ(padded("São", 4), "São ");
    EXPECT_EQ(padded("long enough", 4), "long enough");
}

TEST(Display, NamesFromOutsideLoseWhatIsNotPrintable) {
    EXPECT_EQ(printable("São.ts"), "São.ts");
    EXPECT_EQ(printable("a\x1B[1m.ts"), "a?[1m.ts");
}

}  // namespace
}  // namespace orvix::si_inspect
