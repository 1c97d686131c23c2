#pragma once

#include <si_parser/export.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace orvix::si_parser {

/// Any descriptor (ISO/IEC 13818-1 2.6.1). Look at `tag`, then down-cast the handle:
///
///     if (auto service = boost::dynamic_pointer_cast<service_descriptor>(handle)) ...
///
/// Inner lengths are trusted: a field that overruns its descriptor is read from the bytes that
/// follow. Texts are UTF-8 (`iso_to_utf8_string`) unless their field says raw bytes. An object does
/// not change once a table holds it, so several threads may read it.
class SI_PARSER_EXPORT descriptor {
public:
    virtual ~descriptor();

    uint8_t tag = 0;  ///< 8 bits, as sent
    /// The descriptor's first byte (its tag) in the caller's section buffer. Not owned: valid only
    /// as long as that buffer. The library does not read through it again.
    unsigned char* data = nullptr;
    uint8_t length = 0;  ///< body bytes, behind tag and length
};

/// Reference counts are atomic: handles outlive their table and may be released on any thread.
using descriptor_ptr = boost::shared_ptr<descriptor>;

/// The known descriptors of one loop, in section order; unknown tags leave no entry.
using descriptor_list = std::vector<descriptor_ptr>;

// --- Services and streams ---

/// Tag 0x48 (EN 300 468 6.2.33).
class SI_PARSER_EXPORT service_descriptor : public descriptor {
public:
    ~service_descriptor() override;

    uint8_t service_type = 0;           ///< 8 bits; 0x01 is digital television
    std::string service_provider_name;  ///< UTF-8; empty where its length is 0
    std::string service_name;           ///< UTF-8; empty where its length is 0
};

/// Tag 0x50 (EN 300 468 6.2.8).
class SI_PARSER_EXPORT component_descriptor : public descriptor {
public:
    ~component_descriptor() override;

    uint8_t stream_content = 0;  ///< the whole byte: its upper four, reserved bits are kept
    uint8_t component_type = 0;  ///< 8 bits, whose meaning hangs on `stream_content`
    uint8_t component_tag = 0;   ///< names the stream within its PMT
    /// The three bytes as UTF-8 text, not checked to be a code.
    std::string ISO_639_language_code;
    std::string text;  ///< UTF-8, up to the descriptor's end
};

/// Tag 0x52 (EN 300 468 6.2.39).
class SI_PARSER_EXPORT stream_identifier_descriptor : public descriptor {
public:
    ~stream_identifier_descriptor() override;

    uint8_t component_tag = 0;  ///< 8 bits; what other tables call the stream by
};

/// Tag 0xCD (ABNT NBR 15603). The transmission types are not kept.
class SI_PARSER_EXPORT ts_information_descriptor : public descriptor {
public:
    ~ts_information_descriptor() override;

    uint8_t remote_control_key_id = 0;  ///< the major channel number that a viewer enters
    std::string ts_name;                ///< UTF-8; at most 63 bytes on air
};

// --- Events and times ---

/// Tag 0x4D (EN 300 468 6.2.37).
class SI_PARSER_EXPORT short_event_descriptor : public descriptor {
public:
    ~short_event_descriptor() override;

    /// The three bytes as UTF-8 text, not checked to be a code.
    std::string ISO_639_language_code;
    std::string event_name;  ///< UTF-8; empty where its length is 0
    std::string text;        ///< UTF-8; empty where its length is 0
};

/// Tag 0x54 (EN 300 468 6.2.9).
class SI_PARSER_EXPORT content_descriptor : public descriptor {
public:
    ~content_descriptor() override;

    /// Per entry the content_nibble byte (level 1 in the upper four bits) and the user byte. An odd
    /// `length` takes the last user byte from behind the descriptor.
    std::vector<std::pair<unsigned char, unsigned char>> contents;
};

/// Tag 0x55 (EN 300 468 6.2.28).
class SI_PARSER_EXPORT parental_descriptor : public descriptor {
public:
    ~parental_descriptor() override;

    /// The whole rating byte by country_code (raw bytes). The last entry of a country wins.
    std::map<std::string, uint8_t> ratings;
};

/// Tag 0x58 (EN 300 468 6.2.20): the last entry of the descriptor, its polarity dropped. A
/// descriptor without an entry leaves every field as below.
class SI_PARSER_EXPORT localtime_offset_descriptor : public descriptor {
public:
    ~localtime_offset_descriptor() override;

