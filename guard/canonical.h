// SPDX-License-Identifier: MIT
// The text that goes on to the agent: written anew from what was checked.
#ifndef GUARD_CANONICAL_H
#define GUARD_CANONICAL_H

#include "base/json.h"

#include <string>

namespace guard {

/* Members stand in the order in which they are added. Throws std::bad_alloc. */
class CanonicalObject {
  public:
    CanonicalObject();
    void add(const char *key, const std::string &text);
    void add(const char *key, int number);
    std::string text() const;

  private:
    base::Json object_;
};

} // namespace guard

#endif
