// SPDX-License-Identifier: MIT
#include "cli/watch_json.h"

#include "base/json_record.h"

namespace cli {
namespace {

base::Json newEvent(const char *name) {
    base::Json object = base::newObject();
    base::add(object.get(), "event", name);
    return object;
}

} // namespace

void JsonWatch::service(bool running) {
    const base::Json event = newEvent("service");
    base::add(event.get(), "running", running);
    base::printJson(event.get());
}

void JsonWatch::snapshot(const Node &node) {
    const base::Json event = newEvent("snapshot");
    addProperties(event.get(), node);
    base::printJson(event.get());
}

void JsonWatch::status(const std::string &record) {
    const base::Json event = newEvent("status");
    base::add(event.get(), "record", base::parsedOrText(record));
    base::printJson(event.get());
}

void JsonWatch::stage(const Node &node) {
    const base::Json event = newEvent("stage");
    base::add(event.get(), "stage", node.stage);
    base::printJson(event.get());
}

void JsonWatch::software(const Node &node) {
    const base::Json event = newEvent("software");
    base::add(event.get(), "running_version", node.runningVersion);
    base::add(event.get(), "next_version", node.nextVersion);
    base::printJson(event.get());
}

void JsonWatch::progress(const Node &node, const TransferRate &rate) {
    const base::Json event = newEvent("progress");
    base::add(event.get(), "percent", node.percentage);
    base::add(event.get(), "bytes", node.downloadedBytes);
    base::add(event.get(), "rate", rate.bytesPerSecond());
    base::add(event.get(), "seconds_left", rate.secondsLeft(node.percentage));
    base::printJson(event.get());
}

void JsonWatch::timers(const Node &node) {
    const base::Json event = newEvent("timers");
    base::add(event.get(), "timers", node.timers);
    base::printJson(event.get());
}

void JsonWatch::finished(const Finished &end) {
    const base::Json event = newEvent("finished");
    base::addFields(event.get(), end);
    base::printJson(event.get());
}

void JsonWatch::extender(const std::string &mac, const std::string &record) {
    const base::Json event = newEvent("extender");
    base::add(event.get(), "mac", mac);
    base::add(event.get(), "record", base::parsedOrText(record));
    base::printJson(event.get());
}

void JsonWatch::extenderFileServer(const std::string &mac, const std::string &info) {
    const base::Json event = newEvent("extender-file-server");
    base::add(event.get(), "mac", mac);
    base::add(event.get(), "info", base::parsedOrText(info));
    base::printJson(event.get());
}

void JsonWatch::history(const std::string &line) {
    const base::Json event = newEvent("history");
    base::add(event.get(), "line", base::parsedOrText(line));
    base::printJson(event.get());
}

} // namespace cli
