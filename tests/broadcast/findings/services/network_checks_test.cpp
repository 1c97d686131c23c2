#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t other_id = 0x02E2;

class NetworkChecks : public without_log {};

bytes numbered(std::uint16_t transport_stream_id, std::uint16_t original_network_id,
               const bytes& more = {}) {
    return transport_stream(transport_stream_id, original_network_id,
                            describe_ts_information(3, "Manac\xE1") + more);
}
bytes nit_of(const bytes& streams, const long_header& header = {}) {
    return nit_section(0x02E1, {}, streams, header);
}
bytes describe_partial_reception(std::uint16_t service_id) {
    return descriptor(0xFB, section_writer().bits(16, service_id));
}
bytes pat_with(const bytes& programs, std::uint16_t transport_stream_id = multiplex_id) {
    return pat_section(transport_stream_id, program(0, 0x0010) + programs);
}
bytes sdt_with(std::uint16_t transport_stream_id, std::uint16_t original_network_id,
               const long_header& header = {}) {
    return sdt_section(transport_stream_id, original_network_id, service(hd_service, 4, 0), header);
}
bytes eit_with(std::uint16_t transport_stream_id, std::uint16_t original_network_id) {
    return eit_section({0x4E, hd_service, transport_stream_id, original_network_id, 0, 0x4E}, {});
}

timed_stream broadcast_of(const bytes& pat, const bytes& nit,
                          const bytes& sdt = sdt_with(multiplex_id, multiplex_id),
                          const bytes& eit = eit_with(multiplex_id, multiplex_id)) {
    timed_stream stream(1);
    stream.every(0.2, 0x0000, {pat}).every(0.2, 0x0010, {nit});
    return stream.every(0.2, 0x0011, {sdt}).every(0.2, 0x0012, {eit});
}

TEST_F(NetworkChecks, FindANetworkPidThatIsAnother) {
    const bytes pat = pat_section(multiplex_id, program(0, 0x0020) + program(hd_service, 0x0110));
    const auto found = only("network_pid", found_in(broadcast_of(pat, nit())));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0020);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_EQ(found[0].says(),
              "the PAT says that the NIT is on PID 0x0020: it belongs on PID 0x0010");
}

TEST_F(NetworkChecks, FindThatThereIsNoNetworkPid) {
    const bytes without = pat_section(multiplex_id, program(hd_service, hd_pmt_pid));
    EXPECT_THAT(says("network_pid", broadcast_of(without, nit())),
                ElementsAre("the PAT does not say where the NIT is (program_number 0): it belongs "
                            "on PID 0x0010"));
    EXPECT_THAT(says("network_pid", broadcast_of(pat(), nit())), IsEmpty());
}

TEST_F(NetworkChecks, FindNoNetworkPidMissingBeforeThePatIsWhole) {
    const bytes half = pat_section(multiplex_id, program(hd_service, hd_pmt_pid), {0, 1, 0, 1});
    EXPECT_THAT(says("network_pid", broadcast_of(half, nit())), IsEmpty());
}

