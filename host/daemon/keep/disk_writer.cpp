// SPDX-License-Identifier: MIT
// The one thread that writes to the node's storage, so that the loop never waits for a disk.
#include "host/daemon/keep/disk_writer.h"

#include "host/daemon/keep/line_file.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace otad {
namespace {

nal::UniqueFd newEvent() {
    nal::UniqueFd event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event) {
        throw std::system_error(errno, std::generic_category(),
                                "the disk writer got no event descriptor");
    }
    return event;
}

std::string replaceWhole(const std::string &path, const std::string &text) {
    std::string whatIsWrong;
    const nal::Replaced replaced = nal::replaceFile(path, text, whatIsWrong);
    return replaced == nal::Replaced::yes ? std::string() : whatIsWrong;
}

} // namespace

DiskWriter::DiskWriter() : event_(newEvent()), thread_([this] { work(); }) {}

DiskWriter::~DiskWriter() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void DiskWriter::replace(std::string path, std::string text, Done done) {
    queue({[path = std::move(path), text = std::move(text)] { return replaceWhole(path, text); },
           std::move(done)});
}

void DiskWriter::append(std::string path, std::string line, std::uint64_t maxBytes, int keep,
                        Done done) {
    queue({[path = std::move(path), line = std::move(line), maxBytes, keep] {
               return appendLine(path, line, maxBytes, keep);
           },
           std::move(done)});
}

void DiskWriter::dispatch() {
    std::uint64_t count = 0;
    static_cast<void>(read(event_.get(), &count, sizeof count)); // no completion: nothing to take
    std::vector<Completion> taken;
    {
        const std::lock_guard lock(mutex_);
        taken.swap(completions_);
    }
    for (const Completion &completion : taken) {
        if (completion.done) {
            completion.done(completion.whatIsWrong);
        }
    }
}

void DiskWriter::queue(Task task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

void DiskWriter::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
        if (tasks_.empty()) {
            return;
        }
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        std::string whatIsWrong = task.run();
        complete({std::move(task.done), std::move(whatIsWrong)});
        lock.lock();
    }
}

void DiskWriter::complete(Completion completion) {
    {
        const std::lock_guard lock(mutex_);
        completions_.push_back(std::move(completion));
    }
    const std::uint64_t one = 1;
    static_cast<void>(write(event_.get(), &one, sizeof one)); // full: it is readable already
}

} // namespace otad
