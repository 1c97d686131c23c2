#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <si_parser/ait.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::SizeIs;

const bytes stream_identifier = describe_stream_identifier(0x07);

/// Bytes that a conversion of text would change.
const std::string odd_text("\xE9\x00\x1D\x47\x0A\xA4", 6);

// --- Application ---

/// Each field of a descriptor but its lists, to be compared as a whole.
auto fields(const application_descriptor& d) {
    return std::make_tuple(d.service_bound_flag, d.visibility, d.reserved_bits,
                           d.application_priority);
}

/// Any number of profiles, behind whatever length, and the flags of priority 9.
bytes application_body(std::uint8_t application_profiles_length, const bytes& profiles) {
    return section_writer()
        .bits(8, application_profiles_length)
        .append(profiles)
        .bits(1, 1)   // service_bound_flag
        .bits(2, 2)   // visibility
        .bits(5, 21)  // reserved_future_use
        .bits(8, 9);  // application_priority
}

class ApplicationDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(ApplicationDescriptor, HoldsItsProfilesInOrderAndItsFlags) {
    const auto d = parse_descriptor<application_descriptor>(describe_application(
        application_profile(0x8001, 2, 3, 4) + application_profile(1, 5, 6, 7), 1, 3, 200));
    EXPECT_EQ(d->tag, 0x00);
    EXPECT_EQ(d->length, 13);
    EXPECT_THAT(d->profiles, ElementsAre(FieldsAre(0x8001, 2, 3, 4), FieldsAre(1, 5, 6, 7)));
    EXPECT_THAT(fields(*d), FieldsAre(1, 3, 0x1F, 200));
}

TEST_F(ApplicationDescriptor, TellsItsFlagsApart) {
    for (unsigned int flags = 0; flags < 256; ++flags) {
        const auto d = parse_descriptor<application_descriptor>(
            test::descriptor(0x00, section_writer()
                                       .bits(8, 0)  // application_profiles_length
                                       .bits(8, flags)
                                       .bits(8, 5)));  // application_priority
        EXPECT_THAT(fields(*d), FieldsAre(flags / 128, flags / 32 % 4, flags % 32, 5)) << flags;
    }
}

TEST_F(ApplicationDescriptor, HasItsFlagsRightBehindTheLengthWithoutProfiles) {
    const auto d =
        parse_descriptor<application_descriptor>(test::descriptor(0x00, application_body(0, {})));
    EXPECT_EQ(d->length, 3);
    EXPECT_THAT(d->profiles, IsEmpty());
    EXPECT_THAT(fields(*d), FieldsAre(1, 2, 21, 9));
}

TEST_F(ApplicationDescriptor, HasItsFlagsBehindTheOnlyProfile) {
    const auto d = parse_descriptor<application_descriptor>(
        test::descriptor(0x00, application_body(5, application_profile(1, 2, 3, 4))));
    EXPECT_THAT(d->profiles, ElementsAre(FieldsAre(1, 2, 3, 4)));
    EXPECT_THAT(fields(*d), FieldsAre(1, 2, 21, 9));
}

TEST_F(ApplicationDescriptor, HasItsFlagsAtTheNextMultipleOfFiveWhereTheLengthIsNone) {
    const auto with_length_6 = parse_descriptor<application_descriptor>(test::descriptor(
        0x00,
        application_body(6, application_profile(1, 2, 3, 4) + application_profile(5, 6, 7, 8))));
    EXPECT_THAT(with_length_6->profiles, ElementsAre(FieldsAre(1, 2, 3, 4), FieldsAre(5, 6, 7, 8)));
    EXPECT_THAT(fields(*with_length_6), FieldsAre(1, 2, 21, 9));

    const auto with_length_1 = parse_descriptor<application_descriptor>(
        test::descriptor(0x00, application_body(1, application_profile(1, 2, 3, 4))));
    EXPECT_THAT(with_length_1->profiles, ElementsAre(FieldsAre(1, 2, 3, 4)));
    EXPECT_THAT(fields(*with_length_1), FieldsAre(1, 2, 21, 9));
}

