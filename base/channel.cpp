// SPDX-License-Identifier: MIT
#include "base/channel.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace base {
namespace {

constexpr std::size_t kPrefixSize = 4;
constexpr std::size_t kReadSize = 64 * 1024;

std::string encodeLength(std::size_t length) {
    std::string prefix;
    for (std::size_t i = 0; i < kPrefixSize; ++i) {
        prefix.push_back(static_cast<char>((length >> (8 * i)) & 0xFFU));
    }
    return prefix;
}

std::size_t decodeLength(const std::string &prefix) {
    std::uint32_t length = 0;
    for (std::size_t i = 0; i < kPrefixSize; ++i) {
        length |= static_cast<std::uint32_t>(static_cast<unsigned char>(prefix[i])) << (8 * i);
    }
    return length;
}

Error systemError(const char *what) {
    return {std::string(what) + " failed: " + std::strerror(errno)};
}

Error tooLong(std::size_t length) {
    return {"a message of " + std::to_string(length) + " bytes is over the limit of " +
            std::to_string(Channel::kMaxMessage)};
}

// A backslash stands in JSON texts only, so the character behind it always belongs to it.
bool hasEscapedNul(std::string_view text) {
    for (std::size_t at = text.find('\\'); at != std::string_view::npos;
         at = text.find('\\', at + 2)) {
        if (text.substr(at).starts_with("\\u0000")) {
            return true;
        }
    }
    return false;
}

// Null where the text is not one object. A NUL inside a text would hide what follows it.
Json parseMessage(std::string_view text) {
    const bool hasNul = text.find('\0') != std::string_view::npos || hasEscapedNul(text);
    return hasNul ? nullptr : parseObject(text);
}

Result<void> waitFor(int socket, short events, int timeoutMs) {
    pollfd entry{socket, events, 0};
    return poll(&entry, 1, timeoutMs) >= 0 || errno == EINTR
               ? Result<void>()
               : systemError("waiting for the channel");
}

int remainingMs(std::chrono::steady_clock::time_point end) {
    using std::chrono::milliseconds;
    const auto left =
        std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

} // namespace

Channel::Channel(int socket) : socket_(socket) {
    // The agent runs shell commands: a child that held the socket would hide its end.
    fcntl(socket_, F_SETFD, FD_CLOEXEC);
}

Channel::~Channel() { close(socket_); }

Result<void> Channel::send(const cJSON *object) {
    Result<void> sent = post(object);
    while (sent && wantsToWrite()) {
        sent = waitFor(socket_, POLLOUT, -1).andThen([&] { return flush(); });
    }
    return sent;
}

Result<Json> Channel::receive(int timeoutMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        auto message = next();
        if (!message || *message || ended()) {
            return message;
        }
        const int wait = timeoutMs < 0 ? -1 : remainingMs(end);
        const std::size_t before = incoming_.size();
        const auto fed = waitFor(socket_, POLLIN, wait).andThen([&] { return feed(); });
        if (!fed) {
            return fed.error();
        }
        if (wait == 0 && incoming_.size() == before && !closedByPeer_) {
            return Json();
        }
    }
}

Result<void> Channel::post(const cJSON *object) {
    const JsonText text(cJSON_PrintUnformatted(object));
    if (!text) {
        return Error{"a message could not be printed: no memory"};
    }
    const std::size_t length = std::strlen(text.get());
    if (length > kMaxMessage) {
        return tooLong(length);
    }
    outgoing_ += encodeLength(length);
    outgoing_.append(text.get(), length);
    return flush();
}

Result<void> Channel::flush() {
    while (!outgoing_.empty()) {
        const ssize_t sent =
            ::send(socket_, outgoing_.data(), outgoing_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            outgoing_.erase(0, static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return {};
        } else if (errno != EINTR) {
            return systemError("writing to the channel");
        }
    }
    return {};
}

Result<void> Channel::feed() {
    std::array<char, kReadSize> chunk;
    // One message more than the limit is never kept: next() has to take them out in between.
    while (!closedByPeer_ && incoming_.size() <= kMaxMessage + kPrefixSize) {
        const ssize_t got = recv(socket_, chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (got > 0) {
            incoming_.append(chunk.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || errno == ECONNRESET) {
            closedByPeer_ = true;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return {};
        } else if (errno != EINTR) {
            return systemError("reading from the channel");
        }
    }
    return {};
}

Result<Json> Channel::next() {
    if (incoming_.empty()) {
        return Json();
    }
    const bool hasLength = incoming_.size() >= kPrefixSize;
    const std::size_t length = hasLength ? decodeLength(incoming_) : 0;
    if (length > kMaxMessage) {
        return tooLong(length);
    }
    if (!hasLength || incoming_.size() < kPrefixSize + length) {
        if (!closedByPeer_) {
            return Json();
        }
        return Error{"the channel was closed inside a message, " +
                     std::to_string(incoming_.size()) + " bytes of it arrived"};
    }
    const std::string text = incoming_.substr(kPrefixSize, length);
    incoming_.erase(0, kPrefixSize + length);
    Json object = parseMessage(text);
    if (!object) {
        return Error{"a message of " + std::to_string(length) +
                     " bytes is not one JSON object without NUL characters"};
    }
    return object;
}

} // namespace base
