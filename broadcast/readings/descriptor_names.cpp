#include "descriptor_names.h"

#include <algorithm>
#include <iterator>

namespace orvix::broadcast::names {

namespace {

struct named_tag {
    std::uint8_t tag;
    std::string_view name;
};

/// By tag.
constexpr named_tag descriptors[] = {
    {0x02, "video stream"},
    {0x03, "audio stream"},
    {0x04, "hierarchy"},
    {0x05, "registration"},
    {0x06, "data stream alignment"},
    {0x07, "target background grid"},
    {0x09, "conditional access"},
    {0x0A, "ISO 639 language"},
    {0x0B, "system clock"},
    {0x0E, "maximum bit rate"},
    {0x13, "carousel identifier"},
    {0x14, "association tag"},
    {0x15, "deferred association tags"},
    {0x28, "AVC video"},
    {0x2A, "AVC timing and HRD"},
    {0x40, "network name"},
    {0x41, "service list"},
    {0x42, "stuffing"},
    {0x47, "bouquet name"},
    {0x48, "service"},
    {0x49, "country availability"},
    {0x4A, "linkage"},
    {0x4B, "NVOD reference"},
    {0x4C, "time shifted service"},
    {0x4D, "short event"},
    {0x4E, "extended event"},
    {0x4F, "time shifted event"},
    {0x50, "component"},
    {0x51, "mosaic"},
    {0x52, "stream identifier"},
    {0x53, "CA identifier"},
    {0x54, "content"},
    {0x55, "parental rating"},
    {0x58, "local time offset"},
    {0x63, "partial transport stream"},
    {0x66, "data broadcast id"},
    {0x7C, "AAC"},
    {0xC0, "hierarchical transmission"},
    {0xC1, "digital copy control"},
    {0xC2, "network identification"},
    {0xC3, "partial transport stream time"},
    {0xC4, "audio component"},
    {0xC5, "hyperlink"},
    {0xC6, "target area"},
    {0xC7, "data contents"},
    {0xC8, "video decode control"},
    {0xC9, "download content"},
    {0xCA, "CA EMM TS"},
    {0xCB, "CA contract information"},
    {0xCC, "CA service"},
    {0xCD, "TS information"},
    {0xCE, "extended broadcaster"},
    {0xCF, "logo transmission"},
    {0xD0, "basic local event"},
    {0xD1, "reference"},
    {0xD2, "node relation"},
    {0xD3, "short node information"},
    {0xD4, "STC reference"},
    {0xD5, "series"},
    {0xD6, "event group"},
    {0xD7, "SI parameter"},
    {0xD8, "broadcaster name"},
    {0xD9, "component group"},
    {0xDA, "SI prime TS"},
    {0xDB, "board information"},
    {0xDC, "LDT linkage"},
    {0xDD, "connected transmission"},
    {0xDE, "content availability"},
    {0xE0, "service group"},
    {0xF7, "carousel compatible composite"},
    {0xF8, "conditional playback"},
    {0xFA, "terrestrial delivery system"},
    {0xFB, "partial reception"},
    {0xFC, "emergency information"},
    {0xFD, "data component"},
    {0xFE, "system management"},
};

/// By tag.
constexpr named_tag application_descriptors[] = {
    {0x00, "application"},           {0x01, "application name"},
    {0x02, "transport protocol"},    {0x03, "Ginga-J application"},
    {0x04, "Ginga-J location"},      {0x05, "external authorisation"},
    {0x06, "Ginga-NCL application"}, {0x07, "Ginga-NCL location"},
    {0x0B, "application icons"},     {0x0C, "prefetch"},
    {0x0D, "DII location"},
};

template <std::size_t size>
std::string_view lookup(const named_tag (&table)[size], std::uint8_t tag) {
    const auto* const found =
        std::lower_bound(std::begin(table), std::end(table), tag,
                         [](const named_tag& entry, std::uint8_t t) { return entry.tag < t; });
    return found != std::end(table) && found->tag == tag ? found->name : "reserved";
}

}  // namespace

std::string_view descriptor(std::uint8_t tag) { return lookup(descriptors, tag); }
std::string_view application_descriptor(std::uint8_t tag) {
    return lookup(application_descriptors, tag);
}

}  // namespace orvix::broadcast::names