TEST_F(ApplicationDescriptor, ReadsTheLongestListAndItsFlagsFromBehindTheDescriptor) {
    bytes profiles;
    for (std::uint8_t i = 0; i < 51; ++i) profiles = profiles + application_profile(i, i, i, i);
    const bytes body = application_body(255, profiles);
    const bytes inside(body.begin(), body.begin() + 255);
    const bytes behind(body.begin() + 255, body.end());
    const auto d = parse_descriptor<application_descriptor>(test::descriptor(0x00, inside), behind);
    ASSERT_THAT(d->profiles, SizeIs(51));
    EXPECT_THAT(d->profiles.back(), FieldsAre(50, 50, 50, 50));
    EXPECT_THAT(fields(*d), FieldsAre(1, 2, 21, 9));
}

TEST_F(ApplicationDescriptor, DoesNotReadTheTransportProtocolLabels) {
    const auto d = parse_descriptor<application_descriptor>(
        describe_application(application_profile(1, 2, 3, 4), 0, 1, 8, {0xAA, 0xBB}));
    EXPECT_EQ(d->length, 10);
    EXPECT_THAT(d->profiles, SizeIs(1));
    EXPECT_THAT(fields(*d), FieldsAre(0, 1, 0x1F, 8));
}

TEST_F(ApplicationDescriptor, WritesNoLogLineOfItsOwn) {
    parse_descriptor<application_descriptor>(test::descriptor(0x00, application_body(0, {})));
    EXPECT_THAT(log_.statements(), ElementsAre("<parse> DEBUG: i [0] type [0x0] size 5"));
}

// --- Application name ---

class ApplicationNameDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(ApplicationNameDescriptor, HoldsItsNamesInOrderWithTheLanguageAsANumber) {
    const auto d = parse_descriptor<application_name_descriptor>(describe_application_names(
        application_name("por", "Enquete") + application_name("eng", "Poll") +
        application_name("por", "Vote")));
    EXPECT_EQ(d->tag, 0x01);
    EXPECT_EQ(d->length, 27);
    EXPECT_THAT(d->names, ElementsAre(FieldsAre(0x706F72u, "Enquete"), FieldsAre(0x656E67u, "Poll"),
                                      FieldsAre(0x706F72u, "Vote")));
}

TEST_F(ApplicationNameDescriptor, KeepsTheBytesOfANameAsTheyStand) {
    const auto d = parse_descriptor<application_name_descriptor>(
        describe_application_names(application_name("\xFE\xDC\xBA", odd_text)));
    EXPECT_THAT(d->names, ElementsAre(FieldsAre(0xFEDCBAu, odd_text)));
}

TEST_F(ApplicationNameDescriptor, HoldsEmptyNames) {
    const auto d = parse_descriptor<application_name_descriptor>(
        describe_application_names(application_name("por", "") + application_name("eng", "Poll")));
    EXPECT_THAT(d->names, ElementsAre(FieldsAre(0x706F72u, ""), FieldsAre(0x656E67u, "Poll")));
}

TEST_F(ApplicationNameDescriptor, IsEmptyAtLengthZero) {
    EXPECT_THAT(
        parse_descriptor<application_name_descriptor>(describe_application_names({}))->names,
        IsEmpty());
}

TEST_F(ApplicationNameDescriptor, ReadsACutEntryFromWhatFollowsIt) {
    const auto d = parse_descriptor<application_name_descriptor>(
        describe_application_names(application_name("por", "Enquete") + raw("e")),
        section_writer().append("ng").bits(8, 4).append("Poll"));
    EXPECT_THAT(d->names,
                ElementsAre(FieldsAre(0x706F72u, "Enquete"), FieldsAre(0x656E67u, "Poll")));
}

TEST_F(ApplicationNameDescriptor, EndsBehindANameThatOverrunsIt) {
    const std::string longest(255, 'n');
    const bytes body = application_name("por", longest);
    const bytes inside(body.begin(), body.begin() + 255);
    const bytes behind(body.begin() + 255, body.end());
    const auto d =
        parse_descriptor<application_name_descriptor>(describe_application_names(inside), behind);
    EXPECT_THAT(d->names, ElementsAre(FieldsAre(0x706F72u, longest)));
}

// --- Transport protocol: what both kinds share ---

auto common_fields(const transport_protocol_descriptor& d) {
    return std::make_tuple(d.protocol_id, d.transport_protocol_label, d.remote_connection);
}

auto remote_fields(const transport_protocol_descriptor& d) {
    return std::make_tuple(d.original_network_id, d.transport_stream_id, d.service_id);
}

