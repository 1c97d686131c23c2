#include "writers/xmltv_writer.h"

#include <broadcast/names.h>
#include <broadcast/table_decoder.h>
#include <gmock/gmock.h>
#include <small_broadcast.h>

#include <cstdlib>
#include <pugixml.hpp>

#include "log_capture.h"
#include "tool.h"
#include "views/guide_view.h"
#include "writers/portuguese.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::IsEmpty;

/// An event of a schedule: the same evening, begun and ended at these times.
bytes event_at(std::uint16_t event_id, std::uint32_t hhmmss, const std::string& name,
               const bytes& more = {}) {
    return event(event_id, utc_time(day, hhmmss), 0x003000, 0, 0,
                 describe_short_event("por", name, "") + more);
}

bytes present_following(const bytes& present, const bytes& following, std::uint8_t version = 0) {
    const eit_identifiers ids = {0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E};
    return eit_section(ids, present, {version, 1, 0, 1}) +
           eit_section(ids, following, {version, 1, 1, 1});
}

bytes schedule(const bytes& events, const long_header& header = {}) {
    return eit_section(
        {0x50, hd_service, multiplex_id, multiplex_id, header.last_section_number, 0x50}, events,
        header);
}

struct shown {
    std::string start;
    std::string stop;
    std::string title;
    bool operator==(const shown& other) const {
        return std::tie(start, stop, title) == std::tie(other.start, other.stop, other.title);
    }
};
void PrintTo(const shown& s, std::ostream* out) {
    *out << s.start << " to " << s.stop << ": " << s.title;
}

/// A guide out of sections.
class XmltvWriter : public testing::Test {
protected:
    XmltvWriter& given(bytes sections) {
        sections.push_back(0);  // the spare byte behind the last one
        std::size_t at = 0;
        while (at + 1 < sections.size()) {
            const std::size_t size = 3u + ((sections[at + 1] & 0x0Fu) << 8 | sections[at + 2]);
            sections_.emplace_back(sections.begin() + static_cast<std::ptrdiff_t>(at),
                                   sections.begin() + static_cast<std::ptrdiff_t>(at + size + 1));
            at += size;
        }
        return *this;
    }

    static options of_services(std::set<std::uint16_t> wanted) {
        options how;
        how.services = std::move(wanted);
        return how;
    }
    static options with_clock(utc_offset ahead) {
        options how;
        how.utc_offset = ahead;
        return how;
    }

    /// The document as text, also parsed as `guide_`.
    std::string written(const options& how = {}) {
        const temporary_folder folder;
        {
            output to(folder.path("guide.xml"));
            xmltv_writer writer(to, how.utc_offset);
            guide_view view(
                how, writer, [](const place& /*where*/, const refusal& /*what*/) {},
                [this](const std::string& s) { notices_.push_back(s); });
            table_decoder decoder;
            for (bytes& section : sections_) {
                const auto table = decoder.decode(section.data(), section.size() - 1);
                sighting seen;
                seen.bytes = section.data();
                seen.size = section.size() - 1;
                seen.is_new = true;
                seen.table = &*table;
                view.section(seen);
            }
            view.end();
            to.commit();
        }
        const std::string text = read_file(folder.path("guide.xml"));
        EXPECT_TRUE(guide_.load_string(text.c_str()));
        return text;
    }

    std::vector<shown> programmes(const options& how = {}) {
        written(how);
        std::vector<shown> all;
        for (const auto& p : guide_.child("tv").children("programme")) {
            all.push_back({p.attribute("start").value(), p.attribute("stop").value(),
                           p.child_value("title")});
        }
        return all;
    }

    std::vector<std::string> titles(const options& how = {}) {
        std::vector<std::string> all;
        for (const shown& p : programmes(how)) all.push_back(p.title);
        return all;
    }

    std::vector<std::string> display_names(const std::string& id) {
        written();
        const auto channel =
            guide_.child("tv").find_child_by_attribute("channel", "id", id.c_str());
        return texts(channel, "display-name");
    }

    pugi::xml_node first_programme() {
        written();
        return guide_.child("tv").child("programme");
    }

    static std::vector<std::string> texts(const pugi::xml_node& parent, const char* element) {
        std::vector<std::string> all;
        for (const auto& child : parent.children(element)) all.emplace_back(child.child_value());
        return all;
    }

