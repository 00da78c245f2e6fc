// SPDX-License-Identifier: MIT
// otactl status: the node as it is now.
#include "base/display.h"
#include "base/json.h"
#include "cli/bus_client.h"
#include "cli/readable.h"
#include "cli/verbs.h"
#include "cli/watch_text.h"

namespace cli {
namespace {

std::string stageText(const Node &node) {
    std::string text = node.stage;
    if (node.stage == "downloading") {
        text += ", " + std::to_string(node.percentage) + " %, " +
                readableBytes(node.downloadedBytes) + " so far";
    }
    return node.deferred ? text + "; put off (otactl explain says why)" : text;
}

std::string offerText(const Node &node) {
    if (node.ticket == 0) {
        return "none";
    }
    const std::string ticket = "ticket " + std::to_string(node.ticket);
    return node.version.empty() ? ticket : node.version + ", " + ticket;
}

std::string timersLine(const Node &node) {
    std::string text;
    for (const Timer &timer : node.timers) {
        text += (text.empty() ? "" : ", ") + timer.name + " in " + readableSpan(timer.seconds);
    }
    return text.empty() ? "none" : text;
}

std::string activationText(const Node &node) {
    return node.activationTime.empty()
               ? "at " + node.preferredActivationTime + " if nobody names a time"
               : "at " + node.activationTime + ", as was named; " + governedBy(node);
}

std::string endText(const Finished &end) {
    if (end.ticket == 0) {
        return "none known";
    }
    std::string text = "ticket " + std::to_string(end.ticket) + ": " + end.result + " (" +
                       std::to_string(end.code) + (hasReason(end) ? ", " + end.reasonCode : "") +
                       ")";
    return end.reason.empty() ? text : text + ", " + end.reason;
}

void showStatus(const Node &node) {
    base::Display display;
    display.line("node", node.model + ", " + node.serial + ", " +
                             (node.mac.empty() ? "MAC not known yet" : node.mac));
    display.line("software", softwareText(node));
    display.line("stage", stageText(node));
    display.line("request", offerText(node));
    if (!node.waitReason.empty()) {
        display.line("waits", node.waitReason + " (" + node.waitReasonCode + ")");
    }
    display.line("last end", endText(node.lastEnd));
    display.line("queued", std::to_string(node.queued));
    display.line("status", node.statusWord.empty() ? "none yet" : statusText(node.statusRecord));
    display.line("timers", timersLine(node));
    display.line("mode", node.workMode + ", " + node.workRole +
                             (node.onboarding == 1 ? ", being onboarded" : ""));
    display.line("activates", activationText(node));
    display.line("root", node.rootConnected ? "connected" : "not connected");
    display.line("up", readableSpan(node.uptime));
    display.line("service", "otad " + node.daemonVersion);
}

} // namespace

base::Command statusVerb(const Globals &globals) {
    return {.name = "status", .summary = "Show the node as it is now", .run = [&globals] {
                const Node node = BusClient(globals.bus).readNode();
                if (globals.json) {
                    const base::Json object = base::newObject();
                    addProperties(object.get(), node);
                    base::printJson(object.get());
                } else {
                    showStatus(node);
                }
                return 0;
            }};
}

} // namespace cli
