// SPDX-License-Identifier: MIT
// Pages of the kernel's cache on their way from one file to another: none of their bytes is copied,
// and none counts as memory of this process.
#ifndef NODE_PAGE_PIPE_H
#define NODE_PAGE_PIPE_H

#include "base/file_io.h"

#include <cstddef>
#include <cstdint>

namespace node {

class PagePipe {
  public:
    /* What it holds. */
    static constexpr std::size_t kSize = 1024 * 1024;

    /* False: there is none of that size to be had, errno is set. */
    bool open();
    /* Takes up to `most` bytes from the file's position on, while the pipe is empty. The bytes
     * taken, 0 at the file's end, or -1 with errno set: EINVAL where the kernel cannot do that. */
    std::int64_t fill(int file, std::size_t most) const;
    /* What DirectFile::writeFrom() takes from. */
    int end() const { return out_.get(); }

  private:
    base::UniqueFd in_;
    base::UniqueFd out_;
};

} // namespace node

#endif