    std::vector<bytes> sections_;
    std::vector<std::string> notices_;
    pugi::xml_document guide_;
    log_capture silence_{OrvixLog::NONE};
};

// --- Channels ---

TEST_F(XmltvWriter, NamesAChannelWithNameAndViewersNumber) {
    given(pat() + nit() + sdt() + eit());
    EXPECT_THAT(display_names("s23584.n737.isdb-tb.br"), ElementsAre("Manacá HD", "3.1"));
}

TEST_F(XmltvWriter, NumbersAOneSegServiceByThePidOfItsPmt) {
    given(pat_section(multiplex_id, program(mobile_service, 0x1FCA)) + nit() + eit(mobile_service));
    EXPECT_THAT(display_names("s23608.n737.isdb-tb.br"), ElementsAre("23608", "3.33"));
}

TEST_F(XmltvWriter, NumbersAServiceThatIsNotInThePatByItsIdentifier) {
    given(nit() + eit(mobile_service));
    EXPECT_THAT(display_names("s23608.n737.isdb-tb.br"), ElementsAre("23608", "3.31"));
}

TEST_F(XmltvWriter, GivesNoNumberWithoutARemoteControlKey) {
    given(pat() + sdt() + eit());
    EXPECT_THAT(display_names("s23584.n737.isdb-tb.br"), ElementsAre("Manacá HD"));
}

TEST_F(XmltvWriter, TakesTheNameOfTheNewestSdt) {
    const bytes renamed =
        sdt_section(multiplex_id, multiplex_id,
                    service(hd_service, 4, 0, describe_service(1, "", "Nova")), {1, 1, 0, 0});
    given(sdt() + renamed + eit());
    EXPECT_THAT(display_names("s23584.n737.isdb-tb.br"), ElementsAre("Nova"));
}

TEST_F(XmltvWriter, ForgetsANameThatTheNewestSdtNoLongerTells) {
    given(sdt() + sdt_section(multiplex_id, multiplex_id, {}, {1, 1, 0, 0}) + eit());
    EXPECT_THAT(display_names("s23584.n737.isdb-tb.br"), ElementsAre("23584"));
}

TEST_F(XmltvWriter, LeavesOutServicesWithoutEventsAndCountsThem) {
    given(sdt() + eit());
    written();
    EXPECT_FALSE(
        guide_.child("tv").find_child_by_attribute("channel", "id", "s23608.n737.isdb-tb.br"));
    EXPECT_THAT(notices_, testing::Contains("guide: left out services without events: 1"));
}

TEST_F(XmltvWriter, WritesOnlyTheServicesThatAreWanted) {
    given(eit(hd_service) + eit(mobile_service));
    written(of_services({mobile_service}));
    EXPECT_STREQ(guide_.child("tv").child("channel").attribute("id").value(),
                 "s23608.n737.isdb-tb.br");
    EXPECT_EQ(titles(of_services({mobile_service})).size(), 1u);
}

// --- Programmes ---

TEST_F(XmltvWriter, TellsAProgrammeWhole) {
    given(eit());
    const pugi::xml_node programme = first_programme();
    EXPECT_STREQ(programme.attribute("start").value(), "20261121194500 -0300");
    EXPECT_STREQ(programme.attribute("stop").value(), "20261121213030 -0300");
    EXPECT_STREQ(programme.attribute("channel").value(), "s23584.n737.isdb-tb.br");
    EXPECT_STREQ(programme.child_value("title"), "Jornal");
    EXPECT_STREQ(programme.child("title").attribute("lang").value(), "pt");
    EXPECT_STREQ(programme.child_value("desc"), "As notícias do dia.");
    EXPECT_THAT(texts(programme, "category"),
                ElementsAre("jornalismo", "reportagem", "news", "report"));
    EXPECT_STREQ(programme.child("rating").attribute("system").value(), "ClassInd");
    EXPECT_STREQ(programme.child("rating").child_value("value"), "12");
}

TEST_F(XmltvWriter, LeavesOutWhatABroadcastDoesNotSay) {
    given(schedule(event_at(1, 0x200000, "Jornal")));
    const pugi::xml_node programme = first_programme();
    EXPECT_FALSE(programme.child("desc"));
    EXPECT_FALSE(programme.child("category"));
    EXPECT_FALSE(programme.child("rating"));
}

