// SPDX-License-Identifier: MIT
// What a bank holds, read and summed behind its writer.
#ifndef NODE_READ_BACK_H
#define NODE_READ_BACK_H

#include "node/direct_file.h"
#include "node/image_stream.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace node {

/*
 * One thread reads what the writer has synced, a second one sums it: while the device works on the
 * next bytes, the last ones are compared. Neither changes anything on the disk.
 */
class ReadBack {
  public:
    ReadBack(base::UniqueFd bank, std::string path, std::uint64_t payloadSize,
             std::uint64_t imageSize);

    /* Once, before the rest. Error: a thread cannot be started. */
    base::Result<void> start();
    /* The writer has synced the bank up to here, from its beginning. */
    void synced(std::uint64_t end);
    /* Waits for the rest; everything must have been synced. */
    base::Result<void> finish();

    /* Valid after finish. */
    ImageSums &sums() { return sums_; }
    std::chrono::nanoseconds timeToRead() const { return timeToRead_; }
    std::chrono::nanoseconds timeToSum() const { return timeToSum_; }

  private:
    // One that is read into, one that waits, one that is summed.
    static constexpr std::size_t kBuffers = 3;

    void readAll(const std::stop_token &stop);
    void sumAll(const std::stop_token &stop);
    /* Sleeps until it is so; false where the object goes. */
    bool wait(const std::stop_token &stop, const std::function<bool()> &isSo);
    void reach(std::uint64_t &mark, std::uint64_t end);
    std::size_t sizeAt(std::uint64_t offset) const;
    char *bufferOf(std::uint64_t offset) const;

    const std::string path_;
    const std::uint64_t size_;
    DirectFile bank_;
    ImageSums sums_;
    std::array<AlignedBytes, kBuffers> buffers_;
    base::Result<void> readIt_;
    std::chrono::nanoseconds timeToRead_{};
    std::chrono::nanoseconds timeToSum_{};

    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::uint64_t synced_ = 0; // each of the three runs behind the one before
    std::uint64_t read_ = 0;
    std::uint64_t summed_ = 0;

    // The last members: they end before what they use is gone.
    std::jthread summer_;
    std::jthread reader_;
};

} // namespace node

#endif
