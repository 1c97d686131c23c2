#include <broadcast/names.h>
#include <gtest/gtest.h>

namespace orvix::broadcast::names {
namespace {

TEST(Names, TableIdsOfTheSameTableShareTheirKind) {
    EXPECT_EQ(table_kind(0x40), "nit");
    EXPECT_EQ(table_kind(0x41), "nit");
    EXPECT_EQ(table_kind(0x4E), "eit");
    EXPECT_EQ(table_kind(0x6F), "eit");
    EXPECT_EQ(table_kind(0x74), "ait");
    EXPECT_EQ(table_kind(0x4A), "");
    EXPECT_EQ(table_id(0x5F), "schedule, actual transport stream");
    EXPECT_EQ(table_id(0x60), "schedule, other transport stream");
}

TEST(Names, RangesEndWhereTheNextOneBegins) {
    EXPECT_EQ(component_tag(0x00), "main video");
    EXPECT_EQ(component_tag(0x0F), "video");
    EXPECT_EQ(component_tag(0x10), "main audio");
    EXPECT_EQ(component_tag(0x2F), "audio");
    EXPECT_EQ(component_tag(0x37), "captions");
    EXPECT_EQ(component_tag(0x38), "superimposed text");
    EXPECT_EQ(component_tag(0x40), "main carousel");
    EXPECT_EQ(component_tag(0x6F), "carousel");
    EXPECT_EQ(component_tag(0x7F), "event messages");
    EXPECT_EQ(component_tag(0x80), "data carousel");
    EXPECT_EQ(component_tag(0x87), "1-seg captions");
    EXPECT_EQ(component_tag(0x89), "1-seg data");
    EXPECT_EQ(component_tag(0x8B), "1-seg data");
    EXPECT_EQ(component_tag(0x91), "1-seg audio");
}

TEST(Names, WhatHasNoMeaningIsReserved) {
    EXPECT_EQ(stream_type(0x00), "reserved");
    EXPECT_EQ(component_tag(0x8C), "reserved");
    EXPECT_EQ(stream_content(3), "reserved");
    EXPECT_EQ(component_type(1, 0xB5), "reserved");
    EXPECT_EQ(component_type(1, 0x13), "reserved");
    EXPECT_EQ(component_type(3, 0x01), "reserved");
    EXPECT_EQ(service_type(0xFF), "reserved");
    EXPECT_EQ(service_type(0x03), "reserved");
    EXPECT_EQ(running_status(6), "reserved");
    EXPECT_EQ(application_type(0x0002), "reserved");
    EXPECT_EQ(application_control_code(9), "reserved");
    EXPECT_EQ(visibility(2), "reserved");
    EXPECT_EQ(protocol_id(3), "reserved");
}

TEST(Names, WhatIsLeftToUsersIsCalledSo) {
    EXPECT_EQ(stream_type(0x06), "private PES");
    EXPECT_EQ(stream_type(0x80), "user private");
    EXPECT_EQ(stream_type(0x81), "AC-3 audio or private");
    EXPECT_EQ(stream_type(0xFF), "user private");
    EXPECT_EQ(service_type(0x80), "user defined");
    EXPECT_EQ(service_type(0xA1), "special video");
    EXPECT_EQ(service_type(0xFE), "user defined");
}

TEST(Names, ServiceTypesOfDvbHaveTheirs) {
    EXPECT_EQ(service_type(0x04), "NVOD reference");
    EXPECT_EQ(service_type(0x0C), "data");
    EXPECT_EQ(service_type(0x19), "HD television (H.264)");
}

TEST(Names, ComponentTypesDependOnTheStreamContent) {
    EXPECT_EQ(stream_content(0xF1), "video") << "four bits are reserved";
    EXPECT_EQ(component_type(0xF1, 0xB3), "1080i 16:9");
    EXPECT_EQ(component_type(5, 0xB4), "1080i above 16:9");
    EXPECT_EQ(component_type(1, 0xA1), "480p 4:3");
    EXPECT_EQ(component_type(1, 0xC3), "720p 16:9");
    EXPECT_EQ(component_type(2, 0x03), "stereo");
}

TEST(Names, GenresNameBothLevels) {
    EXPECT_EQ(genre(0x64), "variety, women's");
    EXPECT_EQ(genre(0x82), "information, rural");
    EXPECT_EQ(genre(0xF2), "other, political");

    EXPECT_EQ(genre(0x01), "news, report");
    EXPECT_EQ(genre(0x65), "variety, game show");
    EXPECT_EQ(genre(0xFE), "other, engineering");
}

TEST(Names, GenresDoNotRepeatWhatTheirGroupSays) {
    EXPECT_EQ(genre(0x00), "news");
    EXPECT_EQ(genre(0xD1), "television sales");
}

TEST(Names, GenresOfAGroupWithoutANameHaveTheirDetailAlone) {
    EXPECT_EQ(genre_group(0xD0), "");
    EXPECT_EQ(genre(0xD0), "raffle");
    EXPECT_EQ(genre(0xD2), "prizing");
    EXPECT_EQ(genre(0xD7), "raffle, television sales, prizing, reserved");
    EXPECT_EQ(genre(0xDF), "raffle, television sales, prizing, other");
}

TEST(Names, GenresEndInOtherWhateverTheirGroup) {
    EXPECT_EQ(genre(0x0F), "news, other");
    EXPECT_EQ(genre(0xCF), "movie, other");
}

TEST(Names, GenresOfAGroupWithoutAListHaveOneLevel) {
    EXPECT_EQ(genre(0x10), "sports");
    EXPECT_EQ(genre(0x97), "comedy");
    EXPECT_EQ(genre_detail(0x97), "");
    EXPECT_EQ(genre(0x0A), "news, reserved");
}

TEST(Names, BrazilianRatingsAreAgesAndReasons) {
    EXPECT_EQ(rating("BRA", 0x01), "L");
    EXPECT_EQ(rating("BRA", 0x02), "10");
    EXPECT_EQ(rating("BRA", 0x16), "18, drugs");
    EXPECT_EQ(rating("BRA", 0x63), "12, violence, sex");
    EXPECT_EQ(rating("BRA", 0x00), "reserved");
    EXPECT_EQ(rating("BRA", 0x07), "reserved");
    EXPECT_EQ(rating("BRA", 0x8F), "reserved");
    EXPECT_EQ(rating_age(0x75), "16");
}

TEST(Names, RatingsElsewhereAreAgesLessThree) {
    EXPECT_EQ(rating("ARG", 0x00), "undefined");
    EXPECT_EQ(rating("ARG", 0x01), "from 4 years");
    EXPECT_EQ(rating("ARG", 0x0F), "from 18 years");
    EXPECT_EQ(rating("ARG", 0x10), "defined by the broadcaster");
}

TEST(Names, ApplicationsUnderTestAreMarked) {
    EXPECT_EQ(application_type(0x0009), "Ginga-NCL");
    EXPECT_EQ(application_type(0x8001), "Ginga-J, test");
}

TEST(Names, LanguagesAreTheirLetters) {
    EXPECT_EQ(language(0x706F72), "por");
    EXPECT_EQ(language(0x706F00), "reserved");
    EXPECT_EQ(language(0x5B6F72), "reserved");
}

TEST(Names, BcdTimesAreHoursAndMinutes) {
    EXPECT_EQ(bcd_time(0x0300), "03:00");
    EXPECT_EQ(bcd_time(0x1345), "13:45");
    EXPECT_EQ(bcd_time(0x0A00), "reserved");
}

}  // namespace
}  // namespace orvix::broadcast::names
