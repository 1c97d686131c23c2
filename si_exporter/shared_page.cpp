#include "shared_page.h"

#include <utility>

namespace orvix::si_exporter {

shared_page::text shared_page::get() {
    const std::uint64_t begun_before = begun_;
    const std::lock_guard<std::mutex> hold(mutex_);
    text page = last_.lock();
    if (page != nullptr && begun_ > begun_before) return page;
    // The old one goes before there is a new one, unless somebody still sends it.
    page = nullptr;
    last_.reset();
    ++begun_;
    page = std::make_shared<const std::string>(make_());
    last_ = page;
    return page;
}

}  // namespace orvix::si_exporter
