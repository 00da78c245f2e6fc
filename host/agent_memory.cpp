// SPDX-License-Identifier: MIT
#include "host/agent_memory.h"

#include "base/json_fields.h"
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

bool textFits(const cJSON *object, const TextRow &row, std::string &whatIsWrong) {
    const char *const text = base::takeText(object, row.key, whatIsWrong);
    if (text == nullptr) {
        return false;
    }
    if (std::strlen(text) >= row.width) {
        whatIsWrong = std::string("\"") + row.key + "\" has " + std::to_string(std::strlen(text)) +
                      " characters: expected at most " + std::to_string(row.width - 1);
        return false;
    }
    return true;
}

// The record's object where all its texts fit, else null.
const cJSON *takeRecord(const cJSON *memory, const char *key, std::span<const TextRow> rows,
                        std::string &whatIsWrong) {
    const cJSON *const record = cJSON_GetObjectItemCaseSensitive(memory, key);
    if (!cJSON_IsObject(record)) {
        whatIsWrong = std::string("\"") + key + "\" is missing or no object: expected an object";
        return nullptr;
    }
    for (const TextRow &row : rows) {
        if (!textFits(record, row, whatIsWrong)) {
            whatIsWrong = std::string("\"") + key + "\": " + whatIsWrong;
            return nullptr;
        }
    }
    return record;
}

bool readRecords(const AgentState &state, const cJSON *memory, Memory &read,
                 std::string &whatIsWrong) {
    const cJSON *const item = takeRecord(memory, kItem, kItemTexts, whatIsWrong);
    int policy = 0;
    if (item == nullptr || !base::takeInteger(item, "policy", policy, whatIsWrong)) {
        return false;
    }
    const cJSON *const time = takeRecord(memory, kTime, kTimeTexts, whatIsWrong);
    if (time == nullptr || !base::takeLibConfig(memory, kLibConfig, read.libConfig, whatIsWrong)) {
        return false;
    }
    state.decodeItem(item, &read.item);
    state.decodeTime(time, &read.time);
    return true;
}

bool readFlags(const cJSON *memory, Memory &read, std::string &whatIsWrong) {
    constexpr int kMaxFlag = std::numeric_limits<std::uint8_t>::max();
    if (!textFits(memory, {kRebootTime, sizeof read.rebootTime}, whatIsWrong)) {
        return false;
    }
    const std::string rebootTime = base::takeText(memory, kRebootTime, whatIsWrong);
    rebootTime.copy(read.rebootTime, sizeof read.rebootTime - 1);
    for (std::size_t i = 0; i < kFlags.size(); ++i) {
        int flag = 0;
        if (!base::takeIntegerWithin(memory, kFlags.at(i).key, 0, kMaxFlag, flag, whatIsWrong)) {
            return false;
        }
        read.flags.at(i) = static_cast<std::uint8_t>(flag);
    }
    for (std::size_t i = 0; i < kNumbers.size(); ++i) {
        if (!base::takeInteger(memory, kNumbers.at(i).key, read.numbers.at(i), whatIsWrong)) {
            return false;
        }
    }
    return true;
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

// Hands the part over; what cannot be added is released.
bool add(const base::Json &object, const char *key, base::Json part) {
    if (!part || cJSON_AddItemToObject(object.get(), key, part.get()) == 0) {
        return false;
    }
    static_cast<void>(part.release()); // the object's now
    return true;
}

} // namespace

base::Json takeMemory(const AgentState &state) {
    base::Json memory(cJSON_CreateObject());
    bool whole = add(memory, kItem, base::Json(state.encodeItem(state.swInfo))) &&
                 add(memory, kTime, base::Json(state.encodeTime(state.swActTime))) &&
                 add(memory, kLibConfig, base::printLibConfig(*state.otaLibConfig)) &&
                 add(memory, kRebootTime, base::Json(cJSON_CreateString(*state.rebootTime)));
    for (const FlagRow &row : kFlags) {
        whole = whole && add(memory, row.key, base::Json(cJSON_CreateNumber(*(state.*row.flag))));
    }
    for (const NumberRow &row : kNumbers) {
        whole = whole && add(memory, row.key, base::Json(cJSON_CreateNumber(*(state.*row.number))));
    }
    return whole ? std::move(memory) : nullptr;
}

bool restoreMemory(const AgentState &state, const cJSON *memory, std::string &whatIsWrong) {
    if (!cJSON_IsObject(memory)) {
        whatIsWrong = "\"memory\" is missing or no object: expected an object";
        return false;
    }
    Memory read;
    if (!readRecords(state, memory, read, whatIsWrong) || !readFlags(memory, read, whatIsWrong)) {
        return false;
    }
    store(state, read);
    return true;
}

} // namespace host
