// SPDX-License-Identifier: MIT
// The envelope of a signal that an extender forwards to the root.
#include "otaSwAgent/codec.h"

cJSON *swmgnt_encodeBroadcastinfoToJson(cJSON *root, const SwmgntBroadcastInfo *info,
                                        int /*size*/) {
    if (root == nullptr || info == nullptr) {
        return nullptr;
    }
    cJSON_AddStringToObject(root, "type", info->type);
    cJSON_AddNumberToObject(root, "sequence", info->sequence);
    cJSON_AddStringToObject(root, "mac", info->mac);
    cJSON_AddStringToObject(root, "version", info->version);

    cJSON *data = cJSON_CreateObject();
    if (data == nullptr) {
        return nullptr;
    }
    cJSON_AddStringToObject(data, "signalname", info->signalname);
    cJSON_AddStringToObject(data, "signaldata", info->signaldata);
    if (!cJSON_AddItemToObject(root, "data", data)) {
        cJSON_Delete(data);
    }
    return root;
}