TEST_F(XmltvWriter, LeavesOutReservedRatingsAndThoseOfOtherCountries) {
    given(schedule(
        event_at(1, 0x200000, "A", describe_parental_ratings(parental_rating("BRA", 0x0F))) +
        event_at(2, 0x210000, "B", describe_parental_ratings(parental_rating("ARG", 0x03)))));
    written();
    for (const auto& programme : guide_.child("tv").children("programme")) {
        EXPECT_FALSE(programme.child("rating"));
    }
}

TEST_F(XmltvWriter, NamesEachGenreOnce) {
    given(schedule(
        event_at(1, 0x200000, "Show", describe_content({0x61, 0, 0x62, 0, 0xCF, 0, 0x6F, 0}))));
    EXPECT_THAT(texts(first_programme(), "category"),
                ElementsAre("variedades", "show", "musical", "filme",  //
                            "variety", "show", "musical", "movie"));
}

TEST_F(XmltvWriter, SaysInWhichLanguageGenresAre) {
    given(schedule(event_at(1, 0x200000, "Show", describe_content({0x10, 0}))));
    std::vector<std::string> languages;
    for (const auto& category : first_programme().children("category")) {
        languages.emplace_back(category.attribute("lang").value());
    }
    EXPECT_THAT(languages, ElementsAre("pt", "en"));
}

TEST_F(XmltvWriter, HasAPortugueseWordForEachGenre) {
    for (int content_nibble = 0; content_nibble < 0x100; ++content_nibble) {
        const auto both = static_cast<std::uint8_t>(content_nibble);
        const auto is_one = [](std::string_view name) {
            return !name.empty() && name != "other" && name != "reserved";
        };
        EXPECT_EQ(is_one(portuguese::genre_group(both)), is_one(names::genre_group(both))) << both;
        EXPECT_EQ(is_one(portuguese::genre_detail(both)), is_one(names::genre_detail(both)))
            << content_nibble;
    }
}

TEST_F(XmltvWriter, SaysWhatARatingIsFor) {
    const bytes rating = describe_parental_ratings(parental_rating("BRA", 0x74));
    given(schedule(event_at(1, 0x200000, "Filme", rating)));
    std::vector<std::string> ratings;
    for (const auto& r : first_programme().children("rating")) {
        ratings.push_back(std::string(r.attribute("system").value()) + ": " +
                          r.child_value("value"));
    }
    EXPECT_THAT(ratings, ElementsAre("ClassInd: 14", "ClassInd content: drugs",
                                     "ClassInd content: violence", "ClassInd content: sex"));
}

TEST_F(XmltvWriter, LeavesOutCharactersThatHideText) {
    given(schedule(event_at(1, 0x200000, "Jor\x7Fnal\xAD!")));
    EXPECT_EQ(titles(), std::vector<std::string>{"Jornal!"});
}

TEST_F(XmltvWriter, TakesANameOfInvisibleCharactersForNone) {
    given(schedule(event_at(1, 0x200000, "\x7F\xAD \xA0\x01\x9F")));
    EXPECT_THAT(titles(), IsEmpty());
    EXPECT_THAT(notices_, testing::Contains("guide: left out events without a name: 1"));
}

// --- Extended events ---

class XmltvExtendedEvents : public XmltvWriter {
protected:
    static bytes item(const std::string& description, const std::string& text) {
        return section_writer()
            .bits(8, description.size())
            .append(description)
            .bits(8, text.size())
            .append(text);
    }
    static bytes extended(unsigned int number, const std::string& language, const bytes& items,
                          const std::string& text) {
        return descriptor(0x4E, section_writer()
                                    .bits(4, number)
                                    .bits(4, 2)  // last_descriptor_number
                                    .append(language)
                                    .bits(8, items.size())
                                    .append(items)
                                    .bits(8, text.size())
                                    .append(text));
    }
    std::string description() { return first_programme().child_value("desc"); }
};

TEST_F(XmltvExtendedEvents, FollowTheShortText) {
    given(schedule(event(1, utc_time(day, 0x200000), 0x003000, 0, 0,
                         describe_short_event("por", "Filme", "Um trem.") +
                             extended(0, "por", {}, "Parte da esta\xE7\xE3o."))));
    EXPECT_EQ(description(), "Um trem.\nParte da estação.");
}

