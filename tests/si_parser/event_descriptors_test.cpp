#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <tuple>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::Each;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

// --- Short event ---

/// Each field of a descriptor, to be compared as a whole.
auto fields(const short_event_descriptor& d) {
    return std::make_tuple(d.tag, d.length, d.ISO_639_language_code, d.event_name, d.text);
}

class ShortEventDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(ShortEventDescriptor, HoldsLanguageNameAndText) {
    const auto d = parse_descriptor<short_event_descriptor>(
        describe_short_event("por", "Jornal", "Com reportagens."));
    EXPECT_THAT(fields(*d), FieldsAre(0x4D, 27, "por", "Jornal", "Com reportagens."));
}

TEST_F(ShortEventDescriptor, ConvertsAllItsTextsToUtf8) {
    const auto d = parse_descriptor<short_event_descriptor>(describe_short_event("p\xE3r",
                                                                                 "Not\xED"
                                                                                 "cias\x0A",
                                                                                 "\x1D\x47 \xA4"));
    EXPECT_THAT(fields(*d), FieldsAre(0x4D, 18, "p\u00E3r", "Not\u00EDcias", "\u2122 \u20AC"));
}

TEST_F(ShortEventDescriptor, LengthsOfZeroLeaveNameAndTextEmpty) {
    const auto d = parse_descriptor<short_event_descriptor>(describe_short_event("por", "", ""));
    EXPECT_THAT(fields(*d), FieldsAre(0x4D, 5, "por", "", ""));
}

TEST_F(ShortEventDescriptor, NameAndTextDoNotDependOnEachOther) {
    EXPECT_THAT(fields(*parse_descriptor<short_event_descriptor>(
                    describe_short_event("por", "Jornal", ""))),
                FieldsAre(0x4D, 11, "por", "Jornal", ""));
    EXPECT_THAT(fields(*parse_descriptor<short_event_descriptor>(
                    describe_short_event("por", "", "Com reportagens."))),
                FieldsAre(0x4D, 21, "por", "", "Com reportagens."));
}

TEST_F(ShortEventDescriptor, HoldsTheLongestNameAndTheLongestText) {
    EXPECT_EQ(parse_descriptor<short_event_descriptor>(
                  describe_short_event("por", std::string(250, 'n'), ""))
                  ->event_name,
              std::string(250, 'n'));
    EXPECT_EQ(parse_descriptor<short_event_descriptor>(
                  describe_short_event("por", "", std::string(250, 't')))
                  ->text,
              std::string(250, 't'));
}

TEST_F(ShortEventDescriptor, ReadsAnOverlongTextFromWhatFollowsIt) {
    const bytes only_the_language = test::descriptor(0x4D, raw("por"));
    const auto d = parse_descriptor<short_event_descriptor>(
        only_the_language,
        section_writer().bits(8, 2).append("ab").bits(8, 3).append("cde"));  // name, text
    EXPECT_THAT(fields(*d), FieldsAre(0x4D, 3, "por", "ab", "cde"));
}

TEST_F(ShortEventDescriptor, WritesNoLogLineOfItsOwn) {
    parse_descriptor<short_event_descriptor>(describe_short_event("por", "Jornal", "Texto"));
    EXPECT_THAT(log_.statements(), ElementsAre("<parse> DEBUG: i [0] type [0x4d] size 18"));
}

// --- Content ---

class ContentDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(ContentDescriptor, HoldsAPairOfWholeBytesPerEntryInOrder) {
    const auto d = parse_descriptor<content_descriptor>(
        describe_content({0x20, 0x00, 0xF0, 0x01, 0x20, 0x00}));
    EXPECT_EQ(d->tag, 0x54);
    EXPECT_EQ(d->length, 6);
    EXPECT_THAT(d->contents, ElementsAre(Pair(0x20, 0x00), Pair(0xF0, 0x01), Pair(0x20, 0x00)));
}

TEST_F(ContentDescriptor, IsEmptyAtLengthZero) {
    EXPECT_THAT(parse_descriptor<content_descriptor>(describe_content({}))->contents, IsEmpty());
}

