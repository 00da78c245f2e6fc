// SPDX-License-Identifier: MIT
// A whole daemon in a temporary folder, with a scripted host and no bus unless one is given.
#include "daemon_fixture.h"

#include "base/json.h"
#include "service/state/request_check.h"
#include "tests/support/results.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace service::test {
namespace {

namespace fs = std::filesystem;

constexpr auto kPatience = std::chrono::seconds(60); // of a machine that does much else
constexpr std::uint64_t kTurnUs = 20'000;
constexpr std::uint64_t kQuietUs = 100'000;
constexpr std::uint32_t kWholeHistory = 500;

std::string newFolder() {
    std::string name = (fs::temp_directory_path() / "otad-test.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return name;
}

} // namespace

DaemonTest::DaemonTest() : folder_(newFolder()), host_(folder_) {
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, nullptr);
    for (const char *const directory : {"tmp", "configs", "logs", "state"}) {
        fs::create_directory(in(directory));
    }
    config_.model = "GW-1000";
    config_.serial = "SN0000000001";
    config_.workMode = "RGW";
    config_.workRole = "Controller";
    config_.tmpDirectory = in("tmp");
    config_.configsDirectory = in("configs");
    config_.logsDirectory = in("logs");
    config_.bootState = in("boot-state");
    config_.stateDirectory = in("state");
    options_.config = "node.conf";
    options_.host = OTA_SCRIPTED_HOST;
    options_.library = folder_;
    options_.bus = "unix:path=" + in("no-bus");
    options_.busPatience = std::chrono::milliseconds(0);
    runFrom(node::Bank::a);
}

DaemonTest::~DaemonTest() {
    daemon_.reset();
    setBridge("");
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void DaemonTest::runFrom(node::Bank bank, const std::string &version,
                         const std::string &otherVersion) const {
    node::BootState state;
    state.active = state.next = bank;
    const std::string sum(64, 'a');
    state.of(bank) = {.whole = true, .version = version, .size = 1, .sha256 = sum};
    state.of(node::otherBank(bank)) = {
        .whole = true, .version = otherVersion, .size = 1, .sha256 = sum};
    std::string whatIsWrong;
    ASSERT_TRUE(succeeds(node::writeBootState(config_.bootState, state), whatIsWrong))
        << whatIsWrong;
}

void DaemonTest::start(const std::string &bootId) {
    stop();
    options_.bootId = bootId;
    daemon_.emplace(loop_.get(), options_, config_);
    ASSERT_TRUE(daemon_->start());
}

void DaemonTest::startUp(const std::string &bootId) {
    start(bootId);
    ASSERT_TRUE(turnUntil([&] { return hasStarted(); }));
}

void DaemonTest::setBridge(const std::string &mac) {
    if (mac.empty()) {
        unsetenv("OTA_DESK_MAC");
    } else {
        setenv("OTA_DESK_MAC", mac.c_str(), 1);
    }
}

bool DaemonTest::hasStarted() {
    const auto sentences = calls().explain();
    return std::none_of(sentences.begin(), sentences.end(), [](const auto &sentence) {
        return sentence.second.find("the agent has not started") != std::string::npos;
    });
}

bool DaemonTest::turnUntil(const std::function<bool()> &condition) const {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        sd_event_run(loop_.get(), kTurnUs);
    }
    return true;
}

void DaemonTest::turnWhileBusy() const {
    while (sd_event_run(loop_.get(), kQuietUs) > 0) {
    }
}

void DaemonTest::turnFor(std::chrono::milliseconds time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
        sd_event_run(loop_.get(), kTurnUs);
    }
}

BusCalls::Answer DaemonTest::answerInto(const ReplyRef &reply) {
    return [reply](const guard::Refusal *refusal, std::uint64_t ticket) {
        ++reply->times;
        reply->ticket = ticket;
        if (refusal != nullptr) {
            reply->refused = refusal->outcome;
            reply->text = refusal->text();
        }
    };
}

ReplyRef DaemonTest::offer(int policy, const std::string &version) {
    return offerText(descriptorOf(policy, version));
}

ReplyRef DaemonTest::offerText(const std::string &descriptor) {
    auto reply = std::make_shared<Reply>();
    calls().offerImage(descriptor, {0, 0, 0}, answerInto(reply));
    return reply;
}

ReplyRef DaemonTest::trigger() {
    auto reply = std::make_shared<Reply>();
    calls().triggerMobileApp(1, answerInto(reply));
    return reply;
}

