// SPDX-License-Identifier: MIT
// A real broker with TLS on a free port of loopback, and what else can stand at such a port.
#include "broker.h"

#include "tests/support/content_of.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

const char *const kOpenSslConfiguration = R"([req]
distinguished_name = name
prompt = no
[name]
CN = nobody
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
[leaf]
basicConstraints = CA:FALSE
)";

void openssl(const std::filesystem::path &folder, const std::string &arguments) {
    const std::string command = "cd '" + folder.string() + "' && " OTA_OPENSSL " " + arguments +
                                " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2"
                                " -config openssl.cnf >openssl.log 2>&1";
    if (std::system(command.c_str()) != 0) {
        ADD_FAILURE() << "no certificate could be made: " << contentOf(folder / "openssl.log");
    }
}

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int newSocket(int flags = 0) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    EXPECT_GE(fd, 0);
    return fd;
}

int bindToFreePort(int fd) {
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), length), 0);
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length), 0);
    return ntohs(address.sin_port);
}

bool connectTo(int fd, int port) {
    const sockaddr_in address = loopback(port);
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool listens(int port) {
    const int fd = newSocket();
    const bool taken = connectTo(fd, port);
    close(fd);
    return taken;
}

} // namespace

void makeAuthority(const std::filesystem::path &folder, const std::string &name) {
    std::ofstream(folder / "openssl.cnf") << kOpenSslConfiguration;
    openssl(folder, "req -x509 -extensions authority -subj '/CN=" + name + "' -keyout " + name +
                        ".key -out " + name + ".pem");
}

void makeCertificate(const std::filesystem::path &folder, const std::string &authority,
                     const std::string &name, const std::string &subject,
                     const std::string &alternativeName) {
    openssl(folder, "req -x509 -extensions leaf -CA " + authority + ".pem -CAkey " + authority +
                        ".key -subj '/CN=" + subject + "' -addext subjectAltName=" +
                        alternativeName + " -keyout " + name + ".key -out " + name + ".pem");
}

int freePort() {
    const int fd = newSocket();
    const int port = bindToFreePort(fd);
    close(fd);
    return port;
}

Broker::Broker(std::filesystem::path folder, std::string certificate)
    : folder_(std::move(folder)), certificate_(std::move(certificate)), port_(freePort()) {}

void Broker::start() {
    const std::string folder = folder_.string() + "/";
    std::ofstream(folder_ / "mosquitto.conf")
        << "listener " << port_ << " 127.0.0.1\ncafile " << folder << "ca.pem\ncertfile " << folder
        << certificate_ << ".pem\nkeyfile " << folder << certificate_
        << ".key\nuser root\npersistence true\npersistence_location " << folder
        << "\nautosave_on_changes true\nautosave_interval 1\n"
        << (lines_.empty() ? "allow_anonymous true\n" : lines_);
    child_ = fork();
    ASSERT_GE(child_, 0);
    if (child_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int log =
            open((folder + "mosquitto.log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        dup2(log, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        execl(OTA_MOSQUITTO, OTA_MOSQUITTO, "-c", (folder + "mosquitto.conf").c_str(), nullptr);
        _exit(127);
    }
    constexpr int kTries = 1000;
    for (int i = 0; i < kTries && !listens(port_); ++i) {
        ASSERT_EQ(waitpid(child_, nullptr, WNOHANG), 0) << contentOf(folder_ / "mosquitto.log");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void Broker::stop() {
    kill(child_, SIGTERM);
    waitpid(child_, nullptr, 0);
    child_ = -1;
}

void Broker::freeze() {
    kill(child_, SIGSTOP);
    waitpid(child_, nullptr, WUNTRACED);
}

void Broker::goOn() { kill(child_, SIGCONT); }

void Broker::end() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        child_ = -1;
    }
}

SilentServer::SilentServer(bool withFullQueue) : listener_(newSocket()) {
    constexpr int kRoomy = 16;
    port_ = bindToFreePort(listener_);
    EXPECT_EQ(listen(listener_, withFullQueue ? 0 : kRoomy), 0);
    if (withFullQueue) {
        first_ = newSocket();
        EXPECT_TRUE(connectTo(first_, port_));
        // The queue is full: this one, and all after it, get no answer to their first packet.
        second_ = newSocket(SOCK_NONBLOCK);
        EXPECT_FALSE(connectTo(second_, port_));
        EXPECT_EQ(errno, EINPROGRESS);
    }
}

SilentServer::~SilentServer() {
    for (const int fd : {listener_, first_, second_}) {
        if (fd >= 0) {
            close(fd);
        }
    }
}
