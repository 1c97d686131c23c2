#pragma once

#include <gtest/gtest.h>
#include <log_capture.h>

namespace orvix::test {

/// A test in which nobody looks at what the receiver's library logs.
class without_log : public testing::Test {
    log_capture silence_{OrvixLog::NONE};
};

}  // namespace orvix::test
