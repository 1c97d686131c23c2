#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t second_service = 0x5C21;
constexpr std::uint16_t second_pmt_pid = 0x0120;

class ServiceChecks : public without_log {};

bytes pat_of(const bytes& programs, const long_header& header = {}) {
    return pat_section(multiplex_id, program(0, 0x0010) + programs, header);
}
bytes pat_of_one() { return pat_of(program(hd_service, hd_pmt_pid)); }
bytes pat_of_two(const long_header& header = {}) {
    return pat_of(program(hd_service, hd_pmt_pid) + program(second_service, second_pmt_pid),
                  header);
}

bytes sdt_of(const bytes& services, const long_header& header = {}) {
    return sdt_section(multiplex_id, multiplex_id, services, header);
}
bytes named(std::uint16_t service_id, const std::string& name, std::uint8_t service_type = 0x01) {
    return service(service_id, 4, 0, describe_service(service_type, "", name));
}
bytes sdt_of_two(const long_header& header = {}) {
    return sdt_of(named(hd_service, "HD") + named(second_service, "SD"), header);
}

timed_stream broadcast_of(const bytes& pat, const bytes& sdt, double seconds = 1) {
    timed_stream stream(seconds);
    stream.every(0.2, 0x0000, {pat}).every(0.2, 0x0011, {sdt}).every(0.2, 0x0010, {nit()});
    return stream;
}

TEST_F(ServiceChecks, MissAServiceOfThePatInTheSdt) {
    const auto found = only("service_not_in_sdt",
                            found_in(broadcast_of(pat_of_two(), sdt_of(named(hd_service, "HD")))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, second_service);
    EXPECT_EQ(found[0].about.pid, std::nullopt);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_TRUE(found[0].in_force);
    EXPECT_EQ(found[0].says(),
              "service 0x5C21 is in the PAT but not in the SDT: receivers find no name for it");
}

TEST_F(ServiceChecks, MissAServiceOfTheSdtInThePat) {
    const auto found =
        only("service_not_in_pat", found_in(broadcast_of(pat_of_one(), sdt_of_two())));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, second_service);
    EXPECT_EQ(found[0].says(),
              "service 0x5C21 is in the SDT but not in the PAT: receivers cannot tune to it");
}

TEST_F(ServiceChecks, FindNothingWhereTablesAgree) {
    EXPECT_THAT(says(found_in(broadcast_of(pat_of_two(), sdt_of_two()))),
                testing::Not(testing::Contains(testing::HasSubstr("0x5C21 is in the"))));
    EXPECT_THAT(says("number_twice", broadcast_of(pat_of_two(), sdt_of_two())), IsEmpty());
    EXPECT_THAT(says("service_name_missing", broadcast_of(pat_of_two(), sdt_of_two())), IsEmpty());
    EXPECT_THAT(says("service_name_twice", broadcast_of(pat_of_two(), sdt_of_two())), IsEmpty());
    EXPECT_THAT(says("service_id_form", broadcast_of(pat_of_two(), sdt_of_two())), IsEmpty());
}

TEST_F(ServiceChecks, WaitForTheWholeSdt) {
    const bytes first = sdt_of(named(hd_service, "HD"), {0, 1, 0, 1});
    const bytes second = sdt_of(named(second_service, "SD"), {0, 1, 1, 1});
    EXPECT_THAT(says("service_not_in_sdt", broadcast_of(pat_of_two(), first)), IsEmpty());
    timed_stream whole = broadcast_of(pat_of_two(), first, 2);
    whole.every(0.2, 0x0011, {second}, 1);
    EXPECT_THAT(says("service_not_in_sdt", whole), IsEmpty());
}

TEST_F(ServiceChecks, WaitForTheWholePat) {
    const bytes first = pat_of(program(hd_service, hd_pmt_pid), {0, 1, 0, 1});
    const bytes second = pat_of(program(second_service, second_pmt_pid), {0, 1, 1, 1});
    EXPECT_THAT(says("service_not_in_pat", broadcast_of(first, sdt_of_two())), IsEmpty());
    timed_stream whole = broadcast_of(first, sdt_of_two(), 2);
    whole.every(0.2, 0x0000, {second}, 1);
    EXPECT_THAT(says("service_not_in_pat", whole), IsEmpty());
}

TEST_F(ServiceChecks, SeeWhatIsWrongBeforeTheStreamEnds) {
    timed_stream stream(8);
    stream.every(0.2, 0x0000, {pat_of_two()})
        .every(0.2, 0x0011, {sdt_of(named(hd_service, "HD"))}, 0, 3)
        .every(0.2, 0x0011, {sdt_of_two({1})}, 3);
    const auto found = only("service_not_in_sdt", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0].first.seconds.value(), 0.1, 0.1);
    EXPECT_NEAR(found[0].last.seconds.value(), 5, 0.6) << "when the new SDT had settled";
}

