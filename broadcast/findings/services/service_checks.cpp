#include "service_checks.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programme.h>
#include <broadcast/table_ids.h>

#include <string>
#include <utility>

extern "C" {
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

// What receivers have room for in their lists and banners.
constexpr std::size_t longest_name = 20;

finding_subject of_service(std::uint16_t service_id) { return {{}, service_id, 0}; }

std::string both(std::uint16_t one, std::uint16_t other) {
    return "services " + wording::hex(one, 4) + " and " + wording::hex(other, 4) + " both";
}

}  // namespace

void service_checks::take(const sighting& seen) {
    const std::uint8_t table_id = seen.bytes[0];
    const bool lists_services = table_id == table_ids::pat || table_id == table_ids::sdt_actual;
    if (!seen.is_new || !(lists_services || table_id == table_ids::nit_actual)) return;
    if (lists_services && psi_get_current(seen.bytes)) note_version(seen);
    services_.take(seen);
}

/// Where PAT or SDT have changed, the other one follows.
void service_checks::note_version(const sighting& seen) {
    const std::uint8_t version = psi_get_version(seen.bytes);
    const auto [known, is_first] = versions_.emplace(seen.bytes[0], version);
    const bool has_changed = !is_first && std::exchange(known->second, version) != version;
    if (has_changed) pace_.changed(to_.now(), to_.limit_of(finding_kind::sdt_rare));
}

void service_checks::packets_passed() {
    if (pace_.is_due(to_.now())) review();
}

void service_checks::end() {
    if (pace_.is_settled(to_.now())) review();
}

void service_checks::review() {
    if (!services_.has_whole_pat() || !services_.has_kept_all()) return;
    const told_services told = services_.told();
    const std::vector<std::uint16_t> not_in_pat = services_.not_in_pat();

    to_.begin_review();
    if (services_.has_whole_sdt()) {
        check_listings(told.services, not_in_pat);
        owners of_numbers;
        owners of_names;
        for (const told_service& service : told.services) {
            if (!services_.is_in_sdt(service.service_id)) continue;
            check_number(service, of_numbers);
            check_name(service, of_names);
        }
    }
    if (told.original_network_id) {
        for (const told_service& s : told.services) check_id(s, *told.original_network_id);
    }
    const std::size_t looked_at =
        to_.end_review({finding_kind::number_twice, finding_kind::service_not_in_sdt,
                        finding_kind::service_not_in_pat, finding_kind::service_name_missing,
                        finding_kind::service_name_twice, finding_kind::short_name_long,
                        finding_kind::service_id_form});
    pace_.reviewed(to_.now(), told.services.size() + not_in_pat.size() + looked_at);
}

void service_checks::check_listings(const std::vector<told_service>& in_pat,
                                    const std::vector<std::uint16_t>& not_in_pat) {
    for (const told_service& service : in_pat) {
        const std::uint16_t service_id = service.service_id;
        if (services_.is_in_sdt(service_id)) continue;
        to_.stands({finding_kind::service_not_in_sdt, of_service(service_id), {}, {}, {}}, [&] {
            return wording::service(service_id) +
                   " is in the PAT but not in the SDT: receivers find no name for it";
        });
    }
    for (const std::uint16_t service_id : not_in_pat) {
        to_.stands({finding_kind::service_not_in_pat, of_service(service_id), {}, {}, {}}, [&] {
            return wording::service(service_id) +
                   " is in the SDT but not in the PAT: receivers cannot tune to it";
        });
    }
}

/// Whose it is besides; `owner` has it too from now on.
std::optional<std::uint16_t> service_checks::other_owner(owners& all, const std::string& what,
                                                         std::uint16_t owner) {
    const auto [known, is_first] = all.emplace(what, owner);
    return is_first ? std::nullopt : std::optional(known->second);
}

void service_checks::check_number(const told_service& service, owners& of_numbers) {
    constexpr std::uint8_t engineering = 0xA4;  // a service_type that viewers are not offered
    if (service.number.empty() || service.service_type == engineering) return;
    const auto other = other_owner(of_numbers, service.number, service.service_id);
    if (!other) return;
    to_.stands({finding_kind::number_twice, of_service(service.service_id), {}, {}, {}}, [&] {
        return both(*other, service.service_id) + " get the channel number " + service.number +
               ": viewers reach only one of them";
    });
}

void service_checks::check_name(const told_service& service, owners& of_names) {
    const std::uint16_t service_id = service.service_id;
    if (is_blank(service.name)) {
        return to_.stands(
            {finding_kind::service_name_missing, of_service(service_id), {}, {}, {}},
            [&] { return "the SDT has no name for " + wording::service(service_id); });
    }
    if (const auto other = other_owner(of_names, service.name, service_id)) {
        to_.stands({finding_kind::service_name_twice, of_service(service_id), {}, {}, {}}, [&] {
            return both(*other, service_id) + " have the name " + wording::quoted(service.name) +
                   ": viewers cannot tell them apart";
        });
    }
    const std::size_t length = wording::characters(service.name);
    if (length > longest_name) {
        to_.stands({finding_kind::short_name_long, of_service(service_id), {}, {}, {}}, [&] {
            return "the name of " + wording::service(service_id) + ", " +
                   wording::quoted(service.name) + ", has " +
                   wording::count_of(length, "character") + ": receivers show " +
                   std::to_string(longest_name);
        });
    }
}

void service_checks::check_id(const told_service& service, std::uint16_t original_network_id) {
    constexpr unsigned int bits_of_kind_and_number = 5;
    constexpr std::uint16_t bits_of_network = 0x07FF;
    const std::uint16_t service_id = service.service_id;
    const unsigned int network = original_network_id & bits_of_network;
    if (service_id >> bits_of_kind_and_number == network) return;
    to_.stands({finding_kind::service_id_form, of_service(service_id), {}, {}, {}}, [&] {
        const unsigned int first = network << bits_of_kind_and_number;
        return wording::service(service_id) + " does not have original_network_id " +
               wording::hex(original_network_id, 4) + " in its upper 11 bits: its service_id " +
               "should be from " + wording::hex(first, 4) + " to " + wording::hex(first | 0x1F, 4);
    });
}

}  // namespace orvix::broadcast