TEST_F(NetworkChecks, MissTheStreamInTheNit) {
    const bytes nit = nit_of(numbered(other_id, multiplex_id));
    const auto found = only("stream_not_in_nit", found_in(broadcast_of(pat(), nit)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0010);
    EXPECT_EQ(found[0].says(),
              "the NIT has no entry for this transport stream, transport_stream_id 0x02E1 of "
              "original_network_id 0x02E1");
}

TEST_F(NetworkChecks, FindTheStreamInAnyOfTheNitsSections) {
    const bytes first = nit_of(numbered(other_id, multiplex_id), {0, 1, 0, 1});
    const bytes second = nit_of(numbered(multiplex_id, multiplex_id), {0, 1, 1, 1});
    EXPECT_THAT(says("stream_not_in_nit", broadcast_of(pat(), first)), IsEmpty());
    timed_stream whole = broadcast_of(pat(), first);
    whole.every(0.2, 0x0010, {second}, 0.1);
    EXPECT_THAT(says("stream_not_in_nit", whole), IsEmpty());
    EXPECT_THAT(says("no_number", whole), IsEmpty());
}

TEST_F(NetworkChecks, FindThatPatAndSdtDiffer) {
    const auto found =
        only("ids_differ", found_in(broadcast_of(pat(), nit(), sdt_with(other_id, multiplex_id))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0011);
    EXPECT_EQ(found[0].says(), "the PAT has transport_stream_id 0x02E1, the SDT has 0x02E2");
}

TEST_F(NetworkChecks, FindThatNitAndSdtDiffer) {
    const timed_stream stream = broadcast_of(pat(), nit_of(numbered(multiplex_id, other_id)));
    const auto found = only("ids_differ", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0010);
    EXPECT_EQ(found[0].says(),
              "the NIT has transport_stream_id 0x02E1 with original_network_id 0x02E2, the SDT "
              "with 0x02E1");
    EXPECT_EQ(says("stream_not_in_nit", stream).size(), 1u);

    const bytes both =
        nit_of(numbered(multiplex_id, other_id) + numbered(multiplex_id, multiplex_id));
    EXPECT_THAT(says("ids_differ", broadcast_of(pat(), both)), IsEmpty())
        << "another network may use the same transport_stream_id";
}

TEST_F(NetworkChecks, FindEventsOfAnotherStream) {
    const auto with_events = [](const bytes& eit) {
        return broadcast_of(pat(), nit(), sdt_with(multiplex_id, multiplex_id), eit);
    };
    const auto found = only("ids_differ", found_in(with_events(eit_with(other_id, multiplex_id))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0012);
    EXPECT_EQ(found[0].about.item, 0x02E202E1u);
    EXPECT_EQ(found[0].says(),
              "the EIT of service 0x5C20 is of transport_stream_id 0x02E2 and original_network_id "
              "0x02E1, but this is 0x02E1 by the PAT and 0x02E1 by the SDT");
    EXPECT_EQ(says("ids_differ", with_events(eit_with(multiplex_id, other_id))).size(), 1u);
    EXPECT_THAT(says("ids_differ", with_events(eit_with(multiplex_id, multiplex_id))), IsEmpty());
}

TEST_F(NetworkChecks, ForgetEventsOfAnotherStreamThatHaveEnded) {
    timed_stream stream(45);
    stream.every(0.2, 0x0000, {pat()}).every(0.5, 0x0012, {eit_with(other_id, other_id)}, 0, 2);
    const auto found = only("ids_differ", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_FALSE(found[0].in_force);
}

TEST_F(NetworkChecks, WaitForTheNitToFollow) {
    const auto nit_after = [](double seconds) {
        timed_stream stream(30);
        stream.every(0.4, 0x0000, {pat_with({}), pat_with({})})
            .every(1, 0x0011, {sdt_with(multiplex_id, multiplex_id)}, 0, 5)
            .every(1, 0x0011, {sdt_with(multiplex_id, other_id, {1})}, 5);
        return stream
            .every(1, 0x0010, {nit_of(numbered(multiplex_id, multiplex_id))}, 0, 5 + seconds)
            .every(1, 0x0010, {nit_of(numbered(multiplex_id, other_id), {1})}, 5 + seconds);
    };
    EXPECT_THAT(says("ids_differ", nit_after(9)), IsEmpty());
    EXPECT_EQ(says("ids_differ", nit_after(12)).size(), 1u);
}

TEST_F(NetworkChecks, MissTheNumberOfTheChannel) {
    const bytes nit =
        nit_of(transport_stream(multiplex_id, multiplex_id) + numbered(other_id, multiplex_id));
    const auto found = only("no_number", found_in(broadcast_of(pat(), nit)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].says(),
              "the NIT has no TS information descriptor for transport_stream_id 0x02E1: viewers "
              "get no channel numbers");
    EXPECT_THAT(says("no_number", broadcast_of(pat(), test::nit())), IsEmpty());
}

TEST_F(NetworkChecks, FindAOneSegServiceWhereItsReceiversDoNotLook) {
    const auto found = only(
        "one_seg_pid", found_in(broadcast_of(pat_with(program(mobile_service, 0x0120)), nit())));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, mobile_service);
    EXPECT_EQ(found[0].about.pid, 0x0120);
    EXPECT_EQ(found[0].says(),
              "service 0x5C38 is a 1-seg service by its service_id, but its PMT is on PID 0x0120: "
              "1-seg receivers look for it on 0x1FC8 to 0x1FCF");
    EXPECT_THAT(says("one_seg_pid", broadcast_of(pat(), nit())), IsEmpty());
}

TEST_F(NetworkChecks, KnowOneSegServicesByTheNit) {
    const bytes nit =
        nit_of(numbered(multiplex_id, multiplex_id, describe_partial_reception(hd_service)));
    EXPECT_THAT(says("one_seg_pid", broadcast_of(pat_with(program(hd_service, 0x0110)), nit)),
                ElementsAre("service 0x5C20 is a 1-seg service by the NIT's partial reception "
                            "descriptor, but its PMT is on PID 0x0110: 1-seg receivers look for it "
                            "on 0x1FC8 to 0x1FCF"));
    EXPECT_THAT(says("one_seg_pid", broadcast_of(pat_with(program(hd_service, 0x1FC9)), nit)),
                IsEmpty());
}

TEST_F(NetworkChecks, FindAnotherServiceAmongThoseOfOneSeg) {
    EXPECT_THAT(says("one_seg_pid", broadcast_of(pat_with(program(hd_service, 0x1FCF)), nit())),
                ElementsAre("the PMT of service 0x5C20 is on PID 0x1FCF, where those of 1-seg "
                            "services are, but neither its service_id nor the NIT's partial "
                            "reception descriptor says that it is one"));
    EXPECT_THAT(says("one_seg_pid", broadcast_of(pat_with(program(hd_service, 0x1FC7)), nit())),
                IsEmpty());
}

TEST_F(NetworkChecks, TakeNoForeignServiceIdForOneSeg) {
    const bytes pat = pat_with(program(0x2218, 0x0120));  // the bits of the kind say 3
    EXPECT_THAT(says("one_seg_pid", broadcast_of(pat, nit())), IsEmpty());
}

}  // namespace
}  // namespace orvix::broadcast
