// SPDX-License-Identifier: MIT
// The wire tables: keys, widths and order, written down apart from the library's own tables.
#include "record_codecs.h"

#include <cstring>

namespace ota::test {

namespace {

constexpr bool kReadOnly = false;

// A text field of this width, or a number; the width is the wire's, not taken from the header.
#define TEXT(Record, name, width)                                                                  \
    WireField { #name, offsetof(Record, name), width }
#define NUMBER(Record, name)                                                                       \
    WireField { #name, offsetof(Record, name), 0 }

#define CODEC(Record, ...)                                                                         \
    RecordCodec {                                                                                  \
#Record, sizeof(Record), __VA_ARGS__,                                                      \
            [](const char *text, void *record) {                                                   \
                return AGENT(parse_##Record##_from_json)(text, static_cast<Record *>(record));     \
            },                                                                                     \
            [](const cJSON *object, void *record) {                                                \
                return AGENT(decode_##Record##_from_json)(object, static_cast<Record *>(record));  \
            },                                                                                     \
            [](const void *record) {                                                               \
                return JsonOwner(                                                                  \
                    AGENT(encode_##Record##_to_json)(static_cast<const Record *>(record)));        \
            }       \
    }

std::vector<WireField> swmgntCfgFields() {
    return {TEXT(SwmgntCfg, url, 8192), TEXT(SwmgntCfg, key, 1024),
            TEXT(SwmgntCfg, activationTime, 32),
            WireField{"pollingTime", offsetof(SwmgntCfg, pollingTime), 32, kReadOnly}};
}

std::vector<WireField> matrixItemFields() {
    return {TEXT(MatrixItem, model, 32), TEXT(MatrixItem, nxtMSVersion, 64),
            TEXT(MatrixItem, fileServerURL, 8192), TEXT(MatrixItem, checksum, 48),
            NUMBER(MatrixItem, policy)};
}

std::vector<WireField> otaMatrixItemFields() {
    return {TEXT(OtaMatrixItem, model, 32),
            TEXT(OtaMatrixItem, nxtMSVersion, 64),
            TEXT(OtaMatrixItem, fileServerURL, 8192),
            TEXT(OtaMatrixItem, checksum, 48),
            TEXT(OtaMatrixItem, mac, 18),
            NUMBER(OtaMatrixItem, policy)};
}

// Without its array, which has tests of its own.
std::vector<WireField> postPloadFields() {
    return {NUMBER(PostPload, responseCode), TEXT(PostPload, responseMsg, 100)};
}

std::vector<WireField> upgradeStatusFields() {
    return {TEXT(UpgradeStatus, model, 32),
            TEXT(UpgradeStatus, curswversion, 64),
            TEXT(UpgradeStatus, prevswversion, 64),
            TEXT(UpgradeStatus, mac, 18),
            TEXT(UpgradeStatus, sn, 32),
            TEXT(UpgradeStatus, status, 50)};
}

std::vector<WireField> zorvanInfoFields() {
    return {TEXT(ZorvanInfo, mac, 18),         TEXT(ZorvanInfo, vender, 32),
            TEXT(ZorvanInfo, model, 32),       TEXT(ZorvanInfo, sn, 32),
            TEXT(ZorvanInfo, swversion, 64),   TEXT(ZorvanInfo, hwversion, 32),
            TEXT(ZorvanInfo, wifi_2g_mac, 18), TEXT(ZorvanInfo, wifi_5g_mac, 18),
            TEXT(ZorvanInfo, eth_wan_mac, 18), TEXT(ZorvanInfo, wds_2g_mac, 18),
            TEXT(ZorvanInfo, wds_5g_mac, 18),  NUMBER(ZorvanInfo, first_up)};
}

std::vector<WireField> activationTimeFields() {
    return {TEXT(ActivationTime, model, 32), TEXT(ActivationTime, mac, 18),
            TEXT(ActivationTime, sn, 32), TEXT(ActivationTime, actTime, 32)};
}

std::int32_t sampleNumber(std::size_t index) { return -7 - static_cast<std::int32_t>(index); }

std::string sampleText(const WireField &field) { return "\"" + field.key + "\"\\\n\xc3\xa9"; }

} // namespace

const std::vector<RecordCodec> &recordCodecs() {
    static const std::vector<RecordCodec> codecs{
        CODEC(SwmgntCfg, swmgntCfgFields()),          CODEC(MatrixItem, matrixItemFields()),
        CODEC(OtaMatrixItem, otaMatrixItemFields()),  CODEC(PostPload, postPloadFields()),
        CODEC(UpgradeStatus, upgradeStatusFields()),  CODEC(ZorvanInfo, zorvanInfoFields()),
        CODEC(ActivationTime, activationTimeFields())};
    return codecs;
}

JsonOwner json(const std::string &text) {
    JsonOwner item(cJSON_Parse(text.c_str()));
    EXPECT_NE(item, nullptr) << "the test's own text does not parse: " << text.substr(0, 200);
    return item;
}

std::string oneLine(const cJSON *item) {
    char *text = cJSON_PrintUnformatted(item);
    std::string copy = text != nullptr ? text : "";
    cJSON_free(text);
    return copy;
}

std::string quoted(const std::string &text) {
    const JsonOwner item(cJSON_CreateString(text.c_str()));
    return oneLine(item.get());
}

std::int32_t Record::number(const WireField &field) const {
    std::int32_t value = 0;
    std::memcpy(&value, mBytes.data() + field.offset, sizeof value);
    return value;
}

void Record::setText(const WireField &field, const std::string &text) {
    ASSERT_LT(text.size(), field.width);
    std::memset(mBytes.data() + field.offset, 0, field.width);
    text.copy(mBytes.data() + field.offset, field.width - 1);
}

void Record::setNumber(const WireField &field, std::int32_t value) {
    std::memcpy(mBytes.data() + field.offset, &value, sizeof value);
}

Record sampleRecord(const RecordCodec &codec) {
    Record record(codec, '\0');
    for (std::size_t i = 0; i < codec.fields.size(); ++i) {
        const WireField &field = codec.fields[i];
        if (field.isText()) {
            record.setText(field, sampleText(field));
        } else {
            record.setNumber(field, sampleNumber(i));
        }
    }
    return record;
}

std::string sampleObject(const RecordCodec &codec) {
    std::string text;
    for (std::size_t i = 0; i < codec.fields.size(); ++i) {
        const WireField &field = codec.fields[i];
        text += (i == 0 ? "" : ",") + quoted(field.key) + ":" +
                (field.isText() ? quoted(sampleText(field)) : std::to_string(sampleNumber(i)));
    }
    return "{" + text + "}";
}

} // namespace ota::test
