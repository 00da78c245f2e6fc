/* SPDX-License-Identifier: MIT */
/* JSON to record and back, for every message of the agent. */
#ifndef OTASWAGENT_CODEC_H
#define OTASWAGENT_CODEC_H

#include <cjson/cJSON.h>
#include <stddef.h>

#include "otaSwAgent/globals.h"
#include "otaSwAgent/records.h"

/*
 * The codec keeps no state, logs nothing and does not block.
 *
 * parse_R_from_json(text, record)
 *     Decodes a NUL-terminated JSON text into the record. 0, or -1 where a pointer is null
 *     or the text is not JSON; the record is then untouched.
 *
 * decode_R_from_json(object, record)
 *     Always 0. A key that is missing or of the wrong JSON type leaves its field as it was,
 *     and so does a null object. Text is cut to the field's width - 1 and padded with zeros
 *     up to there; the field's last byte is never written: zero the record first.
 *
 * encode_R_to_json(record)
 *     A new object that the caller releases with cJSON_Delete, or null where the record is null or
 *     the object, or a PostPload's array (all 16 entries, empty ones too), cannot be made. Memory
 *     that runs out later leaves members out unnoticed. SwmgntCfg's "pollingTime" is never written.
 */

#ifdef __cplusplus
extern "C" {
#endif

OTA_EXPORT int parse_SwmgntCfg_from_json(const char *text, SwmgntCfg *record);
OTA_EXPORT int decode_SwmgntCfg_from_json(const cJSON *object, SwmgntCfg *record);
OTA_EXPORT cJSON *encode_SwmgntCfg_to_json(const SwmgntCfg *record);

OTA_EXPORT int parse_MatrixItem_from_json(const char *text, MatrixItem *record);
OTA_EXPORT int decode_MatrixItem_from_json(const cJSON *object, MatrixItem *record);
OTA_EXPORT cJSON *encode_MatrixItem_to_json(const MatrixItem *record);

OTA_EXPORT int parse_OtaMatrixItem_from_json(const char *text, OtaMatrixItem *record);
OTA_EXPORT int decode_OtaMatrixItem_from_json(const cJSON *object, OtaMatrixItem *record);
OTA_EXPORT cJSON *encode_OtaMatrixItem_to_json(const OtaMatrixItem *record);

OTA_EXPORT int parse_PostPload_from_json(const char *text, PostPload *record);
OTA_EXPORT int decode_PostPload_from_json(const cJSON *object, PostPload *record);
OTA_EXPORT cJSON *encode_PostPload_to_json(const PostPload *record);

OTA_EXPORT int parse_UpgradeStatus_from_json(const char *text, UpgradeStatus *record);
OTA_EXPORT int decode_UpgradeStatus_from_json(const cJSON *object, UpgradeStatus *record);
OTA_EXPORT cJSON *encode_UpgradeStatus_to_json(const UpgradeStatus *record);

OTA_EXPORT int parse_ZorvanInfo_from_json(const char *text, ZorvanInfo *record);
OTA_EXPORT int decode_ZorvanInfo_from_json(const cJSON *object, ZorvanInfo *record);
OTA_EXPORT cJSON *encode_ZorvanInfo_to_json(const ZorvanInfo *record);

OTA_EXPORT int parse_ActivationTime_from_json(const char *text, ActivationTime *record);
OTA_EXPORT int decode_ActivationTime_from_json(const cJSON *object, ActivationTime *record);
OTA_EXPORT cJSON *encode_ActivationTime_to_json(const ActivationTime *record);

/*
 * The hand-off to the gateway: "fileServerURL", "activationTime" (empty for policy 1, else
 * actTime's), "checksum", "swVersion". A new object for the caller to release, or null where
 * an argument is null or memory ran out.
 */
OTA_EXPORT cJSON *encode_SwmgntFileServerInfo(const OtaMatrixItem *item,
                                              const ActivationTime *actTime);

/*
 * Fills `root` with the envelope of a forwarded signal. `size` is accepted and not used.
 * Returns root, or null where root or info is null or the inner object cannot be made; root
 * then keeps what was added. The caller owns root throughout.
 */
OTA_EXPORT cJSON *swmgnt_encodeBroadcastinfoToJson(cJSON *root, const SwmgntBroadcastInfo *info,
                                                   int size);

/*
 * Calls decodeElement for the first maxCount elements of the array, the i-th one into
 * base + i * elementSize. Returns how many were decoded; 0, nothing written, for a null or
 * non-array argument.
 */
OTA_EXPORT int cJSON_GetObjectArray(const cJSON *array, void *base, size_t elementSize,
                                    int maxCount, int (*decodeElement)(const cJSON *, void *));

/*
 * A new array of encodeElement(base + i * elementSize) for i below count, for the caller to
 * release; empty for a count of 0 or less; null where the array or an element cannot be made,
 * with nothing left behind. Note the order: count before size here, size before count above.
 */
OTA_EXPORT cJSON *cJSON_CreateObjectArray(const void *base, int count, size_t elementSize,
                                          cJSON *(*encodeElement)(const void *));

#ifdef __cplusplus
}
#endif

#endif
