// SPDX-License-Identifier: MIT
// A bank read or written in order, past the kernel's cache where the bank lets that happen.
#ifndef NODE_DIRECT_FILE_H
#define NODE_DIRECT_FILE_H

#include "base/file_io.h"

#include <cstddef>
#include <cstdint>
#include <memory>

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

} // namespace node

#endif
