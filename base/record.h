// SPDX-License-Identifier: MIT
// One table per record: its fields in order, each with its key. Whoever writes or reads the record,
// in whatever form, goes by the table.
#ifndef BASE_RECORD_H
#define BASE_RECORD_H

#include <string>
#include <tuple>

namespace base {

/* What a strict reader holds a value to. */
struct Bounds {
    double least = 0; // of a number
    double most = 0;  // of a number; the bytes of a text; the items of a list
    bool (*fits)(const std::string &text) = nullptr;
    const char *expected = ""; // of a text that does not fit
    bool leftOut = false;      // where it is 0 or false
};

template <typename Record, typename Value>
struct Field {
    constexpr Field(const char *name, Value Record::*where, Bounds limits = {})
        : key(name), member(where), bounds(limits) {}

    const char *key;
    Value Record::*member;
    Bounds bounds;
};

/* The table stands beside the record: `constexpr auto fieldsOf(const Record *)` gives a tuple of
 * its fields, or of what has a key and a member like them. */
template <typename Record>
concept HasFields = requires(const Record *record) {
    fieldsOf(record);
};

/* Calls visit(field) for each, in order. */
template <HasFields Record, typename Visit>
constexpr void eachField(const Visit &visit) {
    std::apply([&](const auto &...field) { (visit(field), ...); },
               fieldsOf(static_cast<const Record *>(nullptr)));
}

} // namespace base

#endif