const bytes elsewhere = remote_connection(0xFEDC, 0xFBFA, 0xF9F8);

class TransportProtocolDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(TransportProtocolDescriptor, IsACarouselForProtocolsOneAndFour) {
    EXPECT_TRUE(parse_descriptor<transport_protocol_descriptor_oc>(describe_object_carousel(1, 2)));
    EXPECT_TRUE(parse_descriptor<transport_protocol_descriptor_oc>(describe_data_carousel(1, 2)));
}

TEST_F(TransportProtocolDescriptor, IsNothingForAnyOtherProtocol) {
    const std::vector<std::uint16_t> others = {0x0000, 0x0003, 0x0005, 0x0100,
                                               0x0101, 0x0201, 0xFF04};
    for (const std::uint16_t protocol_id : others) {
        const log_capture log;
        const bytes loop = describe_transport_protocol(protocol_id, 1, {}, {0x0A});
        EXPECT_THAT(parse_loop(loop + stream_identifier), Tags(0x52)) << protocol_id;
        EXPECT_THAT(log.statements(), ElementsAre("<parse> DEBUG: i [0] type [0x2] size 10",
                                                  "<parse> DEBUG: i [7] type [0x52] size 10"));
    }
}

TEST_F(TransportProtocolDescriptor, ACarouselHasItsComponentTagBehindTheFlag) {
    const auto d =
        parse_descriptor<transport_protocol_descriptor_oc>(describe_object_carousel(0xFE, 0x0A));
    EXPECT_EQ(d->tag, 0x02);
    EXPECT_EQ(d->length, 5);
    EXPECT_THAT(common_fields(*d), FieldsAre(0x0001, 0xFE, false));
    EXPECT_EQ(d->component_tag, 0x0A);
}

TEST_F(TransportProtocolDescriptor, ARemoteCarouselHasItBehindTheConnection) {
    const auto d = parse_descriptor<transport_protocol_descriptor_oc>(
        describe_data_carousel(0xFE, 0x0A, elsewhere));
    EXPECT_EQ(d->length, 11);
    EXPECT_THAT(common_fields(*d), FieldsAre(0x0004, 0xFE, true));
    EXPECT_THAT(remote_fields(*d), FieldsAre(0xFEDC, 0xFBFA, 0xF9F8));
    EXPECT_EQ(d->component_tag, 0x0A);
}

TEST_F(TransportProtocolDescriptor, OnlyTheTopBitMakesAConnectionRemote) {
    const auto with_flag_byte = [](std::uint8_t flag_byte, const bytes& rest) {
        return parse_descriptor<transport_protocol_descriptor_oc>(
            test::descriptor(0x02, section_writer()
                                       .bits(16, 0x0001)  // protocol_id
                                       .bits(8, 1)        // transport_protocol_label
                                       .bits(8, flag_byte)
                                       .append(rest)));
    };
    EXPECT_FALSE(with_flag_byte(0x7F, {0x0A})->remote_connection);
    EXPECT_EQ(with_flag_byte(0x7F, {0x0A})->component_tag, 0x0A);
    EXPECT_TRUE(with_flag_byte(0x80, elsewhere + bytes{0x0A})->remote_connection);
    EXPECT_EQ(with_flag_byte(0x80, elsewhere + bytes{0x0A})->component_tag, 0x0A);
}

TEST_F(TransportProtocolDescriptor, ACarouselFurtherBackInItsLoopReadsTheSame) {
    const auto d = parse_descriptor<transport_protocol_descriptor_oc>(
        stream_identifier + describe_object_carousel(1, 0x0A, elsewhere));
    EXPECT_THAT(remote_fields(*d), FieldsAre(0xFEDC, 0xFBFA, 0xF9F8));
    EXPECT_EQ(d->component_tag, 0x0A);
}

TEST_F(TransportProtocolDescriptor, IsReachedAsItsClassAndAsTheSharedOne) {
    const descriptor_ptr handle = parse_loop(describe_ip_transport(1, 0, {})).at(0);
    EXPECT_TRUE(boost::dynamic_pointer_cast<transport_protocol_descriptor_ip>(handle));
    EXPECT_TRUE(boost::dynamic_pointer_cast<transport_protocol_descriptor>(handle));
    EXPECT_FALSE(boost::dynamic_pointer_cast<transport_protocol_descriptor_oc>(handle));
}

// --- Transport protocol: IP ---

