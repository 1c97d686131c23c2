// The text and JSON formats, whole.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "lines.h"
#include "tool.h"

namespace orvix::test {
namespace {

using json = nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;

std::string text_of(const bytes& sections, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"--sections", "--quiet"});
    return si_inspect(arguments, {sections}).out;
}

std::vector<json> json_of(const bytes& sections, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"--format", "json"});
    return objects_of<json>(text_of(sections, arguments));
}

// --- Text ---

TEST(TextFormat, ShowsAPat) {
    EXPECT_EQ(text_of(pat()), R"(PAT  section 0  program association
  table_id                0x00 (0)
  section_size            24
  version_number          0
  table_id_extension      0x02E1 (737)
  current_next_indicator  1
  section_number          0
  last_section_number     0
  program_map
    program_number  PID
    0x0000 (0)      0x0010 (16)
    0x5C20 (23584)  0x0110 (272)
    0x5C38 (23608)  0x1FC8 (8136)
)");
}

TEST(TextFormat, ShowsAPmt) {
    EXPECT_EQ(text_of(hd_pmt()), R"(PMT  section 0  program map
  table_id                0x02 (2)
  section_size            37
  version_number          0
  table_id_extension      0x5C20 (23584)
  current_next_indicator  1
  section_number          0
  last_section_number     0
  program_number          0x5C20 (23584)
  PCR_PID                 0x0100 (256)
  streams
    elementary_PID  component_tag  stream_type              ISO_639_language_code
    0x0111 (273)    0x00 (0)       H.264 video (0x1B)       ""
      0x52 stream_identifier_descriptor, 1 byte: component_tag main video (0x00)
    0x0112 (274)    0x10 (16)      AAC audio (LATM) (0x11)  ""
      0x52 stream_identifier_descriptor, 1 byte: component_tag main audio (0x10)
    0x0140 (320)    none           private sections (0x05)  ""
)");
}

TEST(TextFormat, ShowsAnNit) {
    EXPECT_EQ(text_of(nit()), R"(NIT  section 0  network information, actual network
  table_id                0x40 (64)
  section_size            36
  version_number          0
  table_id_extension      0x02E1 (737)
  current_next_indicator  1
  section_number          0
  last_section_number     0
  network_id              0x02E1 (737)
  transport_streams
    transport_stream_id  original_network_id
    0x02E1 (737)         0x02E1 (737)
      0xCD ts_information_descriptor, 12 bytes
          remote_control_key_id  3
          ts_name                "Manacá"
          transmission_types     broadcast: transmission_type_info 0x0F (15), service_ids 0x5C20 (23584) (the receiver drops the transmission types)
)");
}

TEST(TextFormat, ShowsAnSdt) {
    EXPECT_EQ(text_of(sdt()), R"(SDT  section 0  service description, actual transport stream
  table_id                0x42 (66)
  section_size            45
  version_number          0
  table_id_extension      0x02E1 (737)
  current_next_indicator  1
  section_number          0
  last_section_number     0
  transport_stream_id     0x02E1 (737)
  original_network_id     0x02E1 (737)
  services
    service_id      EIT_schedule_flag  EIT_present_following_flag  running_status   free_CA_mode
    0x5C20 (23584)  1                  1                           running (4)      0
      0x48 service_descriptor, 18 bytes
          service_type           digital television (0x01)
          service_provider_name  "Manacá"
          service_name           "Manacá HD"
    0x5C38 (23608)  1                  1                           not running (1)  1
)");
}

TEST(TextFormat, ShowsAnEitWithAnUndefinedTime) {
    EXPECT_EQ(text_of(eit()),
              R"(EIT  section 0  present and following events, actual transport stream
  table_id                     0x4E (78)
  section_size                 84
  version_number               0
  table_id_extension           0x5C20 (23584)
  current_next_indicator       1
  section_number               0
  last_section_number          0
  service_id                   0x5C20 (23584)
  transport_stream_id          0x02E1 (737)
  original_network_id          0x02E1 (737)
  segment_last_section_number  1
  last_table_id                0x4E (78)
  events
    event_id       start_time                              duration            running_status  free_CA_mode
    0x0A01 (2561)  2026-11-21T19:45:00-03:00 (1795290300)  1:45:30 (6330)      running (4)     0
      0x4D short_event_descriptor, 30 bytes
          ISO_639_language_code  "por"
          event_name             "Jornal"
          text                   "As notícias do dia."
      0x54 content_descriptor, 2 bytes
          contents
            content_nibble       user_byte
            news, report (0x01)  0xFF (255)
      0x55 parental_descriptor, 4 bytes
          ratings
            country_code  rating
            "BRA"         12, violence, sex (0x63)
    0x0A02 (2562)  undefined (-2138856031)                 undefined (604065)  undefined (0)   0
)");
}

