#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <section_writer.h>
#include <si_parser/descriptors.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;

static_assert(std::is_same_v<decltype(service_descriptor::service_type), uint8_t>);
static_assert(std::is_same_v<decltype(component_descriptor::stream_content), uint8_t>);
static_assert(std::is_same_v<decltype(component_descriptor::component_type), uint8_t>);
static_assert(std::is_same_v<decltype(component_descriptor::component_tag), uint8_t>);
static_assert(std::is_same_v<decltype(stream_identifier_descriptor::component_tag), uint8_t>);
static_assert(std::is_same_v<decltype(ts_information_descriptor::remote_control_key_id), uint8_t>);

/// The loop's last descriptor, built without a line in the log.
template <typename T>
boost::shared_ptr<T> decode(const bytes& loop, const bytes& spare = {}) {
    const log_capture log(OrvixLog::ERROR);
    return parse_descriptor<T>(loop, spare);
}

// --- Service descriptor ---

TEST(ServiceDescriptor, HoldsTypeProviderAndName) {
    const auto service = decode<service_descriptor>(describe_service(0x01, "Orvix", "Orvix HD"));
    EXPECT_EQ(service->service_type, 0x01);
    EXPECT_EQ(service->service_provider_name, "Orvix");
    EXPECT_EQ(service->service_name, "Orvix HD");
}

TEST(ServiceDescriptor, MayLackItsProviderOrItsName) {
    const auto without_provider =
        decode<service_descriptor>(test::descriptor(0x48, bytes{0x01, 0x00, 0x03} + raw("ABC")));
    EXPECT_EQ(without_provider->service_type, 1);
    EXPECT_EQ(without_provider->service_provider_name, "");
    EXPECT_EQ(without_provider->service_name, "ABC");

    const auto without_name = decode<service_descriptor>(describe_service(0xC0, "Orvix", ""));
    EXPECT_EQ(without_name->service_type, 0xC0);
    EXPECT_EQ(without_name->service_provider_name, "Orvix");
    EXPECT_EQ(without_name->service_name, "");
}

TEST(ServiceDescriptor, HoldsItsNamesAsUtf8) {
    const auto service =
        decode<service_descriptor>(describe_service(1, "\x0EJo\xE3o", "Band\xA4\x1D\x47"));
    EXPECT_EQ(service->service_provider_name, "João");
    EXPECT_EQ(service->service_name, "Band€™");
}

TEST(ServiceDescriptor, TakesNamesOfAnyLength) {
    const std::string provider(200, 'p');
    const std::string name(50, 'n');
    const auto service = decode<service_descriptor>(describe_service(1, provider, name));
    EXPECT_EQ(service->service_provider_name, provider);
    EXPECT_EQ(service->service_name, name);
}

TEST(ServiceDescriptor, ReadsAnOverrunningNameFromWhatFollows) {
    const bytes service = test::descriptor(0x48, {0x01, 0x00, 0x05});  // service_name_length 5
    const log_capture log(OrvixLog::ERROR);
    const descriptor_list list = parse_loop(service + test::descriptor('A', raw("BC")), raw("D"));
    ASSERT_THAT(list, Tags(0x48));
    const auto first = boost::dynamic_pointer_cast<service_descriptor>(list[0]);
    EXPECT_EQ(first->length, 3);
    EXPECT_EQ(first->service_name, "ABCD");  // with the dropped length byte, five
}

TEST(ServiceDescriptor, LogsItsTwoNamesAtDebugEvenWhenEmpty) {
    log_capture log(OrvixLog::DEBUG);
    parse_loop(describe_service(1, "Jo\xE3o", ""));
    EXPECT_THAT(log.statements(),
                ElementsAre("<parse> DEBUG: i [0] type [0x48] size 9",
                            "<parse> DEBUG: prov name [João]", "<parse> DEBUG: service name []"));

    log_capture silent(OrvixLog::INFO);
    parse_loop(describe_service(1, "Jo\xE3o", ""));
    EXPECT_EQ(silent.text(), "");
}

TEST(ServiceDescriptor, KeepsItsFieldsInOrder) {
    const service_descriptor d;
    const std::vector<const void*> fields = {&d.length, &d.service_type, &d.service_provider_name,
                                             &d.service_name};
    EXPECT_THAT(fields, AreInMemoryOrder());
}

// --- Stream identifier descriptor ---

