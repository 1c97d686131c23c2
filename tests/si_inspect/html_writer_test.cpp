// What --format html writes, on the program itself. scripts/page looks at it in a browser.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tool.h"

namespace orvix::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using words = std::vector<std::string>;

std::string page_of(const bytes& input, words more = {}) {
    more.insert(more.begin(), {"--quiet", "--format", "html"});
    const outcome shown = si_inspect(more, {input});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "");
    EXPECT_THAT(shown.out, StartsWith("<!DOCTYPE html>\n"));
    EXPECT_THAT(shown.out, EndsWith("</html>\n"));
    return shown.out;
}
std::string page_of(const stream_writer& stream, const words& more = {}) {
    return page_of(stream.stream(), more);
}

/// From what begins the part to what begins the next one, or to the end.
std::string part(const std::string& page, const std::string& id) {
    const std::size_t begin = page.find("<section id='" + id + "'");
    if (begin == std::string::npos) return {};
    return page.substr(begin, page.find("</section>", begin) - begin);
}

std::size_t count(const std::string& text, const std::string& sought) {
    std::size_t times = 0;
    for (std::size_t at = 0; (at = text.find(sought, at)) != std::string::npos; ++at) ++times;
    return times;
}

/// What stands between `begin` and the next `end`, each time.
words between(const std::string& text, const std::string& begin, const std::string& end) {
    words found;
    for (std::size_t at = 0; (at = text.find(begin, at)) != std::string::npos;) {
        at += begin.size();
        found.push_back(text.substr(at, text.find(end, at) - at));
    }
    return found;
}

/// A clock: a PCR each 40 ms, for two seconds.
stream_writer& add_clock(stream_writer& stream) {
    for (unsigned int i = 0; i < 50; ++i) {
        adaptation_field adaptation;
        adaptation.pcr = i * 1'080'000ull;
        stream.packet_without_payload(0x0111, adaptation).null_packets(9);
    }
    return stream;
}

TEST(Page, OfTheSampleIsThis) {
    EXPECT_EQ(si_inspect({"--quiet", "--format", "html", SAMPLE}).out, read_file(EXPECTED_PAGE));
}

TEST(Page, NeedsNothingFromElsewhere) {
    const std::string page = page_of(all_tables());
    EXPECT_THAT(page, HasSubstr("content=\"default-src 'none'; style-src 'unsafe-inline'\""));
    for (const char* const loads :
         {"<script", "<link", "<img", "<iframe", " src=", "url(", "@import", "://"}) {
        EXPECT_THAT(page, Not(HasSubstr(loads)));
    }
    for (const std::string& target : between(page, "href='", "'")) {
        EXPECT_THAT(target, StartsWith("#"));
        EXPECT_EQ(count(page, " id='" + target.substr(1) + "'"), 1u) << target;
    }
}

TEST(Page, OfADamagedStreamSaysWhatIsWrong) {
    bytes damaged = sdt();
    damaged[20] ^= 0x01;
    stream_writer stream = all_tables();
    stream.section(0x0011, damaged).skip_counter(0x0000).section(0x0000, pat());
    bytes cut = stream.stream();
    cut.insert(cut.end(), 100, 0xAB);
    const std::string page = page_of(cut);
    EXPECT_THAT(part(page, "findings"),
                AllOf(HasSubstr("<li class='finding error'>"), HasSubstr("<code>crc</code>"),
                      HasSubstr("<code>continuity</code>")));
    EXPECT_THAT(part(page, "tables"), AllOf(HasSubstr("SDT  PID 0x0011 (17)  packet 10"),
                                            HasSubstr("refused: SDT: CRC_32"),
                                            HasSubstr("continuity errors  PID 0x0000 (0): 1")));
}