/// An IP transport without remote connection in whose loop position 7 is the first URL_length.
/// `behind_alignment` begins there.
bytes ip_transport(const bytes& behind_alignment) {
    return describe_transport_protocol(0x0002, 1, {}, bytes{0x80} + behind_alignment);
}

class IpTransportDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(IpTransportDescriptor, HoldsTheSharedFieldsAndTheAlignment) {
    const auto d =
        parse_descriptor<transport_protocol_descriptor_ip>(describe_ip_transport(0xFE, 1, {}));
    EXPECT_EQ(d->tag, 0x02);
    EXPECT_EQ(d->length, 5);
    EXPECT_THAT(common_fields(*d), FieldsAre(0x0002, 0xFE, false));
    EXPECT_EQ(d->alignment_indicator, 1);
    EXPECT_THAT(d->urls, IsEmpty());
}

TEST_F(IpTransportDescriptor, HoldsTheRemoteConnectionAndTheAlignmentBehindIt) {
    for (const std::uint8_t alignment : {std::uint8_t{0}, std::uint8_t{1}}) {
        const auto d = parse_descriptor<transport_protocol_descriptor_ip>(
            describe_ip_transport(0xFE, alignment, {}, elsewhere));
        EXPECT_THAT(common_fields(*d), FieldsAre(0x0002, 0xFE, true));
        EXPECT_THAT(remote_fields(*d), FieldsAre(0xFEDC, 0xFBFA, 0xF9F8));
        EXPECT_EQ(d->alignment_indicator, alignment);
        EXPECT_THAT(d->urls, IsEmpty());
    }
}

TEST_F(IpTransportDescriptor, TakesOnlyTheTopBitAsAlignment) {
    EXPECT_EQ(parse_descriptor<transport_protocol_descriptor_ip>(
                  describe_transport_protocol(0x0002, 1, {}, {0x7F}))
                  ->alignment_indicator,
              0);
    EXPECT_EQ(parse_descriptor<transport_protocol_descriptor_ip>(
                  describe_transport_protocol(0x0002, 1, {}, {0x80}))
                  ->alignment_indicator,
              1);
}

TEST_F(IpTransportDescriptor, OfLengthThreeHasNoUrlsAndReadsItsFlagsBehindIt) {
    const bytes length_three = test::descriptor(0x02, section_writer()
                                                          .bits(16, 0x0002)  // protocol_id
                                                          .bits(8, 1));      // label
    const auto d = parse_descriptor<transport_protocol_descriptor_ip>(length_three, {0x00, 0x80});
    EXPECT_FALSE(d->remote_connection);
    EXPECT_EQ(d->alignment_indicator, 1);
    EXPECT_THAT(d->urls, IsEmpty());
}

TEST_F(IpTransportDescriptor, TakesAUrlForEachPositionFromSevenUpToItsLength) {
    // Lengths of zero: a URL from position 6 up to position 0 is empty.
    const auto urls_at_length = [](std::size_t length) {
        const auto d =
            parse_descriptor<transport_protocol_descriptor_ip>(ip_transport(bytes(length - 5)));
        EXPECT_EQ(d->length, length);
        return d->urls.size();
    };
    EXPECT_EQ(urls_at_length(6), 0u);
    EXPECT_EQ(urls_at_length(7), 0u);
    EXPECT_EQ(urls_at_length(8), 1u);
    EXPECT_EQ(urls_at_length(9), 2u);
    EXPECT_EQ(urls_at_length(255), 248u);
}

TEST_F(IpTransportDescriptor, TakesTheFirstUrlFromTheAlignmentUpToThePositionThatItsLengthNames) {
    const auto d = parse_descriptor<transport_protocol_descriptor_ip>(
        ip_transport(section_writer().bits(8, 10).append("ab")));
    EXPECT_EQ(d->length, 8);
    EXPECT_THAT(d->urls, ElementsAre(FieldsAre(10,
                                               "\x80\x0A"
                                               "ab")));
}

TEST_F(IpTransportDescriptor, AUrlThatWouldEndWhereItBeginsIsEmpty) {
    const auto with_first_length = [](std::uint8_t url_length) {
        return parse_descriptor<transport_protocol_descriptor_ip>(
                   ip_transport({url_length, 0xEE, 0xEE}))
            ->urls.at(0);
    };
    EXPECT_THAT(with_first_length(5), FieldsAre(5, ""));
    EXPECT_THAT(with_first_length(6), FieldsAre(6, ""));
    EXPECT_THAT(with_first_length(7), FieldsAre(7, "\x80"));
}

