// The interface to the letter: what another program takes pointers to, derives from or casts to.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/iso_to_utf8.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/psi_table.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace orvix::si_parser {
namespace {

using namespace orvix::test;

// --- Functions ---

using single_byte_function = unsigned int (*)(unsigned char, char*);
using run_function = void (*)(const char*, unsigned int, char*, unsigned int*);
[[maybe_unused]] constexpr single_byte_function of_a_byte = &iso_to_utf8;
[[maybe_unused]] constexpr run_function of_a_run = &iso_to_utf8;
static_assert(std::is_same_v<decltype(&escaped_iso_to_utf8), unsigned int (*)(char, char*)>);
static_assert(
    std::is_same_v<decltype(&iso_to_utf8_string), std::string (*)(unsigned char*, unsigned int)>);

using parse_function = void (psi_table::*)(unsigned char*, unsigned int);
using lookup_function = descriptor_ptr (psi_table::*)(unsigned int) const;
using lookup_in_list_function = descriptor_ptr (psi_table::*)(unsigned int, descriptor_list) const;
using time_function = time_t (*)(unsigned char*, unsigned int);
static_assert(std::is_same_v<decltype(&psi_table::parse), parse_function>);
static_assert(std::is_same_v<decltype(&psi_table::clear), void (psi_table::*)()>);
static_assert(std::is_same_v<decltype(&psi_table::parse_header), parse_function>);
static_assert(std::is_same_v<decltype(&psi_table::_hex_dump), parse_function>);
static_assert(std::is_same_v<decltype(&psi_table::_parse_descriptors), parse_function>);
static_assert(std::is_same_v<decltype(&psi_table::_parse_descriptors_into),
                             void (psi_table::*)(unsigned char*, unsigned int, descriptor_list&)>);
static_assert(
    std::is_same_v<decltype(&psi_table::get_descriptors), descriptor_list& (psi_table::*)()>);
[[maybe_unused]] constexpr lookup_function lookup = &psi_table::get_descriptor;
[[maybe_unused]] constexpr lookup_in_list_function in_list = &psi_table::get_descriptor_from;
static_assert(std::is_same_v<decltype(&psi_table::iso_time_to_time_t), time_function>);
static_assert(std::is_same_v<decltype(&psi_table::full_mjd_to_time_t), time_function>);

using classifier = bool (pmt::stream_info_type::*)();
static_assert(std::is_same_v<decltype(&pmt::stream_info_type::is_video), classifier>);
static_assert(std::is_same_v<decltype(&pmt::stream_info_type::is_audio), classifier>);
static_assert(std::is_same_v<decltype(&pmt::stream_info_type::is_caption), classifier>);

/// A table with a `parse` and a `clear` of its own.
template <typename Table>
constexpr bool overrides_both =
    std::is_same_v<decltype(&Table::parse), void (Table::*)(unsigned char*, unsigned int)>&&
        std::is_same_v<decltype(&Table::clear), void (Table::*)()>;
static_assert(overrides_both<pat> && overrides_both<pmt> && overrides_both<sdt>);
static_assert(overrides_both<nit> && overrides_both<eit> && overrides_both<ait>);

/// A table with a `parse` of its own and the base's `clear`.
template <typename Table>
constexpr bool overrides_parse_only =
    std::is_same_v<decltype(&Table::parse), void (Table::*)(unsigned char*, unsigned int)>&&
        std::is_same_v<decltype(&Table::clear), void (psi_table::*)()>;
static_assert(overrides_parse_only<tdt> && overrides_parse_only<tot>);

// --- Fields ---

template <typename Field, typename... Member>
constexpr bool all_are = (std::is_same_v<Member, Field> && ...);

static_assert(std::is_same_v<descriptor_ptr, boost::shared_ptr<descriptor>>);
static_assert(std::is_same_v<descriptor_list, std::vector<descriptor_ptr>>);

static_assert(
    all_are<uint32_t, decltype(psi_table::reserved), decltype(psi_table::table_id),
            decltype(psi_table::section_size), decltype(psi_table::version_number),
            decltype(psi_table::table_id_extension), decltype(psi_table::current_next_indicator),
            decltype(psi_table::section_number), decltype(psi_table::last_section_number)>);
static_assert(all_are<bool, decltype(psi_table::cleared)>);
static_assert(
    all_are<descriptor_list, decltype(psi_table::descriptors),
            decltype(pmt::stream_info_type::descriptors),
            decltype(sdt::sdt_service_info_t::descriptors),
            decltype(nit::nit_transport_stream_t::descriptors), decltype(eit::event::descriptors),
            decltype(ait::ait_application_info_t::descriptors)>);

static_assert(std::is_same_v<decltype(pat::program_map), std::map<uint32_t, uint32_t>>);

static_assert(all_are<uint32_t, decltype(pmt::program_number), decltype(pmt::PCR_PID),
                      decltype(pmt::stream_info_type::elementary_PID),
                      decltype(pmt::stream_info_type::component_tag)>);
static_assert(all_are<int32_t, decltype(pmt::stream_info_type::stream_type)>);
static_assert(all_are<std::string, decltype(pmt::stream_info_type::ISO_639_language_code)>);
static_assert(std::is_same_v<decltype(pmt::streams), std::vector<pmt::stream_info_type>>);

static_assert(
    all_are<uint32_t, decltype(sdt::transport_stream_id), decltype(sdt::original_network_id),
            decltype(sdt::sdt_service_info_t::service_id),
            decltype(sdt::sdt_service_info_t::EIT_schedule_flag),
            decltype(sdt::sdt_service_info_t::EIT_present_following_flag),
            decltype(sdt::sdt_service_info_t::running_status),
            decltype(sdt::sdt_service_info_t::free_CA_mode)>);
static_assert(std::is_same_v<decltype(sdt::services), std::vector<sdt::sdt_service_info_t>>);

static_assert(all_are<uint32_t, decltype(nit::network_id),
                      decltype(nit::nit_transport_stream_t::transport_stream_id),
                      decltype(nit::nit_transport_stream_t::original_network_id)>);
static_assert(
    std::is_same_v<decltype(nit::transport_streams), std::vector<nit::nit_transport_stream_t>>);

static_assert(all_are<uint32_t, decltype(eit::service_id), decltype(eit::transport_stream_id),
                      decltype(eit::original_network_id),
                      decltype(eit::segment_last_section_number), decltype(eit::last_table_id),
                      decltype(eit::event::event_id), decltype(eit::event::running_status)>);
static_assert(all_are<uint8_t, decltype(eit::event::free_CA_mode)>);
static_assert(all_are<time_t, decltype(eit::event::start_time), decltype(eit::event::duration),
                      decltype(tdt::utc_time), decltype(tot::utc_time),
                      decltype(localtime_offset_descriptor::time_of_change)>);
static_assert(std::is_same_v<decltype(eit::events), std::vector<eit::event>>);

static_assert(all_are<uint32_t, decltype(ait::application_type),
                      decltype(ait::ait_application_info_t::organisation_id),
                      decltype(ait::ait_application_info_t::application_id),
                      decltype(ait::ait_application_info_t::application_control_code)>);
static_assert(
    std::is_same_v<decltype(ait::applications), std::vector<ait::ait_application_info_t>>);

static_assert(all_are<unsigned char*, decltype(descriptor::data)>);
static_assert(all_are<uint8_t, decltype(descriptor::tag), decltype(descriptor::length),
                      decltype(service_descriptor::service_type),
                      decltype(stream_identifier_descriptor::component_tag),
                      decltype(component_descriptor::stream_content),
                      decltype(component_descriptor::component_type),
                      decltype(component_descriptor::component_tag),
                      decltype(ts_information_descriptor::remote_control_key_id),
                      decltype(application_descriptor::service_bound_flag),
                      decltype(application_descriptor::visibility),
                      decltype(application_descriptor::reserved_bits),
                      decltype(application_descriptor::application_priority),
                      decltype(application_descriptor::profiles_t::version_major),
                      decltype(application_descriptor::profiles_t::version_minor),
                      decltype(application_descriptor::profiles_t::version_micro),
                      decltype(transport_protocol_descriptor::transport_protocol_label),
                      decltype(transport_protocol_descriptor_oc::component_tag),
                      decltype(transport_protocol_descriptor_ip::alignment_indicator),
                      decltype(transport_protocol_descriptor_ip::url_map::URL_length)>);
static_assert(all_are<uint16_t, decltype(localtime_offset_descriptor::local_time_offset),
                      decltype(localtime_offset_descriptor::next_time_offset),
                      decltype(application_descriptor::profiles_t::application_profile),
                      decltype(transport_protocol_descriptor::protocol_id),
                      decltype(transport_protocol_descriptor::original_network_id),
                      decltype(transport_protocol_descriptor::transport_stream_id),
                      decltype(transport_protocol_descriptor::service_id)>);
static_assert(all_are<uint32_t, decltype(application_name_descriptor::name_map_t::language)>);
static_assert(all_are<int32_t, decltype(localtime_offset_descriptor::country_region_id)>);
static_assert(all_are<bool, decltype(transport_protocol_descriptor::remote_connection)>);
static_assert(
    all_are<std::string, decltype(service_descriptor::service_provider_name),
            decltype(service_descriptor::service_name),
            decltype(component_descriptor::ISO_639_language_code),
            decltype(component_descriptor::text), decltype(ts_information_descriptor::ts_name),
            decltype(short_event_descriptor::ISO_639_language_code),
            decltype(short_event_descriptor::event_name), decltype(short_event_descriptor::text),
            decltype(localtime_offset_descriptor::country_code),
            decltype(application_name_descriptor::name_map_t::name),
            decltype(transport_protocol_descriptor_ip::url_map::URL),
            decltype(ginga_location_descriptor::base_directory),
            decltype(ginga_location_descriptor::class_extension),
            decltype(ginga_location_descriptor::initial_class),
            decltype(icon_information_descriptor::icon_locator)>);
static_assert(std::is_same_v<decltype(content_descriptor::contents),
                             std::vector<std::pair<unsigned char, unsigned char>>>);
static_assert(
    std::is_same_v<decltype(parental_descriptor::ratings), std::map<std::string, uint8_t>>);
static_assert(std::is_same_v<decltype(application_descriptor::profiles),
                             std::vector<application_descriptor::profiles_t>>);
static_assert(std::is_same_v<decltype(application_name_descriptor::names),
                             std::vector<application_name_descriptor::name_map_t>>);
static_assert(std::is_same_v<decltype(transport_protocol_descriptor_ip::urls),
                             std::vector<transport_protocol_descriptor_ip::url_map>>);

// --- Virtual functions ---

/// The slot of a virtual function in its class's virtual table (Itanium C++ ABI: a pointer to it
/// holds the slot's offset, on x86 with a 1 added).
template <typename Member>
std::size_t slot_of(Member function) {
    std::uintptr_t offset = 0;
    static_assert(sizeof function == 2 * sizeof offset);
    std::memcpy(&offset, &function, sizeof offset);
    return (offset & ~std::uintptr_t{1}) / sizeof(void*);
}

/// A class with one more virtual function: its slot is the number of those before it.
template <typename Base>
struct with_one_more : Base {
    virtual void one_more() {}
};

template <typename Class>
std::size_t virtual_functions() {
    return slot_of(&with_one_more<Class>::one_more);
}

TEST(Interface, OfTablesHasFourVirtualFunctionsInOrder) {
    EXPECT_EQ(slot_of(&psi_table::parse), 2u);  // behind the two destructors
    EXPECT_EQ(slot_of(&psi_table::clear), 3u);
    EXPECT_EQ(virtual_functions<psi_table>(), 4u);
    EXPECT_EQ(virtual_functions<pat>(), 4u);
    EXPECT_EQ(virtual_functions<pmt>(), 4u);
    EXPECT_EQ(virtual_functions<sdt>(), 4u);
    EXPECT_EQ(virtual_functions<nit>(), 4u);
    EXPECT_EQ(virtual_functions<eit>(), 4u);
    EXPECT_EQ(virtual_functions<tdt>(), 4u);
    EXPECT_EQ(virtual_functions<tot>(), 4u);
    EXPECT_EQ(virtual_functions<ait>(), 4u);
}

TEST(Interface, OfDescriptorsHasAVirtualDestructorOnly) {
    EXPECT_EQ(virtual_functions<descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<service_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<stream_identifier_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<component_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<content_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<short_event_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<parental_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<localtime_offset_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<ts_information_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<application_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<application_name_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<icon_information_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<ginga_location_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<transport_protocol_descriptor>(), 2u);
    EXPECT_EQ(virtual_functions<transport_protocol_descriptor_oc>(), 2u);
    EXPECT_EQ(virtual_functions<transport_protocol_descriptor_ip>(), 2u);
}

// --- Exceptions ---

/// What a parse throws: its class, then its text.
template <typename Table>
std::pair<std::string, std::string> refusal_of(const bytes& section) {
    const log_capture log;
    Table table;
    try {
        parse_exactly(table, section);
    } catch (const std::exception& refusal) {
        return {typeid(refusal).name(), refusal.what()};
    }
    return {};
}

TEST(Interface, ThrowsNothingButTheStandardRuntimeErrorItself) {
    const auto runtime_error = [](const char* text) {
        return std::pair<std::string, std::string>(typeid(std::runtime_error).name(), text);
    };
    const bytes six = {0x00, 0xB0, 0x03, 0x00, 0x01, 0xC1};
    const bytes too_long = pat_section(1, {}) + bytes{0xFF};

    EXPECT_EQ(refusal_of<pat>(six), runtime_error("parse_header: short buffer"));
    EXPECT_EQ(refusal_of<pat>(too_long), runtime_error("parse_header: section length != size"));
    EXPECT_EQ(refusal_of<ait>(six), runtime_error("Aborting ait parse"));
    EXPECT_EQ(refusal_of<ait>(too_long), runtime_error("Aborting ait parse"));
    EXPECT_EQ(refusal_of<tdt>(bytes(8)), runtime_error("Aborting tdt parse"));
    EXPECT_EQ(refusal_of<tot>(bytes(9)), runtime_error("Aborting tot parse"));
}

}  // namespace
}  // namespace orvix::si_parser
