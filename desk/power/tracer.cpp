// SPDX-License-Identifier: MIT
#include "desk/power/tracer.h"

#include "desk/failure.h"
#include "desk/power/launch.h"
#include "desk/power/tracee.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <utility>

namespace power {
namespace {

[[noreturn]] void failToWrite(const std::string &file) {
    throw desk::Failure(base::systemReason(file + ": the file cannot be written") +
                        "; name one that can be made");
}

constexpr int kCallStop = SIGTRAP | 0x80; // as PTRACE_O_TRACESYSGOOD marks it
constexpr int kSignalled = 128;

std::optional<Call> readCall(pid_t thread) {
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof(info), &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_SECCOMP) {
        return std::nullopt;
    }
    Call call;
    call.row = base::diskCallOf(static_cast<long>(info.seccomp.nr));
    std::copy(std::begin(info.seccomp.args), std::end(info.seccomp.args), call.arguments.begin());
    return call.row == nullptr ? std::nullopt : std::optional(call);
}

std::optional<std::int64_t> resultOf(pid_t thread) {
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof(info), &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_EXIT) {
        return std::nullopt;
    }
    return info.exit.rval;
}

bool needsSpace(base::DiskAct act) {
    return act == base::DiskAct::write || act == base::DiskAct::allocate ||
           act == base::DiskAct::open || act == base::DiskAct::make ||
           act == base::DiskAct::rename || act == base::DiskAct::sync;
}

bool isStop(int signal) {
    return signal == SIGSTOP || signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU;
}

} // namespace

Report::Report(std::string countFile, const std::string &journalFile)
    : countFile_(std::move(countFile)) {
    if (!journalFile.empty()) {
        journal_.open(journalFile);
        if (!journal_) {
            failToWrite(journalFile);
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
        failToWrite(countFile_);
    }
}

int Tracer::run() {
    program_ = launchTraced(options_.program);
    threads_.insert(program_);
    // All that is left of the node is waited for, also after the cut.
    for (;;) {
        int status = 0;
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0 && errno == EINTR) {
            continue;
        }
        if (thread < 0) {
            break;
        }
        if (powerCutIsAsked() && !isOff_) {
            cutPower();
        }
        if (!WIFSTOPPED(status)) {
            ended(thread, status);
        } else if (isOff_) {
            kill(thread, SIGKILL);
        } else {
            stopped(thread, status);
        }
    }
    if (isOff_) {
        disk_.cut(mode_, options_.seed).write(options_.lossesFile);
        std::fprintf(stderr, "ota-power: power cut %s call %s\n",
                     powerCutIsAsked() ? "after" : "at", report_.lastLine().c_str());
        return kPowerCut;
    }
    return exitCode_;
}

void Tracer::ended(pid_t thread, int status) {
    threads_.erase(thread);
    std::erase(waiting_, thread);
    if (thread == program_) {
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
    }
    // Killed by another one before its call came back: the power goes all the same.
    const auto found = inFlight_.find(thread);
    if (!isOff_ && found != inFlight_.end() && found->second.cuts) {
        cutPower();
    }
    letGo(thread);
}

void Tracer::resume(pid_t thread, int signal) {
    // One that is gone by now tells so itself.
    ptrace(inFlight_.contains(thread) ? PTRACE_SYSCALL : PTRACE_CONT, thread, nullptr, signal);
}

void Tracer::stopped(pid_t thread, int status) {
    threads_.insert(thread);
    const int signal = WSTOPSIG(status);
    switch (static_cast<unsigned int>(status) >> 16) {
    case PTRACE_EVENT_SECCOMP:
        callBegins(thread);
        return;
    case PTRACE_EVENT_STOP:
        if (isStop(signal)) {
            ptrace(PTRACE_LISTEN, thread, nullptr, nullptr);
        } else {
            resume(thread);
        }
        return;
    case 0:
        if (signal == kCallStop) {
            callEnds(thread);
        } else {
            resume(thread, signal);
        }
        return;
    default: // a fork or an exec: what is new stops by itself
        resume(thread);
    }
}

