#include "broadcast_text.h"

#include <iconv.h>

#include <map>
#include <stdexcept>

namespace orvix::sample {

namespace {

// An escape byte and one more.
const std::map<std::string, std::string> symbols = {
    {"♪", "\x1D\x21"}, {"…", "\x1D\x40"}, {"‘", "\x1D\x42"}, {"’", "\x1D\x43"},
    {"“", "\x1D\x44"}, {"”", "\x1D\x45"}, {"•", "\x1D\x46"}, {"™", "\x1D\x47"},
};

void replace_all(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

}  // namespace

std::string broadcast_text(const std::string& utf8) {
    // Escaped symbols are ASCII in both character sets, so they go first.
    std::string text = utf8;
    for (const auto& [symbol, escaped] : symbols) replace_all(text, symbol, escaped);

    std::string coded(text.size(), '\0');
    char* in = text.data();
    char* out = coded.data();
    std::size_t in_left = text.size();
    std::size_t out_left = coded.size();
    iconv_t converter = iconv_open("ISO-8859-15", "UTF-8");
    const bool complete = iconv(converter, &in, &in_left, &out, &out_left) == 0;
    iconv_close(converter);
    if (!complete) throw std::invalid_argument("not in the broadcast's character set: " + utf8);

    coded.resize(coded.size() - out_left);
    return coded;
}

}  // namespace orvix::sample
