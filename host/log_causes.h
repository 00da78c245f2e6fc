// SPDX-License-Identifier: MIT
// Why a download or a checksum failed, read out of the agent's log: it tells it nowhere else.
#ifndef HOST_LOG_CAUSES_H
#define HOST_LOG_CAUSES_H

#include "base/reason.h"

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
    std::optional<base::Cause> take(std::string_view function, std::string_view text);
    /* What ended the transfer is known: the entry that tells its failure is taken for this. */
    void expect(const base::Cause &cause) { expected_ = cause; }
    /* The call of the agent is over: what it left without a word. */
    std::optional<base::Cause> endOfCall();

  private:
    std::optional<base::Cause> ofDownload(std::string_view text);
    std::optional<base::Cause> ofTransfer(std::string_view text);
    std::optional<base::Cause> ofAnswer(std::string_view text);
    std::optional<base::Cause> ofChecksum(std::string_view text);
    std::optional<base::Cause> ofCaFile(std::string_view text);
    base::Cause attempt(int number) const;
    base::Cause unwritten(const std::string &transfer) const;

    bool (*hasNoRoom_)(const std::string &path);
    std::string caFile_;
    std::string imageFile_; // that is about to be made; empty: none
    std::optional<base::Cause> expected_;
    base::Cause failed_;    // the attempt that failed last
    bool answered_ = false; // by a code that brings no file, and is not counted
    std::string offeredSum_;
    std::string sum_;
};

} // namespace host

#endif
