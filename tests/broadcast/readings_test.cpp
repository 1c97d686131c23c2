#include <broadcast/readings/readings.h>
#include <broadcast/readings/refused_reading.h>
#include <broadcast/table_decoder.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <section_feed/section_gate.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace orvix::broadcast {
namespace {

using namespace orvix::test;  // NOLINT: sections are written in the words of the writers
using testing::ElementsAre;
using testing::IsEmpty;

using lines = std::vector<std::string>;

// --- What was found, as lines ---

std::string shown(const value& v);

struct shower {
    std::string operator()(std::nullptr_t) const { return "null"; }
    std::string operator()(const value::number& n) const {
        const std::string number = std::to_string(n.value);
        return n.meaning.empty() ? number : number + " (" + n.meaning + ")";
    }
    std::string operator()(const std::string& text) const { return '"' + text + '"'; }
    std::string operator()(const value::octets& octets) const {
        std::string hex;
        for (const char c : octets.bytes) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(c));
            hex += digits;
        }
        return "<" + hex + ">";
    }
    std::string operator()(const value::list& list) const {
        std::string all;
        for (const value& v : list) all += (all.empty() ? "" : ", ") + shown(v);
        return "[" + all + "]";
    }
    std::string operator()(const value::record& record) const {
        std::string all;
        for (const named_value& field : record) {
            all += (all.empty() ? "" : ", ") + std::string(field.name) + ": " + shown(field.is);
        }
        return "{" + all + "}";
    }
};

std::string shown(const value& v) { return std::visit(shower(), v.is); }

std::string shown(const difference& d) {
    return d.at.pointer() + " = " + shown(d.broadcast) +
           (d.receiver == difference::kind::missed ? ", missed" : ", otherwise") +
           (d.is_visible ? ", visible: " : ", hidden: ") + d.why;
}

std::string shown(const skipped_descriptor& d) {
    const std::string where = d.record ? std::to_string(*d.record) : "table";
    const std::string body(reinterpret_cast<const char*>(d.body), d.body_size);
    return where + " behind " + std::to_string(d.known_before) + ": " + std::to_string(d.tag) +
           " " + std::string(d.name) + ", " + std::to_string(d.length) + " bytes " +
           (d.fields.empty() ? shown(value::octets{body}) : shown(d.fields));
}

/// A section from gate to readings, in a heap block of exactly its bytes.
class reading {
public:
    explicit reading(const bytes& section) : block_(section) {
        const section_feed::gate_result gate =
            section_feed::check_section(block_.data(), block_.size());
        if (!gate.admitted()) throw std::invalid_argument(gate.text());
        const auto table = decoder_.decode(block_.data(), block_.size());
        if (table) found = read_broadcast(block_.data(), block_.size(), *table);
    }

    lines differences() const {
        lines all;
        for (const difference& d : found.differences) all.push_back(shown(d));
        return all;
    }
    lines skipped() const {
        lines all;
        for (const skipped_descriptor& d : found.skipped) all.push_back(shown(d));
        return all;
    }

    readings found;

private:
    exact_block block_;
    table_decoder decoder_;
};

lines differences_of(const bytes& section) { return reading(section).differences(); }
lines skipped_of(const bytes& section) { return reading(section).skipped(); }

class Readings : public testing::Test {
private:
    log_capture silence_{OrvixLog::NONE};
};

// --- SDT ---

constexpr std::uint8_t no_flags = 0;
constexpr std::uint8_t all_flags = 0xC3;  // the receiver's bits and the broadcast's
constexpr std::uint8_t on_air = 0xFC;     // reserved bits set, no flag

bytes flagged_service(std::uint16_t service_id, std::uint8_t flags, const bytes& descriptors = {}) {
    return section_writer()
               .bits(16, service_id)
               .bits(8, flags)
               .bits(4, 8)
               .bits(12, descriptors.size()) +
           descriptors;
}
bytes sdt_of(const bytes& services) { return sdt_section(1, 1, services); }
bytes sdt_with(const bytes& descriptors) {
    return sdt_of(flagged_service(0x0400, no_flags, descriptors));
}

TEST_F(Readings, EitFlagsDifferWhereTheReservedBitsDoNotEqualThem) {
    EXPECT_THAT(differences_of(sdt_of(flagged_service(0x0400, on_air))),
                ElementsAre("/services/0/EIT_schedule_flag = 0, otherwise, hidden: the receiver "
                            "takes the flag from a reserved bit",
                            "/services/0/EIT_present_following_flag = 0, otherwise, hidden: the "
                            "receiver takes the flag from a reserved bit"));
    EXPECT_THAT(differences_of(sdt_of(flagged_service(0x0400, 0x02))),
                ElementsAre("/services/0/EIT_schedule_flag = 1, otherwise, visible: the receiver "
                            "takes the flag from a reserved bit"));
    EXPECT_THAT(differences_of(sdt_of(flagged_service(0x0400, 0x41))), IsEmpty());
    EXPECT_THAT(differences_of(sdt_of(flagged_service(0x0400, no_flags))), IsEmpty());
    EXPECT_THAT(differences_of(sdt_of(flagged_service(0x0400, all_flags))), IsEmpty());
}

TEST_F(Readings, ServicesSentInAnotherOrderThanByNumberAreListedAsSent) {
    const bytes one_seg = flagged_service(0x5C38, no_flags);
    const bytes full = flagged_service(0x5C20, no_flags);
    EXPECT_THAT(differences_of(sdt_of(one_seg + full)),
                ElementsAre("/services = [23608, 23584], otherwise, hidden: the receiver sorts "
                            "services by number"));
    EXPECT_THAT(differences_of(sdt_of(full + one_seg)), IsEmpty());
}