    std::string country_code;        ///< raw bytes
    int32_t country_region_id = 0;   ///< 6 bits
    uint16_t local_time_offset = 0;  ///< four BCD digits, hhmm
    uint16_t next_time_offset = 0;   ///< four BCD digits, hhmm
    time_t time_of_change = 0;       ///< as `psi_table::full_mjd_to_time_t` gives it
};

// --- Application signalling (ETSI TS 102 809, ABNT NBR 15606-3): texts are raw bytes ---

/// Tag 0x00 (TS 102 809 5.3.5.3). The transport_protocol_labels are not kept.
class SI_PARSER_EXPORT application_descriptor : public descriptor {
public:
    ~application_descriptor() override;

    /// A profile of receivers that can run the application, and from which version on.
    struct profiles_t {
        uint16_t application_profile = 0;  ///< 16 bits
        uint8_t version_major = 0;         ///< 8 bits, compared first
        uint8_t version_minor = 0;         ///< 8 bits, compared second
        uint8_t version_micro = 0;         ///< 8 bits, compared last
    };

    /// Descriptor order. A length that is no multiple of five gives one more, which runs past it.
    std::vector<profiles_t> profiles;
    uint8_t service_bound_flag = 0;    ///< 0 or 1
    uint8_t visibility = 0;            ///< 2 bits
    uint8_t reserved_bits = 0;         ///< the five bits below visibility
    uint8_t application_priority = 0;  ///< 8 bits; higher goes first within the service
};

/// Tag 0x01 (TS 102 809 5.3.5.6.1).
class SI_PARSER_EXPORT application_name_descriptor : public descriptor {
public:
    ~application_name_descriptor() override;

    /// The application's name in one language.
    struct name_map_t {
        uint32_t language = 0;  ///< the three bytes of the ISO 639 code, the first one highest
        std::string name;       ///< raw bytes; empty where its length is 0
    };

    std::vector<name_map_t> names;  ///< descriptor order, repeats kept
};

/// Tag 0x02 (TS 102 809 5.3.6.1): what both kinds of transport share. Objects are always of one of
/// the two classes below; a protocol_id that neither stands for leaves no object.
class SI_PARSER_EXPORT transport_protocol_descriptor : public descriptor {
public:
    ~transport_protocol_descriptor() override;

    uint16_t protocol_id = 0;              ///< 0x0001, 0x0002 or 0x0004
    uint8_t transport_protocol_label = 0;  ///< tells the transports of an application apart
    bool remote_connection = false;        ///< another service carries it: the next three name that
    uint16_t original_network_id = 0;      ///< 16 bits; 0 unless `remote_connection`
    uint16_t transport_stream_id = 0;      ///< 16 bits; 0 unless `remote_connection`
    uint16_t service_id = 0;               ///< 16 bits; 0 unless `remote_connection`
};

/// protocol_id 0x0001 (object carousel) and 0x0004 (data carousel).
class SI_PARSER_EXPORT transport_protocol_descriptor_oc : public transport_protocol_descriptor {
public:
    ~transport_protocol_descriptor_oc() override;

    uint8_t component_tag = 0;  ///< of the stream in the service's PMT that carries the carousel
};

/// protocol_id 0x0002 (IP).
class SI_PARSER_EXPORT transport_protocol_descriptor_ip : public transport_protocol_descriptor {
public:
    ~transport_protocol_descriptor_ip() override;

    /// `URL` is right only in rare layouts, and its size is not `URL_length`.
    struct url_map {
        uint8_t URL_length = 0;  ///< the byte that the walk took for a length
        /// Raw bytes; empty where that length lies below where the walk stood.
        std::string URL;
    };

    uint8_t alignment_indicator = 0;  ///< 0 or 1
    std::vector<url_map> urls;        ///< one for each byte that the walk took for a length
};

/// Tags 0x04 (Ginga-J) and 0x07 (Ginga-NCL), which `tag` tells apart (ABNT NBR 15606-3).
class SI_PARSER_EXPORT ginga_location_descriptor : public descriptor {
public:
    ~ginga_location_descriptor() override;

    std::string base_directory;   ///< within the carousel's file system; empty for its root
    std::string class_extension;  ///< where more is searched for; empty for nowhere else
    std::string initial_class;    ///< whatever the first two leave of the descriptor
};

/// Tag 0x0B (TS 102 809 5.3.5.6.2). The icon flags are not kept.
class SI_PARSER_EXPORT icon_information_descriptor : public descriptor {
public:
    ~icon_information_descriptor() override;

    std::string icon_locator;  ///< raw bytes; what the icons' file names are put behind
};

}  // namespace orvix::si_parser
