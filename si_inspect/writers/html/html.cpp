#include "writers/html/html.h"

#include "display.h"

namespace orvix::si_inspect {

void append_escaped(std::string& to, std::string_view words) {
    for (const char c : printable(words)) {
        switch (c) {
            case '&':
                to += "&amp;";
                break;
            case '<':
                to += "&lt;";
                break;
            case '>':
                to += "&gt;";
                break;
            case '"':
                to += "&quot;";
                break;
            case '\'':
                to += "&#39;";
                break;
            default:
                to += c;
        }
    }
}

html& html::operator<<(markup own) {
    waiting_ += own.view();
    if (waiting_.size() >= write_bytes) flush();
    return *this;
}

html& html::operator<<(std::string_view words) {
    append_escaped(waiting_, words);
    return *this;
}

void html::lines(std::string_view words) {
    for (;;) {
        const std::size_t end = words.find('\n');
        *this << words.substr(0, end);
        if (end == std::string_view::npos) return;
        *this << "\n"_html;
        words.remove_prefix(end + 1);
    }
}

void html::flush() {
    to_.write(waiting_);
    waiting_.clear();
}

}  // namespace orvix::si_inspect
