// SPDX-License-Identifier: MIT
// Records as JSON objects, by their tables.
#ifndef BASE_JSON_RECORD_H
#define BASE_JSON_RECORD_H

#include "base/json.h"
#include "base/record.h"

#include <string>
#include <type_traits>

namespace base {

// Writing. A record that is not there is null; those of a list keep their order.

template <HasFields Record>
Json asJson(const Record &record);
template <HasFields Record>
Json asJson(const std::optional<Record> &record);
template <typename List>
requires HasFields<typename List::value_type> Json asJson(const List &records);

template <typename Value>
requires requires(const Value &value) { asJson(value); }
void add(cJSON *object, const char *key, const Value &value) { add(object, key, asJson(value)); }

/* Each of the record's fields becomes a member of the object. */
template <HasFields Record>
void addFields(cJSON *object, const Record &record) {
    eachField<Record>([&](const auto &field) {
        const auto &value = record.*field.member;
        if (!field.bounds.leftOut || value != std::remove_cvref_t<decltype(value)>()) {
            add(object, field.key, value);
        }
    });
}

template <HasFields Record>
Json asJson(const Record &record) {
    Json object = newObject();
    addFields(object.get(), record);
    return object;
}

template <HasFields Record>
Json asJson(const std::optional<Record> &record) {
    return record ? asJson(*record) : newNull();
}

template <typename List>
requires HasFields<typename List::value_type> Json asJson(const List &records) {
    Json list = newList();
    for (const auto &record : records) {
        append(list.get(), asJson(record));
    }
    return list;
}

/*
 * Reads strictly: every key once and no other (those that may be left out at most once), every
 * value of its type and within its bounds. Keeps the first thing that is wrong.
 */
class RecordReader {
  public:
    /* `whole` is what the outermost record is called. */
    explicit RecordReader(const char *whole) : whole_(whole) {}

    /* False: the record may be half read. */
    template <HasFields Record>
    bool read(const cJSON *object, Record &record) {
        return read(object, "", {}, record);
    }
    /* Says what is wrong at the place, a key or a path of keys; always false. */
    bool complain(const std::string &place, const std::string &expected);

    /* One line. */
    const std::string &whatIsWrong() const { return whatIsWrong_; }
    /* It is but a key that is not in the table. */
    bool metUnknownKey() const { return metUnknownKey_; }

  private:
    struct Key {
        const char *name;
        bool leftOut;
    };
    using Place = const std::string &;

    bool hasKeys(const cJSON *object, Place place, const std::vector<Key> &keys);
    bool read(const cJSON *item, Place place, const Bounds &bounds, std::string &text);
    bool read(const cJSON *item, Place place, const Bounds &bounds, bool &flag);
    bool readWhole(const cJSON *item, Place place, const Bounds &bounds);
    bool readList(const cJSON *item, Place place, const Bounds &bounds);

    template <std::integral Number>
    bool read(const cJSON *item, Place place, const Bounds &bounds, Number &number) {
        if (!readWhole(item, place, bounds)) {
            return false;
        }
        number = static_cast<Number>(*numberIn(item));
        return true;
    }

    template <HasFields Record>
    bool read(const cJSON *object, Place place, const Bounds &, Record &record) {
        std::vector<Key> keys;
        eachField<Record>([&](const auto &field) {
            keys.push_back({field.key, field.bounds.leftOut});
        });
        bool good = hasKeys(object, place, keys);
        eachField<Record>([&](const auto &field) {
            const cJSON *const item = itemOf(object, field.key);
            const std::string inside = place.empty() ? field.key : place + "." + field.key;
            good =
                good && (item == nullptr || read(item, inside, field.bounds, record.*field.member));
        });
        return good;
    }

    template <HasFields Record>
    bool read(const cJSON *item, Place place, const Bounds &bounds, std::optional<Record> &record) {
        return cJSON_IsNull(item) != 0 || read(item, place, bounds, record.emplace());
    }

    template <typename List>
    requires HasFields<typename List::value_type>
    bool read(const cJSON *item, Place place, const Bounds &bounds, List &records) {
        bool good = readList(item, place, bounds);
        for (const cJSON *const member : good ? membersOf(item) : std::vector<const cJSON *>()) {
            const std::string inside = place + "[" + std::to_string(records.size()) + "]";
            good = good && read(member, inside, bounds, records.emplace_back());
        }
        return good;
    }

    const char *whole_;
    std::string whatIsWrong_;
    bool metUnknownKey_ = false;
};

} // namespace base

#endif
