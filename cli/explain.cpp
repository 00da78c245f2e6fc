// SPDX-License-Identifier: MIT
// otactl explain: why nothing happens now, and what will happen when.
#include "base/display.h"
#include "base/failure.h"
#include "base/json.h"
#include "cli/bus_client.h"
#include "cli/explain_name.h"
#include "cli/verbs.h"

#include <memory>

namespace cli {
namespace {

using Sentences = std::vector<std::pair<std::string, std::string>>;

Sentences readSentences(BusClient &client) {
    const Message answer = client.call("Explain", "");
    Sentences sentences;
    int result = sd_bus_message_enter_container(answer.get(), 'a', "(ss)");
    const char *topic = nullptr;
    const char *sentence = nullptr;
    while (result >= 0 &&
           (result = sd_bus_message_read(answer.get(), "(ss)", &topic, &sentence)) > 0) {
        sentences.emplace_back(topic, sentence);
    }
    if (result < 0) {
        throw base::Failure(base::Outcome::failed, "the answer to Explain cannot be read");
    }
    return sentences;
}

void printSentences(const Sentences &sentences) {
    base::Json list = base::newList();
    for (const auto &[topic, sentence] : sentences) {
        base::Json item = base::newObject();
        base::add(item.get(), "topic", topic);
        base::add(item.get(), "sentence", sentence);
        base::append(list.get(), std::move(item));
    }
    const base::Json object = base::newObject();
    base::add(object.get(), "sentences", std::move(list));
    base::printJson(object.get());
}

int explain(const std::string &name, const Globals &globals) {
    if (!name.empty()) {
        return explainName(name, globals);
    }
    BusClient client(globals.bus);
    const Sentences sentences = readSentences(client);
    if (globals.json) {
        printSentences(sentences);
        return 0;
    }
    base::Display display;
    for (const auto &[topic, sentence] : sentences) {
        display.line(topic, sentence);
    }
    return 0;
}

} // namespace

base::Command explainVerb(const Globals &globals) {
    const auto name = std::make_shared<std::string>();
    return {.name = "explain",
            .summary =
                "Say why nothing happens now and what will happen when, or what a code means",
            .arguments = {{"name", base::text("CODE|NAME", *name),
                           "A code, an outcome, a reason or a status word: what it means, without "
                           "the service"}},
            .run = [name, &globals] { return explain(*name, globals); }};
}

} // namespace cli