TEST_F(Readings, ServicesAreMatchedWithTheirEntriesAlsoWhereTheirNumbersRepeat) {
    const bytes named = describe_service(1, "", "a");
    const bytes logo = descriptor(0xCF, {0x01});
    const reading found(
        sdt_of(flagged_service(0x5C38, 0xC0, logo) + flagged_service(0x5C38, 0x03, named + logo) +
               flagged_service(0x5C20, all_flags) + flagged_service(0x5C38, all_flags)));
    // Service 0 is 0x5C20; the other three are read in any order.
    EXPECT_EQ(found.skipped().size(), 2u);
    EXPECT_EQ(found.found.skipped[0].known_before + found.found.skipped[1].known_before, 1u);
    ASSERT_EQ(found.found.differences.size(), 5u);
    EXPECT_EQ(found.found.differences[0].at.pointer(), "/services");
    for (std::size_t i = 1; i < 5; ++i) {
        const difference& d = found.found.differences[i];
        EXPECT_NE(d.at.record, 0u);
    }
}

TEST_F(Readings, AServiceWithoutDescriptorsIsNotTakenForOneOfTheSameNumberWithSome) {
    const bytes named = describe_service(1, "", "a");
    EXPECT_THAT(differences_of(
                    sdt_of(flagged_service(0x5C20, 0xC3, named) + flagged_service(0x5C20, 0xC0))),
                testing::SizeIs(2));
    EXPECT_THAT(differences_of(
                    sdt_of(flagged_service(0x5C20, 0xC3, named) + flagged_service(0x5C20, 0xC3))),
                IsEmpty());
}

// --- Texts ---

TEST_F(Readings, LettersThatTheReceiverShowsOtherwiseAreShownAsSent) {
    EXPECT_THAT(differences_of(sdt_with(describe_service(1, "\xBD", "C\xBCUR"))),
                ElementsAre("/services/0/descriptors/0/service_provider_name = \"\u0153\", "
                            "otherwise, visible: the receiver shows other letters",
                            "/services/0/descriptors/0/service_name = \"C\u0152UR\", otherwise, "
                            "visible: the receiver shows other letters"));
    EXPECT_THAT(differences_of(sdt_with(describe_service(1, "\xBE\xA4\xE9", "\xB4\x7F"))),
                IsEmpty());
}

TEST_F(Readings, SymbolsThatTheReceiverShowsOtherwiseAreShownAsSent) {
    EXPECT_THAT(
        differences_of(sdt_with(describe_service(1, "", "\x1D\x31\x1D\x33\x1D\x41\x1D\x47"))),
        ElementsAre("/services/0/descriptors/0/service_name = \"\u00A6\u00B4\u2588\u2122\", "
                    "otherwise, visible: the receiver shows other letters"));
    EXPECT_THAT(differences_of(sdt_with(describe_service(1, "", "\x1D\x21 31\x1D\x22"))),
                IsEmpty());
}

TEST_F(Readings, ControlCodesThatTheReceiverDropsAreShownAsSent) {
    const auto text = [](const std::string& sent) {
        return eit_section(
            {}, event(1, utc_time(0xEB00, 0), 0, 4, 0, describe_short_event("por", "a", sent)));
    };
    EXPECT_THAT(differences_of(text("um\rdois\r\ntr\xEAs\x8A")),
                ElementsAre("/events/0/descriptors/0/text = \"um\ndois\ntr\u00EAs\n\", otherwise, "
                            "visible: the receiver drops control codes, line breaks among them"));
    EXPECT_THAT(differences_of(text("\x86\xBC")),
                ElementsAre("/events/0/descriptors/0/text = \"\u0086\u0152\", otherwise, visible: "
                            "the receiver drops control codes, line breaks among them, and shows "
                            "other letters"));
    EXPECT_THAT(differences_of(text("um dois")), IsEmpty());
}

TEST_F(Readings, EveryTextOfADescriptorIsCompared) {
    const bytes section = eit_section(
        {}, event(1, utc_time(0xEB00, 0), 0, 4, 0,
                  describe_content({0x10, 0x00}) + describe_short_event("por", "\xBC", "\xBD") +
                      describe_component(1, 0xB3, 0, "por", "\n")));
    EXPECT_THAT(differences_of(section),
                ElementsAre("/events/0/descriptors/1/event_name = \"\u0152\", otherwise, visible: "
                            "the receiver shows other letters",
                            "/events/0/descriptors/1/text = \"\u0153\", otherwise, visible: the "
                            "receiver shows other letters",
                            "/events/0/descriptors/2/text = \"\n\", otherwise, visible: the "
                            "receiver drops control codes, line breaks among them"));
    EXPECT_THAT(differences_of(sdt_with(describe_ts_information(31, "a\xBC"))),
                ElementsAre("/services/0/descriptors/0/ts_name = \"a\u0152\", otherwise, visible: "
                            "the receiver shows other letters"));
}

TEST_F(Readings, AnEscapeThatEndsATextTakesTheByteBehindIt) {
    // The byte behind the name is the length of the service's: 0x21, a note.
    const std::string name(0x21, 'a');
    EXPECT_THAT(differences_of(sdt_with(describe_service(1, "a\x1D", name))),
                ElementsAre("/services/0/descriptors/0/service_provider_name = \"a\", otherwise, "
                            "visible: the receiver shows other letters"));
    EXPECT_THAT(differences_of(sdt_with(describe_service(1, "a\n\x1D", name))),
                ElementsAre(testing::EndsWith("among them, and shows other letters")));
    EXPECT_THAT(differences_of(sdt_with(describe_service(1, "a\x1D", "b"))), IsEmpty());
}

TEST_F(Readings, DescriptorsWhoseLengthsDoNotFitSayNothingOfTheBroadcast) {
    const bytes overlong = descriptor(0x48, {0x01, 0x00, 0x05, 0xBC});
    EXPECT_THAT(differences_of(sdt_with(overlong + descriptor(0xC0, bytes(8)))), IsEmpty());
}

