// SPDX-License-Identifier: MIT
// Offers every descriptor of the guard's table to the running service, and says what comes back.
// hostile_probe ADDRESS; the exit code is 0 where each was refused as the table wants it.
#include "bus_probe.h"

#include "tests/unit/guard/hostile_offers.h"

#include <string>

namespace {

using guard::test::HostileOffer;

enum class Ending { refused, wrong, unsendable };

struct Counts {
    int refused = 0;
    int wrong = 0;
    int unsendable = 0; // no text of the bus: its library or its daemon keeps it away
};

// One line, whatever the text holds.
std::string shortened(const std::string &what) {
    std::string text;
    for (const char byte : what.substr(0, 80)) {
        text += byte < ' ' || byte > '~' ? '?' : byte;
    }
    return text;
}

int offer(sd_bus *bus, const std::string &descriptor, sd_bus_error &error) {
    sd_bus_message *made = nullptr;
    probe::require(sd_bus_message_new_method_call(bus, &made, service::kBusName, service::kBusPath,
                                                  service::kBusInterface, "OfferImage"),
                   "a call");
    const service::BusMessage call(made);
    const int appended = sd_bus_message_append(made, "syii", descriptor.c_str(), 0, 0, 0);
    if (appended < 0) {
        return appended;
    }
    sd_bus_message *answered = nullptr;
    const int result = sd_bus_call(bus, made, probe::kLimitUs, &error, &answered);
    const service::BusMessage answer(answered);
    return result;
}

Ending judge(const HostileOffer &hostile, int result, const sd_bus_error &error) {
    const std::string name = error.name == nullptr ? "" : error.name;
    const std::string message = error.message == nullptr ? "" : error.message;
    if (result < 0 && !name.starts_with(service::kBusErrorPrefix)) {
        return Ending::unsendable;
    }
    const bool asWanted = result < 0 && name == base::rowOf(hostile.outcome).busError &&
                          (hostile.field.empty() || message.starts_with(hostile.field));
    if (!asWanted) {
        std::printf("%s: expected %s about %s, not %s: %s\n", shortened(hostile.what).c_str(),
                    base::rowOf(hostile.outcome).busError, hostile.field.c_str(),
                    result < 0 ? name.c_str() : "a ticket", shortened(message).c_str());
    }
    return asWanted ? Ending::refused : Ending::wrong;
}

Counts offerAll(const char *address) {
    Counts counts;
    service::Bus bus = probe::connect(address);
    for (const HostileOffer &hostile : guard::test::hostileOffers()) {
        // No text of the bus goes on behind its first NUL.
        if (hostile.text.find('\0') != std::string::npos) {
            ++counts.unsendable;
            continue;
        }
        sd_bus_error error{};
        switch (judge(hostile, offer(bus.get(), hostile.text, error), error)) {
        case Ending::refused:
            ++counts.refused;
            break;
        case Ending::wrong:
            ++counts.wrong;
            break;
        case Ending::unsendable:
            ++counts.unsendable;
            bus = probe::connect(address); // the bus may have thrown this client out
            break;
        }
        sd_bus_error_free(&error);
    }
    return counts;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "use: hostile_probe ADDRESS\n");
        return 2;
    }
    const Counts counts = offerAll(argv[1]);
    std::printf("hostile offers: %d refused, %d wrongly answered, %d that the bus does not carry\n",
                counts.refused, counts.wrong, counts.unsendable);
    return counts.wrong == 0 && counts.refused > 0 ? 0 : 1;
}