TEST(TextFormat, ShowsATdtAndATotWithABlankLineBetween) {
    EXPECT_EQ(text_of(tdt() + tot()), R"(TDT  section 0  time and date
  table_id  0x70 (112)
  utc_time  2026-11-21T20:30:00-03:00 (1795293000)

TOT  section 1  time offset
  table_id  0x73 (115)
  descriptors
    0x58 localtime_offset_descriptor, 13 bytes
        country_code       "BRA"
        country_region_id  2
        local_time_offset  03:00 (0x0300)  broadcast: "-03:00"
        next_time_offset   02:00 (0x0200)  broadcast: "-02:00"
        time_of_change     2026-11-21T00:00:00-03:00 (1795219200)
  utc_time  2026-11-21T20:30:01-03:00 (1795293001)
)");
}

TEST(TextFormat, ShowsAnAitWithBytesThatAreNotText) {
    EXPECT_EQ(text_of(ait()), R"(AIT  section 0  application information
  table_id                0x74 (116)
  section_size            76
  version_number          0
  table_id_extension      0x0009 (9)
  current_next_indicator  1
  section_number          0
  last_section_number     0
  application_type        Ginga-NCL (0x0009)
  applications
    organisation_id  application_id  application_control_code
    0x0000000A (10)  0x0001 (1)      AUTOSTART (1)
      0x00 application_descriptor, 9 bytes
          profiles
            application_profile  version_major  version_minor  version_micro
            0x0001 (1)           1              2              3
          service_bound_flag    1
          visibility            full (3)
          reserved_bits         0x1F (31)
          application_priority  5
      0x01 application_name_descriptor, 18 bytes
          names
            language        name
            por (0x706F72)  "Jogo"
            eng (0x656E67)  "Milhão" (ISO/IEC 8859-15)
      0x02 transport_protocol_descriptor_oc, 5 bytes
          protocol_id               object carousel (0x0001)
          transport_protocol_label  7
          remote_connection         false
          original_network_id       0x0000 (0)
          transport_stream_id       0x0000 (0)
          service_id                0x0000 (0)
          component_tag             main carousel (0x40)
      0x07 ginga_location_descriptor, 11 bytes
          base_directory   "/"
          class_extension  ""
          initial_class    "main.ncl"
)");
}

TEST(TextFormat, NamesPidAndPacketOfAStream) {
    const outcome shown = si_inspect({"--quiet", "--table", "tdt"}, {all_tables().stream()});
    EXPECT_THAT(shown.out, HasSubstr("TDT  PID 0x0014 (20)  packet 7  time and date\n"));
}

TEST(TextFormat, AlignsWhatFollowsWideCharacters) {
    const bytes ratings =
        describe_parental_ratings(parental_rating("\xE6\x97\xA5", 1) + parental_rating("BRA", 1));
    const std::string shown =
        text_of(eit_section({}, event(1, utc_time(day, 0), 0, 0, 0, ratings)));
    EXPECT_THAT(shown, HasSubstr("            \"BRA\"         L (0x01)\n"
                                 "            \"日\"          from 4 years (0x01)\n"));
}

TEST(TextFormat, NeverWritesWhatSteersReordersOrHides) {
    const std::string shown = text_of(ait_section(
        9, {},
        application(1, 1, 1, describe_icon("\x1B[31m \xE2\x80\xAE \xEF\xBB\xBF \x7F", 0)) +
            application(1, 1, 1, describe_icon("\xE3\x9B", 0))));
    EXPECT_THAT(shown, HasSubstr(R"(icon_locator "\u001B[31m \u202E \uFEFF \u007F")"
                                 "\n"));
    EXPECT_THAT(shown, HasSubstr("icon_locator \"ã\\u009B\" (ISO/IEC 8859-15)\n"));
}

TEST(TextFormat, SaysWhichSectionsHaveAWrongCrc) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    const std::string shown = text_of(sdt() + damaged, {"--no-crc", "--all"});
    const std::string title = "SDT  section 1  service description, actual transport stream";
    EXPECT_THAT(shown, HasSubstr('\n' + title + "  wrong CRC_32\n"));
    EXPECT_THAT(shown, testing::StartsWith(
                           "SDT  section 0  service description, actual transport stream\n"));
}

