#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/pat.h>
#include <si_parser/psi_table.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <array>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

static_assert(std::is_same_v<decltype(psi_table::reserved), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::table_id), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::section_size), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::version_number), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::table_id_extension), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::current_next_indicator), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::section_number), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::last_section_number), uint32_t>);
static_assert(std::is_same_v<decltype(psi_table::cleared), bool>);
static_assert(
    std::is_same_v<decltype(std::declval<psi_table&>().get_descriptors()), descriptor_list&>);
static_assert(std::has_virtual_destructor_v<psi_table>);

/// The fields that a section header fills.
struct header_fields {
    uint32_t table_id;
    uint32_t section_size;
    uint32_t version_number;
    uint32_t table_id_extension;
    uint32_t current_next_indicator;
    uint32_t section_number;
    uint32_t last_section_number;
    bool cleared;
};

bool operator==(const header_fields& a, const header_fields& b) {
    return a.table_id == b.table_id && a.section_size == b.section_size &&
           a.version_number == b.version_number && a.table_id_extension == b.table_id_extension &&
           a.current_next_indicator == b.current_next_indicator &&
           a.section_number == b.section_number && a.last_section_number == b.last_section_number &&
           a.cleared == b.cleared;
}

std::ostream& operator<<(std::ostream& out, const header_fields& f) {
    return out << "{table_id " << f.table_id << ", section_size " << f.section_size
               << ", version_number " << f.version_number << ", table_id_extension "
               << f.table_id_extension << ", current_next_indicator " << f.current_next_indicator
               << ", section_number " << f.section_number << ", last_section_number "
               << f.last_section_number << ", cleared " << f.cleared << "}";
}

header_fields fields_of(const psi_table& table) {
    return {table.table_id,
            table.section_size,
            table.version_number,
            table.table_id_extension,
            table.current_next_indicator,
            table.section_number,
            table.last_section_number,
            table.cleared};
}

constexpr header_fields new_fields = {0, 0, 0, 0, 0, 0, 0, true};

// --- The object ---

TEST(PsiTable, IsEmptyWhenNew) {
    const psi_table table;
    EXPECT_EQ(fields_of(table), new_fields);
    EXPECT_EQ(table.reserved, 0u);
    EXPECT_THAT(table.descriptors, IsEmpty());
}

TEST(PsiTable, KeepsItsFieldsInOrderBehindTheVirtualTable) {
    const psi_table table;
    const auto place = [&table](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&table);
    };
    constexpr std::ptrdiff_t first = sizeof(void*);
    EXPECT_EQ(place(table.reserved), first);
    EXPECT_EQ(place(table.table_id), first + 4);
    EXPECT_EQ(place(table.section_size), first + 8);
    EXPECT_EQ(place(table.version_number), first + 12);
    EXPECT_EQ(place(table.table_id_extension), first + 16);
    EXPECT_EQ(place(table.current_next_indicator), first + 20);
    EXPECT_EQ(place(table.section_number), first + 24);
    EXPECT_EQ(place(table.last_section_number), first + 28);
    EXPECT_EQ(place(table.cleared), first + 32);
    EXPECT_GT(place(table.descriptors), place(table.cleared));
}

TEST(PsiTable, ParsesNothingItself) {
    log_capture log;
    psi_table table;
    table.psi_table::parse(nullptr, 0);
    EXPECT_EQ(fields_of(table), new_fields);
    EXPECT_EQ(log.text(), "");
}

TEST(PsiTable, ClearDropsDescriptorsAndKeepsTheHeader) {
    const log_capture log;
    psi_table table;
    exact_block section(long_section(0x77, 0x1234, {}, {9, 1, 2, 3}));
    table.parse_header(section.data(), section.size());
    exact_block loop(describe_stream_identifier(7));
    table._parse_descriptors(loop.data(), loop.size());
    ASSERT_THAT(table.get_descriptors(), SizeIs(1));
    const boost::weak_ptr<descriptor> dropped = table.get_descriptors().front();
    ASSERT_FALSE(table.cleared);

    table.clear();
    EXPECT_THAT(table.get_descriptors(), IsEmpty());
    EXPECT_TRUE(dropped.expired());
    EXPECT_EQ(fields_of(table), (header_fields{0x77, 12, 9, 0x1234, 1, 2, 3, true}));
}