TEST_F(XmltvExtendedEvents, AreJoinedFromTheirPartsInOrder) {
    given(
        schedule(event_at(1, 0x200000, "Filme",
                          extended(1, "por", item("", " e Rui"), "o fim.") +
                              extended(0, "por", item("Elenco", "Ana"), "Do come\xE7o at\xE9 "))));
    EXPECT_EQ(description(), "Do começo até o fim.\nElenco: Ana e Rui");
}

TEST_F(XmltvExtendedEvents, AreThoseOfTheShortEventsLanguage) {
    given(schedule(
        event_at(1, 0x200000, "Filme",
                 extended(0, "eng", {}, "A train.") + extended(0, "por", {}, "Um trem."))));
    EXPECT_EQ(description(), "Um trem.");
}

TEST_F(XmltvExtendedEvents, BelongToTheirEvent) {
    given(schedule(event_at(1, 0x200000, "Filme", extended(0, "por", {}, "Um.")) +
                   event_at(2, 0x210000, "Novela") +
                   event_at(3, 0x220000, "Jornal", extended(0, "por", {}, "Dois."))));
    written();
    std::vector<std::string> descriptions;
    for (const auto& p : guide_.child("tv").children("programme")) {
        descriptions.emplace_back(p.child_value("desc"));
    }
    EXPECT_THAT(descriptions, ElementsAre("Um.", "", "Dois."));
}

TEST_F(XmltvExtendedEvents, AreSuppliedByOlderAccounts) {
    given(schedule(event_at(1, 0x200000, "Filme", extended(0, "por", {}, "Um trem."))) +
          present_following(event_at(1, 0x200000, "O Filme"), {}));
    EXPECT_EQ(titles(), std::vector<std::string>{"O Filme"});
    EXPECT_EQ(description(), "Um trem.");
}

TEST_F(XmltvExtendedEvents, AreLeftOutWhereTheyAreBroken) {
    given(schedule(event_at(1, 0x200000, "Filme", descriptor(0x4E, {0x00, 'p', 'o', 'r', 9, 1}))));
    EXPECT_FALSE(first_programme().child("desc"));
}

TEST_F(XmltvWriter, NamesNoGroupOfRafflesSalesAndPrizes) {
    given(schedule(event_at(1, 0x200000, "Sorteio", describe_content({0xD0, 0, 0xD7, 0}))));
    EXPECT_THAT(texts(first_programme(), "category"), ElementsAre("sorteio", "raffle"));
}

TEST_F(XmltvWriter, WritesLanguagesWithTwoLettersWhereTheyHaveThem) {
    given(schedule(
        event(1, utc_time(day, 0x200000), 0x001000, 0, 0, describe_short_event("eng", "News", "")) +
        event(2, utc_time(day, 0x210000), 0x001000, 0, 0,
              describe_short_event("gn ", "Mborayhu", ""))));
    written();
    std::vector<std::string> languages;
    for (const auto& programme : guide_.child("tv").children("programme")) {
        languages.emplace_back(programme.child("title").attribute("lang").value());
    }
    EXPECT_THAT(languages, ElementsAre("en", "gn "));
}

TEST_F(XmltvWriter, EscapesWhatXmlReserves) {
    given(schedule(event_at(1, 0x200000, "Tom & <Jo\xE3o>")));
    EXPECT_THAT(written(), testing::HasSubstr("<title lang=\"pt\">Tom &amp; &lt;João&gt;</title>"));
}

TEST_F(XmltvWriter, OrdersProgrammesByTheirStart) {
    given(schedule(event_at(1, 0x220000, "Segundo") + event_at(2, 0x210000, "Primeiro")));
    EXPECT_THAT(titles(), ElementsAre("Primeiro", "Segundo"));
}

// --- What the guide leaves out ---

TEST_F(XmltvWriter, LeavesOutUndefinedStartTimesAndCountsThem) {
    const bytes name = describe_short_event("por", "Quando?", "");
    given(schedule(event(1, utc_time(0xFFFF, 0xFFFFFF), 0x010000, 0, 0, name) +
                   event_at(3, 0x210000, "Agora")));
    EXPECT_THAT(titles(), ElementsAre("Agora"));
    EXPECT_THAT(notices_, ElementsAre("guide: left out events with undefined start times: 1"));
}