TEST(TextFormat, ShowsARefusedSectionWithWhatTheReceiverWouldHaveDone) {
    bytes damaged = tot();
    damaged.back() ^= 1;
    const std::string shown = text_of(tdt() + damaged + pat());
    EXPECT_THAT(shown, HasSubstr("\n\nTOT  section 1  time offset\n  refused: TOT: CRC_32 0x"));
    EXPECT_THAT(shown, HasSubstr("\n  the receiver: takes what it says, if the demultiplexer"));
    EXPECT_THAT(shown, HasSubstr("\n\nPAT  section 2  "));
}

TEST(TextFormat, SaysOfTimesBefore1970WhetherTheReceiversClockWrapped) {
    EXPECT_THAT(text_of(tdt_section(utc_time(65442, 0x031408))),
                HasSubstr("utc_time  1901-12-13T20:45:52-03:00 (-2147483648), the receiver's clock "
                          "wrapped: 2038-01-19T03:14:08-03:00 on air\n"));
    EXPECT_THAT(text_of(tdt_section(utc_time(40586, 0x235959))),
                HasSubstr("utc_time  1969-12-31T23:59:59-03:00 (-1), sent so: the receiver's clock "
                          "has not wrapped\n"));
    EXPECT_THAT(text_of(tdt_section(bytes(5, 0xFF))),
                HasSubstr("utc_time  undefined (-2138856031)\n"));
}

TEST(TextFormat, NamesTheKindsOfAComponent) {
    const std::string shown = text_of(pmt_section(
        1, 2, {}, elementary_stream(0x1B, 3, describe_component(5, 0xB3, 0, "por", ""))));
    EXPECT_THAT(shown, HasSubstr("stream_content         H.264 video (0xF5)\n"));
    EXPECT_THAT(shown, HasSubstr("component_type         1080i 16:9 (0xB3)\n"));
}

/// A service whose EIT flags are the receiver's (bits 7, 6) and the broadcast's (bits 1, 0).
bytes flagged_service(std::uint16_t service_id, std::uint8_t flags, const bytes& descriptors) {
    bytes entry = service(service_id, 4, 0, descriptors);
    entry[2] = flags;
    return entry;
}

/// Two services, not by number; a text with a line break behind a skipped descriptor.
bytes telling_sdt() {
    return sdt_section(
        1, 1,
        flagged_service(0x5C38, 0xFD, descriptor(0xCF, {0x03}) + describe_service(1, "", "a\nb")) +
            flagged_service(0x5C20, 0xFF, {}));
}

