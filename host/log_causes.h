// SPDX-License-Identifier: MIT
// Why a download or a checksum failed, read out of the agent's log: it tells it nowhere else.
#ifndef HOST_LOG_CAUSES_H
#define HOST_LOG_CAUSES_H

#include "base/result.h"

#include <optional>
#include <string>
#include <string_view>

namespace host {

class LogCauses {
  public:
    /* `hasNoRoom` is asked of the file that a transfer could not write. */
    explicit LogCauses(bool (*hasNoRoom)(const std::string &path)) : hasNoRoom_(hasNoRoom) {}

    /*
     * Takes each entry: the function that wrote it, and what follows its prefix. The cause that is
     * known from it; of a failed attempt it comes twice, then with the attempt's number.
     */
    std::optional<base::Error> take(std::string_view function, std::string_view text);
    /* What ended the transfer is known: the entry that tells its failure is taken for this. */
    void expect(const base::Error &cause) { expected_ = cause; }
    /* The call of the agent is over: what it left without a word. */
    std::optional<base::Error> endOfCall();

  private:
    std::optional<base::Error> ofDownload(std::string_view text);
    std::optional<base::Error> ofTransfer(std::string_view text);
    std::optional<base::Error> ofAnswer(std::string_view text);
    std::optional<base::Error> ofChecksum(std::string_view text);
    std::optional<base::Error> ofCaFile(std::string_view text);
    base::Error attempt(int number) const;
    base::Error unwritten(const std::string &transfer) const;

    bool (*hasNoRoom_)(const std::string &path);
    std::string caFile_;
    std::string imageFile_; // that is about to be made; empty: none
    std::optional<base::Error> expected_;
    base::Error failed_;    // the attempt that failed last
    bool answered_ = false; // by a code that brings no file, and is not counted
    std::string offeredSum_;
    std::string sum_;
};

} // namespace host

#endif
