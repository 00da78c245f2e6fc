// SPDX-License-Identifier: MIT
#include "cli/node_watch.h"

#include "base/failure.h"
#include "base/json.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>
#include <utility>

namespace cli {
namespace {

constexpr const char *kOwnerMatch =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='velmo.otaSwAgent'";
constexpr const char *kSignalMatch =
    "type='signal',sender='velmo.otaSwAgent',path='/velmo/otaSwAgent'";

constexpr std::uint64_t kTickUs = 1000 * 1000;
constexpr std::uint64_t kAnswerUs = 10 * kTickUs;
constexpr std::chrono::milliseconds kRetryAfter(250);
constexpr std::uint32_t kWholeHistory = 500;

// The texts of a signal in order; empty ones where it carries something else.
std::array<std::string, 2> textsOf(sd_bus_message *message) {
    std::array<std::string, 2> texts;
    for (std::string &text : texts) {
        const char *value = nullptr;
        if (sd_bus_message_read(message, "s", &value) > 0) {
            text = value;
        }
    }
    return texts;
}

// The ticket, and the reason code among the details.
std::pair<std::uint64_t, std::string> reasonCodeIn(sd_bus_message *message) {
    std::pair<std::uint64_t, std::string> found;
    if (sd_bus_message_read(message, "t", &found.first) <= 0 ||
        sd_bus_message_enter_container(message, 'a', "{sv}") < 0) {
        return {};
    }
    const char *key = nullptr;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0 &&
           sd_bus_message_read(message, "s", &key) > 0) {
        const char *code = nullptr;
        if (std::string_view(key) != "reason_code") {
            sd_bus_message_skip(message, "v");
        } else if (sd_bus_message_read(message, "v", "s", &code) > 0) {
            found.second = code;
        }
        sd_bus_message_exit_container(message);
    }
    return found;
}

// False where the service went away meanwhile: the change of the name's owner tells that.
bool isAnswer(sd_bus_message *answer) {
    const sd_bus_error *const error = sd_bus_message_get_error(answer);
    if (error == nullptr) {
        return true;
    }
    try {
        throwCallFailure(*error);
    } catch (const base::Failure &failure) {
        if (failure.outcome() != base::Outcome::noService) {
            throw;
        }
    }
    return false;
}

} // namespace

NodeWatch::NodeWatch(std::string address, WatchView &view)
    : address_(std::move(address)), view_(view) {
    connect();
}

// Exceptions do not pass through C: they wait until sd_bus_process has returned.
template <NodeWatch::Handler handler>
int NodeWatch::handle(sd_bus_message *message, void *self, sd_bus_error *) {
    auto *const watch = static_cast<NodeWatch *>(self);
    try {
        (watch->*handler)(message);
    } catch (...) {
        watch->failure_ = std::current_exception();
    }
    return 0;
}

void NodeWatch::connect() {
    client_ = std::make_unique<BusClient>(address_);
    const auto subscribe = [this](const char *match, sd_bus_message_handler_t handler) {
        sd_bus_slot *slot = nullptr;
        if (sd_bus_add_match(client_->bus(), &slot, match, handler, this) < 0) {
            throw base::Failure(base::Outcome::noService, "the bus takes no subscription");
        }
        return Slot(slot);
    };
    ownerMatch_ = subscribe(kOwnerMatch, handle<&NodeWatch::onOwnerChanged>);
    signalMatch_ = subscribe(kSignalMatch, handle<&NodeWatch::onSignal>);
    sd_bus_creds *credentials = nullptr;
    const char *owner = nullptr;
    if (sd_bus_get_name_creds(client_->bus(), service::kBusName, SD_BUS_CREDS_UNIQUE_NAME,
                              &credentials) >= 0 &&
        sd_bus_creds_get_unique_name(credentials, &owner) >= 0) {
        owner_ = owner;
    }
    sd_bus_creds_unref(credentials);
}

void NodeWatch::reconnect() {
    for (Slot *slot : {&ownerMatch_, &signalMatch_, &nodeCall_, &historyCall_}) {
        slot->reset();
    }
    client_.reset();
    ownerIs("");
    while (client_ == nullptr) {
        std::this_thread::sleep_for(kRetryAfter);
        try {
            connect();
        } catch (const base::Failure &failure) {
            client_.reset();
            if (failure.outcome() != base::Outcome::noService) {
                throw;
            }
        }
    }
    if (const std::string owner = std::exchange(owner_, ""); !owner.empty()) {
        ownerIs(owner);
    }
}

std::optional<Finished> NodeWatch::follow(const Until &until) {
    until_ = until;
    view_.service(!owner_.empty());
    if (!owner_.empty()) {
        askForNode();
    }
    while (!ended()) {
        int result = sd_bus_process(client_->bus(), nullptr);
        if (failure_ != nullptr) {
            std::rethrow_exception(std::exchange(failure_, nullptr));
        }
        if (result == 0) {
            view_.tick();
            result = sd_bus_wait(client_->bus(), kTickUs);
        }
        if (result < 0 && result != -EINTR) {
            reconnect();
        }
    }
    return finished_;
}

bool NodeWatch::ended() const {
    const bool idle = known_ && node_.stage == "idle" && node_.queued == 0;
    return finished_.has_value() || (until_.idle && idle);
}

