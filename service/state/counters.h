// SPDX-License-Identifier: MIT
// How often what happened on the node since its first start: the sum of its history, also of the
// lines that its files had no room for.
#ifndef SERVICE_STATE_COUNTERS_H
#define SERVICE_STATE_COUNTERS_H

#include "service/state/disk_writer.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace service {

/*
 * A name is words: "event EVENT RESULT REASON-CODE"; "stage STAGE" for those that ended, and
 * "milliseconds STAGE" for how long they lasted; "bytes" that were downloaded.
 */
class Counters {
  public:
    /* What goes beyond so many names is counted as "other". */
    static constexpr std::size_t kMostNames = 500;
    /* So many lines may be counted before the file is written again: where the service ends without
     * warning, they are counted anew from the history. */
    static constexpr std::uint64_t kLinesBetweenWrites = 64;

    /* The disk writer outlives the counters' last write. */
    Counters(DiskWriter &disk, std::string path) : disk_(disk), path_(std::move(path)) {}

    /* Reads the file, once, at start: it blocks. An error names the file, and all counters are 0:
     * what the history holds is still to be counted. None is the file's absence. */
    base::Result<void> load();
    /* Each line of the history once, whenever it comes: those up to upTo() are in already. */
    void count(std::string_view line);
    /* Hands to the disk what it lacks. */
    void keep();

    /* The number of the last line that is in. */
    std::uint64_t upTo() const { return upTo_; }
    const std::map<std::string, std::uint64_t> &all() const { return counts_; }

  private:
    void add(const std::string &name, std::uint64_t number);

    DiskWriter &disk_;
    std::string path_;
    std::uint64_t upTo_ = 0;
    std::uint64_t keptUpTo_ = 0;
    std::map<std::string, std::uint64_t> counts_;
};

} // namespace service

#endif
