// SPDX-License-Identifier: MIT
// Length-prefixed JSON messages over the socket between the supervisor and the host.
#ifndef BASE_CHANNEL_H
#define BASE_CHANNEL_H

#include "base/json.h"

#include <cstddef>
#include <string>

namespace base {

/*
 * One message is a 4-byte little-endian length and that many bytes of JSON, one object, at most
 * kMaxMessage bytes. Errors are one line without a line end, for the caller to show.
 *
 * A side that may wait uses send and receive. A side that must never wait polls fd() and uses
 * post and flush to write, feed and next to read.
 */
class Channel {
  public:
    static constexpr std::size_t kMaxMessage = 1024 * 1024;

    enum class Status {
        message,   // a whole message was taken
        nothing,   // not yet: the time is over, or more bytes are needed
        endOfFile, // the other side closed between two messages
        error      // nothing more can be read; the error text says why
    };

    /* Takes the stream socket over, closes it at the end, and keeps it from child processes. */
    explicit Channel(int socket);
    ~Channel();
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;

    int fd() const { return socket_; }

    /* Writes the whole message, waiting where the socket is full. False: error is set. */
    bool send(const cJSON *object, std::string &error);
    /* Waits for a whole message, at most timeoutMs milliseconds; a negative value: for ever. */
    Status receive(Json &object, std::string &error, int timeoutMs = -1);

    /* Queues the message and writes what the socket takes at once. False: error is set. */
    bool post(const cJSON *object, std::string &error);
    /* Writes what the socket takes of the queue at once. False: error is set. */
    bool flush(std::string &error);
    /* True while flush has something left: poll for POLLOUT. */
    bool wantsToWrite() const { return !outgoing_.empty(); }

    /* Reads what the socket holds, without waiting. False: error is set. */
    bool feed(std::string &error);
    /* Takes the next whole message out of what was fed. */
    Status next(Json &object, std::string &error);

  private:
    int socket_;
    bool closedByPeer_ = false;
    std::string incoming_;
    std::string outgoing_;
};

} // namespace base

#endif
