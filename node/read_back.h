// SPDX-License-Identifier: MIT
// A bank read or written in order, past the kernel's cache where the bank lets that happen, and
// what it holds, read and summed behind its writer.
#ifndef NODE_READ_BACK_H
#define NODE_READ_BACK_H

#include "base/file_io.h"
#include "node/image_stream.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace node {

/* Where bytes must lie in memory and in the file to pass the cache by. */
constexpr std::size_t kAlignment = 4096;

/* What a large page of the kernel's holds, where it has them. */
constexpr std::size_t kLargePage = 2 * 1024 * 1024;

struct AlignedDelete {
    std::size_t alignment = kAlignment;
    void operator()(char *bytes) const;
};
using AlignedBytes = std::unique_ptr<char[], AlignedDelete>;

/* Memory that begins at a multiple of the alignment; size is one too. */
AlignedBytes alignedBytes(std::size_t size, std::size_t alignment = kAlignment);

/*
 * What the device refuses to do past the cache, such as the part of a block at an image's end, goes
 * through the cache from there on. Several threads may read at once, one may write. Every call may
 * block.
 */
class DirectFile {
  public:
    /* The position is the beginning of the file. */
    explicit DirectFile(base::UniqueFd file);

    /* Writes every byte, or returns false with errno set. What went through the cache is on its
     * way to the device then, but needs a sync to be there for sure. */
    bool write(const char *bytes, std::size_t size);
    /* The same with what waits in this pipe, without a copy of it. EINVAL: the kernel cannot do
     * that with this file, and none of what is left in the pipe was written. */
    bool writeFrom(int pipe, std::size_t size);
    /* How much was written. */
    std::uint64_t position() const { return position_; }
    /*
     * Reads `wanted` bytes at this offset, a multiple of kAlignment, into memory from
     * alignedBytes() with room for roundedUp(wanted). What the cache holds of them clean is dropped
     * before. False: errno is set, and is 0 where the file ends before.
     */
    bool read(char *buffer, std::size_t wanted, std::uint64_t offset);

    /* What was written survives a power cut; data alone leaves times out. False: errno is set. */
    bool sync();
    bool syncData();
    bool close() { return file_.reset(); }

  private:
    template <typename Put>
    bool putAll(std::size_t size, const Put &put);
    void useCache();

    base::UniqueFd file_;
    std::uint64_t position_ = 0; // of what is written
    std::atomic<bool> passesCache_ = false;
};

/* The next multiple of kAlignment. */
constexpr std::size_t roundedUp(std::size_t size) {
    return (size + kAlignment - 1) / kAlignment * kAlignment;
}

/*
 * Two threads read what the writer has synced, so that the device has its next request when it is
 * done with one; a third one sums it, in order. None changes anything on the disk.
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
    // Two buffers that are read into, one that waits, one that is summed.
    static constexpr std::size_t kBuffers = 4;
    // What is read at once; devices take large pieces faster than small ones.
    static constexpr std::size_t kPiece = kLargePage / kBuffers;

    void readAll(const std::stop_token &stop);
    void sumAll(const std::stop_token &stop);
    /* The next piece that nobody reads yet, once it is synced and has its buffer to itself; size_
     * where nothing is left to do. */
    std::uint64_t takeNext(const std::stop_token &stop);
    void fail(const std::string &why);
    std::size_t sizeAt(std::uint64_t offset) const;
    static std::size_t bufferOf(std::uint64_t offset) {
        return static_cast<std::size_t>(offset / kPiece) % kBuffers;
    }
    char *bytesAt(std::uint64_t offset) const { return memory_.get() + bufferOf(offset) * kPiece; }

    const std::string path_;
    const std::uint64_t size_;
    DirectFile bank_;
    ImageSums sums_;
    std::chrono::nanoseconds timeToSum_{};

    std::mutex mutex_;
    std::condition_variable_any changed_;
    AlignedBytes memory_;
    std::array<std::uint64_t, kBuffers> filledTo_{}; // where in the bank each one's piece ends
    std::uint64_t synced_ = 0;                       // each of the three runs behind the one before
    std::uint64_t taken_ = 0;
    std::uint64_t summed_ = 0;
    base::Result<void> readIt_;
    std::chrono::nanoseconds timeToRead_{};

    // The last members: they end before what they use is gone.
    std::jthread summer_;
    std::array<std::jthread, 2> readers_;
};

} // namespace node

#endif