TEST(PsiTable, DropsItsDescriptorsWhenDestroyed) {
    const log_capture log;
    boost::weak_ptr<descriptor> dropped;
    {
        psi_table table;
        exact_block loop(describe_stream_identifier(7));
        table._parse_descriptors(loop.data(), loop.size());
        dropped = table.get_descriptors().at(0);
        EXPECT_FALSE(dropped.expired());
    }
    EXPECT_TRUE(dropped.expired());
}

TEST(PsiTable, GivesItsOwnDescriptorListToBeChanged) {
    psi_table table;
    EXPECT_EQ(&table.get_descriptors(), &table.descriptors);
}

// --- Virtual operations, called by their slots as a binary built elsewhere does ---

struct calls {
    std::vector<std::string> names;
    unsigned char* buffer = nullptr;
    unsigned int size = 0;
};

class recording_table : public psi_table {
public:
    explicit recording_table(calls& made) : made_(made) {}
    ~recording_table() override { made_.names.emplace_back("destructor"); }
    void parse(unsigned char* buffer, unsigned int size) override {
        made_.names.emplace_back("parse");
        made_.buffer = buffer;
        made_.size = size;
    }
    void clear() override { made_.names.emplace_back("clear"); }

private:
    calls& made_;
};

using slot = void (*)();

slot slot_of(const psi_table* table, std::size_t number) {
    const slot* virtual_table;
    std::memcpy(&virtual_table, static_cast<const void*>(table), sizeof virtual_table);
    return virtual_table[number];
}

TEST(PsiTableSlots, AreParseAndClearBehindTheTwoDestructors) {
    calls made;
    recording_table table(made);
    unsigned char buffer[1] = {0};

    reinterpret_cast<void (*)(psi_table*, unsigned char*, unsigned int)>(slot_of(&table, 2))(
        &table, buffer, 77);
    reinterpret_cast<void (*)(psi_table*)>(slot_of(&table, 3))(&table);
    EXPECT_THAT(made.names, ElementsAre("parse", "clear"));
    EXPECT_EQ(made.buffer, buffer);
    EXPECT_EQ(made.size, 77u);
}

TEST(PsiTableSlots, BeginWithTheDestructorThatLeavesTheMemory) {
    calls made;
    alignas(recording_table) unsigned char memory[sizeof(recording_table)];
    psi_table* const table = new (memory) recording_table(made);
    reinterpret_cast<void (*)(psi_table*)>(slot_of(table, 0))(table);
    EXPECT_THAT(made.names, ElementsAre("destructor"));
}

TEST(PsiTableSlots, HaveTheDeletingDestructorSecond) {
    class freed_table : public recording_table {
    public:
        using recording_table::recording_table;
        static void* operator new(std::size_t size) { return ::operator new(size); }
        static void operator delete(void* memory) {
            ++frees();
            ::operator delete(memory);
        }
        static int& frees() {
            static int count = 0;
            return count;
        }
    };
    calls made;
    psi_table* const table = new freed_table(made);
    reinterpret_cast<void (*)(psi_table*)>(slot_of(table, 1))(table);
    EXPECT_THAT(made.names, ElementsAre("destructor"));
    EXPECT_EQ(freed_table::frees(), 1);
}

// --- Section header ---

class SectionHeader : public testing::Test {
protected:
    /// What `parse_header` says to the first `size` of these bytes.
    std::string answer_to(const bytes& content, std::size_t size) {
        const exact_block block(content);
        try {
            table_.parse_header(block.data(), static_cast<unsigned int>(size));
            return "accepted";
        } catch (const std::runtime_error& refusal) {
            return refusal.what();
        }
    }
    std::string answer_to(const bytes& section) { return answer_to(section, section.size()); }

    log_capture log_;
    psi_table table_;
};

TEST_F(SectionHeader, IsDecodedFieldByField) {
    EXPECT_EQ(answer_to(section_writer()
                            .bits(8, 0xC8)     // table_id
                            .bits(1, 1)        // section_syntax_indicator
                            .bits(1, 0)        // private
                            .bits(2, 0)        // reserved
                            .bits(12, 9)       // section_length
                            .bits(16, 0xE760)  // table_id_extension
                            .bits(2, 0)        // reserved
                            .bits(5, 21)       // version_number
                            .bits(1, 0)        // current_next_indicator
                            .bits(8, 0x28)     // section_number
                            .bits(8, 0xF8)     // last_section_number
                            .bits(32, 0)),     // CRC_32, wrong
              "accepted");
    EXPECT_EQ(fields_of(table_), (header_fields{0xC8, 12, 21, 0xE760, 0, 0x28, 0xF8, false}));
    EXPECT_EQ(table_.reserved, 0u);
    EXPECT_EQ(log_.text(), "");
}

