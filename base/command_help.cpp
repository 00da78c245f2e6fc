// SPDX-License-Identifier: MIT
// What --help prints.
#include "base/command_line.h"

#include <string_view>

namespace base {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kTextColumn = 30;
constexpr std::size_t kFurther = 8; // where a further line of names begins

// The text behind the margin, in lines that end behind one of the breaks; no word is cut.
std::string wrapped(const std::string &first, std::size_t margin, std::string_view text,
                    char breaks = ' ') {
    std::string lines;
    std::string line = first;
    while (line.size() + text.size() > kColumns) {
        // A blank may stand behind the last column.
        const std::size_t room = kColumns - line.size() + (breaks == ' ' ? 1 : 0);
        std::size_t last = text.substr(0, room).rfind(breaks);
        last = last == std::string_view::npos ? text.find(breaks) : last;
        if (last == std::string_view::npos) {
            break;
        }
        lines += line.append(text.substr(0, breaks == ' ' ? last : last + 1)) + "\n";
        text.remove_prefix(last + 1);
        line.assign(margin, ' ');
    }
    return lines + line.append(text) + "\n";
}

std::string joined(const std::string &label, const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += text.empty() ? label + name : ", " + name;
    }
    return text;
}

std::string paddedRow(const std::string &names, const std::string &text) {
    std::string lines = wrapped("  ", kFurther, names, '|');
    std::string margin(kTextColumn, ' ');
    if (lines.size() <= kTextColumn) {
        lines.pop_back();
        margin.replace(0, lines.size(), lines);
        lines.clear();
    }
    return lines + wrapped(margin, kTextColumn, text);
}

std::string helpRowOf(const Parameter &parameter) {
    const Value &value = parameter.value;
    std::string names = parameter.name;
    if (!value.shown.empty()) {
        names += " " + value.shown + (value.usual.empty() ? "" : "=" + value.usual);
    }
    switch (parameter.times) {
    case Times::atMostOnce:
        break;
    case Times::once:
        names += " REQUIRED";
        break;
    case Times::any:
        names += " ...";
        break;
    case Times::someAndRest:
        names += " ... REQUIRED";
        break;
    }
    return paddedRow(names + joined(" Needs: ", parameter.needs) +
                         joined(" Excludes: ", parameter.excludes),
                     parameter.text);
}

std::string usage(const Command &command, const std::string &path) {
    std::string line = path + " [OPTIONS]";
    for (const Parameter &argument : command.arguments) {
        const bool optional = argument.times == Times::atMostOnce;
        line += optional ? " [" + argument.name + "]" : " " + argument.name;
        line += argument.times == Times::someAndRest ? "..." : "";
    }
    return wrapped("Usage: ", kFurther, line + (command.verbs.empty() ? "" : " VERB"));
}

} // namespace

std::vector<Parameter> optionsOf(const Command &command) {
    std::vector<Parameter> options = {{"-h,--help", {}, "Print this help message and exit"}};
    options.insert(options.end(), command.options.begin(), command.options.end());
    if (!command.version.empty()) {
        options.push_back({"--version", {}, "Display program version information and exit"});
    }
    return options;
}

std::string helpText(const Command &command, const std::string &path) {
    std::string text = wrapped("", 0, command.summary) + usage(command, path);
    if (!command.arguments.empty()) {
        text += "\nPositionals:\n";
    }
    for (const Parameter &argument : command.arguments) {
        text += helpRowOf(argument);
    }
    text += "\nOptions:\n";
    for (const Parameter &option : optionsOf(command)) {
        text += helpRowOf(option);
    }
    if (!command.verbs.empty()) {
        text += "\nVerbs:\n";
    }
    for (const Command &verb : command.verbs) {
        text += paddedRow(verb.name, verb.summary);
    }
    return text + (command.footer.empty() ? "" : "\n" + command.footer);
}

} // namespace base
