// SPDX-License-Identifier: MIT
// otactl offer: hands a descriptor to the service as it is, and follows it if asked to.
#include "base/failure.h"
#include "base/json.h"
#include "base/text.h"
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/node_watch.h"
#include "cli/verbs.h"
#include "cli/watch_text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace cli {
namespace {

using base::Outcome;

// The service takes 64 KiB and says so; this only keeps an endless input from being read.
constexpr std::size_t kMostBytes = 1024 * 1024;

struct OfferOptions {
    std::string file;
    bool offload = false;
    bool firstPoll = false;
    std::int32_t onboardingStatus = 0;
    bool wait = false;
};

struct FileClose {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileClose>;

std::string readAll(std::FILE *file, const std::string &name) {
    std::string text;
    std::array<char, 4096> part{};
    std::size_t count = 0;
    while (text.size() <= kMostBytes &&
           (count = std::fread(part.data(), 1, part.size(), file)) > 0) {
        text.append(part.data(), count);
    }
    if (std::ferror(file) != 0) {
        throw base::Failure(Outcome::wrongUse, name + " cannot be read: " + std::strerror(errno));
    }
    return text;
}

std::string readDescriptor(const std::string &name) {
    std::string text;
    if (name == "-") {
        text = readAll(stdin, "standard input");
    } else {
        const File file(std::fopen(name.c_str(), "re"));
        if (file == nullptr) {
            throw base::Failure(Outcome::wrongUse,
                                name + " cannot be opened: " + std::strerror(errno));
        }
        text = readAll(file.get(), name);
    }
    if (text.size() > kMostBytes) {
        throw base::Failure(Outcome::descriptorTooLarge, "descriptor: larger than 1 MiB");
    }
    // Such bytes cannot travel over the bus at all.
    if (!base::isBusText(text)) {
        throw base::Failure(Outcome::descriptorNotOneObject,
                            "descriptor: not a text in UTF-8 without NUL characters");
    }
    return text;
}

std::uint64_t sendOffer(BusClient &client, const std::string &descriptor,
                        const OfferOptions &options) {
    const auto offload = static_cast<std::uint8_t>(options.offload ? 1 : 0);
    const std::int32_t firstPoll = options.firstPoll ? 1 : 0;
    return client.callForTicket("OfferImage", "syii", descriptor.c_str(), offload,
                                options.onboardingStatus, firstPoll);
}

int sendAndFollow(const std::string &descriptor, const OfferOptions &options,
                  const Globals &globals) {
    const std::unique_ptr<WatchView> view =
        globals.json ? std::make_unique<WatchView>()
                     : std::unique_ptr<WatchView>(std::make_unique<TextWatch>());
    // Subscribed before it is offered: even the quickest end is heard.
    NodeWatch watch(globals.bus, *view);
    const std::uint64_t ticket = sendOffer(watch.client(), descriptor, options);
    if (!globals.json) {
        answerTicket("accepted", ticket, globals);
    }
    const std::optional<Finished> end = watch.follow({.idle = false, .ticket = ticket});
    return globals.json ? answerEnd(*end) : static_cast<int>(end->code);
}

int offer(const OfferOptions &options, const Globals &globals) {
    const std::string descriptor = readDescriptor(options.file);
    if (options.wait) {
        return sendAndFollow(descriptor, options, globals);
    }
    BusClient client(globals.bus);
    answerTicket("accepted", sendOffer(client, descriptor, options), globals);
    return 0;
}

} // namespace

base::Command offerVerb(const Globals &globals) {
    const auto options = std::make_shared<OfferOptions>();
    return {.name = "offer",
            .summary = "Offer a new image to the node",
            .options = {{"--offload", base::flag(options->offload),
                         "Hand the download over to the gateway"},
                        {"--first-poll", base::flag(options->firstPoll),
                         "It was announced by the first poll after the node came up"},
                        {"--onboarding-status", base::number("N", options->onboardingStatus),
                         "Onboarding status that comes with the offer; 0 if not given"},
                        {"--wait", base::flag(options->wait),
                         "Follow the request to its end and exit with its code"}},
            .arguments = {{"descriptor", base::text("FILE", options->file),
                           "File with the image's descriptor, or - for standard input",
                           base::Times::once}},
            .run = [options, &globals] { return offer(*options, globals); }};
}

} // namespace cli