TEST_F(ContentDescriptor, TakesTheLastByteOfAnOddLengthFromBehindIt) {
    const auto d =
        parse_descriptor<content_descriptor>(describe_content({0x20, 0x00, 0xF0}), {0x99});
    EXPECT_THAT(d->contents, ElementsAre(Pair(0x20, 0x00), Pair(0xF0, 0x99)));
}

TEST_F(ContentDescriptor, HoldsTheLongestList) {
    const auto d = parse_descriptor<content_descriptor>(describe_content(bytes(255, 0x71)), {0x71});
    EXPECT_THAT(d->contents, SizeIs(128));
    EXPECT_THAT(d->contents, Each(Pair(0x71, 0x71)));
}

// --- Parental rating ---

class ParentalDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(ParentalDescriptor, HoldsTheWholeRatingByteByCountry) {
    const auto d = parse_descriptor<parental_descriptor>(
        describe_parental_ratings(parental_rating("BRA", 0x73) + parental_rating("ARG", 0xFF)));
    EXPECT_EQ(d->tag, 0x55);
    EXPECT_EQ(d->length, 8);
    EXPECT_THAT(d->ratings, ElementsAre(Pair("ARG", 0xFF), Pair("BRA", 0x73)));
}

TEST_F(ParentalDescriptor, KeepsTheLastRatingOfACountry) {
    const auto d = parse_descriptor<parental_descriptor>(
        describe_parental_ratings(parental_rating("BRA", 0x05) + parental_rating("BRA", 0x0C)));
    EXPECT_THAT(d->ratings, ElementsAre(Pair("BRA", 0x0C)));
}

TEST_F(ParentalDescriptor, KeepsTheBytesOfACountryAsTheyStand) {
    const std::string odd_country("\xE9\x00\x1D", 3);
    const auto d = parse_descriptor<parental_descriptor>(describe_parental_ratings(
        parental_rating(odd_country, 1) + parental_rating("bra", 2) + parental_rating("BRA", 3)));
    EXPECT_THAT(d->ratings, ElementsAre(Pair("BRA", 3), Pair("bra", 2), Pair(odd_country, 1)));
}

TEST_F(ParentalDescriptor, IsEmptyAtLengthZero) {
    EXPECT_THAT(parse_descriptor<parental_descriptor>(describe_parental_ratings({}))->ratings,
                IsEmpty());
}

TEST_F(ParentalDescriptor, ReadsACutEntryFromWhatFollowsIt) {
    const auto d = parse_descriptor<parental_descriptor>(
        describe_parental_ratings(parental_rating("BRA", 3) + raw("A")),
        section_writer().append("RG").bits(8, 4));
    EXPECT_THAT(d->ratings, ElementsAre(Pair("ARG", 4), Pair("BRA", 3)));
}

TEST_F(ParentalDescriptor, HoldsTheLongestList) {
    bytes ratings;
    for (std::uint8_t i = 0; i < 64; ++i) {
        ratings = ratings + parental_rating({'B', 'R', static_cast<char>(i)}, i);
    }
    const bytes last_rating = {ratings.back()};  // 63, which just does not fit
    ratings.pop_back();
    const auto d =
        parse_descriptor<parental_descriptor>(describe_parental_ratings(ratings), last_rating);
    EXPECT_EQ(d->length, 255);
    ASSERT_THAT(d->ratings, SizeIs(64));
    for (std::uint8_t i = 0; i < 64; ++i) {
        EXPECT_EQ(d->ratings.at({'B', 'R', static_cast<char>(i)}), i);
    }
}

// --- Local time offset ---

constexpr time_t second_of_february_2003 = 1044144000;
const bytes start_of_summer_time = utc_time(52672, 0x000000);  // 2003-02-02

auto fields(const localtime_offset_descriptor& d) {
    return std::make_tuple(d.country_code, d.country_region_id, d.local_time_offset,
                           d.time_of_change, d.next_time_offset);
}

class LocaltimeOffsetDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(LocaltimeOffsetDescriptor, HoldsEachFieldOfItsEntry) {
    const auto d = parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets(
        local_time_offset("BRA", 2, 1, 0x0345, start_of_summer_time, 0x1259)));
    EXPECT_EQ(d->tag, 0x58);
    EXPECT_EQ(d->length, 13);
    EXPECT_THAT(fields(*d), FieldsAre("BRA", 2, 0x0345, second_of_february_2003, 0x1259));
}

TEST_F(LocaltimeOffsetDescriptor, KeepsOnlyTheLastEntry) {
    const auto d = parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets(
        local_time_offset("BRA", 1, 1, 0x0300, start_of_summer_time, 0x0200) +
        local_time_offset("ARG", 0, 0, 0x0100, utc_time(40587, 0x000001), 0x0400)));
    EXPECT_THAT(fields(*d), FieldsAre("ARG", 0, 0x0100, 1, 0x0400));
}

TEST_F(LocaltimeOffsetDescriptor, LosesThePolarity) {
    const bytes entry = section_writer()
                            .append("BRA")
                            .bits(8, 0x07)  // region 1, the reserved bit, polarity 1
                            .bits(16, 0x0300)
                            .append(start_of_summer_time)
                            .bits(16, 0x0200);
    EXPECT_THAT(
        fields(*parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets(entry))),
        FieldsAre("BRA", 1, 0x0300, second_of_february_2003, 0x0200));
    for (const std::uint8_t polarity : {std::uint8_t{0}, std::uint8_t{1}}) {
        EXPECT_THAT(
            fields(*parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets(
                local_time_offset("BRA", 63, polarity, 0x0300, start_of_summer_time, 0x0200)))),
            FieldsAre("BRA", 63, 0x0300, second_of_february_2003, 0x0200));
    }
}

TEST_F(LocaltimeOffsetDescriptor, KeepsTheBytesOfACountryAndTheDigitsAsTheyStand) {
    const auto d =
        parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets(local_time_offset(
            std::string("\xE9\x00\x1D", 3), 0, 0, 0xFEDC, utc_time(0xFFFF, 0xFFFFFF), 0xBA98)));
    EXPECT_THAT(fields(*d),
                FieldsAre(std::string("\xE9\x00\x1D", 3), 0, 0xFEDC, -2138856031, 0xBA98));
}

TEST_F(LocaltimeOffsetDescriptor, HasNoCountryAtLengthZero) {
    const auto d = parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets({}));
    EXPECT_EQ(d->length, 0);
    EXPECT_EQ(d->country_code, "");
}

TEST_F(LocaltimeOffsetDescriptor, ReadsACutEntryFromWhatFollowsIt) {
    const bytes first = local_time_offset("BRA", 1, 1, 0x0300, start_of_summer_time, 0x0200);
    const bytes second = local_time_offset("ARG", 0, 0, 0x0100, utc_time(40587, 0x000001), 0x0400);
    const bytes first_byte_of_second = {second.front()};
    const bytes rest_of_second(second.begin() + 1, second.end());
    const auto d = parse_descriptor<localtime_offset_descriptor>(
        describe_local_time_offsets(first + first_byte_of_second), rest_of_second);
    EXPECT_EQ(d->length, 14);
    EXPECT_THAT(fields(*d), FieldsAre("ARG", 0, 0x0100, 1, 0x0400));
}

TEST_F(LocaltimeOffsetDescriptor, TakesTheLastEntryOfTheLongestList) {
    bytes entries;
    for (std::uint8_t region = 0; region < 20; ++region) {
        entries =
            entries + local_time_offset("BRA", region, 1, 0x0300, start_of_summer_time, 0x0200);
    }
    const bytes behind(entries.begin() + 255, entries.end());  // 5 bytes that do not fit
    entries.resize(255);
    const auto d =
        parse_descriptor<localtime_offset_descriptor>(describe_local_time_offsets(entries), behind);
    EXPECT_THAT(fields(*d), FieldsAre("BRA", 19, 0x0300, second_of_february_2003, 0x0200));
}

}  // namespace
}  // namespace orvix::si_parser