TEST_F(IpTransportDescriptor, StepsItsLengthByOneAndItsUrlByTheLength) {
    // Positions 7 and 8 hold lengths. The second URL begins at 5 + (2 + 1) + 1 and ends before 11.
    const auto d = parse_descriptor<transport_protocol_descriptor_ip>(
        ip_transport(section_writer().bits(8, 2).bits(8, 11).append("ab")));
    EXPECT_EQ(d->length, 9);
    EXPECT_THAT(d->urls, ElementsAre(FieldsAre(2, ""), FieldsAre(11, "ab")));
}

TEST_F(IpTransportDescriptor, BeginsSixPositionsLaterWithARemoteConnection) {
    // Positions 13 and 14 hold lengths. The second URL begins at 11 + (2 + 1) + 1.
    const auto d = parse_descriptor<transport_protocol_descriptor_ip>(describe_transport_protocol(
        0x0002, 1, elsewhere, section_writer().bits(8, 0x80).bits(8, 2).bits(8, 17).append("ab")));
    EXPECT_EQ(d->length, 15);
    EXPECT_THAT(d->urls, ElementsAre(FieldsAre(2, ""), FieldsAre(17, "ab")));
}

TEST_F(IpTransportDescriptor, CountsPositionsFromTheStartOfItsLoop) {
    // Three bytes further back the first length is at position 10 and the URL begins at 9.
    const auto d = parse_descriptor<transport_protocol_descriptor_ip>(
        stream_identifier + ip_transport(section_writer().bits(8, 12).append("abcde")));
    EXPECT_EQ(d->length, 11);
    EXPECT_THAT(d->urls, ElementsAre(FieldsAre(12,
                                               "\x80\x0C"
                                               "a")));
}

TEST_F(IpTransportDescriptor, LosesItsUrlsBehindOtherDescriptors) {
    const bytes two_urls = ip_transport(section_writer().bits(8, 2).bits(8, 11).append("ab"));
    EXPECT_THAT(parse_descriptor<transport_protocol_descriptor_ip>(two_urls)->urls, SizeIs(2));
    const bytes two_bytes = test::descriptor(0x80, {});
    EXPECT_THAT(parse_descriptor<transport_protocol_descriptor_ip>(two_bytes + two_urls)->urls,
                IsEmpty());
    const bytes two_hundred_and_fifty_seven_bytes = test::descriptor(0x80, bytes(255));
    EXPECT_THAT(parse_descriptor<transport_protocol_descriptor_ip>(
                    two_hundred_and_fifty_seven_bytes + two_urls)
                    ->urls,
                IsEmpty());
}

TEST_F(IpTransportDescriptor, ReadsUrlsFromWhatFollowsItAndNoneFromPositionsThatNoLengthNames) {
    // The first URL ends 190 bytes behind the descriptor; the third begins at position 414.
    const bytes behind = bytes(190, 'u');
    const auto d = parse_descriptor<transport_protocol_descriptor_ip>(
        ip_transport({202, 206, 170, 'a', 'b'}), behind);
    EXPECT_EQ(d->length, 10);
    EXPECT_THAT(d->urls, ElementsAre(FieldsAre(202,
                                               "\x80\xCA\xCE\xAA"
                                               "ab" +
                                                   std::string(190, 'u')),
                                     FieldsAre(206, ""), FieldsAre(170, "")));
}

TEST_F(IpTransportDescriptor, InASectionItsLoopIsThatOfItsApplication) {
    const bytes two_urls = ip_transport(section_writer().bits(8, 2).bits(8, 11).append("ab"));
    ait table;
    parse_exactly(
        table,
        ait_section(0x0009, {}, application(10, 1, 1, two_urls) + application(10, 2, 1, two_urls)));
    ASSERT_THAT(table.applications, SizeIs(2));
    const auto d = table.get_descriptor_from<transport_protocol_descriptor_ip>(
        0x02, table.applications[1].descriptors);
    EXPECT_THAT(d->urls, ElementsAre(FieldsAre(2, ""), FieldsAre(11, "ab")));
}

// --- Ginga location ---

