// SPDX-License-Identifier: MIT
#include "report/exposition.h"

#include "base/text.h"
#include "base/timed.h"

#include <array>
#include <cstdio>

namespace report {
namespace {

// Backslashes are doubled last of all: those of printed bytes, too.
std::string labelValue(const std::string &text) {
    std::string value;
    for (const char byte : base::plain(text)) {
        value += byte == '\\' || byte == '"' ? "\\" : "";
        value += byte;
    }
    return value;
}

} // namespace

void Exposition::family(const char *name, Type type, const char *help) {
    name_ = std::string("otaswagent_") + name;
    head_ = "# HELP " + name_ + " " + help + "\n# TYPE " + name_ +
            (type == Type::counter ? " counter\n" : " gauge\n");
}

void Exposition::figure(const Labels &labels, std::uint64_t number) {
    line(labels, std::to_string(number));
}

void Exposition::seconds(const Labels &labels, std::uint64_t milliseconds) {
    constexpr auto kPerSecond = static_cast<std::uint64_t>(base::kMsPerSecond);
    std::array<char, sizeof ".000"> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03u",
                  static_cast<unsigned>(milliseconds % kPerSecond));
    line(labels, std::to_string(milliseconds / kPerSecond) + fraction.data());
}

void Exposition::line(const Labels &labels, const std::string &value) {
    text_ += std::exchange(head_, {});
    text_ += name_;
    const char *before = "{";
    for (const auto &[label, text] : labels) {
        text_ += before + (label + ("=\"" + labelValue(text) + "\""));
        before = ",";
    }
    text_ += labels.empty() ? "" : "}";
    text_ += " " + value + "\n";
}

} // namespace report