TEST_F(SectionHeader, TakesNothingFromTheBitsBesideItsFields) {
    EXPECT_EQ(answer_to(section_writer()
                            .bits(8, 0x00)  // table_id
                            .bits(4, 0xF)   // section_syntax_indicator, private, reserved
                            .bits(12, 9)    // section_length
                            .bits(16, 0)    // table_id_extension
                            .bits(2, 0x3)   // reserved
                            .bits(5, 0)     // version_number
                            .bits(1, 1)     // current_next_indicator
                            .bits(16, 0)    // section_number, last_section_number
                            .bits(32, 0)),  // CRC_32, wrong
              "accepted");
    EXPECT_EQ(fields_of(table_), (header_fields{0, 12, 0, 0, 1, 0, 0, false}));
}

TEST_F(SectionHeader, HasTheSameSizeWhateverTheTopFourBits) {
    for (const unsigned int top : {0xBu, 0x3u, 0x0u, 0xFu}) {
        EXPECT_EQ(answer_to(section_writer()
                                .bits(8, 0x00)  // table_id
                                .bits(4, top)   // indicator, private, reserved
                                .bits(12, 13)   // section_length
                                .append(bytes(13))),
                  "accepted");
        EXPECT_EQ(table_.section_size, 16u);
    }
}

TEST_F(SectionHeader, OfSixBytesIsRefusedAndChangesNothing) {
    const bytes section = {0x42, 0xB0, 0x03, 0x12, 0x34, 0xFF};
    EXPECT_EQ(answer_to(section), "parse_header: short buffer");
    EXPECT_EQ(fields_of(table_), new_fields);
    ASSERT_THAT(log_.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse"));
    EXPECT_EQ(log_.lines()[0].file, "si_parser/src/psi_table.cpp");
}

TEST_F(SectionHeader, OfNoBytesIsRefusedUnread) {
    EXPECT_EQ(answer_to({}), "parse_header: short buffer");
}

TEST_F(SectionHeader, OfSevenBytesIsAcceptedWithTheByteBehindIt) {
    const bytes section = {0x42, 0xB0, 0x04, 0x12, 0x34, 0xFF, 0x05};
    const bytes spare = {0x2A};
    EXPECT_EQ(answer_to(section + spare, 7), "accepted");
    EXPECT_EQ(fields_of(table_), (header_fields{0x42, 7, 31, 0x1234, 1, 5, 0x2A, false}));
}

TEST_F(SectionHeader, MayCountTheWholeTwelveBits) {
    EXPECT_EQ(answer_to(long_section(0x42, 1, bytes(4098 - 12))), "accepted");
    EXPECT_EQ(table_.section_size, 4098u);
}

TEST_F(SectionHeader, WithStuffingBehindItsSectionIsRefusedButDecoded) {
    const bytes stuffing = {0xFF};
    EXPECT_EQ(answer_to(long_section(0x42, 0x1234, {}, {9, 0, 2, 3}) + stuffing),
              "parse_header: section length != size");
    EXPECT_EQ(fields_of(table_), (header_fields{0x42, 12, 9, 0x1234, 0, 2, 3, false}));
    ASSERT_THAT(log_.statements(),
                ElementsAre("<si_parser> ERROR: Section length <> size, aborting parse"));
    EXPECT_EQ(log_.lines()[0].file, "si_parser/src/psi_table.cpp");
}

TEST_F(SectionHeader, OfATruncatedSectionIsRefused) {
    bytes section = long_section(0x42, 1, bytes(20));
    section.pop_back();
    EXPECT_EQ(answer_to(section), "parse_header: section length != size");
}

TEST_F(SectionHeader, IsRefusedInSilenceBelowError) {
    for (const OrvixLog::Level level : {OrvixLog::NONE, OrvixLog::PLAIN}) {
        log_capture log(level);
        EXPECT_EQ(answer_to({0x42}), "parse_header: short buffer");
        EXPECT_EQ(answer_to(long_section(0x42, 1, {}) + bytes{0xFF}),
                  "parse_header: section length != size");
        EXPECT_EQ(log.text(), "");
    }
}

TEST_F(SectionHeader, IsRefusedWithItsCategoryDisabledAndWithoutAStream) {
    OrvixLog::add_disabled_category("si_parser");
    EXPECT_EQ(answer_to({0x42}), "parse_header: short buffer");
    OrvixLog::remove_disabled_category("si_parser");
    OrvixLog::output_stream() = nullptr;
    EXPECT_EQ(answer_to({0x42}), "parse_header: short buffer");
    EXPECT_EQ(log_.text(), "");
}

TEST_F(SectionHeader, LogsItsRefusalsAtError) {
    log_capture log(OrvixLog::ERROR);
    answer_to({0x42});
    answer_to(long_section(0x42, 1, {}) + bytes{0xFF});
    EXPECT_THAT(log.lines(), SizeIs(2));
}

TEST(Cleared, IsFalseOnlyForTablesThatReadALongHeader) {
    const log_capture log;
    pat programmes;
    parse_exactly(programmes, pat_section(1, {}));
    EXPECT_FALSE(programmes.cleared);

    tdt time;
    parse_with_spare_bytes(time, tdt_section(utc_time(40587, 0x000000)) + bytes{0xFF}, {});
    EXPECT_TRUE(time.cleared);

    tot time_and_offset;
    parse_exactly(time_and_offset, tot_section(utc_time(40587, 0x000000), {}));
    EXPECT_TRUE(time_and_offset.cleared);
}

// --- Hex dump ---

constexpr char banner[] = "<isdtv_ts> INFO: +++++++++++++++++++++++++++++++++++++++++";

class HexDump : public testing::Test {
protected:
    void dump(const bytes& content, unsigned int size) {
        const exact_block block(content);
        table_._hex_dump(block.data(), size);
    }

    psi_table table_;
};

TEST_F(HexDump, WritesEightBytesToALineBetweenBanners) {
    log_capture log;
    dump({0x00, 0x0A, 0xB0, 0xFF, 0x47, 0x01, 0x10, 0x7F}, 8);
    EXPECT_EQ(std::strlen(banner), std::strlen("<isdtv_ts> INFO: ") + 41);
    EXPECT_THAT(
        log.statements(),
        ElementsAre(banner, "<isdtv_ts> INFO: 0x0 0xa 0xb0 0xff 0x47 0x1 0x10 0x7f", banner));
    EXPECT_EQ(log.lines()[1].file, "si_parser/src/psi_table.cpp");
}

TEST_F(HexDump, FillsTheLastLineFromBehindTheBuffer) {
    log_capture log;
    const bytes nine = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const bytes spare = {0xA, 0xB, 0xC, 0xD, 0xE, 0xF, 0x10};
    dump(nine + spare, 9);
    EXPECT_THAT(log.statements(),
                ElementsAre(banner, "<isdtv_ts> INFO: 0x1 0x2 0x3 0x4 0x5 0x6 0x7 0x8",
                            "<isdtv_ts> INFO: 0x9 0xa 0xb 0xc 0xd 0xe 0xf 0x10", banner));
}

TEST_F(HexDump, OfNothingIsTwoBanners) {
    log_capture log;
    dump({}, 0);
    EXPECT_THAT(log.statements(), ElementsAre(banner, banner));
}

TEST_F(HexDump, IsNotWrittenBelowInfo) {
    log_capture log(OrvixLog::WARNING);
    dump(bytes(16), 16);
    EXPECT_EQ(log.text(), "");

    OrvixLog::reporting_level() = OrvixLog::INFO;
    dump(bytes(16), 16);
    EXPECT_THAT(log.lines(), SizeIs(4));
}

TEST_F(HexDump, IsNotWrittenWithItsCategoryDisabled) {
    log_capture log;
    OrvixLog::add_disabled_category("isdtv_ts");
    dump(bytes(16), 16);
    EXPECT_EQ(log.text(), "");

    OrvixLog::remove_disabled_category("isdtv_ts");
    OrvixLog::add_disabled_category("si_parser");
    dump(bytes(16), 16);
    EXPECT_THAT(log.lines(), SizeIs(4));
}

TEST_F(HexDump, AsksForTheLevelAtEveryLine) {
    log_capture log;
    // A stream that lowers the level when the second line, the first of data, reaches it.
    int lines = 0;
    const auto count_and_lower = [](void* count, const char*, std::size_t size) {
        if (++*static_cast<int*>(count) == 2) OrvixLog::reporting_level() = OrvixLog::WARNING;
        return static_cast<ssize_t>(size);
    };
    cookie_io_functions_t functions = {};
    functions.write = count_and_lower;
    std::FILE* const stream = fopencookie(&lines, "w", functions);
    ASSERT_NE(stream, nullptr);
    OrvixLog::output_stream() = stream;
    dump(bytes(64), 64);
    EXPECT_EQ(lines, 2);
    std::fclose(stream);
}

// --- Times ---

time_t seconds_of_time(const bytes& hhmmss) {
    const exact_block block(hhmmss);
    return psi_table().iso_time_to_time_t(block.data(), 0);
}

time_t seconds_of_date(std::uint16_t mjd, std::uint32_t hhmmss) {
    const exact_block block(utc_time(mjd, hhmmss));
    return psi_table().full_mjd_to_time_t(block.data(), 0);
}

TEST(BcdTime, CountsHoursMinutesAndSeconds) {
    EXPECT_EQ(seconds_of_time({0x00, 0x00, 0x00}), 0);
    EXPECT_EQ(seconds_of_time({0x00, 0x00, 0x59}), 59);
    EXPECT_EQ(seconds_of_time({0x00, 0x10, 0x00}), 600);
    EXPECT_EQ(seconds_of_time({0x01, 0x30, 0x00}), 5400);
    EXPECT_EQ(seconds_of_time({0x12, 0x45, 0x06}), 45906);
}

TEST(BcdTime, TakesDigitsAsTheyCome) {
    EXPECT_EQ(seconds_of_time({0x99, 0x59, 0x59}), 359999);
    EXPECT_EQ(seconds_of_time({0x00, 0x99, 0x99}), 99 * 60 + 99);
    EXPECT_EQ(seconds_of_time({0x0A, 0x00, 0x00}), 10 * 3600);
    EXPECT_EQ(seconds_of_time({0xFF, 0xFF, 0xFF}), 604065);
}

TEST(MjdTime, CountsFromNineteenSeventy) {
    EXPECT_EQ(seconds_of_date(0xC079, 0x124500), 750516300);  // 1993-10-13, Annex C's example
    EXPECT_EQ(seconds_of_date(40587, 0x000000), 0);
    EXPECT_EQ(seconds_of_date(40588, 0x000001), 86401);
    EXPECT_EQ(seconds_of_date(40586, 0x235959), -1);
    EXPECT_EQ(seconds_of_date(40586, 0x000000), -86400);
}

TEST(MjdTime, WrapsIn2038WhateverTheWidthOfItsType) {
    EXPECT_EQ(seconds_of_date(65442, 0x031407), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(seconds_of_date(65442, 0x031408), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(seconds_of_date(0, 0x000000), 788250496);  // 1858-11-17, which wraps the other way
}

TEST(MjdTime, OfAllOnesIsATimeLikeAnyOther) {
    EXPECT_EQ(seconds_of_date(0xFFFF, 0xFFFFFF), -2138856031);
}

TEST(Times, AreReadAtTheirOffset) {
    const bytes before = {0x11, 0x22, 0x33};
    const exact_block time(before + bytes{0x01, 0x30, 0x00});
    EXPECT_EQ(psi_table::iso_time_to_time_t(time.data(), 3), 5400);
    const exact_block date(before + utc_time(40587, 0x000102));
    EXPECT_EQ(psi_table::full_mjd_to_time_t(date.data(), 3), 62);
}

TEST(Times, TouchNothingOfTheirTable) {
    psi_table table;
    const exact_block date(utc_time(40587, 0x000102));
    table.full_mjd_to_time_t(date.data(), 0);
    EXPECT_EQ(fields_of(table), new_fields);
}

// --- Threads ---

TEST(TablesOnThreads, ParseAndLogAtTheSameTime) {
    log_capture log;
    constexpr int threads = 4;
    constexpr int sections = 50;
    std::array<unsigned int, threads> pids = {};
    std::vector<std::thread> running;
    for (int thread = 0; thread < threads; ++thread) {
        running.emplace_back([thread, &pids] {
            pat table;
            for (int i = 0; i < sections; ++i) {
                parse_exactly(table,
                              pat_section(1, program(7, static_cast<uint16_t>(0x100 + thread))));
                pids[static_cast<std::size_t>(thread)] = table.program_map.at(7);
                EXPECT_EQ(answer_of(table, {0x00, 0xB0}), "parse_header: short buffer");
            }
        });
    }
    for (std::thread& thread : running) thread.join();
    EXPECT_THAT(pids, ElementsAre(0x100u, 0x101u, 0x102u, 0x103u));
    EXPECT_THAT(log.lines(), SizeIs(threads * sections));
}

}  // namespace
}  // namespace orvix::si_parser