TEST_F(Readings, ADescriptorThatItsLoopCutsOffSaysNothingOfTheBroadcast) {
    // The receiver takes the last letter from the stream behind the loop.
    bytes cut = describe_service(1, "", "a\xBC");
    cut.pop_back();
    EXPECT_THAT(differences_of(
                    nit_section(1, {}, transport_stream(1, 1, cut) + transport_stream(0xBC00, 1))),
                IsEmpty());
}

// --- PMT ---

bytes pmt_with(const bytes& streams) { return pmt_section(0x0400, 0x0111, {}, streams); }

TEST_F(Readings, AStreamWithoutAComponentTagHasNone) {
    EXPECT_THAT(
        differences_of(pmt_with(elementary_stream(0x1B, 0x0111))),
        ElementsAre("/streams/0/component_tag = null, otherwise, hidden: the receiver takes "
                    "a stream without a component_tag for component 0"));
    EXPECT_THAT(differences_of(pmt_with(
                    elementary_stream(0x1B, 0x0111, describe_stream_identifier(0)) +
                    elementary_stream(0x11, 0x0112, describe_component(2, 1, 0x10, "por")))),
                IsEmpty());
}

TEST_F(Readings, LanguagesComeFromTheIso639DescriptorWhereTheReceiverSeesNone) {
    const bytes languages = descriptor(0x0A, raw("por") + bytes{0} + raw("eng") + bytes{3});
    const bytes tag = describe_stream_identifier(0x10);
    const reading found(pmt_with(elementary_stream(0x11, 0x0112, tag + languages)));
    EXPECT_THAT(found.differences(),
                ElementsAre("/streams/0/ISO_639_language_code = \"por, eng\", missed, visible: the "
                            "receiver does not read the ISO 639 language descriptor"));
    EXPECT_THAT(found.skipped(),
                ElementsAre("0 behind 1: 10 ISO 639 language, 8 bytes {languages: "
                            "[{ISO_639_language_code: \"por\", audio_type: 0 (undefined)}, "
                            "{ISO_639_language_code: \"eng\", audio_type: 3 (visual impaired "
                            "commentary)}]}"));
    EXPECT_THAT(differences_of(pmt_with(elementary_stream(
                    0x11, 0x0112, describe_component(2, 1, 0x10, "por") + languages))),
                IsEmpty());
    EXPECT_THAT(differences_of(pmt_with(elementary_stream(0x11, 0x0112, tag + descriptor(0x0A)))),
                IsEmpty());
}

TEST_F(Readings, TagsOfTheAitHaveAnotherMeaningElsewhere) {
    const bytes icon = describe_icon("", 0);
    EXPECT_THAT(differences_of(pmt_section(1, 2, icon, {})),
                ElementsAre("/descriptors/0/type = \"system clock\", otherwise, hidden: the "
                            "receiver takes tag 0x0B for the AIT's application icons everywhere"));
    const bytes video_stream = descriptor(0x02, {0x00, 0x01, 0x00, 0x7F, 0x00});
    EXPECT_THAT(differences_of(pmt_section(1, 2, video_stream, {})),
                ElementsAre("/descriptors/0/type = \"video stream\", otherwise, hidden: the "
                            "receiver takes tag 0x02 for the AIT's transport protocol everywhere"));
    for (const std::uint8_t tag : bytes{0x00, 0x01, 0x04, 0x07}) {
        EXPECT_EQ(differences_of(pmt_section(1, 2, descriptor(tag, bytes(4)), {})).size(), 1u)
            << unsigned{tag};
    }
    EXPECT_THAT(differences_of(pmt_section(1, 2, describe_stream_identifier(1), {})), IsEmpty());
    EXPECT_THAT(differences_of(ait_section(9, icon + describe_object_carousel(1, 0x40), {})),
                IsEmpty());
}

// --- AIT ---

/// Behind it the loop's length names a byte that is past its beginning: the receiver reads it.
bytes long_application(std::uint16_t id) {
    return application(1, id, 1, descriptor(0x0D, bytes(40)));
}

TEST_F(Readings, ApplicationsThatTheReceiverDoesNotSeeAreNamed) {
    EXPECT_THAT(
        differences_of(ait_section(9, descriptor(0x0D, bytes(14)),
                                   application(0x12345678, 0x16, 1, descriptor(0x0D, {1, 2, 3})) +
                                       application(1, 0x17, 2) + application(1, 0x18, 2))),
        ElementsAre("/applications = [{organisation_id: 305419896, application_id: 22, "
                    "application_control_code: 1}, {organisation_id: 1, application_id: 23, "
                    "application_control_code: 2}, {organisation_id: 1, application_id: 24, "
                    "application_control_code: 2}], missed, visible: the receiver reads 1 of 3 "
                    "applications: 0x0017 and 0x0018 are not seen"));
    EXPECT_THAT(differences_of(ait_section(9, {}, long_application(1) + application(1, 2, 1))),
                ElementsAre(testing::EndsWith("reads 1 of 2 applications: 0x0002 is not seen")));
    EXPECT_THAT(differences_of(ait_section(9, {}, application(1, 2, 1) + long_application(1))),
                IsEmpty());
    EXPECT_THAT(differences_of(ait_section(9, {}, {})), IsEmpty());
}