ReplyRef DaemonTest::activateAt(const std::string &time) {
    auto reply = std::make_shared<Reply>();
    calls().setActivationTime(base::printed(base::message({{"actTime", time}}).get()),
                              answerInto(reply));
    return reply;
}

ReplyRef DaemonTest::cancel(std::uint64_t ticket) {
    auto reply = std::make_shared<Reply>();
    calls().cancel(ticket, answerInto(reply));
    return reply;
}

ReplyRef DaemonTest::change(const std::string &name, const std::string &value) {
    auto reply = std::make_shared<Reply>();
    calls().changeSetting(name, value, answerInto(reply));
    return reply;
}

std::uint64_t DaemonTest::ticketOf(const ReplyRef &reply) const {
    EXPECT_TRUE(turnUntil([&] { return reply->times > 0; }));
    EXPECT_FALSE(reply->refused) << reply->text;
    return reply->ticket;
}

bool DaemonTest::idle() { return calls().status().stage == "idle"; }

std::vector<int> DaemonTest::codesOf(std::uint64_t ticket) {
    std::vector<int> codes;
    for (const std::string &line : calls().history(kWholeHistory)) {
        const base::Json entry = base::parsed(line);
        const std::string event = base::textOf(entry.get(), "event");
        if ((event == "finished" || event == "cancelled") &&
            base::numberOf(entry.get(), "ticket") == static_cast<int>(ticket)) {
            codes.push_back(base::numberOf(entry.get(), "code"));
        }
    }
    return codes;
}

std::vector<std::string> DaemonTest::told(const std::string &event) {
    std::vector<std::string> found;
    for (const std::string &line : calls().history(kWholeHistory)) {
        const base::Json entry = base::parsed(line);
        if (base::textOf(entry.get(), "event") == event) {
            found.push_back(std::to_string(base::numberOf(entry.get(), "ticket")) + " " +
                            std::to_string(base::numberOf(entry.get(), "code")) + " " +
                            base::textOf(entry.get(), "reason"));
        }
    }
    return found;
}

std::string DaemonTest::reasonCodeOf(const std::string &event) {
    return newest(event, "reason_code");
}

std::string DaemonTest::nextOf(const std::string &event) { return newest(event, "next"); }

std::string DaemonTest::newest(const std::string &event, const char *key) {
    std::string text;
    for (const std::string &line : calls().history(kWholeHistory)) {
        const base::Json entry = base::parsed(line);
        if (base::textOf(entry.get(), "event") == event) {
            text = base::textOf(entry.get(), key);
        }
    }
    return text;
}

std::string DaemonTest::explained(const std::string &topic) {
    std::string sentences;
    for (const auto &[about, sentence] : calls().explain()) {
        sentences += about == topic ? sentence + "\n" : "";
    }
    return sentences;
}

Ledger DaemonTest::ledgerIn(const std::string &file) const {
    std::ifstream stream(in(file), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(stream)), {});
    if (text.empty()) {
        return {};
    }
    const auto ledger = parseLedger(text);
    EXPECT_TRUE(ledger) << ledger.error().text;
    return ledger ? *ledger : Ledger{};
}

void DaemonTest::keep(const Ledger &ledger) const {
    std::ofstream(in("state/requests.json"), std::ios::binary) << printLedger(ledger);
}

void DaemonTest::breakStateDirectory() const { fs::rename(in("state"), in("away")); }

void DaemonTest::mendStateDirectory() const { fs::rename(in("away"), in("state")); }

std::string descriptorOf(int policy, const std::string &version) {
    const base::Json descriptor = base::message({{"model", "GW-1000"},
                                                 {"nxtMSVersion", version},
                                                 {"fileServerURL", "https://files.example/image"},
                                                 {"checksum", std::string(32, '0')},
                                                 {"mac", "02:00:5E:10:00:01"}});
    base::add(descriptor.get(), "policy", policy);
    return base::printed(descriptor.get());
}

Request offerRequest(std::uint64_t ticket, int policy, const std::string &version) {
    const guard::NodeIdentity node{"GW-1000", "", "02:00:5E:10:00:01", 30};
    Request request;
    EXPECT_FALSE(newImageRequest(descriptorOf(policy, version), {0, 0, 0}, {node, {}}, request));
    request.ticket = ticket;
    return request;
}

} // namespace service::test
