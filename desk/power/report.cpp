// SPDX-License-Identifier: MIT
#include "desk/power/report.h"

#include "desk/failure.h"

namespace power {
namespace {

[[noreturn]] void failAt(const std::string &file) {
    throw desk::Failure(base::systemReason(file + ": the file cannot be written") +
                        "; name one that can be made");
}

} // namespace

Report::Report(std::string countFile, const std::string &journalFile)
    : countFile_(std::move(countFile)) {
    if (!journalFile.empty()) {
        journal_.open(journalFile);
        if (!journal_) {
            failAt(journalFile);
        }
    }
}

std::uint64_t Report::count(const Tracee &tracee, const Call &call, const Effect &effect) {
    ++count_;
    lastLine_ = std::to_string(count_) + " " + tracee.program() + " " + call.row->name;
    if (!effect.path.empty()) {
        lastLine_ += " " + effect.path.string();
    }
    if (effect.range) {
        lastLine_ +=
            " " + std::to_string(effect.range->offset) + " " + std::to_string(effect.range->length);
    }
    if (journal_.is_open()) {
        journal_ << lastLine_ << std::endl; // at once: it is read where this process hangs, too
    }
    return count_;
}

void Report::close() {
    if (countFile_.empty()) {
        return;
    }
    std::ofstream file(countFile_);
    file << count_ << "\n";
    file.close();
    if (!file) {
        failAt(countFile_);
    }
}

} // namespace power