TEST(TextFormat, ShowsWhatWasSentBesideWhatTheReceiverReads) {
    EXPECT_THAT(text_of(telling_sdt()), HasSubstr(R"(
  services  broadcast: 0x5C38 (23608), 0x5C20 (23584) (the receiver sorts services by number)
    service_id      EIT_schedule_flag  EIT_present_following_flag  running_status  free_CA_mode
    0x5C20 (23584)  1                  1                           running (4)     0
    0x5C38 (23608)  1 broadcast: 0     1                           running (4)     0
      0xCF logo transmission, 1 byte, skipped by the receiver: bytes 03
      0x48 service_descriptor, 6 bytes
          service_type           digital television (0x01)
          service_provider_name  ""
          service_name           "ab"  broadcast: "a\u000Ab"
)"));
}

TEST(TextFormat, ShowsWhatTheReceiversObjectLacks) {
    EXPECT_THAT(text_of(eit(hd_service, {0, 1, 0, 1})),
                HasSubstr("\n  sections                     broadcast: 2 (the receiver takes each "
                          "section for a whole table)\n"));
    const bytes three = ait_section(9, descriptor(0x0D, bytes(14)),
                                    application(1, 0x16, 1, descriptor(0x0D, {1, 2, 3})) +
                                        application(1, 0x17, 2) + application(1, 0x18, 2));
    EXPECT_THAT(text_of(three),
                HasSubstr("(the receiver reads 1 of 3 applications: 0x0017 and 0x0018 are not "
                          "seen)\n"));
    const bytes none = ait_section(9, descriptor(0x0D, bytes(30)), application(1, 0x16, 1));
    EXPECT_THAT(text_of(none),
                HasSubstr("  applications            none  broadcast: organisation_id 0x00000001 "
                          "(1), application_id 0x0016 (22), application_control_code 1 (the "
                          "receiver reads 0 of 1 applications: 0x0016 is not seen)\n"));
}

TEST(TextFormat, ShowsTheTypeOfADescriptorThatTheReceiverMistakes) {
    EXPECT_THAT(text_of(pmt_section(1, 2, describe_icon("", 0), {})),
                HasSubstr("0x0B icon_information_descriptor, 3 bytes  broadcast: \"system clock\": "
                          "icon_locator \"\"\n"));
}

TEST(TextFormat, ShowsADescriptorThatTheReceiverTakesForTheCrc) {
    for (std::uint32_t time = 0;; ++time) {
        const bytes section = tot_section(utc_time(day, time), {});
        if (section[10] != 0x52 || section[11] > 2) continue;
        EXPECT_THAT(text_of(section),
                    HasSubstr("  descriptors  broadcast: none (the loop is empty: the receiver "
                              "counts its reserved bits and reads the CRC_32 as a descriptor)\n"
                              "    0x52 stream_identifier_descriptor, "));
        break;
    }
}

TEST(TextFormat, ShowsSkippedDescriptorsWithTheirFields) {
    EXPECT_THAT(
        text_of(nit_section(1, descriptor(0x40, raw("Rede")),
                            transport_stream(1, 1, descriptor(0xFA, {0x58, 0xAE, 0x0E, 0xE8})))),
        testing::AllOf(
            HasSubstr("    0x40 network name, 4 bytes, skipped by the receiver: network_name "
                      "\"Rede\"\n"),
            HasSubstr(R"(      0xFA terrestrial delivery system, 4 bytes, skipped by the receiver
          area_code          0x058A (1418)
          guard_interval     1/4 (3)
          transmission_mode  mode 3 (2)
          frequencies
            frequency           UHF_channel
            545.143 MHz (3816)  26
)")));
    EXPECT_THAT(text_of(nit_section(1, {}, transport_stream(1, 1, descriptor(0xFA, {0, 0})))),
                HasSubstr("frequencies        none\n"));
}

bytes long_pmt() {
    return pmt_section(1, 2, {}, elementary_stream(0x1B, 0x0111, descriptor(0xC0, bytes(237))));
}

TEST(TextFormat, SaysWhichRefusedSectionsAreWellFormed) {
    ASSERT_EQ(long_pmt().size(), 260u);
    EXPECT_EQ(text_of(long_pmt()), R"(PMT  section 0  program map
  refused: PMT: section_length 257 at byte 1 leads the parser's 8-bit cursor past byte 256: the parse would never end
  the section: is well formed
  the receiver: never ends, and takes all memory
)");
}

// --- JSON Lines ---

TEST(JsonFormat, KeysAreTheLibrarysNamesInItsOrder) {
    stream_writer stream;
    stream.section(0x0011, sdt());
    EXPECT_EQ(
        si_inspect({"--quiet", "--format", "json"}, {stream.stream()}).out,
        R"({"packet":0,"pid":17,"table":"sdt","table_id":66,"section_size":45,"version_number":0,)"
        R"("table_id_extension":737,"current_next_indicator":1,"section_number":0,)"
        R"("last_section_number":0,"descriptors":[],"transport_stream_id":737,)"
        R"("original_network_id":737,"services":[{"service_id":23584,"EIT_schedule_flag":1,)"
        R"("EIT_present_following_flag":1,"running_status":4,"running_status_name":"running",)"
        R"("free_CA_mode":0,"descriptors":[{"tag":72,"length":18,"type":"service_descriptor",)"
        R"("service_type":1,"service_type_name":"digital television",)"
        R"("service_provider_name":"Manacá","service_name":"Manacá HD"}]},)"
        R"({"service_id":23608,"EIT_schedule_flag":1,"EIT_present_following_flag":1,)"
        R"("running_status":1,"running_status_name":"not running","free_CA_mode":1,)"
        R"("descriptors":[]}]})"
        "\n");
}

TEST(JsonFormat, MapsAndPairsAreArraysOfObjects) {
    EXPECT_EQ(json_of(pat())[0]["program_map"].dump(),
              R"([{"program_number":0,"PID":16},{"program_number":23584,"PID":272},)"
              R"({"program_number":23608,"PID":8136}])");
    const json told = json_of(eit())[0]["events"][0]["descriptors"];
    EXPECT_EQ(told[1]["contents"].dump(),
              R"([{"content_nibble":1,"content_nibble_name":"news, report","user_byte":255}])");
    EXPECT_EQ(told[2]["ratings"].dump(),
              R"([{"country_code":"BRA","rating":99,"rating_name":"12, violence, sex"}])");
}

TEST(JsonFormat, TimesAreSecondsAndIso8601) {
    const json events = json_of(eit())[0]["events"];
    EXPECT_EQ(events[0]["start_time"], 1795290300);
    EXPECT_EQ(events[0]["start_time_iso"], "2026-11-21T19:45:00-03:00");
    EXPECT_EQ(events[0]["start_time_unix"], 1795290300 + 3 * 3600);
    EXPECT_FALSE(events[0].contains("start_time_wrapped"));
    EXPECT_EQ(events[0]["duration"], 6330);
    EXPECT_EQ(events[0]["duration_iso"], "PT1H45M30S");
    EXPECT_EQ(events[1]["start_time"], -2138856031);
    EXPECT_EQ(events[1]["start_time_iso"], "undefined");
    EXPECT_TRUE(events[1].at("start_time_unix").is_null());
    EXPECT_EQ(events[1]["duration"], 604065);
    EXPECT_EQ(events[1]["duration_iso"], "undefined");
    EXPECT_EQ(json_of(tdt(), {"--utc-offset", "+05:30"})[0]["utc_time_iso"],
              "2026-11-21T20:30:00+05:30");
}

TEST(JsonFormat, TimesThatTheReceiverWrapsAreAsTheyWereSent) {
    const json wrapped = json_of(tdt_section(utc_time(65442, 0x031408)))[0];
    EXPECT_EQ(wrapped["utc_time"], -2147483648);
    EXPECT_EQ(wrapped["utc_time_iso"], "2038-01-19T03:14:08-03:00");
    EXPECT_EQ(wrapped["utc_time_unix"], 2147483648 + 3 * 3600);
    EXPECT_EQ(wrapped["utc_time_wrapped"], true);
    const json sent_so = json_of(tdt_section(utc_time(40586, 0x235959)))[0];
    EXPECT_EQ(sent_so["utc_time_iso"], "1969-12-31T23:59:59-03:00");
    EXPECT_EQ(sent_so["utc_time_wrapped"], false);
}

TEST(JsonFormat, AStreamWithoutAComponentTagHasNone) {
    const json streams = json_of(hd_pmt())[0]["streams"];
    EXPECT_EQ(streams[0]["component_tag"], 0);
    EXPECT_TRUE(streams[2].at("component_tag").is_null());
    const json by_component = json_of(pmt_section(
        1, 2, {}, elementary_stream(0x1B, 3, describe_component(1, 2, 0, "por", ""))))[0];
    EXPECT_EQ(by_component["streams"][0]["component_tag"], 0);
}

TEST(JsonFormat, TextsThatAreNotUtf8HaveTheirBytesBesideThem) {
    const json names = json_of(ait())[0]["applications"][0]["descriptors"][1]["names"];
    EXPECT_EQ(names.dump(), R"([{"language":7368562,"language_name":"por","name":"Jogo"},)"
                            R"({"language":6647399,"language_name":"eng","name":"Milhão",)"
                            R"("name_hex":"4d696c68e36f"}])");
}

TEST(JsonFormat, EscapesWhatSteersReordersOrHides) {
    const std::string line = text_of(
        ait_section(
            9, {},
            application(1, 1, 1, describe_icon("\x1B\"\\\n\xE2\x80\xAE\x7F\xF3\xA0\x80\x81", 0))),
        {"--format", "json"});
    EXPECT_THAT(line, HasSubstr(R"("icon_locator":"\u001B\"\\\n\u202E\u007F\uDB40\uDC01"})"));
}

TEST(JsonFormat, EscapesOneCharacterAnywhere) {
    std::vector<std::string> names;
    bytes sections;
    for (const char escaped : {'"', '\\', '\x1F', '\x7F'}) {
        for (std::size_t at = 0; at < 20; ++at) {
            names.emplace_back(20, 'a').at(at) = escaped;
            sections =
                sections + ait_section(9, {}, application(1, 1, 1, describe_icon(names.back(), 0)));
        }
    }
    std::vector<std::string> read;
    for (const json& table : json_of(sections, {"--all"})) {
        read.push_back(table["applications"][0]["descriptors"][0]["icon_locator"]);
    }
    EXPECT_EQ(read, names);
}

TEST(JsonFormat, NamesOfFilesThatAreNotUtf8StayValid) {
    const temporary_folder folder;
    const std::string path = folder.file(
        "a\xE3"
        "b\xE2\x82.ts",
        all_tables().stream());
    const std::string line =
        lines_of(si_inspect({"--quiet", "--format", "json", path, path}).out).at(0);
    EXPECT_EQ(json::parse(line)["file"], folder.path() + "/a\uFFFDb\uFFFD.ts");
}

TEST(JsonFormat, SaysWhichSectionsHaveAWrongCrc) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    const std::vector<json> objects = json_of(sdt() + damaged, {"--no-crc", "--all"});
    EXPECT_FALSE(objects.at(0).contains("crc_error"));
    EXPECT_EQ(objects.at(1)["crc_error"], true);
}

TEST(JsonFormat, ShowsARefusedSectionWithItsReasonAndBytes) {
    bytes damaged = tot();
    damaged.back() ^= 1;
    stream_writer stream;
    stream.section(0x0014, damaged).section(0x0014, damaged);
    const outcome shown = si_inspect({"--format", "json"}, {stream.stream()});
    const std::vector<std::string> lines = lines_of(shown.out);
    ASSERT_EQ(lines.size(), 1u) << "each different refusal once";
    const json object = json::parse(lines[0]);
    EXPECT_EQ(object["packet"], 0);
    EXPECT_EQ(object["pid"], 20);
    EXPECT_EQ(object["table"], "tot");
    EXPECT_EQ(object["refused"]["reason"], "crc_mismatch");
    EXPECT_EQ(object["refused"]["byte"], 25);
    EXPECT_THAT(object["refused"]["sentence"].get<std::string>(), HasSubstr("TOT: CRC_32 0x"));
    EXPECT_THAT(object["refused"]["receiver"].get<std::string>(), HasSubstr("no CRC_32"));
    EXPECT_EQ(object["bytes"].get<std::string>().size(), 2 * damaged.size());
    EXPECT_THAT(shown.err, testing::Not(HasSubstr("CRC_32"))) << "said once is enough";
}

TEST(JsonFormat, TotalsAreTheLastLineWhenAsked) {
    stream_writer stream;
    stream.section(0x0011, sdt())
        .section(0x0011, sdt())
        .skip_counter(0x0011)
        .section(0x0011, sdt())
        .section(0x0001, long_section(0x01, 0xFFFF, {}))
        .null_packets(5);
    const outcome shown =
        si_inspect({"--format", "json", "--totals"}, {bytes(7) + stream.stream()});
    EXPECT_EQ(
        lines_of(shown.out).back(),
        R"({"totals":{"packets":9,"pids":3,"tables":{"sdt":{"sections":3,"shown":1}},)"
        R"("not_decoded":{"1":{"1":{"name":"conditional access","sections":1}}},)"
        R"("passed_over":0,"transport_errors":{},"continuity_errors":{"17":1},"refused":{},"dropped":{"17":{"discontinuity":1}},)"
        R"("skipped_bytes":7,"sync_losses":0,"left_out":{}}})");
    EXPECT_EQ(shown.err, "");
}

// --- All formats ---

std::string validate(const std::string& lines) {
    const temporary_folder folder;
    const std::string file = folder.file("lines", raw(lines));
    const std::string command = std::string("'") + VALIDATE_LINES + "' '" + SCHEMA + "' <'" + file +
                                "' >'" + folder.path("out") + "' 2>&1";
    const int status = std::system(command.c_str());
    return (status == 0 ? "valid: " : "not valid: ") + read_file(folder.path("out"));
}

TEST(JsonSchema, HoldsForEveryLineOfTheSample) {
    const std::string lines = si_inspect({"--format", "json", "--totals", "--all", SAMPLE}).out;
    EXPECT_EQ(validate(lines), "valid: " + std::to_string(lines_of(lines).size()) + '\n');
}

TEST(JsonSchema, HoldsForOddTablesRefusalsAndSeveralFiles) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    stream_writer stream = all_tables();
    stream.section(0x0011, damaged).section(0x0011, long_section(0x4A, 1, {}));
    stream.skip_counter(0x0011).section(0x0011, sdt());
    const bytes odd_ait =
        ait_section(0x8123, describe_ip_transport(1, 1, url("x")) + describe_icon("\xFF", 1),
                    application(1, 2, 3,
                                describe_object_carousel(1, 2, remote_connection(1, 2, 3)) +
                                    describe_application({}, 0, 2, 255)));
    const temporary_folder folder;
    const std::string first = folder.file("a.ts", stream.stream(204));
    const std::string second = folder.file("b.ts", stream.stream(192));
    const std::string lines = si_inspect({"--format", "json", "--totals", first, second}).out +
                              si_inspect({"--format", "json", "--totals", "--sections"},
                                         {all_sections() + damaged + odd_ait + bytes{0x40}})
                                  .out;
    EXPECT_THAT(validate(lines), testing::StartsWith("valid: "));
    EXPECT_THAT(lines, HasSubstr("\"refused\""));
    EXPECT_THAT(lines, HasSubstr("icon_locator_hex"));
    EXPECT_THAT(lines, HasSubstr("transport_protocol_descriptor_ip"));
    EXPECT_THAT(lines, HasSubstr(R"("none":{"unfinished":1})"));
}

TEST(JsonSchema, RejectsWhatIsNoLineOfTheTool) {
    const std::string line = lines_of(text_of(tdt(), {"--format", "json"})).at(0);
    ASSERT_THAT(validate(line), testing::StartsWith("valid: "));
    json other = json::parse(line);
    other["extra"] = 1;
    EXPECT_THAT(validate(other.dump()), testing::StartsWith("not valid: "));
    other = json::parse(line);
    other.erase("utc_time");
    EXPECT_THAT(validate(other.dump()), testing::StartsWith("not valid: "));
    other = json::parse(line);
    other["table"] = "pat";
    EXPECT_THAT(validate(other.dump()), testing::StartsWith("not valid: "));
}

/// Every value below `value`, under the key that it stands under.
void collect(const std::string& key, const json& value,
             std::vector<std::pair<std::string, json>>& leaves) {
    if (value.is_array()) {
        for (const json& entry : value) collect(key, entry, leaves);
    } else if (value.is_object()) {
        for (const auto& [name, member] : value.items()) collect(name, member, leaves);
    } else {
        leaves.emplace_back(key, value);
    }
}

/// The blocks of the text format, one for each section.
std::vector<std::string> blocks_of(const std::string& text) {
    std::vector<std::string> blocks = {""};
    for (const std::string& line : lines_of(text)) {
        if (line.empty()) {
            blocks.emplace_back();
        } else {
            blocks.back() += line + '\n';
        }
    }
    return blocks;
}

/// How the text format writes a value: one of these.
std::vector<std::string> as_text(const std::string& key, const json& value) {
    const auto ends_with = [&](const std::string& end) {
        return key.size() > end.size() && key.substr(key.size() - end.size()) == end;
    };
    if (ends_with("_hex") || ends_with("_unix")) return {""};  // JSON's own
    if (value.is_null()) return {"  none "};
    if (value.is_string()) {
        const std::string word = value;
        if (key == "duration_iso") return {""};  // the text format has a clock of its own
        if (key == "type" && word == "skipped") return {", skipped by the receiver"};
        if (key == "bytes") return {""};  // the text format has fields instead
        return {'"' + word + '"', word + " (", ' ' + word + ", "};
    }
    if (value.is_boolean()) return {value.dump()};
    std::vector<std::string> ways = {' ' + value.dump() + '\n', ' ' + value.dump() + ' ',
                                     '(' + value.dump() + ')'};
    if (value >= 0) {
        std::ostringstream hex;
        hex << std::hex << std::uppercase << value.get<std::uint64_t>();
        for (const char* const zeros :
             {"", "0", "00", "000", "0000", "00000", "000000", "0000000"}) {
            ways.push_back("0x" + (zeros + hex.str()));
        }
        ways.push_back(", " + value.dump() + " byte");
    }
    return ways;
}

// --- JSON of what the broadcast says ---

TEST(JsonFormat, PutsSkippedDescriptorsWhereTheyWereSent) {
    const json service = json_of(telling_sdt())[0]["services"][1];
    EXPECT_EQ(service["descriptors"][0].dump(),
              R"({"tag":207,"length":1,"type":"skipped","tag_name":"logo transmission",)"
              R"("bytes":"03"})");
    EXPECT_EQ(service["descriptors"][1]["type"], "service_descriptor");
    const json stream = json_of(
        nit_section(1, {}, transport_stream(1, 1, descriptor(0xFA, {0x58, 0xAE, 0x0E, 0xE9}))))[0];
    EXPECT_EQ(stream["transport_streams"][0]["descriptors"][0].dump(),
              R"({"tag":250,"length":4,"type":"skipped","tag_name":"terrestrial delivery system",)"
              R"("area_code":1418,"guard_interval":3,"guard_interval_name":"1/4",)"
              R"("transmission_mode":2,"transmission_mode_name":"mode 3","frequencies":)"
              R"([{"frequency":3817,"frequency_name":"545.286 MHz","UHF_channel":null}],)"
              R"("bytes":"58ae0ee9"})");
    const json component = json_of(pmt_section(1, 2, descriptor(0xFD, {0, 8, 1}), {}))[0];
    EXPECT_EQ(component["descriptors"][0]["additional_data_component_info_hex"], "01");
}

TEST(JsonFormat, EndsWithWhatTheReceiverReadsOtherwise) {
    const json object = json_of(telling_sdt())[0];
    EXPECT_EQ((--object.end()).key(), "differs");
    EXPECT_EQ(object["differs"].dump(),
              R"([{"pointer":"/services","broadcast":[23608,23584],)"
              R"("why":"the receiver sorts services by number"},)"
              R"({"pointer":"/services/1/EIT_schedule_flag","broadcast":0,)"
              R"("why":"the receiver takes the flag from a reserved bit"},)"
              R"({"pointer":"/services/1/descriptors/1/service_name","broadcast":"a\nb",)"
              R"("why":"the receiver drops control codes, line breaks among them"}])");
    for (const json& difference : object["differs"]) {
        EXPECT_TRUE(object.contains(json::json_pointer(std::string(difference["pointer"]))));
    }
    EXPECT_FALSE(json_of(pat())[0].contains("differs"));
}

TEST(JsonFormat, SaysWhichRefusedSectionsAreWellFormed) {
    EXPECT_EQ(json_of(long_pmt())[0]["refused"]["well_formed"], true);
    bytes damaged = sdt();
    damaged.back() ^= 1;
    EXPECT_FALSE(json_of(damaged)[0]["refused"].contains("well_formed"));
}

TEST(TextAndJson, ShowTheSameSectionsFieldsAndValues) {
    const std::vector<std::string> blocks = blocks_of(si_inspect({"--quiet", SAMPLE}).out);
    const std::vector<std::string> lines =
        lines_of(si_inspect({"--quiet", "--format", "json", SAMPLE}).out);
    ASSERT_EQ(blocks.size(), lines.size());
    ASSERT_GT(lines.size(), 20u);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        json object = json::parse(lines[i]);
        object.erase("table");
        object.erase("differs");
        std::vector<std::pair<std::string, json>> leaves;
        collect("", object, leaves);
        for (const auto& [key, value] : leaves) {
            const std::vector<std::string> ways = as_text(key, value);
            EXPECT_TRUE(std::any_of(
                ways.begin(), ways.end(),
                [&](const std::string& way) { return blocks[i].find(way) != std::string::npos; }))
                << key << " is " << value << " in JSON, but the text is\n"
                << blocks[i];
        }
    }
}

}  // namespace
}  // namespace orvix::test