TEST_F(XmltvWriter, GivesNoStopWithoutADuration) {
    const bytes name = describe_short_event("por", "Jogo", "");
    given(schedule(event(1, utc_time(day, 0x200000), 0xFFFFFF, 0, 0, name) +
                   event(2, utc_time(day, 0x210000), 0x000000, 0, 0, name)));
    written();
    std::size_t programmes = 0;
    for (const auto& p : guide_.child("tv").children("programme")) {
        EXPECT_FALSE(p.attribute("stop"));
        ++programmes;
    }
    EXPECT_EQ(programmes, 2u);
    EXPECT_THAT(notices_, IsEmpty());
}

TEST_F(XmltvWriter, TakesAnOpenDurationFromAnOlderAccountOfTheSameStart) {
    const bytes open = event(1, utc_time(day, 0x200000), 0xFFFFFF, 0, 0,
                             describe_short_event("por", "O jogo", ""));
    given(schedule(event_at(1, 0x200000, "Jogo")) + present_following(open, {}));
    EXPECT_THAT(programmes(),
                ElementsAre(shown{"20261121200000 -0300", "20261121203000 -0300", "O jogo"}));
}

TEST_F(XmltvWriter, TakesNoDurationFromAnAccountOfAnotherStart) {
    const bytes open = event(1, utc_time(day, 0x201500), 0xFFFFFF, 0, 0,
                             describe_short_event("por", "O jogo", ""));
    given(schedule(event_at(1, 0x200000, "Jogo")) + present_following(open, {}));
    EXPECT_THAT(programmes(), ElementsAre(shown{"20261121201500 -0300", "", "O jogo"}));
}

TEST_F(XmltvWriter, CountsProgrammesThatOverlap) {
    const bytes film =
        event(1, utc_time(day, 0x200000), 0x020000, 0, 0, describe_short_event("por", "Filme", ""));
    given(schedule(film + event_at(2, 0x203000, "Jornal") + event_at(3, 0x213000, "Novela") +
                   event_at(4, 0x220000, "Debate")));
    EXPECT_THAT(titles(), ElementsAre("Filme", "Jornal", "Novela", "Debate"));
    EXPECT_THAT(notices_,
                ElementsAre("guide: programmes that begin before one before them ends: 2"));
}

TEST_F(XmltvWriter, LeavesOutEventsWithoutANameAndCountsThem) {
    given(schedule(event_at(1, 0x200000, " \xA0 ") +
                   event(2, utc_time(day, 0x203000), 0x001000, 0, 0) +
                   event_at(3, 0x210000, "Agora")));
    EXPECT_THAT(titles(), ElementsAre("Agora"));
    EXPECT_THAT(notices_, ElementsAre("guide: left out events without a name: 2"));
}

TEST_F(XmltvWriter, CountsProgrammesThatBeginTogetherWithANewerOne) {
    given(schedule(event_at(1, 0x200000, "Jornal")) +
          schedule(event_at(2, 0x200000, "Edição extra") + event_at(3, 0x200000, "Novela"),
                   {0, 1, 8, 8}));
    EXPECT_EQ(titles().size(), 1u);
    EXPECT_THAT(notices_, ElementsAre("guide: left out programmes at the same time as another: 2"));
}

TEST_F(XmltvWriter, CountsWhatWasOnAirTooLongAgo) {
    for (std::uint32_t i = 0; i < service_events::most_past + 2; ++i) {
        const auto date = static_cast<std::uint16_t>(day + i);
        given(present_following(event(1, utc_time(date, 0x200000), 0x003000, 0, 0,
                                      describe_short_event("por", "Jornal", "")),
                                {}, i % 32));
    }
    EXPECT_THAT(titles(), testing::SizeIs(service_events::most_past + 1));
    EXPECT_THAT(notices_, ElementsAre("guide: left out programmes of long before: 1"));
}

TEST_F(XmltvWriter, SaysThatThereAreNoProgrammes) {
    written();
    EXPECT_THAT(notices_, ElementsAre("guide: no programmes"));
}

TEST_F(XmltvWriter, SaysThatThereAreNoProgrammesOfTheServicesThatAreWanted) {
    given(eit(hd_service));
    written(of_services({mobile_service}));
    EXPECT_THAT(notices_, testing::Contains("guide: no programmes"));
}

TEST_F(XmltvWriter, SaysNothingWhenNothingIsLeftOut) {
    given(schedule(event_at(1, 0x210000, "Agora")));
    written();
    EXPECT_THAT(notices_, IsEmpty());
}

// --- Merging ---