TEST(Page, HasTheMostSevereFindingsFirst) {
    bytes damaged = sdt();
    damaged[20] ^= 0x01;
    const std::string page = page_of(all_tables().section(0x0011, damaged));
    const words order = between(part(page, "findings"), "<li class='finding ", "'");
    ASSERT_GT(order.size(), 1u);
    EXPECT_EQ(order.front(), "error");
    EXPECT_EQ(order.back(), "note");
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end(), [](const auto& a, const auto& b) {
        const auto rank = [](const std::string& s) {
            return s == "error" ? 0 : s == "note" ? 2 : 1;
        };
        return rank(a) < rank(b);
    }));
}

TEST(Page, OfABroadcastWithoutAGuideSaysSo) {
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, hd_pmt()).section(0x0011, sdt());
    const std::string page = page_of(stream);
    EXPECT_THAT(part(page, "guide"), HasSubstr("<p>No programmes.</p>"));
    EXPECT_THAT(part(page, "guide"), Not(HasSubstr("<nav")));
    EXPECT_THAT(part(page, "services"), HasSubstr("<dt>Now</dt><dd><span class='quiet'>not told"));
}

TEST(Page, OfAStreamWithoutTablesIsWhole) {
    stream_writer stream;
    stream.null_packets(20);
    const std::string page = page_of(stream);
    EXPECT_THAT(page, HasSubstr("<h1 lang='pt'>Broadcast without a name</h1>"));
    EXPECT_THAT(part(page, "services"), HasSubstr("No services."));
    EXPECT_THAT(part(page, "tables"), HasSubstr("No tables."));
    EXPECT_THAT(part(page, "bit-rate"), HasSubstr("100.00 %"));
}

TEST(Page, SaysThatTimesAreUnknownWithoutPcrs) {
    const std::string page = page_of(all_tables());
    EXPECT_THAT(part(page, "findings"), HasSubstr("There are no PCRs"));
    EXPECT_THAT(page, HasSubstr("<dt>Duration</dt><dd>unknown</dd>"));
    EXPECT_THAT(part(page, "bit-rate"), HasSubstr("<td class='figure'>unknown</td>"));
    EXPECT_THAT(part(page, "intervals"), HasSubstr("No section came twice"));
}

TEST(Page, TellsDurationAndBitRateByThePcrs) {
    stream_writer stream = all_tables();
    const std::string page = page_of(add_clock(stream));
    EXPECT_THAT(page, HasSubstr("<dt>Duration</dt><dd>2.0 s</dd>"));
    // 10 packets in 40 ms
    EXPECT_THAT(page, HasSubstr("<dt>Bit rate</dt><dd>376."));
    EXPECT_THAT(part(page, "findings"), Not(HasSubstr("There are no PCRs")));
}

TEST(Page, OfBareSectionsHasNeitherPacketsNorTime) {
    const std::string page = page_of(all_sections(), {"--sections"});
    EXPECT_THAT(page, HasSubstr("Bare sections: there are no packets and no time."));
    EXPECT_EQ(part(page, "bit-rate"), "");
    EXPECT_EQ(part(page, "intervals"), "");
    EXPECT_THAT(page, Not(HasSubstr("#bit-rate'")));
    EXPECT_THAT(part(page, "guide"), HasSubstr("Jornal"));
    EXPECT_THAT(part(page, "tables"), HasSubstr("PAT  section 0"));
}

/// Every text that a broadcast can send to the page.
stream_writer named(const std::string& name) {
    const bytes told = describe_short_event("por", name, name) +
                       describe_parental_ratings(parental_rating("<b>", 3)) +
                       descriptor(0x4E, section_writer()
                                            .bits(8, 0)
                                            .append(std::string("<u>"))
                                            .bits(8, 0)
                                            .bits(8, name.size())
                                            .append(name));
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid,
                 pmt_section(hd_service, 0x0100, {},
                             elementary_stream(0x0F, 0x0112, descriptor(0x0A, raw("<i>\x01"))) +
                                 elementary_stream(0x05, ait_pid)))
        .section(
            ait_pid,
            ait_section(
                0x0009, {},
                application(0x0A, 1, 1, describe_application_names(application_name("por", name)))))
        .section(0x0010, nit_section(multiplex_id, descriptor(0x40, raw(name)),
                                     transport_stream(multiplex_id, multiplex_id,
                                                      describe_ts_information(3, name))))
        .section(0x0011, sdt_section(multiplex_id, multiplex_id,
                                     service(hd_service, 4, 0, describe_service(1, name, name))))
        .section(0x0012, eit_section({0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E},
                                     event(1, utc_time(day, 0x194500), 0x014530, 4, 0, told)));
    return stream;
}