auto fields(const ginga_location_descriptor& d) {
    return std::make_tuple(d.tag, d.length, d.base_directory, d.class_extension, d.initial_class);
}

class GingaLocationDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(GingaLocationDescriptor, HoldsItsThreeTextsUnderBothTags) {
    const bytes body = {0x02, 0x61, 0x62, 0x01, 0x63, 0x64, 0x65};
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(test::descriptor(0x04, body))),
                FieldsAre(0x04, 7, "ab", "c", "de"));
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(test::descriptor(0x07, body))),
                FieldsAre(0x07, 7, "ab", "c", "de"));
}

TEST_F(GingaLocationDescriptor, GivesTheThirdTextWhateverTheOthersLeave) {
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(
                    describe_ginga_location(0x07, "", "", std::string(253, 'm')))),
                FieldsAre(0x07, 255, "", "", std::string(253, 'm')));
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(
                    describe_ginga_location(0x07, "base", "ext", "m"))),
                FieldsAre(0x07, 10, "base", "ext", "m"));
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(
                    describe_ginga_location(0x07, "base", "ext", ""))),
                FieldsAre(0x07, 9, "base", "ext", ""));
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(
                    describe_ginga_location(0x07, std::string(253, 'b'), "", ""))),
                FieldsAre(0x07, 255, std::string(253, 'b'), "", ""));
}

TEST_F(GingaLocationDescriptor, KeepsTheBytesOfItsTextsAsTheyStand) {
    EXPECT_THAT(fields(*parse_descriptor<ginga_location_descriptor>(
                    describe_ginga_location(0x04, odd_text, odd_text, odd_text))),
                FieldsAre(0x04, 20, odd_text, odd_text, odd_text));
}

TEST_F(GingaLocationDescriptor, HasNoThirdTextWhereTheFirstOverrunsIt) {
    const bytes cut = test::descriptor(0x07, section_writer().bits(8, 4).append("ab"));
    const auto d = parse_descriptor<ginga_location_descriptor>(
        cut, section_writer().append("cd").bits(8, 1).append("e"));
    EXPECT_THAT(fields(*d), FieldsAre(0x07, 3, "abcd", "e", ""));
}

TEST_F(GingaLocationDescriptor, HasNoThirdTextWhereTheSecondOverrunsIt) {
    const bytes cut =
        test::descriptor(0x07, section_writer().bits(8, 1).append("a").bits(8, 3).append("b"));
    const auto d = parse_descriptor<ginga_location_descriptor>(cut, raw("cd"));
    EXPECT_THAT(fields(*d), FieldsAre(0x07, 4, "a", "bcd", ""));
}

TEST_F(GingaLocationDescriptor, TakesItsTextsFromWhatFollowsItAtLengthZero) {
    const auto d = parse_descriptor<ginga_location_descriptor>(
        test::descriptor(0x07, {}), section_writer().bits(8, 1).append("a").bits(8, 1).append("b"));
    EXPECT_THAT(fields(*d), FieldsAre(0x07, 0, "a", "b", ""));
}

// --- Icon information ---

class IconInformationDescriptor : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(IconInformationDescriptor, HoldsItsLocator) {
    const auto d = parse_descriptor<icon_information_descriptor>(describe_icon("/icons", 0x0003));
    EXPECT_EQ(d->tag, 0x0B);
    EXPECT_EQ(d->length, 9);
    EXPECT_EQ(d->icon_locator, "/icons");
}

TEST_F(IconInformationDescriptor, KeepsTheBytesOfItsLocatorAsTheyStand) {
    EXPECT_EQ(
        parse_descriptor<icon_information_descriptor>(describe_icon(odd_text, 0))->icon_locator,
        odd_text);
}

TEST_F(IconInformationDescriptor, HoldsAnEmptyLocatorWithoutFlags) {
    const bytes only_a_length = test::descriptor(0x0B, {0x00});
    EXPECT_EQ(parse_descriptor<icon_information_descriptor>(only_a_length)->icon_locator, "");
}

TEST_F(IconInformationDescriptor, ReadsAnOverlongLocatorFromWhatFollowsIt) {
    const std::string longest(255, 'i');
    const bytes only_a_length = test::descriptor(0x0B, {0xFF});
    EXPECT_EQ(
        parse_descriptor<icon_information_descriptor>(only_a_length, raw(longest))->icon_locator,
        longest);
}

}  // namespace
}  // namespace orvix::si_parser
