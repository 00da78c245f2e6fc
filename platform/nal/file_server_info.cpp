// SPDX-License-Identifier: MIT
// The hand-over of an offloaded image: its JSON, kept for the gateway.
#include "platform/nal.h"
#include "platform/nal/file_io.h"
#include "platform/nal/node.h"

#include <string>

int nal_setSwmgntFileServerInfo(const char *json) {
    const std::string path = nal::node().config().configsDirectory + "/file_server_info.json";
    std::string whatIsWrong;
    if (nal::replaceFile(path, json, whatIsWrong) == nal::Replaced::yes) {
        return 0;
    }
    nalLogError(__func__, __LINE__,
                "nal: %s; check the file system that holds the configs directory",
                whatIsWrong.c_str());
    return -1;
}
