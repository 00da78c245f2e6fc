// SPDX-License-Identifier: MIT
#include "tools/platform_check/report.h"

#include "base/failure.h"
#include "base/file_io.h"
#include "base/json.h"

#include <algorithm>
#include <cstdio>

namespace check {
namespace {

const char *wordOf(Verdict verdict) {
    return verdict == Verdict::right   ? "right"
           : verdict == Verdict::wrong ? "wrong"
                                       : "not-looked-at";
}

long countOf(const std::vector<Result> &results, Verdict verdict) {
    return std::count_if(results.begin(), results.end(),
                         [&](const Result &result) { return result.verdict == verdict; });
}

long leftOut(const std::vector<Result> &results) {
    return static_cast<long>(results.size()) - countOf(results, Verdict::right) -
           countOf(results, Verdict::wrong);
}

std::string escaped(const std::string &text) {
    std::string all;
    for (const char one : text) {
        switch (one) {
        case '&':
            all += "&amp;";
            break;
        case '<':
            all += "&lt;";
            break;
        case '>':
            all += "&gt;";
            break;
        case '"':
            all += "&quot;";
            break;
        default:
            all += one;
        }
    }
    return all;
}

std::string inWords(const Result &result) {
    return std::string("asked: ") + result.check->asked + "\ncame: " + result.came +
           "\ncontract: " + result.contract + "\non a device: " + result.device +
           (result.log.empty() ? "" : "\nits log: " + result.log);
}

std::string junitCase(const Result &result) {
    constexpr std::int64_t kMs = 1000;
    const std::string name = result.check->name;
    const std::size_t dot = name.find('.');
    std::string time = std::to_string(result.ms % kMs);
    time = std::to_string(result.ms / kMs) + "." + std::string(3 - time.size(), '0') + time;
    std::string text = "  <testcase classname=\"" + name.substr(0, dot) + "\" name=\"" +
                       name.substr(dot + 1) + "\" time=\"" + time + "\"";
    if (result.verdict == Verdict::right) {
        return text + "/>\n";
    }
    text += ">\n    ";
    text += result.verdict == Verdict::wrong
                ? "<failure message=\"" + escaped(result.came) + "\">" + escaped(inWords(result)) +
                      "</failure>"
                : "<skipped message=\"" + escaped(result.came) + "\"/>";
    return text + "\n  </testcase>\n";
}

base::Json asJson(const Result &result) {
    base::Json object = base::newObject();
    base::add(object.get(), "name", std::string(result.check->name));
    base::add(object.get(), "result", std::string(wordOf(result.verdict)));
    base::add(object.get(), "asked", std::string(result.check->asked));
    base::add(object.get(), "came", result.came);
    base::add(object.get(), "contract", result.contract);
    base::add(object.get(), "device", result.device);
    base::add(object.get(), "log", result.log);
    base::add(object.get(), "ms", result.ms);
    return object;
}

void printPlace(const Options &options) {
    if (!options.copy.empty()) {
        std::printf("Each check gets a copy of %s of its own, made beside it and removed behind "
                    "it.\n",
                    options.copy.c_str());
    } else {
        std::printf("The checks are made on this node as it is, in the working directory.\n");
    }
    if (!options.reset.empty()) {
        std::printf("Before a check that follows one that wrote: %s\n", options.reset.c_str());
    }
    if (!options.boot.empty()) {
        std::printf("A boot is: %s\n", options.boot.c_str());
    }
    if (!options.makeImage.empty()) {
        std::printf("An image is made by: %s FILE SIZE VERSION\n", options.makeImage.c_str());
    }
    std::printf(
        "The platform runs in processes of their own, which cannot reboot this machine%s.\n",
        options.commands ? "" : " or run a program");
}

} // namespace

void printResult(const Result &result) {
    switch (result.verdict) {
    case Verdict::right:
        std::printf("right  %s%s%s\n", result.check->name, result.came.empty() ? "" : ": ",
                    result.came.c_str());
        break;
    case Verdict::wrong:
        std::printf("WRONG  %s\n       asked:       %s\n       came:        %s\n"
                    "       contract:    %s\n       on a device: %s\n",
                    result.check->name, result.check->asked, result.came.c_str(),
                    result.contract.c_str(), result.device.c_str());
        if (!result.log.empty()) {
            std::printf("       its log:     %s\n", result.log.c_str());
        }
        break;
    default:
        std::printf("-      %s: %s\n", result.check->name, result.came.c_str());
    }
    std::fflush(stdout);
}

void printSum(const std::vector<Result> &results) {
    std::printf("%ld right, %ld wrong, %ld not looked at\n", countOf(results, Verdict::right),
                countOf(results, Verdict::wrong), leftOut(results));
}

void printAsJson(const std::string &platform, const std::vector<Result> &results) {
    const base::Json object = base::newObject();
    base::add(object.get(), "platform", platform);
    base::add(object.get(), "result", std::string(isAllRight(results) ? "right" : "wrong"));
    base::add(object.get(), "right", countOf(results, Verdict::right));
    base::add(object.get(), "wrong", countOf(results, Verdict::wrong));
    base::add(object.get(), "not_looked_at", leftOut(results));
    base::Json list = base::newList();
    for (const Result &result : results) {
        base::append(list.get(), asJson(result));
    }
    base::add(object.get(), "checks", std::move(list));
    base::printJson(object.get());
}

void writeJunit(const std::string &file, const std::vector<Result> &results) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<testsuite name=\"ota-platform-check\" tests=\"" +
                       std::to_string(results.size()) + "\" failures=\"" +
                       std::to_string(countOf(results, Verdict::wrong)) + "\" skipped=\"" +
                       std::to_string(leftOut(results)) + "\">\n";
    for (const Result &result : results) {
        text += junitCase(result);
    }
    const auto written = base::renewFile(file, text + "</testsuite>\n");
    if (!written) {
        throw base::Failure(base::Outcome::failed, written.error().text);
    }
}

void printPlan(const Options &options) {
    printPlace(options);
    for (const Check *const check : chosenChecks(options)) {
        const std::string why = whyLeftOut(*check, options);
        const char *const writes = (check->takes & kWrites) != 0 ? " (writes)" : "";
        if (why.empty()) {
            std::printf("%s%s: %s\n", check->name, writes, check->asked);
        } else {
            std::printf("not    %s: %s\n", check->name, why.c_str());
        }
    }
}

void printList() {
    for (const Check *const check : allChecks()) {
        std::printf("%s\n    %s\n", check->name, check->contract);
    }
}

bool isAllRight(const std::vector<Result> &results) {
    return countOf(results, Verdict::wrong) == 0;
}

} // namespace check
