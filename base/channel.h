// SPDX-License-Identifier: MIT
// Length-prefixed JSON messages over the socket between the supervisor and the host.
#ifndef BASE_CHANNEL_H
#define BASE_CHANNEL_H

#include "base/json.h"
#include "base/result.h"

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

    /* Takes the stream socket over, closes it at the end, and keeps it from child processes. */
    explicit Channel(int socket);
    ~Channel();
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;

    int fd() const { return socket_; }

    /* Writes the whole message, waiting where the socket is full. */
    Result<void> send(const cJSON *object);
    /* Waits for a whole message, at most timeoutMs milliseconds; a negative value: for ever. Null:
     * the time is over, or ended(). */
    Result<Json> receive(int timeoutMs = -1);
    /* The other side closed, and all of its messages were taken. */
    bool ended() const { return closedByPeer_ && incoming_.empty(); }

    /* Queues the message and writes what the socket takes at once. */
    Result<void> post(const cJSON *object);
    /* Writes what the socket takes of the queue at once. */
    Result<void> flush();
    /* True while flush has something left: poll for POLLOUT. */
    bool wantsToWrite() const { return !outgoing_.empty(); }

    /* Reads what the socket holds, without waiting. */
    Result<void> feed();
    /* Takes the next whole message out of what was fed. Null: more bytes are needed, or ended(). */
    Result<Json> next();

  private:
    int socket_;
    bool closedByPeer_ = false;
    std::string incoming_;
    std::string outgoing_;
};

} // namespace base

#endif
