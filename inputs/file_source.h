#pragma once

#include "source.h"

namespace orvix::inputs {

/// A file, a pipe, or what else can be opened by a path; "-" is the standard input.
class file_source : public source {
public:
    /// Throws source_error.
    explicit file_source(const std::string& path);
    ~file_source() override;

    std::size_t read(std::uint8_t* to, std::size_t room, clock::time_point until,
                     int wake) override;
    bool has_ended() const override { return has_ended_; }
    std::optional<std::uint64_t> size() const override { return size_; }

private:
    int descriptor_;
    std::optional<std::uint64_t> size_;
    bool has_ended_ = false;
};

}  // namespace orvix::inputs
