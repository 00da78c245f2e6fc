// SPDX-License-Identifier: MIT
// The exported parse, decode and encode call of every record.
#include "json/decode.h"
#include "json/encode.h"
#include "json/schemas.h"
#include "otaSwAgent/codec.h"
#include "support/handle.h"

using namespace ota::json;

namespace {

int decodeMatrixSlot(const cJSON *object, void *slot) {
    return decode_MatrixItem_from_json(object, static_cast<MatrixItem *>(slot));
}

cJSON *encodeMatrixSlot(const void *slot) {
    return encode_MatrixItem_to_json(static_cast<const MatrixItem *>(slot));
}

} // namespace

// Kept: a decoder answers 0 whatever was missing; callers judge the content.
#define OTA_PARSER(Record, parser, decoder)                                                        \
    int parser(const char *text, Record *record) {                                                 \
        return parseRecord(text, record, [](const cJSON *object, void *target) {                   \
            return decoder(object, static_cast<Record *>(target));                                 \
        });                                                                                        \
    }
#define OTA_CODEC(Record, parser, decoder, encoder, fieldsRead, fieldsWritten)                     \
    OTA_PARSER(Record, parser, decoder)                                                            \
    int decoder(const cJSON *object, Record *record) {                                             \
        decodeFields(fieldsRead, object, record);                                                  \
        return 0;                                                                                  \
    }                                                                                              \
    cJSON *encoder(const Record *record) { return encodeFields(fieldsWritten, record); }

OTA_CODEC(SwmgntCfg, parse_SwmgntCfg_from_json, decode_SwmgntCfg_from_json,
          encode_SwmgntCfg_to_json, kSwmgntCfg, kSwmgntCfgWritten)
OTA_CODEC(MatrixItem, parse_MatrixItem_from_json, decode_MatrixItem_from_json,
          encode_MatrixItem_to_json, kMatrixItem, kMatrixItem)
OTA_CODEC(OtaMatrixItem, parse_OtaMatrixItem_from_json, decode_OtaMatrixItem_from_json,
          encode_OtaMatrixItem_to_json, kOtaMatrixItem, kOtaMatrixItem)
OTA_CODEC(UpgradeStatus, parse_UpgradeStatus_from_json, decode_UpgradeStatus_from_json,
          encode_UpgradeStatus_to_json, kUpgradeStatus, kUpgradeStatus)
OTA_CODEC(ZorvanInfo, parse_ZorvanInfo_from_json, decode_ZorvanInfo_from_json,
          encode_ZorvanInfo_to_json, kZorvanInfo, kZorvanInfo)
OTA_CODEC(ActivationTime, parse_ActivationTime_from_json, decode_ActivationTime_from_json,
          encode_ActivationTime_to_json, kActivationTime, kActivationTime)

// PostPload carries an array, so its decoder and encoder are its own.
OTA_PARSER(PostPload, parse_PostPload_from_json, decode_PostPload_from_json)

int decode_PostPload_from_json(const cJSON *object, PostPload *record) {
    decodeFields(kPostPload, object, record);
    cJSON_GetObjectArray(cJSON_GetObjectItemCaseSensitive(object, "versions"), record->versions,
                         sizeof(MatrixItem), OTA_MATRIX_ENTRIES, decodeMatrixSlot);
    return 0;
}

cJSON *encode_PostPload_to_json(const PostPload *record) {
    ota::Json object{encodeFields(kPostPload, record)};
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
