#pragma once

#include <string_view>

namespace orvix::si_inspect {

/// Where text goes.
class sink {
public:
    sink() = default;
    virtual ~sink() = default;
    sink(const sink&) = delete;
    sink& operator=(const sink&) = delete;

    virtual void write(std::string_view text) = 0;
};

}  // namespace orvix::si_inspect
