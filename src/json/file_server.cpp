// SPDX-License-Identifier: MIT
// The hand-off of an offloaded image: what the gateway needs to fetch and activate it.
#include "otaSwAgent/codec.h"
#include "support/policy.h"

cJSON *encode_SwmgntFileServerInfo(const OtaMatrixItem *item, const ActivationTime *actTime) {
    if (item == nullptr || actTime == nullptr) {
        return nullptr;
    }
    cJSON *object = cJSON_CreateObject();
    if (object == nullptr) {
        return nullptr;
    }
    const bool atOnce = item->policy == ota::kActivateAtOnce;
    cJSON_AddStringToObject(object, "fileServerURL", item->fileServerURL);
    cJSON_AddStringToObject(object, "activationTime", atOnce ? "" : actTime->actTime);
    cJSON_AddStringToObject(object, "checksum", item->checksum);
    cJSON_AddStringToObject(object, "swVersion", item->nxtMSVersion);
    return object;
}