TEST(Page, EscapesEveryTextOfTheBroadcast) {
    const std::string page = page_of(named("<script>alert('\"&')</script>"));
    for (const char* const markup : {"<script", "alert('", "<b>", "<i>", "<u>", "\"&'"}) {
        EXPECT_THAT(page, Not(HasSubstr(markup)));
    }
    const std::string shown = "&lt;script&gt;alert(&#39;&quot;&amp;&#39;)&lt;/script&gt;";
    EXPECT_THAT(page, HasSubstr("<title>" + shown));
    EXPECT_THAT(page, HasSubstr("<h1 lang='pt'>" + shown));
    for (const char* const id : {"services", "guide", "bit-rate", "tables"}) {
        EXPECT_THAT(part(page, id), HasSubstr(shown)) << id;
    }
    EXPECT_THAT(part(page, "services"), HasSubstr("<strong lang='pt'>" + shown + "</strong>"));
    EXPECT_EQ(count(part(page, "guide"), shown), 4u);  // service, title, text and extended text
}

TEST(Page, ShowsWhatSteersAndReorders) {
    // U+202E in the coding of the text of ISDB-Tb's UTF-8.
    const std::string page =
        page_of(named("a\x01"
                      "b\x7F"));
    EXPECT_THAT(page, Not(HasSubstr("\x01")));
    EXPECT_THAT(page, Not(HasSubstr("\x7F")));
}

// --- The guide's grid ---

/// What a programme of the first day says of its place: "--at:45;--for:45".
words places_of(const std::string& page) {
    return between(part(page, "guide"), "<li style='", "'");
}

stream_writer with_events(const std::vector<bytes>& events) {
    stream_writer stream;
    stream.section(0x0000, pat()).section(0x0011, sdt());
    std::uint8_t number = 0;
    for (const bytes& one : events) {
        const auto last = static_cast<std::uint8_t>(8 * (events.size() - 1));
        stream.section(
            0x0012, eit_section({0x50, hd_service, multiplex_id, multiplex_id, number, 0x50}, one,
                                {0, 1, number, last}));
        number = static_cast<std::uint8_t>(number + 8);
    }
    return stream;
}
bytes named_event(std::uint16_t id, const bytes& start, std::uint32_t duration) {
    return event(id, start, duration, 0, 0, describe_short_event("por", "Jornal", ""));
}

TEST(GuideGrid, IsAsWideAsProgrammesAreLong) {
    const std::string page =
        page_of(with_events({named_event(1, utc_time(day, 0x194500), 0x004500),
                             named_event(2, utc_time(day, 0x203000), 0x011000)}));
    EXPECT_THAT(places_of(page), ElementsAre("--at:45;--for:45", "--at:90;--for:70"));
    EXPECT_THAT(page, HasSubstr("style='--hours:3'"));
    EXPECT_THAT(page, HasSubstr("<span>19:00</span><span>20:00</span><span>21:00</span></div>"));
    EXPECT_THAT(page, HasSubstr("datetime='2026-11-21T19:45:00-03:00'>19:45–20:30</time>"));
}

