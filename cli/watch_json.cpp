// SPDX-License-Identifier: MIT
#include "cli/watch_json.h"

#include "cli/json_output.h"

namespace cli {
namespace {

base::Json newEvent(const char *name) {
    base::Json object = newObject();
    add(object.get(), "event", name);
    return object;
}

} // namespace

void JsonWatch::service(bool running) {
    const base::Json event = newEvent("service");
    add(event.get(), "running", running);
    printJson(event.get());
}

void JsonWatch::snapshot(const Node &node) {
    const base::Json event = newEvent("snapshot");
    addProperties(event.get(), node);
    printJson(event.get());
}

void JsonWatch::status(const std::string &record) {
    const base::Json event = newEvent("status");
    add(event.get(), "record", parsedOrText(record));
    printJson(event.get());
}

void JsonWatch::stage(const Node &node) {
    const base::Json event = newEvent("stage");
    add(event.get(), "stage", node.stage);
    printJson(event.get());
}

void JsonWatch::software(const Node &node) {
    const base::Json event = newEvent("software");
    add(event.get(), "running_version", node.runningVersion);
    add(event.get(), "next_version", node.nextVersion);
    printJson(event.get());
}

void JsonWatch::progress(const Node &node, const TransferRate &rate) {
    const base::Json event = newEvent("progress");
    add(event.get(), "percent", node.percentage);
    add(event.get(), "bytes", node.downloadedBytes);
    add(event.get(), "rate", rate.bytesPerSecond());
    add(event.get(), "seconds_left", rate.secondsLeft(node.percentage));
    printJson(event.get());
}

void JsonWatch::timers(const Node &node) {
    const base::Json event = newEvent("timers");
    add(event.get(), "timers", timersAsJson(node.timers));
    printJson(event.get());
}

void JsonWatch::finished(const Finished &end) {
    const base::Json event = newEvent("finished");
    addEnd(event.get(), end);
    printJson(event.get());
}

void JsonWatch::extender(const std::string &mac, const std::string &record) {
    const base::Json event = newEvent("extender");
    add(event.get(), "mac", mac);
    add(event.get(), "record", parsedOrText(record));
    printJson(event.get());
}

void JsonWatch::extenderFileServer(const std::string &mac, const std::string &info) {
    const base::Json event = newEvent("extender-file-server");
    add(event.get(), "mac", mac);
    add(event.get(), "info", parsedOrText(info));
    printJson(event.get());
}

void JsonWatch::history(const std::string &line) {
    const base::Json event = newEvent("history");
    add(event.get(), "line", parsedOrText(line));
    printJson(event.get());
}

} // namespace cli
