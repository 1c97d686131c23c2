#include "writers/html/html.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvix::si_inspect {
namespace {

class pieces : public sink {
public:
    void write(std::string_view text) override { written.emplace_back(text); }
    std::string together() const {
        std::string all;
        for (const std::string& piece : written) all += piece;
        return all;
    }

    std::vector<std::string> written;
};

std::string escaped(std::string_view words) {
    std::string to;
    append_escaped(to, words);
    return to;
}

TEST(Html, TakesWordsForWordsAndLiteralsForMarkup) {
    pieces to;
    html page(to);
    page << "<b>"_html
         << "<i> & \"it's\""
         << "</b>"_html;
    page << -3 << std::string("</b>");
    page.flush();
    EXPECT_EQ(to.together(), "<b>&lt;i&gt; &amp; &quot;it&#39;s&quot;</b>-3&lt;/b&gt;");
}

TEST(Html, LeavesEveryScriptAsItIs) {
    for (const char* const words : {"São João à Meia-Noite", "Ελληνικά", "Новости", "ニュース",
                                    "한국어", "हिन्दी", "עברית", "العربية", "📺"}) {
        EXPECT_EQ(escaped(words), words);
    }
}

TEST(Html, ShowsWhatSteersReordersOrHides) {
    EXPECT_EQ(escaped("a\u202Eb\u200Bc\x01\x7F"), "a\\u202Eb\\u200Bc\\u0001\\u007F");
    EXPECT_EQ(escaped(std::string_view("a\0b", 3)), "a\\u0000b");
    EXPECT_EQ(escaped("line\nbreak"), "line\\u000Abreak");
}

TEST(Html, ShowsTheBytesOfWhatIsNotUtf8) {
    EXPECT_EQ(escaped("a\xE3<"), "a\\xE3&lt;");
    EXPECT_EQ(escaped("\xC0\xBC"), "\\xC0\\xBC");  // an overlong '<'
}

TEST(Html, KeepsTheBreaksOfLines) {
    pieces to;
    html page(to);
    page.lines("one\n<two>\n\nthree\r");
    page.flush();
    EXPECT_EQ(to.together(), "one\n&lt;two&gt;\n\nthree\\u000D");
}

TEST(Html, IsWrittenInPieces) {
    pieces to;
    html page(to);
    const std::string words(10'000, 'a');
    for (int i = 0; i < 100; ++i) page << words << "<br>"_html;
    page.flush();
    EXPECT_GT(to.written.size(), 10u);
    EXPECT_EQ(to.together().size(), 100 * (words.size() + 4));
}

}  // namespace
}  // namespace orvix::si_inspect
