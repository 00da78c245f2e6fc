// SPDX-License-Identifier: MIT
#include "report/verbs.h"

#include "base/failure.h"
#include "base/new_file.h"
#include "report/metrics.h"
#include "report/support_bundle.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace report {
namespace {

using base::Failure, base::Outcome;

constexpr mode_t kForEverybody = 0644;

// The node exporter reads the file at any moment, so it is replaced in one step.
void writeMetrics(const std::string &path, const std::string &text) {
    base::NewFile file;
    const auto written = file.begin(path, kForEverybody)
                             .andThen([&] { return file.write(text.data(), text.size()); })
                             .andThen([&] { return file.finish(); });
    if (!written) {
        throw Failure(Outcome::failed, written.error().text, "name another place with --file");
    }
}

int metrics(const Asked &asked) {
    std::string text;
    try {
        cli::BusClient client(asked.bus);
        text = metricsText(measure(client));
    } catch (const Failure &) {
        if (!asked.output.empty()) {
            writeMetrics(asked.output, metricsOfNone());
        }
        throw;
    }
    if (asked.output.empty()) {
        std::fwrite(text.data(), 1, text.size(), stdout);
    } else {
        writeMetrics(asked.output, text);
    }
    return 0;
}

// "otaswagent-2026-11-22T02-32-34Z", also for a shell.
std::string folderOfNow() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    char stamp[sizeof "-2147483648-12-31T23-59-60Z"]{};
    gmtime_r(&now, &utc);
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H-%M-%SZ", &utc);
    return std::string("otaswagent-") + stamp;
}

void tellMissing(const std::vector<Part> &parts) {
    for (const Part &part : parts) {
        if (!part.text) {
            std::printf("not in it: %s (%s)\n", part.name.c_str(), part.text.error().text.c_str());
        }
    }
}

int supportBundle(const Asked &asked) {
    const std::string folder = folderOfNow();
    const std::string path = asked.output.empty() ? folder + ".tar.gz" : asked.output;
    const std::vector<Part> parts = collectParts({asked.bus, asked.config});
    if (const auto written = writeBundle(parts, folder, path); !written) {
        throw Failure(Outcome::failed, written.error().text,
                      "make room, or name another place with --output");
    }
    if (asked.json) {
        const base::Json answer = base::success();
        base::add(answer.get(), "file", path);
        base::add(answer.get(), "index", base::parsed(*parts.back().text));
        base::printJson(answer.get());
        return 0;
    }
    tellMissing(parts);
    std::printf("%s: %td files, without secrets that are known as such; look through it before you "
                "send it\n",
                path.c_str(), std::count_if(parts.begin(), parts.end(), [](const Part &part) {
                    return static_cast<bool>(part.text);
                }));
    return 0;
}

} // namespace

base::Command metricsVerb(Asked &asked) {
    return {.name = "metrics",
            .summary = "Print the figures of the node for Prometheus",
            .options = {{"--file", base::text("FILE", asked.output),
                         "Write them there in one step, for the node exporter"}},
            .run = [&asked] { return metrics(asked); }};
}

base::Command supportBundleVerb(Asked &asked) {
    return {.name = "support-bundle",
            .summary = "Pack what a maker needs to help into one archive, without secrets",
            .options = {{"--output", base::text("FILE", asked.output),
                         "The archive; otaswagent-TIME.tar.gz if not given"},
                        {"--config", base::text("FILE", asked.config), "The node's configuration"}},
            .run = [&asked] { return supportBundle(asked); }};
}

} // namespace report