TEST(GuideGrid, HasADayForWhatBeginsOnIt) {
    const std::string page =
        page_of(with_events({named_event(1, utc_time(day, 0x233000), 0x011500),
                             named_event(2, utc_time(day + 1, 0x004500), 0x003000)}));
    EXPECT_THAT(between(page, "<h3 id='", "'"), ElementsAre("day-2026-11-21", "day-2026-11-22",
                                                            "rates-by-service", "rates-by-pid"));
    EXPECT_THAT(places_of(page), ElementsAre("--at:30;--for:75", "--at:45;--for:30"));
    EXPECT_THAT(page, HasSubstr("<span>23:00</span><span>00:00</span></div>"));
}

TEST(GuideGrid, EndsInTheMorningAfter) {
    const std::string page =
        page_of(with_events({named_event(1, utc_time(day, 0x230000), 0x990000)}));
    EXPECT_THAT(places_of(page), ElementsAre("--at:0;--for:420"));
    EXPECT_THAT(page, HasSubstr("style='--hours:7'"));
}

TEST(GuideGrid, MarksAProgrammeWithoutAnEnd) {
    const std::string page =
        page_of(with_events({named_event(1, utc_time(day, 0x230000), 0xFFFFFF)}));
    EXPECT_THAT(page, HasSubstr("<li class='endless' style='--at:0;--for:30'>"));
    EXPECT_THAT(page, HasSubstr(">23:00</time>"));
}

TEST(GuideGrid, LeavesOutWhatHasNoTimeThatAReceiverKnows) {
    const std::vector<std::uint16_t> days_before_1970 = {15831, 40586};
    for (const std::uint16_t mjd : days_before_1970) {
        const std::string page =
            page_of(with_events({named_event(1, utc_time(mjd, 0x235959), 0x000001)}));
        EXPECT_THAT(part(page, "guide"),
                    HasSubstr("<li>Left out, events with undefined start times: 1</li>"));
    }
    EXPECT_THAT(places_of(page_of(with_events({named_event(1, utc_time(40587, 0), 0x010000)}))),
                ElementsAre("--at:0;--for:60"));
}

TEST(Page, IsOnAirAlsoAtTheSecondThatStandsForNone) {
    // The TDT comes in the second second; one before it is what the library has for no time.
    stream_writer stream;
    for (unsigned int i = 0; i < 75; ++i) {
        adaptation_field adaptation;
        adaptation.pcr = i * 1'080'000ull;
        stream.packet_without_payload(0x0111, adaptation).null_packets(9);
        if (i == 30) stream.section(0x0014, tdt_section(utc_time(15831, 0x171930)));
    }
    EXPECT_THAT(
        page_of(stream),
        HasSubstr("<time datetime='1902-03-23T17:19:29-03:00'>1902-03-23 17:19:29</time> to "));
}

TEST(Page, OfAWeekOfTwoServicesIsBelowTwoMebibytes) {
    const std::string text(120, 'a');
    stream_writer stream;
    stream.section(0x0000, pat()).section(0x0011, sdt());
    std::uint16_t id = 0;
    for (const std::uint16_t service_id : {hd_service, mobile_service}) {
        for (unsigned int segment = 0; segment < 7 * 8; ++segment) {
            bytes events;
            for (std::uint32_t half_hour = 0; half_hour < 6; ++half_hour) {
                const std::uint32_t hour = segment % 8 * 3 + half_hour / 2;
                const std::uint32_t start =
                    ((hour / 10) << 20 | (hour % 10) << 16) | (half_hour % 2) * 0x3000;
                const auto today = static_cast<std::uint16_t>(day + segment / 8);
                events =
                    std::move(events) + event(++id, utc_time(today, start), 0x003000, 0, 0,
                                              describe_short_event("por", "Um programa", text));
            }
            const auto table_id = static_cast<std::uint8_t>(0x50 + segment / 32);
            const auto number = static_cast<std::uint8_t>(segment % 32 * 8);
            stream.section(0x0012, eit_section({table_id, service_id, multiplex_id, multiplex_id,
                                                number, 0x51},
                                               events, {0, 1, number, 0xF8}));
        }
    }
    const std::string page = page_of(stream);
    EXPECT_EQ(places_of(page).size(), 2u * 7 * 48);
    EXPECT_LT(page.size(), 2u * 1024 * 1024);
    EXPECT_THAT(part(page, "tables"), HasSubstr("more left out"));
}

