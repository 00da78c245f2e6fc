// SPDX-License-Identifier: MIT
// Reads a command line with getopt_long, by the program's table.
#include "base/command_line.h"

#include "base/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <string_view>

namespace base {
namespace {

constexpr int kFirstLong = 256; // behind every letter
constexpr std::size_t kLongestName = 60;

std::vector<std::string> spellingsOf(const Parameter &option) {
    const std::size_t comma = option.name.find(',');
    return comma == std::string::npos ? std::vector<std::string>{option.name}
                                      : std::vector<std::string>{option.name.substr(0, comma),
                                                                 option.name.substr(comma + 1)};
}

// An argument, although it begins with a dash.
bool isNegativeNumber(std::string_view word) {
    return word.size() > 1 && word[0] == '-' &&
           std::isdigit(static_cast<unsigned char>(word[1])) != 0;
}

// Without its value.
std::string nameIn(const std::string &word) {
    return word.starts_with("--") ? word.substr(0, word.find('=')) : word.substr(0, 2);
}

std::string shown(const std::string &name) { return plain(name.substr(0, kLongestName)); }

class Parser {
  public:
    Parser(const Command &program, std::vector<std::string> words) : words_(std::move(words)) {
        for (std::string &word : words_) {
            pointers_.push_back(word.data());
        }
        pointers_.push_back(nullptr);
        enter(program);
    }

    Parsed parse() {
        readWords();
        if (parsed_.wrong.empty()) {
            checkWhatIsMissing();
        }
        if (parsed_.wrong.empty()) {
            checkCombinations();
        }
        return parsed_;
    }

  private:
    void wrong(const std::string &what) {
        if (parsed_.wrong.empty()) {
            parsed_.wrong = what;
        }
    }

    // The options of all above it stay.
    void enter(const Command &command) {
        parsed_.command = &command;
        parsed_.path += (parsed_.path.empty() ? "" : " ") + command.name;
        for (const Parameter &option : optionsOf(command)) {
            const auto known = std::find_if(options_.begin(), options_.end(), [&](const auto &one) {
                return one.name == option.name;
            });
            if (known == options_.end()) {
                options_.push_back(option);
            }
        }
        given_.resize(options_.size());
        places_ = 0;
        listNames();
    }

    // As getopt_long wants them: first of all that arguments and what lacks a value are told.
    void listNames() {
        letters_ = "-:";
        names_.clear();
        for (std::size_t i = 0; i < options_.size(); ++i) {
            const bool takesValue = !options_[i].value.shown.empty();
            for (const std::string &name : spellingsOf(options_[i])) {
                names_.emplace_back(name, i);
                if (!name.starts_with("--")) {
                    letters_ += name.substr(1) + (takesValue ? ":" : "");
                }
            }
        }
        table_.clear();
        for (std::size_t i = 0; i < names_.size(); ++i) {
            const auto &[name, at] = names_[i];
            if (name.starts_with("--")) {
                table_.push_back(
                    {name.c_str() + 2,
                     options_[at].value.shown.empty() ? no_argument : required_argument, nullptr,
                     kFirstLong + static_cast<int>(i)});
            }
        }
        table_.push_back({nullptr, 0, nullptr, 0});
    }

    void readWords() {
        const int count = static_cast<int>(words_.size());
        const auto wordAt = [this](int at) { return words_[static_cast<std::size_t>(at)]; };
        opterr = 0;
        optind = 0; // whatever was read before
        static_cast<void>(
            getopt_long(1, pointers_.data(), letters_.c_str(), table_.data(), nullptr));
        optind = 1;
        bool amongLetters = false;
        while (!restIsArguments_) {
            const int at = optind;
            if (!amongLetters && at < count && isNegativeNumber(wordAt(at))) {
                takeArgument(wordAt(at));
                optind = at + 1;
                continue;
            }
            const int found =
                getopt_long(count, pointers_.data(), letters_.c_str(), table_.data(), nullptr);
            if (found == -1) {
                break;
            }
            takeFound(found, wordAt(at));
            amongLetters = found != 1 && optind == at;
        }
        for (int at = optind; at < count; ++at) {
            takeArgument(wordAt(at));
        }
    }

    // The option of that name as it is written out; none: there is none.
    const std::pair<std::string, std::size_t> *known(const std::string &name) const {
        const auto one = std::find_if(names_.begin(), names_.end(),
                                      [&](const auto &row) { return row.first == name; });
        return one == names_.end() ? nullptr : &*one;
    }

    void takeFound(int found, const std::string &word) {
        if (found == 1) {
            takeArgument(optarg);
            return;
        }
        const bool isLong = word.starts_with("--");
        const int letter = found == '?' || found == ':' ? optopt : found;
        const std::string name =
            isLong ? nameIn(word) : std::string{'-', static_cast<char>(letter)};
        const auto *const one = known(name);
        if (one == nullptr) {
            std::vector<std::string> all;
            for (const auto &row : names_) {
                all.push_back(row.first);
            }
            wrong(shown(name) + ": there is no such option" +
                  (isLong ? didYouMean(name, all) : ""));
        } else if (found == '?') {
            wrong(name + " takes no value");
        } else {
            const std::size_t at = one->second;
            take(at, name, found == ':' || optarg == nullptr ? "" : optarg);
        }
    }

    void take(std::size_t at, const std::string &name, const std::string &given) {
        const Parameter &option = options_[at];
        const bool takesValue = !option.value.shown.empty();
        if (takesValue && given.empty()) {
            wrong(name + " needs a value, " + option.value.shown);
        } else if (takesValue && given_[at] > 0 && option.times != Times::any) {
            wrong(name + " is given twice");
        } else {
            ++given_[at];
            store(name, option, given);
        }
    }