TEST(StreamIdentifierDescriptor, HoldsTheComponentTag) {
    EXPECT_EQ(decode<stream_identifier_descriptor>(describe_stream_identifier(0xF0))->component_tag,
              0xF0);
}

TEST(StreamIdentifierDescriptor, WithoutABodyTakesTheByteBehindIt) {
    EXPECT_EQ(decode<stream_identifier_descriptor>(test::descriptor(0x52), {0x09})->component_tag,
              0x09);
}

// --- Component descriptor ---

TEST(ComponentDescriptor, HoldsEachField) {
    const auto component = decode<component_descriptor>(describe_component(0x1, 0xB3, 0x07, "por",
                                                                           "V\xED"
                                                                           "deo"));
    EXPECT_EQ(component->stream_content, 0xF1);  // reserved bits and all
    EXPECT_EQ(component->component_type, 0xB3);
    EXPECT_EQ(component->component_tag, 0x07);
    EXPECT_EQ(component->ISO_639_language_code, "por");
    EXPECT_EQ(component->text, "Vídeo");
}

TEST(ComponentDescriptor, KeepsTheReservedBitsOfItsFirstByteAsTheyAre) {
    const bytes body = section_writer()
                           .bits(4, 0x5)    // reserved
                           .bits(4, 0xA)    // stream_content
                           .bits(16, 0)     // component_type, component_tag
                           .append("eng");  // ISO_639_language_code
    EXPECT_EQ(decode<component_descriptor>(test::descriptor(0x50, body))->stream_content, 0x5A);
}

TEST(ComponentDescriptor, OfSixBytesHasNoText) {
    const bytes component = describe_component(1, 0xB3, 7, "por");
    ASSERT_EQ(component[1], 6);
    const auto decoded = decode<component_descriptor>(component);
    EXPECT_EQ(decoded->ISO_639_language_code, "por");
    EXPECT_EQ(decoded->text, "");
}

TEST(ComponentDescriptor, ConvertsItsLanguageCodeLikeAText) {
    EXPECT_EQ(decode<component_descriptor>(describe_component(1, 0, 0, "p\xE3\x0F"))
                  ->ISO_639_language_code,
              "pã");
}

TEST(ComponentDescriptor, TakesTheLongestText) {
    const std::string text(249, 'x');
    EXPECT_EQ(decode<component_descriptor>(describe_component(1, 0, 0, "por", text))->text, text);
}

TEST(ComponentDescriptor, KeepsItsFieldsInOrder) {
    const component_descriptor d;
    const std::vector<const void*> fields = {
        &d.length,        &d.stream_content,        &d.component_type,
        &d.component_tag, &d.ISO_639_language_code, &d.text};
    EXPECT_THAT(fields, AreInMemoryOrder());
}

// --- TS information descriptor ---

TEST(TsInformationDescriptor, HoldsTheKeyAndTheName) {
    const auto ts =
        decode<ts_information_descriptor>(describe_ts_information(0x0D, "Orvix S\xE3o"));
    EXPECT_EQ(ts->remote_control_key_id, 0x0D);
    EXPECT_EQ(ts->ts_name, "Orvix São");
}

TEST(TsInformationDescriptor, ReadsPastItsTransmissionTypes) {
    const bytes written =
        describe_ts_information(4, "Orvix1", {{0x0F, {0xE760, 0xE761}}, {0xAF, {0xE778}}});
    ASSERT_EQ(written[3], 0x1A);  // a name of 6 bytes, two transmission types
    const log_capture log(OrvixLog::ERROR);
    const descriptor_list list = parse_loop(written + describe_stream_identifier(7));
    ASSERT_THAT(list, Tags(0xCD, 0x52));
    EXPECT_EQ(boost::dynamic_pointer_cast<ts_information_descriptor>(list[0])->ts_name, "Orvix1");
}

TEST(TsInformationDescriptor, MayHaveTheLongestNameOrNone) {
    const std::string longest(63, 'x');
    EXPECT_EQ(decode<ts_information_descriptor>(describe_ts_information(1, longest))->ts_name,
              longest);
    EXPECT_EQ(decode<ts_information_descriptor>(describe_ts_information(1, ""))->ts_name, "");
}

TEST(TsInformationDescriptor, KeepsItsFieldsInOrder) {
    const ts_information_descriptor d;
    const std::vector<const void*> fields = {&d.length, &d.remote_control_key_id, &d.ts_name};
    EXPECT_THAT(fields, AreInMemoryOrder());
}

}  // namespace
}  // namespace orvix::si_parser
