// SPDX-License-Identifier: MIT
#include "tools/platform_check/runner.h"

#include "base/failure.h"
#include "base/text.h"
#include "tools/platform_check/ground.h"
#include "tools/platform_check/guards.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace check {
namespace {

// A check by its name, a group by what stands before the dot.
bool isNamed(const Check &check, const std::string &name) {
    const std::string_view whole = check.name;
    return whole == name || whole.substr(0, whole.find('.')) == name;
}

bool isNeeded(const Check &check, const char *need) {
    return need != nullptr && isNamed(check, need);
}

std::string whatItLacks(const Check &check, const Ground &ground) {
    const Survey &survey = ground.survey();
    const std::array<std::pair<bool, const char *>, 7> lacks{{
        {(check.takes & kTable) != 0 && !survey.table,
         "the platform has no table, which is optional"},
        {(check.takes & kTrials) != 0 && !survey.trials,
         "its table has no trials, which are optional"},
        {(check.takes & kBus) != 0 && !survey.bus, "the host has its own bus"},
        {(check.takes & kRoot) != 0 && !survey.root, "the host has its own way to the root"},
        {(check.takes & kGateway) != 0 && !survey.gateway, "the host has its own gateway"},
        {(check.takes & kTimers) != 0 && !survey.timers, "the host has its own timers"},
        {(check.takes & kCapacity) != 0 && ground.capacity() == 0,
         "nobody says how much a bank holds: give --capacity, or bankCapacity in the table"},
    }};
    for (const auto &[isSo, why] : lacks) {
        if (isSo) {
            return why;
        }
    }
    return "";
}

class Runner {
  public:
    explicit Runner(const Options &options)
        : options_(options), player_(options), ground_(options, player_) {}

    Result make(const Check &check) {
        Result result{&check, Verdict::right, "", check.contract, check.device, "", 0};
        const std::int64_t began = nowMs();
        if (const std::string why = whyNot(check); !why.empty()) {
            result.verdict = hiddenBy(check) != nullptr ? Verdict::hidden : Verdict::notLookedAt;
            result.came = why;
        } else {
            judge(check, result);
        }
        result.ms = nowMs() - began;
        done_.emplace_back(&check, result.verdict);
        return result;
    }

    void begin() {
        ground_.renew(false);
        ground_.look();
    }

  private:
    // Null: nothing that it needs is wrong.
    const Check *hiddenBy(const Check &check) const {
        const auto found = std::find_if(done_.begin(), done_.end(), [&](const auto &one) {
            return (one.second == Verdict::wrong || one.second == Verdict::hidden) &&
                   (isNeeded(*one.first, check.needs) || isNeeded(*one.first, check.alsoNeeds));
        });
        return found == done_.end() ? nullptr : found->first;
    }

    std::string whyNot(const Check &check) const {
        if (const Check *const first = hiddenBy(check); first != nullptr) {
            return std::string("mend ") + first->name + " first";
        }
        std::string why = whyLeftOut(check, options_);
        if (why.empty() && (check.takes & kEarly) == 0 && !ground_.survey().opens) {
            why = "the platform does not open";
        }
        return why.empty() ? whatItLacks(check, ground_) : why;
    }

    void judge(const Check &check, Result &result) {
        ground_.renew(wrote_);
        ground_.remark("");
        wrote_ = wrote_ || (check.takes & kWrites) != 0;
        try {
            check.look(ground_);
            result.came = ground_.remark();
        } catch (const Wrong &wrong) {
            result.verdict = Verdict::wrong;
            result.came = base::printable(wrong.came);
            result.contract = wrong.contract == nullptr ? check.contract : wrong.contract;
            result.device = wrong.device == nullptr ? check.device : wrong.device;
            result.log = base::printable(player_.lastLineOfErrors());
        } catch (const NotLookedAt &not_) {
            result.verdict = Verdict::notLookedAt;
            result.came = base::printable(not_.why);
        }
    }

    const Options &options_;
    Player player_;
    Ground ground_;
    bool wrote_ = false;
    std::vector<std::pair<const Check *, Verdict>> done_;
};

} // namespace

std::vector<const Check *> chosenChecks(const Options &options) {
    std::vector<const Check *> chosen = allChecks();
    for (const std::string &name : options.only) {
        if (std::none_of(chosen.begin(), chosen.end(),
                         [&](const Check *check) { return isNamed(*check, name); })) {
            throw base::Failure(base::Outcome::wrongUse,
                                "there is no check or group " + base::quoted(name),
                                "see --list for those that there are");
        }
    }
    if (!options.only.empty()) {
        chosen.erase(std::remove_if(chosen.begin(), chosen.end(),
                                    [&](const Check *check) {
                                        return std::none_of(options.only.begin(),
                                                            options.only.end(),
                                                            [&](const std::string &name) {
                                                                return isNamed(*check, name);
                                                            });
                                    }),
                     chosen.end());
    }
    return chosen;
}

std::string whyLeftOut(const Check &check, const Options &options) {
    if ((check.takes & kWrites) != 0 && !options.destructive) {
        return "it writes or activates a bank: give --destructive";
    }
    if ((check.takes & kBanks) != 0 && (options.bankA.empty() || options.bankB.empty())) {
        return "where the banks are is not known: give --bank-a and --bank-b";
    }
    if ((check.takes & kBoot) != 0 && options.boot.empty()) {
        return "nothing boots here: give --boot with what chooses the bank as the boot loader does";
    }
    return "";
}

std::vector<Result> makeChecks(const Options &options,
                               const std::function<void(const Result &)> &tell) {
    const std::vector<const Check *> chosen = chosenChecks(options);
    if (options.commands && geteuid() != 0) {
        throw base::Failure(base::Outcome::wrongUse,
                            "--commands needs the programs that reboot covered, which takes root",
                            "run it as root, or without --commands");
    }
    Runner runner(options);
    runner.begin();
    std::vector<Result> results;
    results.reserve(chosen.size());
    for (const Check *const check : chosen) {
        results.push_back(runner.make(*check));
        tell(results.back());
    }
    return results;
}

} // namespace check