void Tracer::takeFaults() {
    const auto text = faultsFile_.changed();
    if (!text) {
        return;
    }
    Faults faults = readFaults(*text, std::filesystem::canonical(options_.disk));
    isReadOnly_ = faults.readOnly;
    // One that is named as before goes on being counted.
    if (faults.cutName != cutName_) {
        cutName_ = faults.cutName;
        cutAt_.reset();
        if (faults.cutAfter) {
            cutAt_ = report_.counted() + *faults.cutAfter;
            mode_ = faults.mode;
        }
    }
    watch_.setFaults(std::move(faults));
}

void Tracer::callBegins(pid_t thread) {
    takeFaults();
    const auto call = readCall(thread);
    if (!call || !watch_.mayConcern(Tracee(thread), *call)) {
        resume(thread);
    } else if (busy_) {
        waiting_.push_back(thread);
    } else {
        begin(thread, *call);
    }
}

Tracer::Fate Tracer::fateOf(std::uint64_t number, base::DiskAct act) const {
    if (number == cutAt_) {
        return Fate::meetsTheCut;
    }
    if (number == options_.failAt || isReadOnly_) {
        return Fate::fails;
    }
    const bool fails = options_.failFrom && number >= *options_.failFrom &&
                       (options_.failWith != ENOSPC || needsSpace(act));
    return fails ? Fate::fails : Fate::happens;
}

void Tracer::begin(pid_t thread, const Call &call) {
    const Tracee tracee(thread);
    auto effect = watch_.examine(tracee, call);
    if (!effect) {
        resume(thread);
        return;
    }
    InFlight flight{call, std::move(*effect)};
    const base::DiskAct act = call.row->act;
    if (flight.effect.counts) {
        const Fate fate = fateOf(report_.count(tracee, call, flight.effect), act);
        // A sync that is cut has not kept anything for sure: as if it had not begun.
        const bool isSync = act == base::DiskAct::sync || act == base::DiskAct::syncAll ||
                            act == base::DiskAct::syncRange;
        if (fate == Fate::meetsTheCut && (mode_ == CutMode::drop || isSync)) {
            cutPower();
            return;
        }
        flight.cuts = fate == Fate::meetsTheCut;
        if (fate == Fate::fails) {
            flight.effect.result = isReadOnly_ ? -EROFS : -options_.failWith;
        }
    }
    if (flight.effect.result) {
        skipCall(thread);
    } else {
        flight.effect.before();
    }
    // What comes out of a pipe may come late, from one who must not stand still meanwhile.
    if (call.row->number != SYS_splice) {
        busy_ = thread;
    }
    inFlight_.emplace(thread, std::move(flight));
    resume(thread);
}

void Tracer::callEnds(pid_t thread) {
    const auto found = inFlight_.find(thread);
    const auto result = resultOf(thread);
    if (found != inFlight_.end() && result) {
        const InFlight &flight = found->second;
        if (flight.effect.result) {
            setResult(thread, *flight.effect.result);
        } else if (!flight.cuts || flight.call.row->act != base::DiskAct::write) {
            flight.effect.after(*result); // a write that is cut stays in flight
        }
        if (flight.cuts) {
            cutPower();
            return;
        }
    }
    letGo(thread);
    resume(thread);
}

void Tracer::letGo(pid_t thread) {
    inFlight_.erase(thread);
    if (busy_ != thread) {
        return;
    }
    busy_.reset();
    while (!busy_ && !isOff_ && !waiting_.empty()) {
        const pid_t next = waiting_.front();
        waiting_.pop_front();
        callBegins(next);
    }
}

void Tracer::cutPower() {
    isOff_ = true;
    for (const pid_t thread : threads_) {
        kill(thread, SIGKILL);
    }
}

} // namespace power