TEST_F(Readings, UrlsOfAnIpTransportAreThoseThatWereSent) {
    const bytes remote = remote_connection(1, 2, 3);
    const bytes urls = url("http://a") + url("http://b" + std::string(200, 'b'));
    // The receiver takes the characters of URLs for lengths: there must be bytes for those.
    const bytes padding = descriptor(0x0D, bytes(250));
    EXPECT_THAT(
        differences_of(ait_section(9, describe_ip_transport(1, 1, urls) + padding, {})),
        ElementsAre("/descriptors/0/urls = [\"http://a\", \"http://b" + std::string(200, 'b') +
                    "\"], otherwise, visible: the receiver finds the URLs of an IP "
                    "transport in few layouts"));
    EXPECT_THAT(
        differences_of(
            ait_section(9, describe_ip_transport(1, 1, url("ab"), remote) + padding, {})),
        ElementsAre("/descriptors/0/urls = [\"ab\"], otherwise, visible: the receiver finds the "
                    "URLs of an IP transport in few layouts"));
    EXPECT_THAT(differences_of(ait_section(9, describe_ip_transport(1, 1, {}) + padding, {})),
                IsEmpty());
}

// --- Times ---

constexpr std::uint16_t mjd_of_2038_01_19 = 65442;

std::string wrapped(const std::string& pointer, const std::string& seconds,
                    const std::string& sent) {
    return pointer + " = " + seconds + " (" + sent +
           "), otherwise, visible: the receiver's clock wraps on 2038-01-19: sent was " + sent;
}

TEST_F(Readings, TimesFrom2038OnAreThoseThatWereSent) {
    EXPECT_THAT(differences_of(tdt_section(utc_time(mjd_of_2038_01_19, 0x031408))),
                ElementsAre(wrapped("/utc_time", "2147483648", "2038-01-19 03:14:08")));
    EXPECT_THAT(differences_of(tdt_section(utc_time(mjd_of_2038_01_19, 0x031407))), IsEmpty());
    EXPECT_THAT(differences_of(tdt_section(utc_time(40586, 0))), IsEmpty());
    EXPECT_THAT(differences_of(tdt_section(bytes(5, 0xFF))), IsEmpty());
    EXPECT_THAT(differences_of(tot_section(utc_time(65535, 0), descriptor(0xC0))),
                ElementsAre(wrapped("/utc_time", "2155507200", "2038-04-22 00:00:00")));
    EXPECT_THAT(differences_of(eit_section(
                    {}, event(1, utc_time(0xEB00, 0), 0, 4, 0) + event(2, bytes(5, 0xFF), 0, 4, 0) +
                            event(3, utc_time(mjd_of_2038_01_19 + 13, 0), 0, 4, 0))),
                ElementsAre(wrapped("/events/2/start_time", "2148595200", "2038-02-01 00:00:00")));
}

// --- TOT ---

const bytes now = utc_time(0xEB00, 0x120000);  // NOLINT: cannot throw but for memory
bytes region(std::uint8_t id, std::uint8_t polarity, std::uint16_t offset) {
    return local_time_offset("BRA", id, polarity, offset, now, offset);
}
bytes tot_with(const bytes& descriptors) { return tot_section(now, descriptors); }

TEST_F(Readings, DescriptorsOfATotBehindTheFirstAreMissed) {
    const reading found(
        tot_with(descriptor(0xC0, {1}) + describe_local_time_offsets(region(1, 0, 0x0300))));
    EXPECT_THAT(found.differences(),
                ElementsAre("/descriptors = [192 (hierarchical transmission), 88 (local time "
                            "offset)], missed, visible: the receiver reads the first of 2 "
                            "descriptors"));
    ASSERT_EQ(found.skipped().size(), 2u);
    EXPECT_EQ(found.skipped()[0], "table behind 0: 192 hierarchical transmission, 1 bytes <01>");
    EXPECT_EQ(found.found.skipped[1].name, "local time offset");
    EXPECT_THAT(differences_of(
                    tot_with(describe_local_time_offsets(region(1, 0, 0x0300)) + descriptor(0xC0))),
                ElementsAre(testing::HasSubstr("missed, hidden")));
    EXPECT_THAT(differences_of(tot_with(describe_local_time_offsets(region(1, 0, 0x0300)))),
                IsEmpty());
}

TEST_F(Readings, AnEmptyLoopOfATotHasNoDescriptor) {
    // With the reserved bits set the receiver reads the CRC_32 as a descriptor: here 0x52 and 0x00.
    std::mt19937 random(1);
    for (;;) {
        const bytes section =
            tot_section(utc_time(static_cast<std::uint16_t>(random()), random() & 0xFFFFFF), {});
        if (section[10] != 0x52 || section[11] > 2) continue;
        const lines found = differences_of(section);
        ASSERT_FALSE(found.empty());
        EXPECT_EQ(found.back(),
                  "/descriptors = [], otherwise, visible: the loop is empty: the receiver counts "
                  "its reserved bits and reads the CRC_32 as a descriptor");
        EXPECT_THAT(skipped_of(section), IsEmpty());
        break;
    }
    bytes unreserved = tot_with({});
    unreserved[8] = 0;
    repair_crc(unreserved);
    EXPECT_THAT(differences_of(unreserved), IsEmpty());
}

TEST_F(Readings, EveryRegionOfLocalTimeIsListed) {
    EXPECT_THAT(
        differences_of(
            tot_with(describe_local_time_offsets(region(1, 0, 0x0300) + region(2, 1, 0x0400)))),
        ElementsAre(
            "/descriptors/0/local_time_offset = \"-04:00\", otherwise, visible: the receiver drops "
            "the offset's polarity",
            "/descriptors/0/next_time_offset = \"-04:00\", otherwise, visible: the receiver drops "
            "the offset's polarity",
            "/descriptors/0/regions = [{country_code: \"BRA\", country_region_id: 1, "
            "local_time_offset: \"+03:00\", next_time_offset: \"+03:00\"}, {country_code: \"BRA\", "
            "country_region_id: 2, local_time_offset: \"-04:00\", next_time_offset: \"-04:00\"}], "
            "missed, visible: the receiver keeps the last of 2 regions"));
    EXPECT_THAT(differences_of(tot_with(describe_local_time_offsets(region(1, 0, 0x0300)))),
                IsEmpty());
    EXPECT_THAT(differences_of(tot_with(describe_local_time_offsets(region(1, 1, 0)))), IsEmpty());
    EXPECT_THAT(differences_of(tot_with(describe_local_time_offsets({}))), IsEmpty());
}

