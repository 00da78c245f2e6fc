// SPDX-License-Identifier: MIT
// The real ota-host as a child process, and the supervisor's end of its channel.
#ifndef TESTS_HOST_HOST_PROCESS_H
#define TESTS_HOST_HOST_PROCESS_H

#include "base/channel.h"
#include "node/boot_state.h"
#include "platform/service.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

class HostProcess : public testing::Test {
  protected:
    HostProcess();
    ~HostProcess() override;

    std::string in(const std::string &name) const { return directory_ + "/" + name; }
    /* Starts it with the fake agent, or with these arguments instead of the usual ones. More than
     * one option: with a blank between them. */
    void start(const std::string &library = FAKE_AGENT, const std::string &options = "");
    void startWith(std::vector<std::string> arguments);
    /* The option for the reference platform with this function of its table altered. */
    std::string withAltered(const std::string &function);
    /* Sends one message; the text is JSON. */
    void send(const std::string &json);
    /*
     * The next message of the host, unformatted; "end" where it closed the channel. The memory that
     * comes with the end of an event is put aside, and so are the banks.
     */
    std::string next();
    /* Expects these messages in order and answers each call among them with 0. */
    void expect(const std::vector<std::string> &messages);
    /* Nothing more comes for a moment, and it goes on living. */
    void expectSilence() const;
    /* Expects the messages of a start-up. */
    void expectStartUp();
    /* What the configuration manager makes; it is there at first. */
    void makeManagerSocket() const;
    void closeChannel() { channel_.reset(); }
    /* A new channel for another start; the host that runs is killed. */
    void startOver();
    /* Waits for the end of the host. */
    int exitCode();
    std::string errors() const;
    /* Waits for the end of the host: one line that begins with the program and holds the text, and
     * this code. */
    void expectEnd(const std::string &text, int code = 1);
    /* What the supervisor hears before the end. */
    void expectLastWords(const std::string &reason, const std::string &text);
    static std::string signalOf(const std::string &name, const std::string &data);
    /* Of the address that the bridge of this machine has, or of none. */
    static std::string nodeNote();

    std::string configPath_;
    std::unique_ptr<base::Channel> channel_;
    std::string memory_;   // of the last event that ended
    OtaBankFacts banks_{}; // as last told
    std::string program_ = OTA_HOST;
    std::vector<std::pair<std::string, std::string>> environment_;
    /* Another process between the test and the host: the host's parent, and this process's child.
     */
    bool hasParentOfItsOwn_ = false;
    pid_t child_ = -1;

  private:
    void writeNode();
    [[noreturn]] void becomeHost(std::vector<char *> &arguments) const;
    void openChannel();

    std::string directory_;
    int childSocket_ = -1;
};

#endif
