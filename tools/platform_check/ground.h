// SPDX-License-Identifier: MIT
// Where a check takes place: the node's folder, its images and banks, and its platform.
#ifndef TOOLS_PLATFORM_CHECK_GROUND_H
#define TOOLS_PLATFORM_CHECK_GROUND_H

#include "tools/platform_check/check.h"
#include "tools/platform_check/options.h"
#include "tools/platform_check/play.h"
#include "tools/platform_check/shared.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace check {

/* What the library was seen to have. */
struct Survey {
    bool opens = false; // to the end
    bool table = false;
    bool trials = false;
    bool timers = false;
    bool bus = false;
    bool root = false;
    bool gateway = false;
    std::string tmp; // directory, as it names it
    std::uint64_t capacity = 0;
};

constexpr const char *kOldImage = "4QZcheck1";
constexpr const char *kNewImage = "4QZcheck2";

class Ground {
  public:
    Ground(const Options &options, Player &player);
    ~Ground();
    Ground(const Ground &) = delete;
    Ground &operator=(const Ground &) = delete;

    const Options &options() const { return options_; }
    Player &player() { return player_; }
    const Survey &survey() const { return survey_; }

    /* Loads the platform once, to see what it has. */
    void look();
    /* The node is as it was before the first check: in a fresh copy of its folder, or by the
     * command where what went before may have written. */
    void renew(bool wrote);

    /* With the limit of a call that may block. */
    void playLong(const Step &step) { player_.play(step, Opening::whole, options_.limit); }

    std::uint64_t capacity() const;
    std::uint64_t smallSize() const;
    /* An image of so many bytes in the tmp directory, named and offered as this version. */
    std::string image(const char *version, std::uint64_t size);
    std::string image(const char *version) { return image(version, smallSize()); }
    /* A path in the tmp directory where nothing is yet. */
    std::string pathInTmp(const std::string &name) const;

    /* What is told of a check that is right, too. */
    void remark(const std::string &text) { remark_ = text; }
    const std::string &remark() const { return remark_; }

    /* Runs the boot loader. */
    void boot();

    std::string bankPath(int bank) const { return bank == 0 ? options_.bankA : options_.bankB; }
    /* Of the whole bank. */
    std::uint64_t digestOf(int bank) const;
    bool bankHolds(int bank, const std::string &image) const;

  private:
    void leave();
    void removeImages();

    const Options &options_;
    Player &player_;
    Survey survey_;
    std::string home_;  // absolute
    std::string place_; // the copy that is in use; empty: none
    std::vector<std::string> images_;
    std::string remark_;
};

/* Steps that many checks take. Each throws Wrong where it does not go as it should. */

/* In a step: the facts, in a record behind which nothing can be written. */
OtaBankFacts factsOf(const Platform &platform);
/* In a step: the running version, and the other one, empty where there is none; kept in shared().
 */
void keepVersions(const Platform &platform);

/* In a step: no file of the process may grow beyond so many bytes. */
void stopFilesAt(std::uint64_t bytes);

void writeImage(Ground &ground, const std::string &image);
void activateImage(Ground &ground);
/* Versions and, where there are trials, facts into shared(). */
void lookAtNode(Ground &ground);

std::string inQuotes(std::string_view text);
/* "answered 3", and why, where the platform says so. */
std::string answered(int answer, const OtaFault &why);
std::string answered(int answer);

} // namespace check

#endif