TEST_F(Readings, TheTimeOfAChangeOfLocalTimeMayWrapToo) {
    EXPECT_THAT(differences_of(tot_with(describe_local_time_offsets(
                    local_time_offset("BRA", 0, 0, 0, utc_time(mjd_of_2038_01_19 + 1, 0), 0)))),
                ElementsAre(testing::StartsWith("/descriptors/0/time_of_change = 2147558400 ")));
}

// --- NIT ---

TEST_F(Readings, TransmissionTypesAreThoseThatWereSent) {
    const auto with_types = [](const std::vector<transmission_type>& types) {
        return nit_section(
            1, {},
            transport_stream(
                1, 1, descriptor(0xFB, {0x04, 0x18}) + describe_ts_information(31, "TV", types)));
    };
    EXPECT_THAT(
        differences_of(with_types({{0x0F, {0xE400, 0xE401}}, {0xAF, {0xE418}}})),
        ElementsAre("/transport_streams/0/descriptors/1/transmission_types = "
                    "[{transmission_type_info: 15, service_ids: [58368, 58369]}, "
                    "{transmission_type_info: 175, service_ids: [58392]}], missed, hidden: the "
                    "receiver drops the transmission types"));
    EXPECT_THAT(differences_of(with_types({})), IsEmpty());
}

// --- PAT ---

TEST_F(Readings, ProgrammesSentTwiceOrInAnotherOrderAreListedAsSent) {
    const auto pat = [](const bytes& programs) { return pat_section(1, programs); };
    EXPECT_THAT(differences_of(pat(program(2, 0x0200) + program(1, 0x0100))),
                ElementsAre("/program_map = [{program_number: 2, PID: 512}, {program_number: 1, "
                            "PID: 256}], otherwise, hidden: the receiver keeps one entry of each "
                            "program_number, by number"));
    EXPECT_EQ(differences_of(pat(program(1, 0x0100) + program(1, 0x0200))).size(), 1u);
    EXPECT_THAT(differences_of(pat(program(0, 0x0010) + program(1, 0x0100))), IsEmpty());
}

// --- Several sections ---

TEST_F(Readings, ATableOfSeveralSectionsIsOneTable) {
    long_header header;
    header.last_section_number = 2;
    const std::string sections = "/sections = 3, otherwise, ";
    const std::string why = ": the receiver takes each section for a whole table";
    EXPECT_THAT(differences_of(pat_section(1, {}, header)),
                ElementsAre(sections + "visible" + why));
    EXPECT_THAT(differences_of(ait_section(9, {}, {}, header)),
                ElementsAre(sections + "visible" + why));
    EXPECT_THAT(differences_of(sdt_section(1, 1, {}, header)),
                ElementsAre(sections + "visible" + why));
    EXPECT_THAT(differences_of(nit_section(1, {}, {}, header)),
                ElementsAre(sections + "visible" + why));
    EXPECT_THAT(differences_of(eit_section({}, {}, header)),
                ElementsAre(sections + "hidden" + why));
    header.last_section_number = 1;
    EXPECT_EQ(differences_of(eit_section({}, {}, header)).size(), 1u);
    EXPECT_THAT(differences_of(pat_section(1, {})), IsEmpty());
    EXPECT_THAT(differences_of(eit_section({}, {})), IsEmpty());
}

// --- Skipped descriptors ---

bytes nit_with(const bytes& network, const bytes& stream) {
    return nit_section(1, network, transport_stream(1, 1) + transport_stream(2, 1, stream));
}

TEST_F(Readings, SkippedDescriptorsStandInTheirLoopAmongTheKnownOnes) {
    EXPECT_THAT(skipped_of(nit_with(descriptor(0xFE, {3, 1}) + describe_stream_identifier(1),
                                    descriptor(0xC8) + describe_stream_identifier(1) +
                                        descriptor(0x80, {0xAB}) + describe_stream_identifier(2) +
                                        descriptor(0x5F, {0, 1, 2, 3}))),
                ElementsAre("table behind 0: 254 system management, 2 bytes <0301>",
                            "1 behind 0: 200 video decode control, 0 bytes <>",
                            "1 behind 1: 128 reserved, 1 bytes <ab>",
                            "1 behind 2: 95 reserved, 4 bytes <00010203>"));
    EXPECT_THAT(skipped_of(nit_with({}, describe_stream_identifier(1))), IsEmpty());
}

TEST_F(Readings, SkippedDescriptorsOfASortedTableStandWithTheirService) {
    EXPECT_THAT(skipped_of(sdt_of(flagged_service(0x5C38, no_flags, descriptor(0xCF, {1})) +
                                  flagged_service(0x5C20, no_flags, descriptor(0xC1, {2})))),
                ElementsAre("0 behind 0: 193 digital copy control, 1 bytes <02>",
                            "1 behind 0: 207 logo transmission, 1 bytes <01>"));
}

TEST_F(Readings, TheAitHasNamesOfItsOwn) {
    EXPECT_THAT(skipped_of(ait_section(9,
                                       descriptor(0x0C, {1}) + descriptor(0x05) +
                                           describe_transport_protocol(0x0003, 1, {}, {}) +
                                           descriptor(0x40, raw("a")),
                                       {})),
                ElementsAre("table behind 0: 12 prefetch, 1 bytes <01>",
                            "table behind 0: 5 external authorisation, 0 bytes <>",
                            "table behind 0: 2 transport protocol, 4 bytes <0003017f>",
                            "table behind 0: 64 reserved, 1 bytes <61>"));
    EXPECT_THAT(skipped_of(pmt_section(1, 2, descriptor(0x05, raw("HDMV")), {})),
                ElementsAre("table behind 0: 5 registration, 4 bytes <48444d56>"));
}

