// SPDX-License-Identifier: MIT
// The manual page and the completion know exactly the verbs and options that otactl has.
#include "base/outcome.h"
#include "cli/verbs.h"
#include "report/verbs.h"
#include "tools/verbs.h"

#include "tests/support/content_of.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

using Names = std::set<std::string>;

Names optionNamesOf(const base::Command &command) {
    Names names;
    for (const base::Parameter &option : base::optionsOf(command)) {
        std::istringstream each(option.name);
        for (std::string name; std::getline(each, name, ',');) {
            names.insert(name);
        }
    }
    return names;
}

class Documented : public testing::Test {
  protected:
    Documented() {
        // What otactl hands over to a tool has the tool's options.
        for (base::Command &verb : program_.verbs) {
            if (verb.name == "sign") {
                verb = tools::signVerb(caller_);
            } else if (verb.name == "verify") {
                verb = tools::verifyVerb(caller_);
            } else if (verb.name == "config") {
                verb.verbs = {tools::checkVerb(caller_)};
            } else if (verb.name == "metrics") {
                verb = report::metricsVerb(asked_);
            } else if (verb.name == "support-bundle") {
                verb = report::supportBundleVerb(asked_);
            }
            options_[verb.name] = optionNamesOf(verb);
            for (const base::Command &inner : verb.verbs) {
                inner_[verb.name].insert(inner.name);
            }
        }
    }

    cli::Globals globals_;
    tools::Caller caller_;
    report::Asked asked_;
    base::Command program_ = cli::commandLine(globals_);
    std::map<std::string, Names> options_; // by verb
    std::map<std::string, Names> inner_;   // second words by verb
};

// The rows [word]="word word" of one of the completion's tables.
std::map<std::string, Names> completionTable(const std::string &name) {
    const std::string script = contentOf(OTA_PACKAGING "/completion/otactl");
    const std::size_t begin = script.find("local -A " + name + "=(");
    const std::string text = script.substr(begin, script.find("\n    )", begin) - begin);
    const std::regex row(R"re(\[([a-z-]+)\]="([^"]*)")re");
    std::map<std::string, Names> table;
    for (std::sregex_iterator at(text.begin(), text.end(), row), end; at != end; ++at) {
        std::istringstream words((*at)[2]);
        table[(*at)[1]] = {std::istream_iterator<std::string>(words), {}};
    }
    return table;
}

// A macro of the page at the beginning of a line, with what follows it unescaped.
std::string unescaped(std::string text) {
    for (const auto &[from, to] :
         std::map<std::string, std::string>{{R"(\\-)", "-"}, {R"(\\f[BIR])", ""}}) {
        text = std::regex_replace(text, std::regex(from), to);
    }
    return text;
}

Names optionsIn(const std::string &text) {
    const std::regex option(R"((^|[^\w-])(--?[a-z][a-z-]*))");
    Names names;
    for (std::sregex_iterator at(text.begin(), text.end(), option), end; at != end; ++at) {
        names.insert((*at)[2]);
    }
    return names;
}

TEST_F(Documented, EveryVerbDoesSomethingAndSaysWhat) {
    EXPECT_EQ(program_.verbs.size(), 17U);
    EXPECT_EQ(options_.size(), 17U);
    for (const base::Command &verb : program_.verbs) {
        EXPECT_FALSE(verb.summary.empty()) << verb.name;
        EXPECT_NE(verb.run != nullptr, !verb.verbs.empty()) << verb.name;
        for (const base::Command &inner : verb.verbs) {
            EXPECT_TRUE(inner.run != nullptr && !inner.summary.empty()) << inner.name;
        }
    }
}

TEST_F(Documented, TheCompletionHasEveryVerbAndOption) {
    Names globals = optionNamesOf(program_);
    EXPECT_EQ(completionTable("words").at("otactl"), globals);
    const std::map<std::string, Names> table = completionTable("options");
    ASSERT_EQ(table.size(), options_.size());
    for (auto [verb, options] : options_) {
        options.erase("-h");
        options.erase("--help");
        ASSERT_TRUE(table.contains(verb)) << verb;
        EXPECT_EQ(table.at(verb), options) << verb;
    }
    EXPECT_EQ(completionTable("second"), inner_);
}

// "otactl offer ... --wait" under SYNOPSIS is a paragraph each; the options' own are below a verb.
TEST_F(Documented, TheManualPageHasEveryVerbAndOption) {
    const std::string page = contentOf(OTA_PACKAGING "/otactl.1");
    const std::regex verbLine(R"(\n\.SS ([a-z\\-]+)[^\n]*\n)");
    std::map<std::string, Names> documented;
    std::string previous;
    std::size_t begin = 0;
    for (std::sregex_iterator at(page.begin(), page.end(), verbLine), end; at != end; ++at) {
        const auto place = static_cast<std::size_t>(at->position());
        if (!previous.empty()) {
            documented[previous] = optionsIn(unescaped(page.substr(begin, place - begin)));
        }
        previous = unescaped((*at)[1]);
        begin = place;
    }
    const std::size_t last = page.find("\n.SH", begin);
    documented[previous] = optionsIn(unescaped(page.substr(begin, last - begin)));
    ASSERT_EQ(documented.size(), options_.size());
    for (auto [verb, options] : options_) {
        options.erase("-h");
        options.erase("--help");
        EXPECT_EQ(documented[verb], options) << verb;
    }
    const std::size_t general = page.find("\n.SH OPTIONS\n");
    ASSERT_NE(general, std::string::npos);
    const std::string text = page.substr(general, page.find("\n.SH", general + 4) - general);
    EXPECT_EQ(optionsIn(unescaped(text)), optionNamesOf(program_));
}

// ".TP\n20 to 42\n": every code is in one of them, and none ends where no code is.
TEST_F(Documented, TheManualPageHasEveryExitCode) {
    const std::string page = contentOf(OTA_PACKAGING "/otactl.1");
    const std::size_t begin = page.find("\n.SH EXIT STATUS\n");
    ASSERT_NE(begin, std::string::npos);
    const std::string text = page.substr(begin, page.find("\n.SH", begin + 4) - begin);
    const std::regex entry(R"(\n\.TP\n([0-9]+)(?: to ([0-9]+))?(?=\n))");
    std::set<int> documented;
    for (std::sregex_iterator at(text.begin(), text.end(), entry), end; at != end; ++at) {
        const int first = std::stoi((*at)[1]);
        const int last = (*at)[2].matched ? std::stoi((*at)[2]) : first;
        EXPECT_NE(base::rowOfCode(first), nullptr) << first;
        EXPECT_NE(base::rowOfCode(last), nullptr) << last;
        for (int code = first; code <= last; ++code) {
            documented.insert(code);
        }
    }
    for (const base::OutcomeRow &row : base::outcomes()) {
        EXPECT_TRUE(documented.contains(row.code)) << row.code << " " << row.name;
    }
}

} // namespace
