// SPDX-License-Identifier: MIT
// One JSON object from outside, read without the liberties that parsers take.
#ifndef GUARD_STRICT_JSON_H
#define GUARD_STRICT_JSON_H

#include "base/json.h"
#include "guard/refusal.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace guard {

/*
 * The object is parsed by cJSON, as the agent does it, after the text has passed a strict reading:
 * at most 64 KiB of valid UTF-8, no NUL in any spelling, JSON's grammar to the letter, nesting of
 * at most 8, and nothing but blanks around the one object. Keys are case-sensitive; unknown ones
 * are not looked at.
 */
class StrictObject {
  public:
    static constexpr std::size_t kMaxText = 64 * 1024;

    /* Takes the text in. A refusal names `field`, and the object is empty. */
    std::optional<Refusal> read(std::string_view text, const char *field);

    /* True where the key stands there, once or more often. */
    bool has(const char *key) const;

    /*
     * The value of a key that must stand there once: a text of at most width - 1 bytes, or a whole
     * number, however it is spelled ("2.0" is 2). A refusal leaves the value untouched. A whole
     * number outside of int becomes the nearest int.
     */
    std::optional<Refusal> takeText(const char *key, std::size_t width, std::string &value) const;
    std::optional<Refusal> takeWholeNumber(const char *key, int &value) const;

  private:
    // The only member of this key, or a refusal.
    std::optional<Refusal> findOnly(const char *key, const cJSON *&item) const;

    base::Json object_;
};

} // namespace guard

#endif
