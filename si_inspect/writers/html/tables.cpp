#include <algorithm>
#include <cctype>

#include "writers/html/parts.h"

namespace orvix::si_inspect {

namespace {

std::string name_of(const table_texts::kind& of) {
    if (of.name.empty()) return "Other tables";
    std::string name = of.name;
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

void write_kind(html& to, const table_texts::kind& of) {
    const std::string name = name_of(of);
    to << "<details class='table'><summary>"_html << name << " <span class='quiet'>"_html
       << of.sections << (of.sections == 1 ? " section" : " sections");
    if (of.left_out != 0) to << ", " << of.left_out << " more left out";
    to << "</span></summary>\n<pre tabindex='0' aria-label='"_html << name << "'>"_html;
    to.lines(of.text);
    to << "</pre></details>\n"_html;
}

}  // namespace

void write_tables(html& to, const page& all) {
    to << "<section id='tables' aria-labelledby='tables-title'>\n"
          "<h2 id='tables-title'>Tables</h2>\n"_html;
    if (all.tables.empty()) to << "<p>No tables.</p>\n"_html;
    for (const table_texts::kind& of : all.tables) write_kind(to, of);
    to << "<details class='table'><summary>What was read</summary>\n<pre tabindex='0' "
          "aria-label='What was read'>"_html;
    to.lines(all.reading);
    to << "</pre></details>\n</section>\n"_html;
}

}  // namespace orvix::si_inspect
