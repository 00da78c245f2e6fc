// SPDX-License-Identifier: MIT
#include "service/uplink/root_topic.h"

namespace service {
namespace {

using Kind = FromExtender::Kind;

std::string_view leafOf(Kind kind) { return kind == Kind::report ? "report" : "file-server"; }

} // namespace

std::string rootTopic(std::string_view prefix, std::string_view mac, Kind kind) {
    std::string topic(prefix);
    topic.append("/").append(mac).append("/").append(leafOf(kind));
    return topic;
}

std::string everyRootTopic(std::string_view prefix, Kind kind) {
    return rootTopic(prefix, "+", kind);
}

bool parseRootTopic(std::string_view prefix, std::string_view topic, std::string &mac, Kind &kind) {
    if (!topic.starts_with(prefix)) {
        return false;
    }
    topic.remove_prefix(prefix.size());
    const std::size_t slash = topic.rfind('/');
    if (slash == std::string_view::npos || slash == 0 || topic.front() != '/') {
        return false;
    }
    const std::string_view leaf = topic.substr(slash + 1);
    if (leaf != leafOf(Kind::report) && leaf != leafOf(Kind::fileServer)) {
        return false;
    }
    kind = leaf == leafOf(Kind::report) ? Kind::report : Kind::fileServer;
    mac = topic.substr(1, slash - 1);
    return true;
}

} // namespace service