TEST_F(XmltvWriter, MergesPresentFollowingAndSchedule) {
    const bytes rating = describe_parental_ratings(parental_rating("BRA", 0x02));
    given(schedule(event_at(1, 0x200000, "Jornal", rating) + event_at(2, 0x203000, "Novela") +
                   event_at(3, 0x210000, "Filme")) +
          present_following(event_at(1, 0x200000, "Jornal"), event_at(2, 0x203000, "A Novela")));
    EXPECT_THAT(titles(), ElementsAre("Jornal", "A Novela", "Filme"));
    EXPECT_STREQ(first_programme().child("rating").child_value("value"), "10");
}

TEST_F(XmltvWriter, TakesTheNewestTimesOfAnEvent) {
    given(present_following(event_at(1, 0x200000, "Jogo"), event_at(2, 0x203000, "Filme")) +
          present_following(event_at(1, 0x200000, "Jogo"), event_at(2, 0x204500, "Filme"), 1));
    EXPECT_THAT(programmes(),
                ElementsAre(shown{"20261121200000 -0300", "20261121203000 -0300", "Jogo"},
                            shown{"20261121204500 -0300", "20261121211500 -0300", "Filme"}));
}

TEST_F(XmltvWriter, TakesTheTimesFromTheScheduleWherePresentFollowingLeavesThemUndefined) {
    const bytes untimed = event(1, utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0,
                                describe_short_event("por", "Jogo adiado", ""));
    given(schedule(event_at(1, 0x200000, "Jogo")) +
          present_following(untimed, event_at(2, 0x203000, "Filme")));
    EXPECT_THAT(programmes(),
                ElementsAre(shown{"20261121200000 -0300", "20261121203000 -0300", "Jogo adiado"},
                            shown{"20261121203000 -0300", "20261121210000 -0300", "Filme"}));
}

TEST_F(XmltvWriter, DropsAnEventThatTheNewestVersionNoLongerHas) {
    given(schedule(event_at(1, 0x200000, "Jornal") + event_at(2, 0x203000, "Cancelado")) +
          schedule(event_at(1, 0x200000, "Jornal"), {1, 1, 0, 0}));
    EXPECT_THAT(titles(), ElementsAre("Jornal"));
}

TEST_F(XmltvWriter, DropsTheSectionsThatTheNewestVersionNoLongerHas) {
    given(schedule(event_at(1, 0x200000, "Jornal"), {0, 1, 0, 1}) +
          schedule(event_at(2, 0x203000, "Cancelado"), {0, 1, 1, 1}) +
          schedule(event_at(1, 0x200000, "Jornal"), {1, 1, 0, 0}));
    EXPECT_THAT(titles(), ElementsAre("Jornal"));
}

TEST_F(XmltvWriter, KeepsSectionsOfOneVersionThatDisagreeAboutTheLastOne) {
    given(schedule(event_at(2, 0x203000, "Novela"), {0, 1, 1, 1}) +
          schedule(event_at(1, 0x200000, "Jornal"), {0, 1, 0, 0}));
    EXPECT_THAT(titles(), ElementsAre("Jornal", "Novela"));
}

TEST_F(XmltvWriter, KeepsSectionsOfThePreviousVersionUntilTheirNewOnesCome) {
    given(schedule(event_at(1, 0x200000, "Jornal"), {0, 1, 0, 1}) +
          schedule(event_at(2, 0x203000, "Novela"), {0, 1, 1, 1}) +
          schedule(event_at(1, 0x200000, "O Jornal"), {1, 1, 0, 1}));
    EXPECT_THAT(titles(), ElementsAre("O Jornal", "Novela"));
}

TEST_F(XmltvWriter, KeepsAnEventThatWasOnAir) {
    given(present_following(event_at(1, 0x200000, "Jornal"), event_at(2, 0x203000, "Novela")) +
          present_following(event_at(2, 0x203000, "Novela"), event_at(3, 0x210000, "Filme"), 1));
    EXPECT_THAT(titles(), ElementsAre("Jornal", "Novela", "Filme"));
}

TEST_F(XmltvWriter, DropsAnEventThatWasOnlyAnnouncedToFollow) {
    given(present_following(event_at(1, 0x200000, "Jornal"), event_at(2, 0x203000, "Novela")) +
          present_following(event_at(1, 0x200000, "Jornal"), event_at(3, 0x204000, "Filme"), 1));
    EXPECT_THAT(titles(), ElementsAre("Jornal", "Filme"));
}