void NodeWatch::ownerIs(const std::string &owner) {
    if (owner == owner_) {
        return;
    }
    const bool wasRunning = !owner_.empty();
    owner_ = owner;
    known_ = false;
    nodeCall_.reset();
    historyCall_.reset();
    // A new process behind the same name, with no gap between them, is a restart all the same.
    if (wasRunning) {
        view_.service(false);
    }
    if (!owner_.empty()) {
        view_.service(true);
        askForNode();
    }
}

// Asked for without waiting here, so that what the bus delivers keeps its order.
void NodeWatch::askForNode() {
    const Message request = client_->newNodeCall();
    sd_bus_slot *slot = nullptr;
    sd_bus_call_async(client_->bus(), &slot, request.get(), handle<&NodeWatch::onNode>, this,
                      kAnswerUs);
    nodeCall_.reset(slot);
    if (until_.ticket) {
        askForHistory();
    }
}

void NodeWatch::askForHistory() {
    sd_bus_slot *slot = nullptr;
    sd_bus_call_method_async(client_->bus(), &slot, service::kBusName, service::kBusPath,
                             service::kBusInterface, "History", handle<&NodeWatch::onHistory>, this,
                             "u", kWholeHistory);
    historyCall_.reset(slot);
}

void NodeWatch::onOwnerChanged(sd_bus_message *message) {
    const char *name = nullptr;
    const char *before = nullptr;
    const char *owner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &before, &owner) > 0) {
        ownerIs(owner);
    }
}

void NodeWatch::onNode(sd_bus_message *answer) {
    if (!isAnswer(answer)) {
        return;
    }
    Node node;
    takeProperties(answer, node);
    node_ = node;
    known_ = true;
    rate_.restart();
    rate_.count(node_.downloadedBytes, std::chrono::steady_clock::now());
    view_.snapshot(node_);
}

void NodeWatch::onHistory(sd_bus_message *answer) {
    if (!isAnswer(answer) || sd_bus_message_enter_container(answer, 'a', "s") < 0) {
        return;
    }
    std::optional<Finished> found;
    const char *line = nullptr;
    while (sd_bus_message_read(answer, "s", &line) > 0) {
        if (const std::optional<Finished> end = base::endOfLine(line);
            end && end->ticket == until_.ticket) {
            found = end;
        }
    }
    if (found && !finished_) {
        finished_ = found;
        view_.finished(*found);
    }
}

void NodeWatch::onProperties(sd_bus_message *message) {
    const char *interface = nullptr;
    if (sd_bus_message_read(message, "s", &interface) <= 0 ||
        std::string_view(interface) != service::kBusInterface || !known_) {
        return;
    }
    const std::vector<std::string_view> changed = takeProperties(message, node_);
    const auto has = [&changed](std::string_view name) {
        return std::find(changed.begin(), changed.end(), name) != changed.end();
    };
    if (has("Stage")) {
        view_.stage(node_);
    }
    if (has("RunningVersion") || has("NextVersion")) {
        view_.software(node_);
    }
    if (has("Percentage") || has("DownloadedBytes")) {
        rate_.count(node_.downloadedBytes, std::chrono::steady_clock::now());
        view_.progress(node_, rate_);
    }
    if (has("Timers")) {
        view_.timers(node_);
    }
}

void NodeWatch::onSignal(sd_bus_message *message) {
    // Anybody may send a signal of that path to this connection alone; only the owner's count.
    const char *const sender = sd_bus_message_get_sender(message);
    if (sender == nullptr || owner_ != sender) {
        return;
    }
    if (sd_bus_message_is_signal(message, "org.freedesktop.DBus.Properties", "PropertiesChanged") >
        0) {
        onProperties(message);
    } else if (sd_bus_message_is_signal(message, service::kBusInterface, service::kEndedSignal) >
               0) {
        reasonCode_ = reasonCodeIn(message);
    } else if (sd_bus_message_is_signal(message, service::kBusInterface, service::kFinishedSignal) >
               0) {
        Finished end;
        const char *result = nullptr;
        const char *reason = nullptr;
        if (sd_bus_message_read(message, "tuss", &end.ticket, &end.code, &result, &reason) > 0) {
            end.result = result;
            end.reason = reason;
            end.reasonCode = reasonCode_.first == end.ticket ? reasonCode_.second : "";
            view_.finished(end);
            if (until_.ticket == end.ticket) {
                finished_ = end;
            }
        }
    } else if (sd_bus_message_is_signal(message, service::kBusInterface, service::kStatusSignal) >
               0) {
        view_.status(textsOf(message)[0]);
    } else if (sd_bus_message_is_signal(message, service::kBusInterface, service::kHistorySignal) >
               0) {
        view_.history(textsOf(message)[0]);
    } else if (sd_bus_message_is_signal(message, service::kBusInterface,
                                        service::kExtenderStatusSignal) > 0) {
        const auto [mac, record] = textsOf(message);
        view_.extender(mac, record);
    } else if (sd_bus_message_is_signal(message, service::kBusInterface,
                                        service::kExtenderFileServerSignal) > 0) {
        const auto [mac, info] = textsOf(message);
        view_.extenderFileServer(mac, info);
    }
}

} // namespace cli
