// SPDX-License-Identifier: MIT
// The host waits for the answer to each of its calls, and ends where none can come any more.
#include "host_process.h"

#include <poll.h>
#include <unistd.h>

namespace {

class SupervisorLink : public HostProcess {};

TEST_F(SupervisorLink, WaitsForItsAnswerBeforeItGoesOn) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    pollfd more{channel_->fd(), POLLIN, 0};
    EXPECT_EQ(poll(&more, 1, 200), 0) << "the host went on without an answer";
    send(R"({"ack":0})");
    EXPECT_EQ(next(), nodeNote());
    EXPECT_NE(next().find("startTimer"), std::string::npos);
}

TEST_F(SupervisorLink, GarbageInTheChannelEndsTheHost) {
    start();
    expectStartUp();
    ASSERT_EQ(write(channel_->fd(), "\x02\0\0\0[]", 6), 6);
    expectEnd("a message of 2 bytes is not one JSON object without NUL characters");
}

TEST_F(SupervisorLink, ChannelClosedBeforeAnAnswerEndsTheHost) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    closeChannel();
    expectEnd("the supervisor closed the channel before it answered the call signal");
}

TEST_F(SupervisorLink, EventInsteadOfAnAnswerEndsTheHost) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    send(R"({"event":"timer","name":"rebootTimer"})");
    expectEnd("the supervisor did not answer the call signal with {\"ack\": number}");
}

TEST_F(SupervisorLink, SupervisorThatEndedBeforeTheHostBeganEndsTheHost) {
    closeChannel();
    start();
    expectEnd("the supervisor ended before the host began; start it again");
}

} // namespace