TEST_F(XmltvWriter, KeepsTheNewerOfTwoEventsThatBeginTogether) {
    given(
        schedule(event_at(1, 0x200000, "Jornal")) +
        present_following(event_at(9, 0x200000, "Edição extra"), event_at(2, 0x203000, "Novela")));
    EXPECT_EQ(titles().size(), 2u);
    EXPECT_THAT(titles(), testing::Not(testing::Contains("Jornal")));
}

TEST_F(XmltvWriter, IgnoresSectionsThatAreNotYetValid) {
    given(schedule(event_at(1, 0x200000, "Jornal")) +
          schedule(event_at(1, 0x200000, "Futuro"), {1, 0, 0, 0}));
    EXPECT_THAT(titles(), ElementsAre("Jornal"));
}

// --- Event identifiers that are used again ---

class XmltvEventIds : public XmltvWriter {
protected:
    static bytes film() {
        return event(1, utc_time(day, 0x180000), 0x020000, 0, 0,
                     describe_short_event("por", "Filme", "Terror.") +
                         describe_parental_ratings(parental_rating("BRA", 0x16)));
    }
    /// The day after.
    static bytes cartoon() {
        return event(1, utc_time(day + 1, 0x090000), 0x003000, 0, 0,
                     describe_short_event("por", "Desenho", ""));
    }

    const shown shown_film_ = {"20261121180000 -0300", "20261121200000 -0300", "Filme"};
    const shown shown_cartoon_ = {"20261122090000 -0300", "20261122093000 -0300", "Desenho"};

    void expect_film_and_cartoon() {
        EXPECT_THAT(programmes(), ElementsAre(shown_film_, shown_cartoon_));
        const pugi::xml_node first = guide_.child("tv").child("programme");
        EXPECT_STREQ(first.child_value("desc"), "Terror.");
        EXPECT_STREQ(first.child("rating").child_value("value"), "18");
        const pugi::xml_node second = first.next_sibling("programme");
        EXPECT_FALSE(second.child("desc"));
        EXPECT_FALSE(second.child("rating"));
    }
};

TEST_F(XmltvEventIds, KeepWhatWasOnAirApartFromWhatComesLater) {
    given(present_following(film(), event_at(2, 0x200000, "Jornal")) +
          present_following({}, cartoon(), 1));
    expect_film_and_cartoon();
}

TEST_F(XmltvEventIds, KeepWhatIsOnAirApartFromTheSchedule) {
    given(present_following(film(), {}) + schedule(cartoon()));
    expect_film_and_cartoon();
}

TEST_F(XmltvEventIds, LetTheScheduleSupplyWhatWasOnAir) {
    given(present_following(event_at(1, 0x180000, "Filme"), {}) + schedule(film()) +
          present_following(cartoon(), {}, 1));
    expect_film_and_cartoon();
}

TEST_F(XmltvEventIds, FollowAnEventThatTheScheduleMoves) {
    given(schedule(film()) + present_following({}, cartoon()));
    EXPECT_THAT(programmes(), ElementsAre(shown_cartoon_));
    const pugi::xml_node programme = guide_.child("tv").child("programme");
    EXPECT_FALSE(programme.child("desc"));
    EXPECT_FALSE(programme.child("rating"));
}

TEST_F(XmltvEventIds, AreOfOneProgrammeWhileItsTimesOverlap) {
    given(present_following(film(), {}) +
          present_following(event_at(1, 0x195959, "Filme (fim)"), {}, 1));
    EXPECT_THAT(titles(), ElementsAre("Filme (fim)"));
    EXPECT_STREQ(first_programme().child_value("desc"), "Terror.");
}

TEST_F(XmltvEventIds, AreOfTwoProgrammesWhereOneBeginsAsTheOtherEnds) {
    given(present_following(film(), {}) +
          present_following(event_at(1, 0x200000, "Jornal"), {}, 1));
    EXPECT_THAT(titles(), ElementsAre("Filme", "Jornal"));
}

// --- The clock ---

class XmltvClock : public XmltvWriter {
protected:
    XmltvClock() { given(schedule(event_at(1, 0x200000, "Jornal"))); }

    static bytes tot_with(const std::string& country, std::uint16_t offset) {
        return tot_section(utc_time(day, 0x200000),
                           describe_local_time_offsets(
                               local_time_offset(country, 1, 1, offset, utc_time(day, 0), offset)));
    }
};