TEST_F(ServiceChecks, GiveTheSdtTimeToFollowThePat) {
    const auto sdt_after = [](double seconds) {
        timed_stream stream(10);
        stream.every(0.2, 0x0000, {pat_of_one()}, 0, 3).every(0.2, 0x0000, {pat_of_two({1})}, 3);
        stream.every(0.2, 0x0011, {sdt_of(named(hd_service, "HD"))}, 0, 3 + seconds);
        return stream.every(0.2, 0x0011, {sdt_of_two({1})}, 3 + seconds);
    };
    EXPECT_THAT(says("service_not_in_sdt", sdt_after(1.8)), IsEmpty());
    EXPECT_EQ(says("service_not_in_sdt", sdt_after(3)).size(), 1u);
}

TEST_F(ServiceChecks, ReadTablesWithoutAClockAtTheEnd) {
    timed_stream stream = broadcast_of(pat_of_two(), sdt_of(named(hd_service, "HD")));
    stream.without_pcrs();
    EXPECT_EQ(says("service_not_in_sdt", stream).size(), 1u);
}

TEST_F(ServiceChecks, FindANumberThatTwoServicesHave) {
    constexpr std::uint16_t data_service = 0x5C28;  // number 0 of another kind
    const bytes pat =
        pat_of(program(hd_service, hd_pmt_pid) + program(data_service, second_pmt_pid));
    const auto sdt = [](std::uint8_t service_type) {
        return sdt_of(named(hd_service, "HD") + named(data_service, "Dados", service_type));
    };
    const auto found = only("number_twice", found_in(broadcast_of(pat, sdt(0xC0))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, data_service);
    EXPECT_EQ(found[0].how_bad, severity::error);
    EXPECT_EQ(found[0].says(),
              "services 0x5C20 and 0x5C28 both get the channel number 3.1: viewers reach only one "
              "of them");
    EXPECT_THAT(says("number_twice", broadcast_of(pat, sdt(0xA4))), IsEmpty())
        << "engineering services are not for viewers";
    EXPECT_THAT(says("number_twice", broadcast_of(pat, sdt_of(named(hd_service, "HD")))), IsEmpty())
        << "nor are those that no SDT lists";
}

TEST_F(ServiceChecks, MissANameThatIsBlankOrNotThere) {
    const std::string missing = "the SDT has no name for service 0x5C21";
    for (const bytes& nameless :
         {named(second_service, ""), named(second_service, "  "), service(second_service, 4, 0)}) {
        const bytes sdt = sdt_of(named(hd_service, "HD") + nameless);
        EXPECT_THAT(says("service_name_missing", broadcast_of(pat_of_two(), sdt)),
                    ElementsAre(missing));
    }
}

TEST_F(ServiceChecks, FindANameThatTwoServicesHave) {
    const bytes sdt = sdt_of(named(hd_service, "Manac\xE1") + named(second_service, "Manac\xE1"));
    const auto found = only("service_name_twice", found_in(broadcast_of(pat_of_two(), sdt)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, second_service);
    EXPECT_EQ(found[0].says(),
              "services 0x5C20 and 0x5C21 both have the name \"Manacá\": viewers cannot tell them "
              "apart");
}

TEST_F(ServiceChecks, CountTheCharactersOfANameAndNotItsBytes) {
    const auto sdt = [](const std::string& name) { return sdt_of(named(hd_service, name)); };
    const std::string of_twenty(20, '\xE1');  // 40 bytes of UTF-8
    EXPECT_THAT(says("short_name_long", broadcast_of(pat_of_one(), sdt(of_twenty))), IsEmpty());
    const auto found =
        only("short_name_long", found_in(broadcast_of(pat_of_one(), sdt("Uma emissora de longe"))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].says(),
              "the name of service 0x5C20, \"Uma emissora de longe\", has 21 characters: receivers "
              "show 20");
}

TEST_F(ServiceChecks, KnowTheFormOfAServiceId) {
    constexpr std::uint16_t strange_service = 0x5C40;
    const bytes pat =
        pat_of(program(hd_service, hd_pmt_pid) + program(strange_service, second_pmt_pid));
    const bytes sdt = sdt_of(named(hd_service, "HD") + named(strange_service, "SD"));
    const auto found = only("service_id_form", found_in(broadcast_of(pat, sdt)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, strange_service);
    EXPECT_EQ(found[0].says(),
              "service 0x5C40 does not have original_network_id 0x02E1 in its upper 11 bits: its "
              "service_id should be from 0x5C20 to 0x5C3F");
}

TEST_F(ServiceChecks, CompareTheLowElevenBitsOfTheNetwork) {
    timed_stream stream(1);
    stream.every(0.2, 0x0000, {pat_of_one()})
        .every(0.2, 0x0011, {sdt_section(multiplex_id, 0x0AE1, named(hd_service, "HD"))});
    EXPECT_THAT(says("service_id_form", stream), IsEmpty());
}

}  // namespace
}  // namespace orvix::broadcast