    void store(const std::string &name, const Parameter &parameter, const std::string &given) {
        if (!parameter.value.set) { // those that every program has
            (name == "--version" ? parsed_.version : parsed_.help) = true;
        } else if (const std::string expected = parameter.value.set(given); !expected.empty()) {
            wrong(name + " is " + quoted(given) + ": expected " + expected);
        }
    }

    void takeArgument(const std::string &word) {
        const Command &command = *parsed_.command;
        if (!command.verbs.empty()) {
            takeVerb(word);
        } else if (places_ >= command.arguments.size()) {
            wrong(shown(word) + ": one argument too many");
        } else {
            const Parameter &argument = command.arguments[places_];
            restIsArguments_ = argument.times == Times::someAndRest;
            someGiven_ = restIsArguments_;
            places_ += restIsArguments_ ? 0 : 1;
            store(argument.name, argument, word);
        }
    }

    void takeVerb(const std::string &word) {
        std::vector<std::string> names;
        for (const Command &verb : parsed_.command->verbs) {
            if (verb.name == word) {
                enter(verb);
                return;
            }
            names.push_back(verb.name);
        }
        wrong(shown(word) + ": there is no such verb" + didYouMean(word, names));
    }

    void checkWhatIsMissing() {
        const Command &command = *parsed_.command;
        if (!command.verbs.empty()) {
            wrong("a verb is missing");
        }
        for (std::size_t i = places_; i < command.arguments.size(); ++i) {
            const Times times = command.arguments[i].times;
            if (times == Times::once || (times == Times::someAndRest && !someGiven_)) {
                wrong(command.arguments[i].name + " is missing");
            }
        }
        for (std::size_t i = 0; i < options_.size(); ++i) {
            if (options_[i].times == Times::once && given_[i] == 0) {
                wrong(options_[i].name + " is missing");
            }
        }
    }

    bool isGiven(const std::string &name) const {
        const auto *const one = known(name);
        return one != nullptr && given_[one->second] > 0;
    }

    void checkCombinations() {
        for (std::size_t i = 0; i < options_.size(); ++i) {
            if (given_[i] == 0) {
                continue;
            }
            for (const std::string &other : options_[i].needs) {
                if (!isGiven(other)) {
                    wrong(options_[i].name + " needs " + other);
                }
            }
            for (const std::string &other : options_[i].excludes) {
                if (isGiven(other)) {
                    wrong(options_[i].name + " and " + other + " do not go together");
                }
            }
        }
    }

    std::vector<std::string> words_;
    std::vector<char *> pointers_;
    Parsed parsed_;
    std::vector<Parameter> options_;                         // of the command and all above it
    std::vector<std::size_t> given_;                         // how often, of each
    std::vector<std::pair<std::string, std::size_t>> names_; // and which option each is
    std::string letters_;
    std::vector<option> table_;
    std::size_t places_ = 0; // arguments that have theirs
    bool someGiven_ = false;
    bool restIsArguments_ = false;
};

} // namespace

Value flag(bool &target) {
    return {"", [&target](std::string_view) {
                target = true;
                return std::string();
            }};
}

Value wholeNumber(const std::string &shown, std::int64_t least, std::int64_t most,
                  std::function<void(std::int64_t)> take) {
    return {shown, [least, most, take = std::move(take)](std::string_view given) -> std::string {
                std::int64_t taken = 0;
                const char *const end = given.data() + given.size();
                const auto parsed = std::from_chars(given.data(), end, taken);
                if (parsed.ec != std::errc() || parsed.ptr != end || taken < least ||
                    taken > most) {
                    return "a whole number from " + std::to_string(least) + " to " +
                           std::to_string(most);
                }
                take(taken);
                return "";
            }};
}

Value oneOf(const std::vector<std::string> &words, std::function<void(std::size_t)> take) {
    std::string shown;
    for (const std::string &word : words) {
        shown += (shown.empty() ? "" : "|") + word;
    }
    return {shown, [shown, words, take = std::move(take)](std::string_view given) {
                const auto found = std::find(words.begin(), words.end(), given);
                if (found == words.end()) {
                    return shown;
                }
                take(static_cast<std::size_t>(found - words.begin()));
                return std::string();
            }};
}

Value oneOf(const std::vector<std::string> &words, std::string &target) {
    return oneOf(words, [words, &target](std::size_t at) { target = words[at]; });
}

Parsed parse(const Command &program, std::vector<std::string> words) {
    return Parser(program, std::move(words)).parse();
}

std::string withAdvice(const Parsed &parsed) {
    return parsed.wrong + "; see " + parsed.path + " --help";
}

std::optional<int> answer(const Command &program, const Parsed &parsed) {
    if (parsed.help) {
        std::printf("%s", helpText(*parsed.command, parsed.path).c_str());
        return 0;
    }
    if (parsed.version) {
        std::printf("%s\n", program.version.c_str());
        return 0;
    }
    if (!parsed.wrong.empty()) {
        std::fprintf(stderr, "%s: %s\n", program.name.c_str(), withAdvice(parsed).c_str());
        return kWrongUse;
    }
    return std::nullopt;
}

Parsed parseOrExit(const Command &program, int argc, char **argv) {
    Parsed parsed = parse(program, {argv, argv + argc});
    if (const std::optional<int> code = answer(program, parsed)) {
        std::exit(*code);
    }
    return parsed;
}

void refuse(const Command &program, const std::string &what) {
    std::exit(*answer(program, {&program, program.name, false, false, what}));
}

int runCommand(const Command &program, int argc, char **argv) {
    return parseOrExit(program, argc, argv).command->run();
}

} // namespace base