TEST_F(Readings, ASkippedDescriptorIsToldFromAKnownOneOfItsTag) {
    EXPECT_THAT(skipped_of(ait_section(9,
                                       describe_transport_protocol(0x0003, 1, {}, {}) +
                                           describe_object_carousel(1, 0x40) +
                                           describe_transport_protocol(0x0003, 2, {}, {}),
                                       {})),
                ElementsAre("table behind 0: 2 transport protocol, 4 bytes <0003017f>",
                            "table behind 1: 2 transport protocol, 4 bytes <0003027f>"));
}

TEST_F(Readings, ADescriptorThatItsLoopCutsOffKeepsTheBytesThatAreThere) {
    bytes cut = descriptor(0xC1, {1, 2, 3});
    cut[1] = 200;
    EXPECT_THAT(skipped_of(nit_with(cut, {})),
                ElementsAre("table behind 0: 193 digital copy control, 200 bytes <010203>"));
    bytes name = descriptor(0x40, raw("abc"));
    name[1] = 200;
    EXPECT_THAT(skipped_of(nit_with(name, {})),
                ElementsAre("table behind 0: 64 network name, 200 bytes <616263>"));
}

TEST_F(Readings, BodiesThatEngineersAskForAreInFields) {
    EXPECT_THAT(
        skipped_of(nit_with(descriptor(0x40, raw("C\xBCUR")),
                            descriptor(0x41, {0x04, 0x00, 0x01, 0x04, 0x18, 0xC0}) +
                                descriptor(0xFA, {0x58, 0xAE, 0x0E, 0xE8, 0x0C, 0xF0, 0x0E, 0xE9}) +
                                descriptor(0xFB, {0x04, 0x18, 0x04, 0x19}))),
        ElementsAre(
            "table behind 0: 64 network name, 4 bytes {network_name: \"C\u0152UR\"}",
            "1 behind 0: 65 service list, 6 bytes {services: [{service_id: 1024, service_type: 1 "
            "(digital television)}, {service_id: 1048, service_type: 192 (data)}]}",
            "1 behind 0: 250 terrestrial delivery system, 8 bytes {area_code: 1418, "
            "guard_interval: 3 (1/4), transmission_mode: 2 (mode 3), frequencies: [{frequency: "
            "3816 (545.143 MHz), UHF_channel: 26}, {frequency: 3312 (473.143 MHz), UHF_channel: "
            "14}, {frequency: 3817 (545.286 MHz), UHF_channel: null}]}",
            "1 behind 0: 251 partial reception, 4 bytes {service_ids: [1048, 1049]}"));
    EXPECT_THAT(
        skipped_of(pmt_with(elementary_stream(0x05, 0x0140,
                                              describe_stream_identifier(0x40) +
                                                  descriptor(0xFD, {0x00, 0xA3, 0x01}) +
                                                  descriptor(0xFD, {0x00, 0x08})))),
        ElementsAre("0 behind 1: 253 data component, 3 bytes {data_component_id: 163 (application "
                    "information), additional_data_component_info: <01>}",
                    "0 behind 1: 253 data component, 2 bytes {data_component_id: 8, "
                    "additional_data_component_info: <>}"));
}

TEST_F(Readings, UhfChannelsEndWith69) {
    const lines found = skipped_of(nit_with(descriptor(0xFA, {0, 0, 0x15, 0xF6, 0x16, 0x20}), {}));
    EXPECT_THAT(found,
                ElementsAre(testing::EndsWith("[{frequency: 5622 (803.143 MHz), UHF_channel: "
                                              "69}, {frequency: 5664 (809.143 MHz), "
                                              "UHF_channel: null}]}")));
}

TEST_F(Readings, AudioComponentsMayHaveASecondLanguage) {
    const auto audio = [](std::uint8_t flags, const std::string& languages) {
        return skipped_of(
            eit_section({}, event(1, now, 0, 4, 0,
                                  descriptor(0xC4, bytes{0xF2, 0x02, 0x10, 0x11, 0xFF, flags} +
                                                       raw(languages) + raw("Som")))));
    };
    const std::string first =
        "0 behind 0: 196 audio component, 15 bytes {stream_content: 2, component_type: 2, "
        "component_tag: 16 (main audio), stream_type: 17 (AAC audio (LATM)), simulcast_group_tag: "
        "255, ";
    EXPECT_THAT(
        audio(0xDF, "poreng"),
        ElementsAre(first + "ES_multi_lingual_flag: 1, main_component_flag: 1, quality_indicator: "
                            "1, sampling_rate: 7, ISO_639_language_code: \"por\", "
                            "ISO_639_language_code_2: \"eng\", text: \"Som\"}"));
    EXPECT_THAT(
        audio(0x2A, "por!!!"),
        ElementsAre(first + "ES_multi_lingual_flag: 0, main_component_flag: 0, quality_indicator: "
                            "2, sampling_rate: 5, ISO_639_language_code: \"por\", text: "
                            "\"!!!Som\"}"));
}

TEST_F(Readings, BodiesThatAreTooShortStayBytes) {
    EXPECT_THAT(
        skipped_of(nit_with({}, descriptor(0xFA, {0x58}) + descriptor(0xFD, {0x00}) +
                                    descriptor(0xC4, bytes(8)) + descriptor(0xC4, bytes(6, 0x80)) +
                                    descriptor(0xC4, bytes(9, 0x80)) +
                                    descriptor(0x4E, {0x00, 'p', 'o', 'r', 0x01}))),
        testing::Each(testing::EndsWith(">")));
}

