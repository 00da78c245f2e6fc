// SPDX-License-Identifier: MIT
#include "node/read_back.h"

#include "base/timed.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace node {

ReadBack::ReadBack(base::UniqueFd bank, std::string path, std::uint64_t payloadSize,
                   std::uint64_t imageSize)
    : path_(std::move(path)), size_(imageSize), bank_(std::move(bank)), sums_(payloadSize) {}

base::Result<void> ReadBack::start() {
    for (AlignedBytes &buffer : buffers_) {
        buffer = alignedBytes(kPieceSize);
    }
    try {
        summer_ = std::jthread([this](const std::stop_token &stop) { sumAll(stop); });
        reader_ = std::jthread([this](const std::stop_token &stop) { readAll(stop); });
    } catch (const std::system_error &error) {
        return base::Error{path_ + " cannot be read back, no thread can be started: " +
                           error.code().message() + "; look for what uses up the threads"};
    }
    return {};
}

void ReadBack::synced(std::uint64_t end) { reach(synced_, end); }

base::Result<void> ReadBack::finish() {
    reader_.join();
    if (!readIt_) {
        summer_.request_stop();
    }
    summer_.join();
    return readIt_;
}

void ReadBack::readAll(const std::stop_token &stop) {
    for (std::uint64_t offset = 0; offset < size_; offset += kPieceSize) {
        const std::size_t wanted = sizeAt(offset);
        if (!wait(stop, [&] {
                return synced_ >= offset + wanted && offset - summed_ < kBuffers * kPieceSize;
            })) {
            return;
        }
        if (!base::timed(timeToRead_, [&] { return bank_.read(bufferOf(offset), wanted); })) {
            const std::string why =
                errno == 0
                    ? path_ + ": ends before its " + std::to_string(size_) + " bytes were read back"
                    : base::systemReason(path_ + ": cannot be read back");
            readIt_ = base::Error{why + "; check the device"};
            return;
        }
        reach(read_, offset + wanted);
    }
}

void ReadBack::sumAll(const std::stop_token &stop) {
    for (std::uint64_t offset = 0; offset < size_; offset += kPieceSize) {
        const std::size_t wanted = sizeAt(offset);
        if (!wait(stop, [&] { return read_ >= offset + wanted; })) {
            return;
        }
        base::timed(timeToSum_, [&] {
            sums_.add(bufferOf(offset), wanted);
            return true;
        });
        reach(summed_, offset + wanted);
    }
}

bool ReadBack::wait(const std::stop_token &stop, const std::function<bool()> &isSo) {
    std::unique_lock lock(mutex_);
    return changed_.wait(lock, stop, isSo);
}

void ReadBack::reach(std::uint64_t &mark, std::uint64_t end) {
    {
        const std::lock_guard lock(mutex_);
        mark = end;
    }
    changed_.notify_all();
}

std::size_t ReadBack::sizeAt(std::uint64_t offset) const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(size_ - offset, kPieceSize));
}

char *ReadBack::bufferOf(std::uint64_t offset) const {
    return buffers_.at(offset / kPieceSize % kBuffers).get();
}

} // namespace node
