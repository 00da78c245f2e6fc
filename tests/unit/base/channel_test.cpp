// SPDX-License-Identifier: MIT
// Messages arrive whole, in order, or with one clear line.
#include "base/channel.h"

#include "tests/support/results.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using base::Channel;
using base::Json;

class Framing : public testing::Test {
  protected:
    Framing() : pair_(makePair()), channel_(pair_.first), other_(pair_.second) {}
    ~Framing() override { closeOther(); }

    static std::pair<int, int> makePair() {
        int sockets[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
        return {sockets[0], sockets[1]};
    }
    void closeOther() {
        if (other_ >= 0) {
            close(other_);
            other_ = -1;
        }
    }
    void put(const std::string &bytes) const {
        ASSERT_EQ(write(other_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    static std::string framed(const std::string &text) {
        std::string prefix;
        for (unsigned shift : {0U, 8U, 16U, 24U}) {
            prefix.push_back(static_cast<char>((text.size() >> shift) & 0xFFU));
        }
        return prefix + text;
    }
    enum class Came { message, nothing, end, error };
    Came take(base::Result<Json> result, const Channel &channel) {
        if (!result) {
            error_ = result.error().text;
            return Came::error;
        }
        got_ = std::move(*result);
        return got_ ? Came::message : channel.ended() ? Came::end : Came::nothing;
    }
    Came receive(int timeoutMs = 0) { return take(channel_.receive(timeoutMs), channel_); }
    Came next() { return take(channel_.next(), channel_); }
    std::string text() const { return base::JsonText(cJSON_PrintUnformatted(got_.get())).get(); }

    std::pair<int, int> pair_;
    Channel channel_;
    int other_;
    Json got_;
    std::string error_;
};

TEST_F(Framing, SendsALittleEndianLengthAndTheObject) {
    const Json object(cJSON_Parse("{\"ack\":0}"));
    ASSERT_TRUE(succeeds(channel_.send(object.get()), error_)) << error_;
    char bytes[64];
    EXPECT_EQ(read(other_, bytes, sizeof bytes), 13);
    EXPECT_EQ(std::string(bytes, 13), std::string("\x09\0\0\0{\"ack\":0}", 13));
}

TEST_F(Framing, TakesAMessageThatArrivesByteByByte) {
    for (const char byte : framed("{\"a\":1}")) {
        EXPECT_EQ(next(), Came::nothing);
        put(std::string(1, byte));
        ASSERT_TRUE(channel_.feed());
    }
    ASSERT_EQ(next(), Came::message) << error_;
    EXPECT_EQ(text(), "{\"a\":1}");
    EXPECT_EQ(next(), Came::nothing);
}

TEST_F(Framing, TakesSeveralMessagesOfOneReadInOrderAndThenTheEnd) {
    put(framed("{\"a\":1}") + framed("{\"b\":2}"));
    closeOther();
    ASSERT_EQ(receive(), Came::message) << error_;
    EXPECT_EQ(text(), "{\"a\":1}");
    ASSERT_EQ(receive(), Came::message) << error_;
    EXPECT_EQ(text(), "{\"b\":2}");
    EXPECT_EQ(receive(), Came::end);
}

TEST_F(Framing, GivesUpWaitingAfterTheTimeAndKeepsWhatArrived) {
    put(framed("{\"a\":1}").substr(0, 6));
    EXPECT_EQ(receive(20), Came::nothing);
    put(framed("{\"a\":1}").substr(6));
    EXPECT_EQ(receive(), Came::message) << error_;
}

TEST_F(Framing, NamesAnEndInsideAMessage) {
    put(framed("{\"a\":1}").substr(0, 9));
    closeOther();
    EXPECT_EQ(receive(), Came::error);
    EXPECT_EQ(error_, "the channel was closed inside a message, 9 bytes of it arrived");
}

TEST_F(Framing, RefusesALengthOverTheLimitBeforeItsBytesArrive) {
    put(std::string("\x01\x00\x10\x00", 4));
    EXPECT_EQ(receive(), Came::error);
    EXPECT_EQ(error_, "a message of 1048577 bytes is over the limit of 1048576");
}

TEST_F(Framing, RefusesWhatIsNotOneObject) {
    for (const std::string &garbage :
         {std::string(), std::string("garbage"), std::string("[1]"), std::string("{\"a\":1} more"),
          std::string("{\"a\":1"), std::string("{\"a\":\"x\0y\"}", 11)}) {
        const auto [mine, theirs] = makePair();
        Channel channel(mine);
        const std::string bytes = framed(garbage);
        ASSERT_EQ(write(theirs, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        EXPECT_EQ(take(channel.receive(0), channel), Came::error) << garbage;
        EXPECT_EQ(error_, "a message of " + std::to_string(garbage.size()) +
                              " bytes is not one JSON object without NUL characters");
        close(theirs);
    }
}

TEST_F(Framing, RefusesAnEscapedNulButNotItsSpelling) {
    put(framed(R"({"name":"a\\u0000\u0001\""})"));
    ASSERT_EQ(receive(), Came::message) << error_;
    EXPECT_STREQ(cJSON_GetObjectItem(got_.get(), "name")->valuestring, "a\\u0000\x01\"");
    put(framed(R"({"name":"rebootTimer\\\u0000x"})"));
    EXPECT_EQ(receive(), Came::error);
    EXPECT_EQ(error_, "a message of 31 bytes is not one JSON object without NUL characters");
}

TEST_F(Framing, CarriesAMessageOfTheLargestSizeAndRefusesALargerOne) {
    const auto objectOf = [](std::size_t textSize) {
        Json object(cJSON_CreateObject());
        cJSON_AddStringToObject(object.get(), "t", std::string(textSize - 8, 'x').c_str());
        return object;
    };
    EXPECT_FALSE(channel_.send(objectOf(Channel::kMaxMessage + 1).get()));
    Channel reader(other_);
    other_ = -1;
    ASSERT_TRUE(succeeds(channel_.post(objectOf(Channel::kMaxMessage).get()), error_)) << error_;
    EXPECT_TRUE(channel_.wantsToWrite()) << "a socket holds less than the largest message";
    Came status = Came::nothing;
    while (status == Came::nothing) {
        ASSERT_TRUE(channel_.flush());
        ASSERT_TRUE(reader.feed());
        status = take(reader.next(), reader);
    }
    EXPECT_EQ(status, Came::message) << error_;
    EXPECT_FALSE(channel_.wantsToWrite());
    EXPECT_EQ(text().size(), Channel::kMaxMessage);
}

TEST_F(Framing, NamesAWriteToAClosedChannelAndSurvivesIt) {
    closeOther();
    const Json object(cJSON_Parse("{}"));
    EXPECT_FALSE(succeeds(channel_.send(object.get()), error_));
    EXPECT_EQ(error_, "writing to the channel failed: Broken pipe");
}

} // namespace