bytes counted(const std::string& text) {
    return bytes{static_cast<std::uint8_t>(text.size())} + raw(text);
}
bytes extended_event(std::uint8_t numbers, const std::string& language, const bytes& items,
                     const std::string& text) {
    return descriptor(0x4E, bytes{numbers} + raw(language) +
                                bytes{static_cast<std::uint8_t>(items.size())} + items +
                                counted(text));
}

TEST_F(Readings, PartsOfAnExtendedEventAreJoined) {
    const bytes parts =
        extended_event(0x12, "por", counted("") + counted("Neto"), "um") +
        extended_event(0x02, "por",
                       counted("Elenco") + counted("Ana ") + counted("Ano") + counted("2026, "),
                       "era ") +
        extended_event(0x00, "eng", {}, "once") + extended_event(0x22, "por", {}, " dia");
    EXPECT_THAT(
        skipped_of(eit_section({}, event(1, now, 0, 4, 0, parts))),
        ElementsAre("0 behind 0: 78 extended event, 14 bytes {descriptor_number: 1, "
                    "last_descriptor_number: 2, ISO_639_language_code: \"por\"}",
                    "0 behind 0: 78 extended event, 33 bytes {descriptor_number: 0, "
                    "last_descriptor_number: 2, ISO_639_language_code: \"por\", items: "
                    "[{item_description: \"Elenco\", item: \"Ana \"}, {item_description: \"Ano\", "
                    "item: \"2026, Neto\"}], text: \"era um dia\"}",
                    "0 behind 0: 78 extended event, 10 bytes {descriptor_number: 0, "
                    "last_descriptor_number: 0, ISO_639_language_code: \"eng\", items: [], text: "
                    "\"once\"}",
                    "0 behind 0: 78 extended event, 10 bytes {descriptor_number: 2, "
                    "last_descriptor_number: 2, ISO_639_language_code: \"por\"}"));
}

TEST_F(Readings, PartsOfDifferentEventsAreNotJoined) {
    const bytes part = extended_event(0x00, "por", {}, "a");
    const lines found =
        skipped_of(eit_section({}, event(1, now, 0, 4, 0, part) + event(2, now, 0, 4, 0, part)));
    EXPECT_THAT(found,
                ElementsAre(testing::EndsWith("text: \"a\"}"), testing::EndsWith("text: \"a\"}")));
}

// --- Refused sections ---

bool is_refused_and_well_formed(const bytes& section) {
    const section_feed::gate_result why =
        section_feed::check_section(section.data(), section.size());
    EXPECT_FALSE(why.admitted());
    return is_well_formed({why, section.data(), section.size()});
}

TEST_F(Readings, APmtOf260BytesIsRefusedAndWellFormed) {
    bytes streams;
    while (streams.size() < 244) {
        const std::size_t left = 244 - streams.size();
        streams = streams + elementary_stream(0x1B, 0x0111,
                                              descriptor(0xC0, bytes(left < 100 ? left - 7 : 40)));
    }
    ASSERT_EQ(pmt_with(streams).size(), 260u);
    EXPECT_TRUE(is_refused_and_well_formed(pmt_with(streams)));
    EXPECT_FALSE(is_refused_and_well_formed(pmt_with(streams + bytes(4))));
    EXPECT_FALSE(is_refused_and_well_formed(pmt_with(streams + bytes{0x1B, 0, 1, 0, 1})));
}

TEST_F(Readings, OtherRefusedSectionsAreRarelyWellFormed) {
    bytes wrong = pat_section(1, program(1, 0x0100));
    wrong.back() ^= 1;
    EXPECT_FALSE(is_refused_and_well_formed(wrong));

    bytes cut = nit_with({}, descriptor(0xC0, bytes(9)));
    cut[11] = 0xFF;  // transport_stream_loop_length
    repair_crc(cut);
    EXPECT_FALSE(is_refused_and_well_formed(cut));

    bytes short_of_a_byte = pat_section(1, program(1, 0x0100));
    short_of_a_byte.pop_back();
    EXPECT_FALSE(is_refused_and_well_formed(short_of_a_byte));
    EXPECT_FALSE(is_refused_and_well_formed({0xC8, 0x70, 0x00}));

    // The receiver takes the URL's characters for lengths.
    EXPECT_TRUE(is_refused_and_well_formed(
        ait_section(9, describe_ip_transport(1, 1, url("http://exemplo.tv.br")), {})));
}

// --- Whatever the section holds ---

std::size_t weight_of(const value& v);

struct weigher {
    std::size_t operator()(std::nullptr_t) const { return 0; }
    std::size_t operator()(const value::number& n) const { return n.meaning.size(); }
    std::size_t operator()(const std::string& text) const { return text.size(); }
    std::size_t operator()(const value::octets& octets) const { return octets.bytes.size(); }
    std::size_t operator()(const value::list& list) const {
        std::size_t weight = 0;
        for (const value& v : list) weight += weight_of(v);
        return weight;
    }
    std::size_t operator()(const value::record& record) const {
        std::size_t weight = 0;
        for (const named_value& field : record) weight += sizeof(field) + weight_of(field.is);
        return weight;
    }
};

std::size_t weight_of(const value& v) { return sizeof(v) + std::visit(weigher(), v.is); }

std::size_t weight_of(const readings& found) {
    std::size_t weight = 0;
    for (const skipped_descriptor& d : found.skipped) weight += sizeof(d) + weight_of(d.fields);
    for (const difference& d : found.differences) {
        weight += sizeof(d) + d.why.size() + weight_of(d.broadcast);
    }
    return weight;
}

constexpr std::size_t most_bytes_per_byte = 256;

