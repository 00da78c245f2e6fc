// SPDX-License-Identifier: MIT
// A connection that reads ahead: fewer calls, and nothing that waits unread is forgotten.
#include <array>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/ssl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kRecord = SSL3_RT_MAX_PLAIN_LENGTH;

struct FreeConnection {
    void operator()(SSL *connection) const { SSL_free(connection); }
};
using Connection = std::unique_ptr<SSL, FreeConnection>;

// Without certificates, which are tested elsewhere; as libcurl sets its connections up.
Connection onSocket(const SSL_METHOD *side, int socket) {
    SSL_CTX *const context = SSL_CTX_new(side);
    SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_dh_auto(context, 1);
    EXPECT_EQ(SSL_CTX_set_cipher_list(context, "ADH-AES128-GCM-SHA256:@SECLEVEL=0"), 1);
    Connection connection(SSL_new(context));
    SSL_CTX_free(context); // the connection has it now
    SSL_set_fd(connection.get(), socket);
    return connection;
}

class ReadingAhead : public testing::Test {
  protected:
    ReadingAhead() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets_.data()), 0);
        server_ = onSocket(TLS_server_method(), sockets_[0]);
        client_ = onSocket(TLS_client_method(), sockets_[1]);
        for (int i = 0; i < 10 && SSL_is_init_finished(client_.get()) == 0; ++i) {
            SSL_connect(client_.get());
            SSL_accept(server_.get());
        }
    }
    ~ReadingAhead() override {
        close(sockets_[0]);
        close(sockets_[1]);
    }

    void send(int size) {
        const std::string bytes(static_cast<std::size_t>(size), 'x');
        ASSERT_EQ(SSL_write(server_.get(), bytes.data(), size), size);
    }
    int receive() {
        std::array<char, kRecord> bytes;
        return SSL_read(client_.get(), bytes.data(), kRecord);
    }
    bool isMoreThere() const { return SSL_pending(client_.get()) != 0; }
    int leftInSocket() const {
        int bytes = -1;
        EXPECT_EQ(ioctl(sockets_[1], FIONREAD, &bytes), 0);
        return bytes;
    }

    std::array<int, 2> sockets_{-1, -1};
    Connection server_;
    Connection client_;
};

TEST_F(ReadingAhead, BeginsWithTheFirstQuestionForMore) {
    for (int i = 0; i < 6; ++i) {
        send(kRecord);
    }
    EXPECT_EQ(receive(), kRecord);
    EXPECT_GT(leftInSocket(), 5 * kRecord);
    EXPECT_FALSE(isMoreThere());
    EXPECT_EQ(receive(), kRecord);
    EXPECT_LT(leftInSocket(), 4 * kRecord);
    EXPECT_TRUE(isMoreThere());
}

TEST_F(ReadingAhead, TellsOfASmallRecordThatTheSocketDoesNotHoldAnyMore) {
    send(kRecord);
    EXPECT_EQ(receive(), kRecord);
    EXPECT_FALSE(isMoreThere());
    send(kRecord);
    send(10);
    EXPECT_EQ(receive(), kRecord);
    EXPECT_EQ(leftInSocket(), 0);
    EXPECT_TRUE(isMoreThere());
    EXPECT_EQ(receive(), 10);
    EXPECT_FALSE(isMoreThere());
}

TEST_F(ReadingAhead, SaysOfAPartOfARecordThatTheRestIsYetToCome) {
    send(kRecord);
    EXPECT_EQ(receive(), kRecord);
    EXPECT_FALSE(isMoreThere());
    send(kRecord);
    send(kRecord);
    send(kRecord);
    EXPECT_EQ(receive(), kRecord);
    EXPECT_EQ(receive(), kRecord);
    EXPECT_TRUE(isMoreThere());
    EXPECT_EQ(receive(), kRecord);
    EXPECT_EQ(receive(), -1);
    EXPECT_FALSE(isMoreThere());
}

} // namespace
