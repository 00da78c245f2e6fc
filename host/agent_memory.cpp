// SPDX-License-Identifier: MIT
#include "host/agent_memory.h"

#include "base/json.h"
#include "base/lib_config.h"

#include <array>
#include <cstring>
#include <limits>
#include <span>

namespace host {
namespace {

constexpr const char *kItem = "swInfo";
constexpr const char *kTime = "swActTime";
constexpr const char *kLibConfig = "otaLibConfig";
constexpr const char *kRebootTime = "g_rebootTime";

struct TextRow {
    const char *key;
    std::size_t width; // bytes, NUL included
};

constexpr std::array kItemTexts{
    TextRow{"model", sizeof OtaMatrixItem::model},
    TextRow{"nxtMSVersion", sizeof OtaMatrixItem::nxtMSVersion},
    TextRow{"fileServerURL", sizeof OtaMatrixItem::fileServerURL},
    TextRow{"checksum", sizeof OtaMatrixItem::checksum},
    TextRow{"mac", sizeof OtaMatrixItem::mac},
};
constexpr std::array kTimeTexts{
    TextRow{"model", sizeof ActivationTime::model},
    TextRow{"mac", sizeof ActivationTime::mac},
    TextRow{"sn", sizeof ActivationTime::sn},
    TextRow{"actTime", sizeof ActivationTime::actTime},
};

struct FlagRow {
    const char *key;
    std::uint8_t *AgentState::*flag;
};
constexpr std::array kFlags{
    FlagRow{"g_dwldStartTimer", &AgentState::downloadStartTimer},
    FlagRow{"g_dwldRetryTimer", &AgentState::downloadRetryTimer},
    FlagRow{"g_mobileTriggerExpire", &AgentState::mobileTriggerExpired},
    FlagRow{"g_mAppRebootTrig", &AgentState::rebootTimeBySignal},
    FlagRow{"g_ISDeferedUpgrade", &AgentState::upgradeDeferred},
};

struct NumberRow {
    const char *key;
    std::int32_t *AgentState::*number;
};
constexpr std::array kNumbers{
    NumberRow{"g_firstTimeObardingWindowGivenPSNWBuildSame", &AgentState::noFirstTimeWindow},
    NumberRow{"reboot_flag", &AgentState::rebootScheduled},
};

// Everything that is restored, read and checked before the first variable changes.
struct Memory {
    OtaMatrixItem item{};
    ActivationTime time{};
    OtaLibConfig libConfig{};
    char rebootTime[OTA_TIME_TEXT_WIDTH]{};
    std::array<std::uint8_t, kFlags.size()> flags{};
    std::array<std::int32_t, kNumbers.size()> numbers{};
};

// The text of the variable, which has room for it.
base::Result<std::string> takeFitting(const cJSON *object, const TextRow &row) {
    auto text = base::takeText(object, row.key);
    if (text && text->size() >= row.width) {
        return base::Error{std::string("\"") + row.key + "\" has " + std::to_string(text->size()) +
                           " characters: expected at most " + std::to_string(row.width - 1)};
    }
    return text;
}

// The record's object, whose texts all fit.
base::Result<const cJSON *> takeRecord(const cJSON *memory, const char *key,
                                       std::span<const TextRow> rows) {
    auto record = base::takeObject(memory, key);
    if (!record) {
        return record;
    }
    for (const TextRow &row : rows) {
        if (const auto text = takeFitting(*record, row); !text) {
            return text.error().within(std::string("\"") + key + "\": ");
        }
    }
    return record;
}

base::Result<void> readRecords(const AgentState &state, const cJSON *memory, Memory &read) {
    const auto item = takeRecord(memory, kItem, kItemTexts);
    if (!item) {
        return item.error();
    }
    if (const auto policy = base::takeInteger(*item, "policy"); !policy) {
        return policy.error();
    }
    const auto time = takeRecord(memory, kTime, kTimeTexts);
    if (!time) {
        return time.error();
    }
    const auto config = base::takeLibConfig(memory, kLibConfig);
    if (!config) {
        return config.error();
    }
    read.libConfig = *config;
    state.decodeItem(*item, &read.item);
    state.decodeTime(*time, &read.time);
    return {};
}

base::Result<void> readFlags(const cJSON *memory, Memory &read) {
    constexpr int kMaxFlag = std::numeric_limits<std::uint8_t>::max();
    const auto rebootTime = takeFitting(memory, {kRebootTime, sizeof read.rebootTime});
    if (!rebootTime) {
        return rebootTime.error();
    }
    rebootTime->copy(read.rebootTime, sizeof read.rebootTime - 1);
    for (std::size_t i = 0; i < kFlags.size(); ++i) {
        const auto flag = base::takeIntegerWithin(memory, kFlags.at(i).key, 0, kMaxFlag);
        if (!flag) {
            return flag.error();
        }
        read.flags.at(i) = static_cast<std::uint8_t>(*flag);
    }
    for (std::size_t i = 0; i < kNumbers.size(); ++i) {
        const auto number = base::takeInteger(memory, kNumbers.at(i).key);
        if (!number) {
            return number.error();
        }
        read.numbers.at(i) = *number;
    }
    return {};
}

void store(const AgentState &state, const Memory &read) {
    *state.swInfo = read.item;
    *state.swActTime = read.time;
    *state.otaLibConfig = read.libConfig;
    std::memcpy(*state.rebootTime, read.rebootTime, sizeof read.rebootTime);
    for (std::size_t i = 0; i < kFlags.size(); ++i) {
        *(state.*kFlags.at(i).flag) = read.flags.at(i);
    }
    for (std::size_t i = 0; i < kNumbers.size(); ++i) {
        *(state.*kNumbers.at(i).number) = read.numbers.at(i);
    }
}

} // namespace

base::Json takeMemory(const AgentState &state) {
    base::Json memory = base::newObject();
    base::add(memory.get(), kItem, base::Json(state.encodeItem(state.swInfo)));
    base::add(memory.get(), kTime, base::Json(state.encodeTime(state.swActTime)));
    base::add(memory.get(), kLibConfig, base::printLibConfig(*state.otaLibConfig));
    base::add(memory.get(), kRebootTime, *state.rebootTime);
    for (const FlagRow &row : kFlags) {
        base::add(memory.get(), row.key, *(state.*row.flag));
    }
    for (const NumberRow &row : kNumbers) {
        base::add(memory.get(), row.key, *(state.*row.number));
    }
    return memory;
}

base::Result<void> restoreMemory(const AgentState &state, const cJSON *memory) {
    if (!base::isObject(memory)) {
        return base::Error{"\"memory\" is missing or no object: expected an object"};
    }
    Memory read;
    auto whole = readRecords(state, memory, read).andThen([&] { return readFlags(memory, read); });
    if (whole) {
        store(state, read);
    }
    return whole;
}

} // namespace host
