#include "writers/portuguese.h"

#include <array>

namespace orvix::si_inspect::portuguese {

namespace {

constexpr std::array<std::string_view, 16> groups = {
    "jornalismo",   "esporte",    "educativo",   "novela",   "minissérie", "série", "variedades",
    "reality show", "informação", "humorístico", "infantil", "erótico",    "filme", "",
    "debate",       "",
};

}  // namespace

std::string_view genre_group(std::uint8_t content_nibble) { return groups[content_nibble >> 4]; }

std::string_view genre_detail(std::uint8_t content_nibble) {
    switch (content_nibble) {
        case 0x00:
            return "telejornal";
        case 0x01:
            return "reportagem";
        case 0x02:
            return "documentário";
        case 0x03:
            return "biografia";
        case 0x60:
            return "auditório";
        case 0x61:
            return "show";
        case 0x62:
            return "musical";
        case 0x63:
            return "making of";
        case 0x64:
            return "feminino";
        case 0x65:
            return "game show";
        case 0x80:
            return "culinária";
        case 0x81:
            return "moda";
        case 0x82:
            return "rural";
        case 0x83:
            return "saúde";
        case 0x84:
            return "turismo";
        case 0xD0:
            return "sorteio";
        case 0xD1:
            return "televendas";
        case 0xD2:
            return "premiação";
        case 0xE0:
            return "discussão";
        case 0xE1:
            return "entrevista";
        case 0xF0:
            return "desenho adulto";
        case 0xF1:
            return "interativo";
        case 0xF2:
            return "político";
        case 0xF3:
            return "religioso";
        case 0xFE:
            return "engenharia";
        default:
            return "";
    }
}

}  // namespace orvix::si_inspect::portuguese
