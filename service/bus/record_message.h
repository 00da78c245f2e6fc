// SPDX-License-Identifier: MIT
// Values of properties in messages of the bus: a record is a struct of its fields, by its table.
#ifndef SERVICE_BUS_RECORD_MESSAGE_H
#define SERVICE_BUS_RECORD_MESSAGE_H

#include "base/record.h"
#include "service/bus/text.h"

#include <array>
#include <cstdint>
#include <string>
#include <systemd/sd-bus.h>
#include <vector>

namespace service {

template <typename Value>
constexpr char kTypeLetter = 0;
template <>
inline constexpr char kTypeLetter<std::string> = 's';
template <>
inline constexpr char kTypeLetter<std::uint32_t> = 'u';
template <>
inline constexpr char kTypeLetter<std::uint64_t> = 't';
template <>
inline constexpr char kTypeLetter<std::int32_t> = 'i';
template <>
inline constexpr char kTypeLetter<bool> = 'b';

template <typename Record, typename Value>
constexpr char letterOf(const base::Field<Record, Value> & /*field*/) {
    return kTypeLetter<Value>;
}

/* What is in it, as of a container. */
template <base::HasFields Record>
constexpr auto kContents = std::apply(
    [](const auto &...field) {
        return std::array{letterOf(field)..., '\0'};
    },
    fieldsOf(static_cast<const Record *>(nullptr)));

template <typename Value>
constexpr auto kSignature = std::array{kTypeLetter<Value>, '\0'};
template <base::HasFields Record>
inline constexpr auto kSignature<Record> = std::apply(
    [](const auto &...field) {
        return std::array{'(', letterOf(field)..., ')', '\0'};
    },
    fieldsOf(static_cast<const Record *>(nullptr)));
template <base::HasFields Record>
inline constexpr auto kSignature<std::vector<Record>> = std::apply(
    [](const auto &...field) {
        return std::array{'a', '(', letterOf(field)..., ')', '\0'};
    },
    fieldsOf(static_cast<const Record *>(nullptr)));

// Each gives a negative number where it fails, as sd-bus does; where the value is of another type
// it cannot be read. The end of an array is 0.

template <typename Value>
int appendValue(sd_bus_message *message, const Value &value) {
    if constexpr (base::HasFields<Value>) {
        int result = sd_bus_message_open_container(message, 'r', kContents<Value>.data());
        base::eachField<Value>([&](const auto &field) {
            result = result < 0 ? result : appendValue(message, value.*field.member);
        });
        return result < 0 ? result : sd_bus_message_close_container(message);
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return sd_bus_message_append(message, "s", busText(value).c_str());
    } else if constexpr (std::is_same_v<Value, bool>) {
        return sd_bus_message_append(message, "b", static_cast<int>(value));
    } else {
        return sd_bus_message_append_basic(message, kTypeLetter<Value>, &value);
    }
}

template <typename Record>
int appendValue(sd_bus_message *message, const std::vector<Record> &records) {
    int result = sd_bus_message_open_container(message, 'a', kSignature<Record>.data());
    for (auto record = records.begin(); result >= 0 && record != records.end(); ++record) {
        result = appendValue(message, *record);
    }
    return result < 0 ? result : sd_bus_message_close_container(message);
}

template <typename Value>
int readValue(sd_bus_message *message, Value &value) {
    if constexpr (base::HasFields<Value>) {
        int result = sd_bus_message_enter_container(message, 'r', kContents<Value>.data());
        const bool isThere = result > 0;
        base::eachField<Value>([&](const auto &field) {
            result = result <= 0 ? result : readValue(message, value.*field.member);
        });
        return isThere && result > 0 ? sd_bus_message_exit_container(message) : result;
    } else if constexpr (std::is_same_v<Value, std::string>) {
        const char *text = "";
        const int result = sd_bus_message_read(message, "s", &text);
        value = text;
        return result;
    } else if constexpr (std::is_same_v<Value, bool>) {
        int flag = 0;
        const int result = sd_bus_message_read(message, "b", &flag);
        value = flag != 0;
        return result;
    } else {
        return sd_bus_message_read_basic(message, kTypeLetter<Value>, &value);
    }
}

template <typename Record>
int readValue(sd_bus_message *message, std::vector<Record> &records) {
    records.clear();
    int result = sd_bus_message_enter_container(message, 'a', kSignature<Record>.data());
    for (Record record; result >= 0 && (result = readValue(message, record)) > 0;) {
        records.push_back(std::move(record));
        record = {};
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

} // namespace service

#endif