TEST_F(XmltvClock, IsBrasiliasUnlessTheBroadcastSaysOtherwise) {
    EXPECT_EQ(programmes().at(0).start, "20261121200000 -0300");
}

TEST_F(XmltvClock, IsTheOneOfTheOption) {
    EXPECT_EQ(programmes(with_clock(utc_offset(9 * 60 + 30))).at(0).start, "20261121200000 +0930");
    given(tot_with("BRA", 0x0200));
    EXPECT_EQ(programmes(with_clock(utc_offset(0))).at(0).start, "20261121200000 +0000");
}

TEST_F(XmltvClock, FollowsTheTotToTheWestOfBrasiliaAtTheSameMoment) {
    given(tot_with("BRA", 0x0200));
    EXPECT_EQ(programmes().at(0).start, "20261121180000 -0500");
}

TEST_F(XmltvClock, TakesAnOffsetOfThreeHoursOrMoreAsCountedFromUtc) {
    given(tot_with("BRA", 0x0300));
    EXPECT_EQ(programmes().at(0).start, "20261121200000 -0300");
    given(tot_with("BRA", 0x0400));
    EXPECT_EQ(programmes().at(0).start, "20261121190000 -0400");
}

TEST_F(XmltvClock, IgnoresTheOffsetOfAnotherCountry) {
    given(tot_with("ARG", 0x0100));
    EXPECT_EQ(programmes().at(0).start, "20261121200000 -0300");
}

TEST_F(XmltvClock, IgnoresAnOffsetThatIsNone) {
    given(tot_with("BRA", 0x0200));
    for (const int offset : {0x9999, 0x0A00, 0x010A, 0x00A0, 0x0160, 0x1200}) {
        given(tot_with("BRA", static_cast<std::uint16_t>(offset)));
        EXPECT_EQ(programmes().at(0).start, "20261121180000 -0500") << std::hex << offset;
    }
}

// --- The tool ---

TEST(XmltvOfTheSample, IsTheGuideThatIsExpected) {
    const outcome run = test::si_inspect({"--format", "xmltv", "--quiet", SAMPLE});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, read_file(EXPECTED_GUIDE));
}

TEST(XmltvOfTheSample, IsValidForTvValidateFile) {
    if (std::system("command -v tv_validate_file >/dev/null") != 0) {
        GTEST_SKIP() << "tv_validate_file (package xmltv-util) is not installed";
    }
    // It fetches the DTD unless it is told where the package has it.
    const std::string validate = "XMLTV_SUPPLEMENT=/usr/share/xmltv tv_validate_file ";
    const temporary_folder folder;
    const std::string guide = folder.path("guide.xml");
    ASSERT_EQ(test::si_inspect({"--format", "xmltv", "--quiet", "--output", guide, SAMPLE}).status,
              0);
    EXPECT_EQ(std::system((validate + "'" + guide + "'").c_str()), 0);
}

TEST(XmltvOfATool, SaysOnceWhichBoundsOfTheGuideAreMetAndCountsWhatTheyLeaveOut) {
    bytes of_many_services;
    for (std::uint16_t service_id = 0; service_id < 1030; ++service_id) {
        of_many_services = std::move(of_many_services) +
                           eit_section({0x4E, service_id, multiplex_id, multiplex_id, 0, 0x4E}, {});
    }
    const temporary_folder folder;
    const std::string sections = folder.file("sections.bin", of_many_services);
    const outcome run = test::si_inspect({"--format", "xmltv", "--sections", "--strict", sections});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, testing::StartsWith("si_inspect: more than 1024 services in the guide: "
                                             "the others are left out and counted\n"
                                             "si_inspect: guide: no programmes\n"));
    EXPECT_THAT(run.err, testing::HasSubstr("6 services in the guide\n"));
}

TEST(XmltvOfATool, SaysWhatItLeavesOutUnlessItIsToKeepQuiet) {
    const temporary_folder folder;
    const std::string sections = folder.file("sections.bin", all_sections());
    const outcome run = test::si_inspect({"--format", "xmltv", "--sections", sections});
    EXPECT_THAT(run.err, testing::HasSubstr(
                             "si_inspect: guide: left out events with undefined start times: 1\n"));
    const outcome quiet =
        test::si_inspect({"--format", "xmltv", "--sections", "--quiet", sections});
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(quiet.out, run.out);
}

}  // namespace
}  // namespace orvix::si_inspect
