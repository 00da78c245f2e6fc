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

std::string systemError(const char *what) {
    return std::string(what) + " failed: " + std::strerror(errno);
}

std::string tooLong(std::size_t length) {
    return "a message of " + std::to_string(length) + " bytes is over the limit of " +
           std::to_string(Channel::kMaxMessage);
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

// The text must be one object and nothing else: a NUL inside would hide what follows it.
Json parseObject(const std::string &text) {
    if (text.find('\0') != std::string::npos || hasEscapedNul(text)) {
        return nullptr;
    }
    Json object(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, nullptr, 1));
    return cJSON_IsObject(object.get()) ? std::move(object) : nullptr;
}

// Waits for the event; false with errno set where poll itself failed, true otherwise.
bool waitFor(int socket, short events, int timeoutMs) {
    pollfd entry{socket, events, 0};
    return poll(&entry, 1, timeoutMs) >= 0 || errno == EINTR;
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

bool Channel::send(const cJSON *object, std::string &error) {
    if (!post(object, error)) {
        return false;
    }
    while (wantsToWrite()) {
        if (!waitFor(socket_, POLLOUT, -1)) {
            error = systemError("waiting for the channel");
            return false;
        }
        if (!flush(error)) {
            return false;
        }
    }
    return true;
}

Channel::Status Channel::receive(Json &object, std::string &error, int timeoutMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const Status status = next(object, error);
        if (status != Status::nothing) {
            return status;
        }
        const int wait = timeoutMs < 0 ? -1 : remainingMs(end);
        if (!waitFor(socket_, POLLIN, wait)) {
            error = systemError("waiting for the channel");
            return Status::error;
        }
        const std::size_t before = incoming_.size();
        if (!feed(error)) {
            return Status::error;
        }
        if (wait == 0 && incoming_.size() == before && !closedByPeer_) {
            return Status::nothing;
        }
    }
}

bool Channel::post(const cJSON *object, std::string &error) {
    const JsonText text(cJSON_PrintUnformatted(object));
    if (!text) {
        error = "a message could not be printed: no memory";
        return false;
    }
    const std::size_t length = std::strlen(text.get());
    if (length > kMaxMessage) {
        error = tooLong(length);
        return false;
    }
    outgoing_ += encodeLength(length);
    outgoing_.append(text.get(), length);
    return flush(error);
}

bool Channel::flush(std::string &error) {
    while (!outgoing_.empty()) {
        const ssize_t sent =
            ::send(socket_, outgoing_.data(), outgoing_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            outgoing_.erase(0, static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return true;
        } else if (errno != EINTR) {
            error = systemError("writing to the channel");
            return false;
        }
    }
    return true;
}

bool Channel::feed(std::string &error) {
    std::array<char, kReadSize> chunk;
    // One message more than the limit is never kept: next() has to take them out in between.
    while (!closedByPeer_ && incoming_.size() <= kMaxMessage + kPrefixSize) {
        const ssize_t got = recv(socket_, chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (got > 0) {
            incoming_.append(chunk.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || errno == ECONNRESET) {
            closedByPeer_ = true;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return true;
        } else if (errno != EINTR) {
            error = systemError("reading from the channel");
            return false;
        }
    }
    return true;
}

Channel::Status Channel::next(Json &object, std::string &error) {
    if (incoming_.empty()) {
        return closedByPeer_ ? Status::endOfFile : Status::nothing;
    }
    const bool hasLength = incoming_.size() >= kPrefixSize;
    const std::size_t length = hasLength ? decodeLength(incoming_) : 0;
    if (length > kMaxMessage) {
        error = tooLong(length);
        return Status::error;
    }
    if (!hasLength || incoming_.size() < kPrefixSize + length) {
        if (!closedByPeer_) {
            return Status::nothing;
        }
        error = "the channel was closed inside a message, " + std::to_string(incoming_.size()) +
                " bytes of it arrived";
        return Status::error;
    }
    const std::string text = incoming_.substr(kPrefixSize, length);
    incoming_.erase(0, kPrefixSize + length);
    object = parseObject(text);
    if (!object) {
        error = "a message of " + std::to_string(length) +
                " bytes is not one JSON object without NUL characters";
        return Status::error;
    }
    return Status::message;
}

} // namespace base
