// SPDX-License-Identifier: MIT
#include "base/json_record.h"

#include <algorithm>
#include <cmath>

namespace base {

bool RecordReader::complain(const std::string &place, const std::string &expected) {
    whatIsWrong_ = (place.empty() ? whole_ : "\"" + place + "\"") + ": expected " + expected;
    return false;
}

bool RecordReader::hasKeys(const cJSON *object, Place place, const std::vector<Key> &keys) {
    if (!isObject(object)) {
        return complain(place, "an object");
    }
    const std::vector<const cJSON *> members = membersOf(object);
    std::size_t known = 0;
    for (const bool leftOut : {false, true}) {
        for (const Key &key : keys) {
            const auto count =
                std::count_if(members.begin(), members.end(), [&](const cJSON *member) {
                    return std::string_view(member->string) == key.name;
                });
            if (key.leftOut == leftOut && (leftOut ? count > 1 : count != 1)) {
                return complain(place.empty() ? key.name : place + "." + key.name,
                                leftOut ? "this key once" : "this key exactly once");
            }
            known += key.leftOut == leftOut ? static_cast<std::size_t>(count) : 0;
        }
    }
    metUnknownKey_ = members.size() != known;
    if (metUnknownKey_) {
        whatIsWrong_ = (place.empty() ? "it" : "\"" + place + "\"") +
                       " holds a key that this release does not know";
    }
    return !metUnknownKey_;
}

bool RecordReader::read(const cJSON *item, Place place, const Bounds &bounds, std::string &text) {
    const char *const found = cJSON_GetStringValue(item);
    const auto most = static_cast<std::size_t>(bounds.most);
    if (found == nullptr || std::string_view(found).size() > most) {
        return complain(place, "a text of at most " + std::to_string(most) + " bytes");
    }
    text = found;
    return bounds.fits == nullptr || bounds.fits(text) || complain(place, bounds.expected);
}

bool RecordReader::read(const cJSON *item, Place place, const Bounds &, bool &flag) {
    flag = cJSON_IsTrue(item) != 0;
    return cJSON_IsBool(item) != 0 || complain(place, "true or false");
}

bool RecordReader::readWhole(const cJSON *item, Place place, const Bounds &bounds) {
    const double number = numberIn(item).value_or(std::nan(""));
    return (std::trunc(number) == number && number >= bounds.least && number <= bounds.most) ||
           complain(place, "a whole number within its bounds");
}

bool RecordReader::readList(const cJSON *item, Place place, const Bounds &bounds) {
    return (cJSON_IsArray(item) != 0 &&
            static_cast<double>(membersOf(item).size()) <= bounds.most) ||
           complain(place,
                    "a list of at most " + std::to_string(static_cast<std::size_t>(bounds.most)));
}

} // namespace base
