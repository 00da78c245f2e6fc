// SPDX-License-Identifier: MIT
// The real ota-host as a child process, and the supervisor's end of its channel.
#include "host_process.h"

#include "base/bank_note.h"
#include "base/bridge_address.h"
#include "base/json.h"
#include "node/boot_state.h"
#include "tests/support/results.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kPatienceMs = 20000;

} // namespace

HostProcess::HostProcess() {
    umask(S_IWGRP | S_IWOTH); // a node that others may write to is refused
    std::string name = testing::TempDir() + "host-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        std::abort();
    }
    directory_ = name;
    configPath_ = in("node.conf");
    writeNode();
    openChannel();
}

void HostProcess::openChannel() {
    int sockets[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    channel_ = std::make_unique<base::Channel>(sockets[0]);
    childSocket_ = sockets[1];
}

void HostProcess::startOver() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        child_ = -1;
    }
    openChannel();
}

HostProcess::~HostProcess() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    if (childSocket_ >= 0) {
        close(childSocket_);
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void HostProcess::writeNode() {
    std::ofstream(configPath_) << "[node]\nmodel=M\nserial=S\nwork_mode=RGW\nwork_role=R\n"
                                  "onboarding=0\npreferred_activation_time=02:00\n[paths]\ntmp=."
                               << "\nconfigs=.\nlogs=.\nca_certificate=ca.pem\n[banks]\na="
                               << in("a") << "\nb=" << in("b")
                               << "\nsize=1K\nboot_state=" << in("boot_state")
                               << "\n[images]\nsignature=optional\n";
    for (const char *bank : {"a", "b"}) {
        std::ofstream(in(bank)) << std::string(1024, '\0');
    }
    makeManagerSocket();
    std::string whatIsWrong;
    EXPECT_TRUE(succeeds(node::writeBootState(in("boot_state"), node::BootState{}), whatIsWrong));
}

void HostProcess::makeManagerSocket() const {
    EXPECT_EQ(mknod(in("cfgmgr_socket").c_str(), S_IFSOCK | S_IRUSR | S_IWUSR, 0), 0);
}

void HostProcess::start(const std::string &library, const std::string &options) {
    std::vector<std::string> arguments{"--library", library,     "--config",
                                       configPath_, "--channel", std::to_string(childSocket_)};
    std::istringstream words(options);
    arguments.insert(arguments.end(), std::istream_iterator<std::string>(words), {});
    startWith(arguments);
}

std::string HostProcess::withAltered(const std::string &function) {
    const std::string own = in("platform.so"); // the build's folder may be one that others write to
    std::filesystem::copy_file(ALTERED_PLATFORM, own);
    environment_.emplace_back("OTA_ALTERED", function);
    return "--platform " + own;
}

void HostProcess::startWith(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program_);
    std::vector<char *> pointers;
    for (std::string &argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    child_ = fork();
    ASSERT_GE(child_, 0);
    if (child_ == 0) {
        if (hasParentOfItsOwn_ && fork() != 0) {
            pause();
            _exit(0);
        }
        becomeHost(pointers);
    }
    close(childSocket_);
    childSocket_ = -1;
}

void HostProcess::becomeHost(std::vector<char *> &arguments) const {
    const int log = open(in("errors").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(log, STDERR_FILENO);
    if (chdir(directory_.c_str()) != 0) {
        _exit(126);
    }
    for (const auto &[name, value] : environment_) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    execv(arguments[0], arguments.data());
    _exit(127);
}

void HostProcess::send(const std::string &json) {
    const base::Json object = base::parsed(json);
    ASSERT_NE(object, nullptr) << json;
    const auto sent = channel_->send(object.get());
    ASSERT_TRUE(sent) << sent.error().text;
}

std::string HostProcess::next() {
    const auto message = channel_->receive(kPatienceMs);
    if (!message) {
        return message.error().text;
    }
    cJSON *const object = message->get();
    if (object == nullptr) {
        return channel_->ended() ? "end" : "nothing in time";
    }
    if (const base::Json memory{cJSON_DetachItemFromObjectCaseSensitive(object, "memory")}) {
        memory_ = base::printed(memory.get());
    }
    if (base::textOf(object, "note") == "banks") {
        if (const auto banks = base::takeBankNote(object)) {
            banks_ = banks->facts; // a test may take the file away
        }
        return next();
    }
    return base::printed(object);
}

void HostProcess::expect(const std::vector<std::string> &messages) {
    for (const std::string &message : messages) {
        ASSERT_EQ(next(), message) << errors();
        if (message.find("{\"call\":") == 0) {
            send("{\"ack\":0}");
        }
    }
}

void HostProcess::expectSilence() const {
    pollfd more{channel_->fd(), POLLIN, 0};
    EXPECT_EQ(poll(&more, 1, 200), 0);
}

std::string HostProcess::nodeNote() {
    return R"({"note":"node","mac":")" + base::bridgeAddress() + "\"}";
}

void HostProcess::expectStartUp() {
    expect({signalOf("initOTAlib", R"(".")"), nodeNote(),
            R"({"call":"startTimer","seconds":-7,"name":"rebootTimer"})", signalOf("main", "\"0\""),
            signalOf("commit", "null"), R"({"done":"start-up","deferred":0})"});
}

int HostProcess::exitCode() {
    int status = 0;
    EXPECT_EQ(waitpid(child_, &status, 0), child_);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string HostProcess::errors() const {
    std::ifstream file(in("errors"));
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string HostProcess::signalOf(const std::string &name, const std::string &data) {
    return R"({"call":"signal","sender":"fake","name":")" + name + R"(","data":)" + data + "}";
}

void HostProcess::expectEnd(const std::string &text, int code) {
    EXPECT_EQ(exitCode(), code);
    const std::string line = errors();
    EXPECT_EQ(line.find("error: ota-host: "), 0U) << line;
    EXPECT_NE(line.find(text), std::string::npos) << line;
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
}

void HostProcess::expectLastWords(const std::string &reason, const std::string &text) {
    const std::string note = next();
    EXPECT_EQ(note.find(R"({"note":"last-words","reason":")" + reason + R"(","text":")"), 0U)
        << note;
    EXPECT_NE(note.find(text), std::string::npos) << note;
    EXPECT_EQ(next(), "end");
}
