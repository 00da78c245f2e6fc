// SPDX-License-Identifier: MIT
// The documented interface is the one that the running service tells of itself.
#include "bus_test.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

namespace {

std::string fileText(const std::string &path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string attributesOf(const std::string &tag) {
    static const std::regex kAttribute("([\\w.:-]+)=\"([^\"]*)\"");
    std::map<std::string, std::string> sorted;
    for (std::sregex_iterator found(tag.begin(), tag.end(), kAttribute), end; found != end;
         ++found) {
        sorted[(*found)[1]] = (*found)[2];
    }
    std::string text;
    for (const auto &[name, value] : sorted) {
        text.append(" ").append(name).append("=").append(value);
    }
    return text;
}

// One line per member of our interface with all that it holds, in the order of the names: comments,
// blanks, the order of members and of attributes carry no meaning; the order of arguments does.
std::vector<std::string> membersOf(const std::string &xml) {
    static const std::regex kComment("<!--[^]*?-->|<![^>]*>|<\\?[^>]*>");
    static const std::regex kTag("<(/?)(\\w+)([^>]*?)(/?)>");
    const std::string plain = std::regex_replace(xml, kComment, "");
    std::vector<std::string> members;
    bool ours = false;
    int depth = 0;
    for (std::sregex_iterator found(plain.begin(), plain.end(), kTag), end; found != end; ++found) {
        const bool closing = (*found)[1].length() > 0;
        const bool empty = (*found)[4].length() > 0;
        const std::string name = (*found)[2];
        const std::string attributes = attributesOf((*found)[3]);
        if (name == "interface") {
            ours = !closing && attributes == std::string(" name=") + service::kBusInterface;
            depth = 0;
            continue;
        }
        if (!ours) {
            continue;
        }
        if (closing) {
            --depth;
            continue;
        }
        if (depth == 0) {
            members.push_back(name + attributes);
        } else {
            members.back().append(" | ").append(name).append(attributes);
        }
        depth += empty ? 0 : 1;
    }
    std::sort(members.begin(), members.end());
    return members;
}

class Introspection : public BusTest {};

TEST_F(Introspection, EqualsTheDocumentedInterface) {
    startService();
    const ReplyRef reply = client_->callOn("org.freedesktop.DBus.Introspectable", "Introspect", "");
    ASSERT_TRUE(arrives(reply));
    ASSERT_EQ(reply->error, "");
    const std::vector<std::string> documented = membersOf(fileText(OTA_INTERFACE_XML));
    EXPECT_EQ(documented.size(), 46U);
    EXPECT_EQ(membersOf(reply->content), documented);
}

TEST_F(Introspection, TheComparisonSeesNamesTypesDirectionsAndAnnotations) {
    const std::string documented = fileText(OTA_INTERFACE_XML);
    const auto members = membersOf(documented);
    for (const auto &[from, to] : std::vector<std::pair<std::string, std::string>>{
             {"name=\"descriptor\"", "name=\"text\""},
             {"type=\"y\"", "type=\"i\""},
             {"value=\"const\"", "value=\"false\""},
             {"name=\"cancelled\" type=\"t\" direction=\"out\"",
              "name=\"cancelled\" type=\"t\" direction=\"in\""},
             {"historyAdded", "historyaAdded"}}) {
        std::string other = documented;
        ASSERT_NE(other.find(from), std::string::npos) << from;
        other.replace(other.find(from), from.size(), to);
        EXPECT_NE(membersOf(other), members) << from;
    }
}

} // namespace
