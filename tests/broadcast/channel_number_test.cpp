#include <broadcast/channel_number.h>
#include <gtest/gtest.h>

namespace orvix::broadcast {

namespace {

TEST(ChannelNumber, IsTheRemoteControlKeyAndTheServicesNumber) {
    EXPECT_EQ(channel_number(3, 0x5C20, 0x0110), "3.1");
    EXPECT_EQ(channel_number(13, 0x5C27, 0x0110), "13.8");
}

TEST(ChannelNumber, OfAOneSegServiceFollowsFromThePidOfItsPmt) {
    EXPECT_EQ(channel_number(3, 0x5C38, 0x1FC8), "3.31");
    EXPECT_EQ(channel_number(3, 0x5C20, 0x1FCF), "3.38");
}

TEST(ChannelNumber, OfAServiceWithTheIdOfAOneSegOneAndAnotherPidIsAnOrdinaryOne) {
    EXPECT_EQ(channel_number(3, 0x5C38, 0x1FC7), "3.1");
    EXPECT_EQ(channel_number(3, 0x5C38, 0x1FD0), "3.1");
}

TEST(ChannelNumber, FollowsFromTheIdWhereThePidIsNotKnown) {
    EXPECT_EQ(channel_number(3, 0x5C21, {}), "3.2");
    EXPECT_EQ(channel_number(3, 0x5C3A, {}), "3.33");
}

}  // namespace

}  // namespace orvix::broadcast
