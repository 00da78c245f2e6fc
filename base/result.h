// SPDX-License-Identifier: MIT
// What a call that can fail gives back: its value, or the error.
#ifndef BASE_RESULT_H
#define BASE_RESULT_H

#include "base/reason.h"

#include <optional>
#include <string>
#include <utility>

namespace base {

/* One line that says what, where and what to do, and the reason code where one is known. */
struct Error {
    std::string text{};
    Reason reason = Reason::none;
    int attempt = 0; // of a download, the first is 1; 0: it is none of an attempt

    Outcome outcome() const { return rowOf(reason).outcome; }
    /* With more text around its line. */
    Error within(const std::string &before, const std::string &behind = "") const {
        return {before + text + behind, reason, attempt};
    }
    /* A reason that is there stands: what knows more lies deeper. */
    Error orBecause(Reason otherwise) const {
        return {text, reason == Reason::none ? otherwise : reason, attempt};
    }
};

/* The value is there exactly where the result is true, the error where it is false. */
template <typename T>
class [[nodiscard]] Result {
  public:
    Result(T value) : value_(std::move(value)) {}     // NOLINT: for return
    Result(Error error) : error_(std::move(error)) {} // NOLINT

    explicit operator bool() const { return value_.has_value(); }
    T &operator*() { return *value_; }
    const T &operator*() const { return *value_; }
    T *operator->() { return &*value_; }
    const T *operator->() const { return &*value_; }
    const Error &error() const { return error_; }

    Result orBecause(Reason otherwise) && {
        error_ = error_.orBecause(otherwise);
        return std::move(*this);
    }

  private:
    std::optional<T> value_;
    Error error_;
};

template <>
class [[nodiscard]] Result<void> {
  public:
    Result() = default;
    Result(Error error) : error_(std::move(error)) {} // NOLINT: for return

    explicit operator bool() const { return !error_; }
    const Error &error() const { return *error_; }

    Result orBecause(Reason otherwise) && {
        return error_ ? Result(error_->orBecause(otherwise)) : Result();
    }
    /* What `next` gives where this one succeeded. */
    template <typename Next>
    Result andThen(const Next &next) const {
        return error_ ? *this : next();
    }

  private:
    std::optional<Error> error_;
};

} // namespace base

#endif
