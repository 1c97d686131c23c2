#pragma once

#include <functional>
#include <string>
#include <utility>

#include "output.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// M3U: the services as a list of channels for players, known by the same ids as in the XMLTV.
class m3u_writer : public writer {
public:
    /// Is handed a sentence about what the list has to leave out.
    using notice_handler = std::function<void(const std::string& sentence)>;

    /// `address`: where a player finds a service, its "{service_id}" and "{number}" put in.
    m3u_writer(output& to, std::string address, notice_handler notice)
        : to_(to), address_(std::move(address)), notice_(std::move(notice)) {}

    void services(const std::string& file, const broadcast::told_services& all) override;
    void finish(const totals* /*counts*/) override;

private:
    output& to_;
    std::string address_;
    notice_handler notice_;
    std::string lines_ = "#EXTM3U\n";
};

/// What is wrong with an address; empty where nothing is.
std::string why_no_address(const std::string& address);

}  // namespace orvix::si_inspect
