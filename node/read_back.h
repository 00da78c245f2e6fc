// SPDX-License-Identifier: MIT
// A bank read or written in order, past the kernel's cache where the bank lets that happen, and
// what it holds, read and summed behind its writer.
#ifndef NODE_READ_BACK_H
#define NODE_READ_BACK_H

#include "base/file_io.h"
#include "node/image_stream.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace node {

/* Where bytes must lie in memory and in the file to pass the cache by. */
constexpr std::size_t kAlignment = 4096;

struct AlignedDelete {
    void operator()(char *bytes) const;
};
using AlignedBytes = std::unique_ptr<char[], AlignedDelete>;

/* Memory that begins at a multiple of kAlignment; size is one too. */
AlignedBytes alignedBytes(std::size_t size);

/*
 * What the device refuses to do past the cache, such as the part of a block at an image's end, goes
 * through the cache from there on. Not for several threads at once. Every call may block.
 */
class DirectFile {
  public:
    /* The position is the beginning of the file. */
    explicit DirectFile(base::UniqueFd file);

    /* Writes every byte, or returns false with errno set. What went through the cache is on its
     * way to the device then, but needs a sync to be there for sure. */
    bool write(const char *bytes, std::size_t size);
    /*
     * Reads the next `wanted` bytes into memory from alignedBytes() with room for
     * roundedUp(wanted). What the cache holds of them clean is dropped before. False: errno is set,
     * and is 0 where the file ends before.
     */
    bool read(char *buffer, std::size_t wanted);

    /* What was written survives a power cut; data alone leaves times out. False: errno is set. */
    bool sync();
    bool syncData();
    bool close() { return file_.reset(); }

  private:
    void useCache();

    base::UniqueFd file_;
    std::uint64_t position_ = 0;
    bool passesCache_ = false;
};

/* The next multiple of kAlignment. */
constexpr std::size_t roundedUp(std::size_t size) {
    return (size + kAlignment - 1) / kAlignment * kAlignment;
}

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
