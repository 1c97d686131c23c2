#include <display.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cwchar>

namespace orvix::si_inspect {
namespace {

TEST(Display, AccentedLettersTakeOneColumnAndWideOnesTwo) {
    EXPECT_EQ(display_width("abc"), 3u);
    EXPECT_EQ(display_width("São Gonçalo"), 11u);
    EXPECT_EQ(display_width("日本"), 4u);
    EXPECT_EQ(display_width("e\xCC\x81"), 1u) << "a combining accent takes none";
    EXPECT_EQ(display_width(""), 0u);
}

TEST(Display, WidthsOfEuropeanLettersAreTheCLibrarys) {
    const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t before = uselocale(utf8);
    for (wchar_t code = 0xA0; code < 0x0300; ++code) {
        ASSERT_EQ(wcwidth(code), 1) << static_cast<int>(code);
    }
    uselocale(before);
    freelocale(utf8);
}

TEST(Display, WhatIsNotUtf8OrSteersATerminalIsNoText) {
    EXPECT_FALSE(display_width("Milh\xE3o"));
    EXPECT_FALSE(display_width("cut \xC3"));
    EXPECT_FALSE(display_width("\x1B[31m"));
    EXPECT_FALSE(display_width("two\nlines"));
    EXPECT_FALSE(display_width("\xC2\x9B")) << "a control code of eight bits";
    EXPECT_FALSE(display_width(std::string_view("\0", 1)));
    EXPECT_FALSE(display_width("\xED\xA0\x80")) << "half a surrogate pair";
}

TEST(Display, OneByteThatIsNotPrintableIsFoundAnywhere) {
    for (std::size_t size = 1; size <= 20; ++size) {
        for (std::size_t at = 0; at < size; ++at) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string words(size, '~');
                words[at] = static_cast<char>(byte);
                const bool is_printable = byte >= ' ' && byte <= '~';
                ASSERT_EQ(display_width(words).value_or(0), is_printable ? size : 0)
                    << byte << " at " << at << " of " << size;
                ASSERT_EQ(printable(words) == words, is_printable)
                    << byte << " at " << at << " of " << size;
            }
        }
    }
}

TEST(Display, PaddingCountsColumns) {
    EXPECT_EQ(padded("日本", 6), "日本  ");
    EXPECT_EQ(padded("São", 4), "São ");
    EXPECT_EQ(padded("long enough", 4), "long enough");
}

TEST(Display, NamesFromOutsideLoseWhatIsNotPrintable) {
    EXPECT_EQ(printable("São.ts"), "São.ts");
    EXPECT_EQ(printable("a\x1B[1m.ts"), "a\\u001B[1m.ts");
    EXPECT_EQ(printable("a\xE3.ts"), "a\\xE3.ts");
    EXPECT_EQ(printable("\xF3\xA0\x80\x81"), "\\U000E0001");
}

TEST(Display, CharactersThatReorderOrHideAreNotPrintable) {
    for (const char32_t code : {0x7Fu, 0x80u, 0x9Fu, 0x061Cu, 0x200Bu, 0x200Du, 0x200Eu, 0x200Fu,
                                0x202Au, 0x202Eu, 0x2060u, 0x2066u, 0x2069u, 0xFEFFu}) {
        EXPECT_TRUE(is_hidden(code)) << static_cast<std::uint32_t>(code);
    }
    EXPECT_FALSE(is_hidden(U'a'));
    EXPECT_FALSE(is_hidden(U'é'));
    EXPECT_FALSE(is_hidden(0x200A)) << "a space";
    EXPECT_FALSE(is_hidden(0x05D0)) << "a letter that is read from the right";
    EXPECT_FALSE(display_width("a\xE2\x80\xAE")) << "U+202E";
    EXPECT_EQ(printable("evil\xE2\x80\xAEst.exe"), "evil\\u202Est.exe");
}

TEST(FirstColumns, AreThoseOfWholeCharacters) {
    EXPECT_EQ(first_columns("Jornal", 3), "Jor");
    EXPECT_EQ(first_columns("Jornal", 9), "Jornal");
    EXPECT_EQ(first_columns("Não", 2), "Nã");
    EXPECT_EQ(first_columns("日本語", 3), "日") << "of two columns each";
    EXPECT_EQ(first_columns("a\u0301b", 1), "a\u0301") << "what takes none stays with its letter";
    EXPECT_EQ(first_columns("", 5), "");
}

}  // namespace
}  // namespace orvix::si_inspect
