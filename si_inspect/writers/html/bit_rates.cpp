#include <algorithm>

#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

void write_owner(html& to, const owner_share& share, const told_services& all) {
    switch (share.owner) {
        case pid_owner::one_service:
            return write_service(to, all, *share.service_id);
        case pid_owner::several_services:
            to << "What several services share"_html;
            return;
        case pid_owner::all:
            to << "Tables of the multiplex"_html;
            return;
        case pid_owner::nobody:
            to << "Null packets"_html;
            return;
        case pid_owner::unknown:
            to << "PIDs that nothing refers to"_html;
            return;
    }
}

/// How much of all that is: packets, bit rate, share and a bar.
class share_cells {
public:
    share_cells(html& to, const page& all)
        : to_(to), packets_(static_cast<double>(all.shares.packets)), seconds_(all.seconds) {}

    void write(std::uint64_t packets) {
        const double share = 100 * static_cast<double>(packets) / packets_;
        to_ << "<td class='figure minor'>"_html << packets << "</td><td class='figure'>"_html
            << (seconds_ ? bit_rate_text(bits_per_second(packets, *seconds_)) : "unknown")
            << "</td><td class='figure'>"_html << fixed(share, 2)
            << " %</td><td class='bar'><svg viewBox='0 0 100 8' preserveAspectRatio='none' "
               "aria-hidden='true'><rect width='100' height='8' class='rest'/>"
               "<rect width='"_html
            << fixed(share, 2) << "' height='8'/></svg></td>"_html;
    }

private:
    html& to_;
    double packets_;
    std::optional<double> seconds_;
};

constexpr markup share_columns = R"(<th scope='col' class='figure minor'>Packets</th>
<th scope='col' class='figure'>Bit rate</th>
<th scope='col' class='figure'>Share</th>
<th scope='col'><span class='unseen'>Share as a bar</span></th></tr></thead>
<tbody>
)"_html;

void write_owners(html& to, const page& all) {
    to << R"(<h3 id='rates-by-service'>By service</h3>
<div class='scroll' role='group' tabindex='0' aria-labelledby='rates-by-service'>
<table>
<thead><tr><th scope='col'>Service</th>
)"_html << share_columns;
    share_cells cells(to, all);
    for (const owner_share& share : all.shares.owners) {
        to << "<tr><th scope='row'>"_html;
        write_owner(to, share, all.services);
        to << "</th>"_html;
        cells.write(share.packets);
        to << "</tr>\n"_html;
    }
    to << "</tbody>\n</table>\n</div>\n"_html;
}

void write_pids(html& to, const page& all) {
    to << R"(<h3 id='rates-by-pid'>By PID</h3>
<div class='scroll' role='group' tabindex='0' aria-labelledby='rates-by-pid'>
<table>
<thead><tr><th scope='col'>PID</th>
<th scope='col'>What it is</th>
<th scope='col' class='minor'>Service</th>
)"_html << share_columns;
    share_cells cells(to, all);
    for (const pid_share& share : all.shares.pids) {
        to << "<tr><th scope='row'>"_html << id_text(share.pid) << "</th><td>"_html;
        if (share.what.empty()) {
            to << "<span class='quiet'>nothing refers to it</span>"_html;
        } else {
            to << share.what;
        }
        to << "</td><td class='minor'>"_html;
        for (const std::uint16_t service_id : share.service_ids) {
            if (service_id != share.service_ids.front()) to << ", ";
            write_service(to, all.services, service_id);
        }
        to << "</td>"_html;
        cells.write(share.packets);
        to << "</tr>\n"_html;
    }
    to << "</tbody>\n</table>\n</div>\n"_html;
}

}  // namespace

void write_bit_rates(html& to, const page& all) {
    to << "<section id='bit-rate' aria-labelledby='bit-rate-title'>\n"
          "<h2 id='bit-rate-title'>Bit rate</h2>\n"_html;
    write_owners(to, all);
    write_pids(to, all);
    to << "</section>\n"_html;
}

}  // namespace orvix::si_inspect
