// SPDX-License-Identifier: MIT
// The exported parse, decode and encode call of every record.
#include "otaSwAgent/codec.h"
#include "support/handle.h"
#include "json/decode.h"
#include "json/encode.h"
#include "json/schemas.h"

namespace {

using ota::json::decodeFields;
using ota::json::encodeFields;
using ota::json::parseRecord;

int decodeMatrixSlot(const cJSON *object, void *slot) {
    return decode_MatrixItem_from_json(object, static_cast<MatrixItem *>(slot));
}

cJSON *encodeMatrixSlot(const void *slot) {
    return encode_MatrixItem_to_json(static_cast<const MatrixItem *>(slot));
}

} // namespace

// Kept: a decoder answers 0 whatever was missing; callers judge the content.
#define OTA_DECODER(Record, decoder, fields)                                                       \
    int decoder(const cJSON *object, Record *record) {                                             \
        decodeFields(fields, object, record);                                                      \
        return 0;                                                                                  \
    }
#define OTA_PARSER(Record, parser, decoder)                                                        \
    int parser(const char *text, Record *record) {                                                 \
        return parseRecord(text, record, [](const cJSON *object, void *target) {                   \
            return decoder(object, static_cast<Record *>(target));                                 \
        });                                                                                        \
    }
#define OTA_ENCODER(Record, encoder, fields)                                                       \
    cJSON *encoder(const Record *record) { return encodeFields(fields, record); }

OTA_PARSER(SwmgntCfg, parse_SwmgntCfg_from_json, decode_SwmgntCfg_from_json)
OTA_DECODER(SwmgntCfg, decode_SwmgntCfg_from_json, ota::json::kSwmgntCfg)
OTA_ENCODER(SwmgntCfg, encode_SwmgntCfg_to_json, ota::json::kSwmgntCfgWritten)

OTA_PARSER(MatrixItem, parse_MatrixItem_from_json, decode_MatrixItem_from_json)
OTA_DECODER(MatrixItem, decode_MatrixItem_from_json, ota::json::kMatrixItem)
OTA_ENCODER(MatrixItem, encode_MatrixItem_to_json, ota::json::kMatrixItem)

OTA_PARSER(OtaMatrixItem, parse_OtaMatrixItem_from_json, decode_OtaMatrixItem_from_json)
OTA_DECODER(OtaMatrixItem, decode_OtaMatrixItem_from_json, ota::json::kOtaMatrixItem)
OTA_ENCODER(OtaMatrixItem, encode_OtaMatrixItem_to_json, ota::json::kOtaMatrixItem)

OTA_PARSER(UpgradeStatus, parse_UpgradeStatus_from_json, decode_UpgradeStatus_from_json)
OTA_DECODER(UpgradeStatus, decode_UpgradeStatus_from_json, ota::json::kUpgradeStatus)
OTA_ENCODER(UpgradeStatus, encode_UpgradeStatus_to_json, ota::json::kUpgradeStatus)

OTA_PARSER(ZorvanInfo, parse_ZorvanInfo_from_json, decode_ZorvanInfo_from_json)
OTA_DECODER(ZorvanInfo, decode_ZorvanInfo_from_json, ota::json::kZorvanInfo)
OTA_ENCODER(ZorvanInfo, encode_ZorvanInfo_to_json, ota::json::kZorvanInfo)

OTA_PARSER(ActivationTime, parse_ActivationTime_from_json, decode_ActivationTime_from_json)
OTA_DECODER(ActivationTime, decode_ActivationTime_from_json, ota::json::kActivationTime)
OTA_ENCODER(ActivationTime, encode_ActivationTime_to_json, ota::json::kActivationTime)

// PostPload carries an array, so its decoder and encoder are its own.
OTA_PARSER(PostPload, parse_PostPload_from_json, decode_PostPload_from_json)

int decode_PostPload_from_json(const cJSON *object, PostPload *record) {
    decodeFields(ota::json::kPostPload, object, record);
    cJSON_GetObjectArray(cJSON_GetObjectItemCaseSensitive(object, "versions"), record->versions,
                         sizeof(MatrixItem), OTA_MATRIX_ENTRIES, decodeMatrixSlot);
    return 0;
}

cJSON *encode_PostPload_to_json(const PostPload *record) {
    ota::Json object{encodeFields(ota::json::kPostPload, record)};
    if (!object) {
        return nullptr;
    }
    // Every slot is written, empty ones too: the record carries no count.
    cJSON *versions = cJSON_CreateObjectArray(record->versions, OTA_MATRIX_ENTRIES,
                                              sizeof(MatrixItem), encodeMatrixSlot);
    if (versions == nullptr) {
        return nullptr;
    }
    if (!cJSON_AddItemToObject(object.get(), "versions", versions)) {
        cJSON_Delete(versions);
    }
    return object.release();
}
