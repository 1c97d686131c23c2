#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <parse_exactly.h>
#include <section_writer.h>
#include <si_parser/iso_to_utf8.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>

namespace orvix::si_parser {
namespace {

using namespace orvix::test;

static_assert(std::is_same_v<decltype(iso_to_utf8_string(nullptr, 0)), std::string>);

/// The text of a run, read from a block that ends where the run ends.
std::string text_of(const bytes& run) {
    const exact_block block(run);
    return iso_to_utf8_string(block.data(), block.size());
}

/// The text of a run that another byte stands behind.
std::string text_of(const bytes& run, unsigned char spare) {
    const exact_block block(run + bytes{spare});
    return iso_to_utf8_string(block.data(), block.size() - 1);
}

std::string text_of_byte(unsigned char byte) {
    char out[3];
    return std::string(out, iso_to_utf8(byte, out));
}

std::string text_of_symbol(unsigned char byte) {
    char out[3];
    return std::string(out, escaped_iso_to_utf8(static_cast<char>(byte), out));
}

TEST(IsoToUtf8, DropsControlCodes) {
    for (int byte = 0x00; byte <= 0x1F; ++byte) {
        EXPECT_EQ(text_of_byte(static_cast<unsigned char>(byte)), "") << byte;
    }
    for (int byte = 0x80; byte <= 0x9F; ++byte) {
        EXPECT_EQ(text_of_byte(static_cast<unsigned char>(byte)), "") << byte;
    }
}

TEST(IsoToUtf8, PassesAsciiThroughWithDelete) {
    for (int byte = 0x20; byte <= 0x7F; ++byte) {
        EXPECT_EQ(text_of_byte(static_cast<unsigned char>(byte)),
                  std::string(1, static_cast<char>(byte)));
    }
}

TEST(IsoToUtf8, ConvertsTheUpperHalf) {
    const std::string expected[6][16] = {
        {"\u00A0", "¡", "¢", "£", "€", "¥", "Š", "§", "š", "©", "ª", "«", "¬", "\u00AD", "®", "¯"},
        {"°", "±", "²", "³", "Ž", "µ", "¶", "·", "ž", "¹", "º", "»", "œ", "Ŕ", "Ÿ", "¿"},
        {"À", "Á", "Â", "Ã", "Ä", "Å", "Æ", "Ç", "È", "É", "Ê", "Ë", "Ì", "Í", "Î", "Ï"},
        {"Ð", "Ñ", "Ò", "Ó", "Ô", "Õ", "Ö", "×", "Ø", "Ù", "Ú", "Û", "Ü", "Ý", "Þ", "ß"},
        {"à", "á", "â", "ã", "ä", "å", "æ", "ç", "è", "é", "ê", "ë", "ì", "í", "î", "ï"},
        {"ð", "ñ", "ò", "ó", "ô", "õ", "ö", "÷", "ø", "ù", "ú", "û", "ü", "ý", "þ", "ÿ"},
    };
    for (int byte = 0xA0; byte <= 0xFF; ++byte) {
        EXPECT_EQ(text_of_byte(static_cast<unsigned char>(byte)),
                  expected[byte / 16 - 10][byte % 16])
            << byte;
    }
}

TEST(IsoToUtf8, DiffersFromTheStandardInTwoLetters) {
    EXPECT_EQ(text_of_byte(0xBC), "\xC5\x93");
    EXPECT_EQ(text_of_byte(0xBD), "\xC5\x94");
}

TEST(IsoToUtf8, KnowsTheEscapedSymbolsAndNoOthers) {
    const std::map<int, std::string> symbols = {
        {0x21, "♪"}, {0x30, "¤"}, {0x31, "╎"}, {0x32, "¨"}, {0x33, "′"}, {0x34, "¸"}, {0x35, "¼"},
        {0x36, "½"}, {0x37, "¾"}, {0x40, "…"}, {0x41, "❚"}, {0x42, "‘"}, {0x43, "’"}, {0x44, "“"},
        {0x45, "”"}, {0x46, "•"}, {0x47, "™"}, {0x48, "⅛"}, {0x49, "⅜"}, {0x4A, "⅝"}, {0x4B, "⅞"},
    };
    for (int byte = 0x00; byte <= 0xFF; ++byte) {
        const auto symbol = symbols.find(byte);
        EXPECT_EQ(text_of_symbol(static_cast<unsigned char>(byte)),
                  symbol != symbols.end() ? symbol->second : "")
            << byte;
    }
}

TEST(IsoToUtf8, ConvertsARunIntoExactlyItsBytes) {
    char out[9] = "________";
    unsigned int size = 99;
    iso_to_utf8("A\xA4", 2, out, &size);
    EXPECT_EQ(size, 4u);
    EXPECT_STREQ(out, "A€____");  // no terminator
}

TEST(IsoToUtf8, ConvertsAnEmptyRunIntoNothing) {
    char out[] = "_";
    unsigned int size = 99;
    iso_to_utf8("A", 0, out, &size);
    EXPECT_EQ(size, 0u);
    EXPECT_STREQ(out, "_");
    EXPECT_EQ(text_of(bytes{}), "");
}

TEST(IsoToUtf8, FillsNoMoreThanThreeBytesPerByte) {
    const exact_block out(bytes(3 * 4));
    unsigned int size = 0;
    iso_to_utf8("\xA4\xA4\xA4\xA4", 4, reinterpret_cast<char*>(out.data()), &size);
    EXPECT_EQ(size, 12u);
    EXPECT_EQ(std::string(out.data(), out.data() + size), "€€€€");
}

TEST(IsoToUtf8String, ConvertsATextAndDropsItsControlCodes) {
    EXPECT_EQ(text_of(raw("A\nB")), "AB");
    EXPECT_EQ(text_of(raw("por")), "por");
    EXPECT_EQ(text_of(raw("S\xE3o Jo\xE3o")), "São João");
    EXPECT_EQ(text_of(bytes{0x80, 0x8A, 0x9F}), "");
}

TEST(IsoToUtf8String, DropsACharacterTableSelectorLikeAnyControlCode) {
    EXPECT_EQ(text_of(raw("\x0BGinga")), "Ginga");
    EXPECT_EQ(text_of(raw("\x10") + bytes{0x00} + raw("\x0F") + raw("Ginga")), "Ginga");
}

TEST(IsoToUtf8String, GoesOnBehindAZeroByte) {
    EXPECT_EQ(text_of(raw("A") + bytes{0x00} + raw("B")), "AB");
}

TEST(IsoToUtf8String, TakesTwoBytesForAnEscapedSymbol) {
    EXPECT_EQ(text_of(raw("Ginga\x1D\x47!")), "Ginga™!");
    EXPECT_EQ(text_of(raw("A\x1D\x22"
                          "B")),
              "AB");                                 // no such symbol
    EXPECT_EQ(text_of(raw("A\x1D\x1D\x47")), "AG");  // an escaped escape selects nothing
    EXPECT_EQ(text_of(raw("\x1D\x40\x1D\x21")), "…♪");
}

TEST(IsoToUtf8String, TakesTheByteBehindTheRunForAnEscapeInTheLastPosition) {
    EXPECT_EQ(text_of(raw("A\x1D"), 0x47), "A™");
    EXPECT_EQ(text_of(raw("A\x1D"), 0x22), "A");
    EXPECT_EQ(text_of(raw("A\x1D\x47"), 'B'), "A™");  // and nothing further
}

TEST(IsoToUtf8String, ConvertsTheLongestFieldAndMore) {
    const auto euros = [](std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) text += "€";
        return text;
    };
    for (const std::size_t count : {255u, 256u, 5000u}) {
        EXPECT_EQ(text_of(bytes(count, 0xA4)), euros(count)) << count;
    }
}

TEST(IsoToUtf8String, ConvertsALongRunWhereverItsEscapesStand) {
    for (std::size_t place = 0; place + 1 < 600; ++place) {
        bytes run(600, 'a');
        run[place] = 0x1D;
        run[place + 1] = 0x47;
        EXPECT_EQ(text_of(run), std::string(place, 'a') + "™" + std::string(598 - place, 'a'));
    }
}

TEST(IsoToUtf8String, ConvertsEveryByteWhereverItStandsInARunOfAnyLength) {
    for (std::size_t length = 1; length <= 19; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (int byte = 0; byte <= 0xFF; ++byte) {
                if (byte == 0x1D) continue;
                bytes run(length, '~');
                run[place] = static_cast<std::uint8_t>(byte);
                ASSERT_EQ(text_of(run), std::string(place, '~') +
                                            text_of_byte(static_cast<unsigned char>(byte)) +
                                            std::string(length - 1 - place, '~'))
                    << byte << " at " << place << " of " << length;
            }
        }
    }
}