TEST(Page, SaysWhatOfTheBroadcastHasNotCome) {
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, hd_pmt());
    const std::string guide = part(page_of(stream), "guide");
    EXPECT_THAT(guide, AllOf(HasSubstr("Not complete"), HasSubstr("<li>SDT"),
                             HasSubstr("<li>PMT of service 0x5C38 (23608)")));
    EXPECT_THAT(part(page_of(all_tables()), "guide"), Not(HasSubstr("<li>PMT")));
}

// --- Tables ---

TEST(Page, ShowsTheTablesAsTheTextFormatDoes) {
    const std::string page = page_of(all_tables());
    const std::string text = si_inspect({"--quiet", "--table", "pat"}, {all_tables().stream()}).out;
    EXPECT_THAT(part(page, "tables"), HasSubstr(">" + text + "</pre>"));
    EXPECT_THAT(part(page, "tables"),
                HasSubstr("<summary>PMT <span class='quiet'>2 sections</span></summary>"));
}

TEST(Page, ShowsEachTableOnceAndATimeThatOnlyPassesOnce) {
    stream_writer stream = all_tables();
    stream.section(0x0000, pat()).section(0x0014, tdt_section(utc_time(day, 0x203005)));
    const std::string tables = part(page_of(stream), "tables");
    EXPECT_THAT(tables, HasSubstr("<summary>PAT <span class='quiet'>1 section</span>"));
    EXPECT_THAT(tables, HasSubstr("<summary>TDT <span class='quiet'>1 section</span>"));
}

// --- Options ---

TEST(Page, TakesTheLimitsOfFindings) {
    const auto limited = [](const std::string& limit) {
        return part(si_inspect({"--quiet", "--format", "html", "--limit-of", limit, SAMPLE}).out,
                    "findings");
    };
    EXPECT_THAT(limited("sdt_rare=1"), HasSubstr("<code>sdt_rare</code>"));
    EXPECT_THAT(limited("sdt_rare=2"), Not(HasSubstr("<code>sdt_rare</code>")));
}

TEST(Page, TakesAnotherOffsetOfTheClock) {
    const std::string page = page_of(all_tables(), {"--utc-offset", "-04:00"});
    EXPECT_THAT(part(page, "guide"), HasSubstr("UTC-04:00"));
    EXPECT_THAT(part(page, "guide"), HasSubstr("datetime='2026-11-21T19:45:00-04:00'"));
}

TEST(Page, IsOfOneInputAndAllOfIt) {
    for (const words& more : {words{"--show", "services"}, words{"--table", "pat"},
                              words{"--pid", "0"}, words{"--service", "1"}, words{"--all"},
                              words{"--limit", "1"}, words{"--totals"}, words{SAMPLE}}) {
        words arguments = {"--format", "html", SAMPLE};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const outcome refused = si_inspect(arguments);
        EXPECT_EQ(refused.status, 2) << more.front();
        EXPECT_EQ(refused.out, "") << more.front();
        EXPECT_EQ(count(refused.err, "\n"), 1u) << refused.err;
    }
}

TEST(Page, IsWrittenWholeOrNotAtAll) {
    const temporary_folder folder;
    const std::string letter = folder.file("letter.txt", raw(std::string(1000, 'a')));
    const outcome refused =
        si_inspect({"--format", "html", "--output", folder.path("page.html"), letter});
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(folder.names(), ElementsAre("letter.txt"));
    EXPECT_EQ(si_inspect({"--quiet", "--format", "html", letter}).out, "");
}

}  // namespace
}  // namespace orvix::test