TEST_F(Readings, TakeMemoryInProportionToTheSection) {
    const auto repeated = [](const bytes& entry, std::size_t times) {
        bytes all;
        for (std::size_t i = 0; i < times; ++i) all = all + entry;
        return all;
    };
    const bytes frequencies = descriptor(0xFA, bytes(254, 0x0E));
    const bytes items = repeated(counted("") + counted(""), 100);
    for (const std::size_t n : {1u, 2u, 4u, 8u}) {
        for (const bytes& section :
             {sdt_of(repeated(flagged_service(0x5C38, on_air), 100 * n)),
              nit_with(repeated(descriptor(0xC0), 200 * n), {}),
              nit_with(repeated(frequencies, n), {}),
              pat_section(1, repeated(program(2, 0x0100), 100 * n)),
              pmt_with(repeated(elementary_stream(0x1B, 0x0111), 5 * n)),
              ait_section(9, {}, repeated(application(1, 1, 1), 50 * n)),
              eit_section(
                  {}, event(1, now, 0, 4, 0, repeated(extended_event(0, "por", items, ""), n)))}) {
            EXPECT_LE(weight_of(reading(section).found), most_bytes_per_byte * section.size());
        }
    }
}

/// One section of each table with what the receiver reads otherwise in it.
std::vector<bytes> telling_sections() {
    const bytes texts = describe_service(1, "\xBC\x1D", "a\nb") +
                        describe_short_event("por", "\x1D\x31", "\x8A") +
                        describe_component(1, 0xB3, 0, "por", "\xBD") +
                        describe_ts_information(31, "\xBC", {{0x0F, {1, 2}}, {0xAF, {3}}});
    const bytes skipped = descriptor(0x0A, raw("por") + bytes{1}) + descriptor(0x40, raw("a")) +
                          descriptor(0x41, {1, 2, 3}) +
                          extended_event(0x01, "por", counted("a") + counted("b"), "c") +
                          extended_event(0x11, "por", counted("") + counted("d"), "e") +
                          descriptor(0xC4, bytes(14, 0x80)) +
                          descriptor(0xFA, {0x58, 0xAE, 0x0E, 0xE8}) +
                          descriptor(0xFB, {0x04, 0x18}) + descriptor(0xFD, {0x00, 0xA3, 1});
    const bytes offsets = describe_local_time_offsets(region(1, 1, 0x0300) + region(2, 0, 0x0400));
    const bytes late = utc_time(mjd_of_2038_01_19 + 5, 0x120000);
    return {
        pat_section(1, program(2, 0x0100) + program(0, 0x0010)),
        pmt_section(1, 2, describe_icon("a", 1),
                    elementary_stream(0x11, 0x0112, descriptor(0x0A, raw("por") + bytes{1})) +
                        elementary_stream(0x1B, 0x0111, describe_stream_identifier(1))),
        sdt_of(flagged_service(0x5C38, on_air, texts) + flagged_service(0x5C20, 0x01, skipped) +
               flagged_service(0x5C20, 0x01)),
        nit_section(1, skipped, transport_stream(1, 1, texts + skipped)),
        eit_section({}, event(1, late, 0, 4, 0, texts + skipped) + event(2, now, 0, 4, 0)),
        tdt_section(late),
        tot_section(late, offsets + skipped),
        ait_section(9, describe_ip_transport(1, 1, url("a") + url("bc")),
                    application(1, 1, 1, describe_object_carousel(1, 2)) + application(1, 2, 1)),
    };
}

/// Changes some bytes, small values and lengths among them, or the section's size.
bytes damaged(bytes section, std::mt19937& random) {
    for (unsigned int changes = 1 + random() % 4; changes > 0; --changes) {
        const std::size_t at = random() % section.size();
        const unsigned int kind = random() % 4;
        if (kind == 0) section[at] = static_cast<std::uint8_t>(random());
        if (kind == 1) section[at] = static_cast<std::uint8_t>(section[at] + random() % 5 - 2);
        if (kind == 2) section[at] = 0;
        if (kind == 3 && section.size() > 20) {
            const auto from = section.begin() + static_cast<std::ptrdiff_t>(8 + random() % 8);
            section.erase(from, from + static_cast<std::ptrdiff_t>(1 + random() % 4));
        }
    }
    const std::size_t section_length = section.size() - 3;
    section[1] = static_cast<std::uint8_t>((section[1] & 0xF0) | (section_length >> 8 & 0x0F));
    section[2] = static_cast<std::uint8_t>(section_length);
    if (section[0] != 0x70 && section.size() >= 7) repair_crc(section);
    return section;
}

TEST_F(Readings, StayInsideSectionsDamagedInAnyWay) {
    std::mt19937 random(20261121);
    const std::vector<bytes> sections = telling_sections();
    unsigned int admitted = 0;
    unsigned int telling = 0;
    for (unsigned int round = 0; round < 20000; ++round) {
        const bytes section = damaged(sections[round % sections.size()], random);
        if (!section_feed::check_section(section.data(), section.size()).admitted()) continue;
        ++admitted;
        const reading r(section);
        for (const skipped_descriptor& d : r.found.skipped) {
            EXPECT_LE(d.body_size, d.length);
        }
        if (!r.found.differences.empty()) ++telling;
        EXPECT_TRUE(std::is_sorted(r.found.differences.begin(), r.found.differences.end(),
                                   [](const difference& a, const difference& b) {
                                       return std::tie(a.at.record, a.at.descriptor) <
                                              std::tie(b.at.record, b.at.descriptor);
                                   }));
        EXPECT_LE(weight_of(r.found), most_bytes_per_byte * section.size()) << round;
    }
    EXPECT_GT(admitted, 5000u);
    EXPECT_GT(telling, 2500u);
}

}  // namespace
}  // namespace orvix::broadcast