TEST(IsoToUtf8String, ConvertsRunsOfMixedBytesAsTheirBytesOneByOne) {
    std::uint32_t state = 1;
    for (int run_number = 0; run_number < 20000; ++run_number) {
        bytes run;
        std::string expected;
        for (int left = run_number % 40; left > 0; --left) {
            state = state * 1664525u + 1013904223u;
            auto byte = static_cast<std::uint8_t>(state >> 24);
            if (state >> 22 & 1) byte = static_cast<std::uint8_t>(0x20 + byte % 0x60);
            if (byte == 0x1D) byte = 0x1F;
            run.push_back(byte);
            expected += text_of_byte(byte);
        }
        ASSERT_EQ(text_of(run), expected) << testing::PrintToString(run);
    }
}

TEST(IsoToUtf8, WritesNothingBehindItsText) {
    for (const std::size_t length : {1u, 7u, 8u, 9u, 16u, 300u}) {
        for (const std::uint8_t byte : bytes{'A', 0x0A, 0xE9, 0xA4}) {
            const bytes run(length, byte);
            std::string out(3 * length, '_');
            unsigned int size = 0;
            iso_to_utf8(reinterpret_cast<const char*>(run.data()),
                        static_cast<unsigned int>(length), out.data(), &size);
            EXPECT_EQ(out.substr(size), std::string(3 * length - size, '_'));
        }
    }
}

TEST(IsoToUtf8String, ConvertsEveryByteOfARunAsTheSingleByteWould) {
    bytes run;
    std::string expected;
    for (int byte = 0; byte <= 0xFF; ++byte) {
        if (byte == 0x1D) continue;
        run.push_back(static_cast<std::uint8_t>(byte));
        expected += text_of_byte(static_cast<unsigned char>(byte));
    }
    EXPECT_EQ(text_of(run), expected);
}

}  // namespace
}  // namespace orvix::si_parser
