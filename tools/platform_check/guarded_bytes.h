// SPDX-License-Identifier: MIT
// Bytes of which a platform is given the first: none behind them can be written, and none before
// them unnoticed.
#ifndef TOOLS_PLATFORM_CHECK_GUARDED_BYTES_H
#define TOOLS_PLATFORM_CHECK_GUARDED_BYTES_H

#include <cstddef>
#include <string>

namespace check {

class GuardedBytes {
  public:
    /* For the life of the process: few are made in one. */
    GuardedBytes(std::size_t size, int filledWith);

    void *get() const { return bytes_; }
    char *text() const { return static_cast<char *>(bytes_); }
    std::size_t size() const { return size_; }
    /* The text from there on; empty where no NUL stands within so many bytes. */
    std::string textAt(std::size_t offset, std::size_t width) const;
    bool endsWithin(std::size_t offset, std::size_t width) const;
    bool isUntouched() const;
    /* Throws Wrong where a byte before the first is another. */
    void lookBefore() const;

  private:
    void *page_ = nullptr;
    void *bytes_ = nullptr;
    std::size_t before_ = 0;
    std::size_t size_;
    int filledWith_;
};

/* A byte behind the last that is touched ends the process, and says so in shared().text. */
void watchGuardedBytes();

} // namespace check

#endif
