// SPDX-License-Identifier: MIT
// The directories of the node, as the configuration names them.
#include "platform/nal.h"
#include "platform/node.h"

const char *nal_getTmpDirectory(void) { return platform::node().config().tmpDirectory.c_str(); }

const char *nal_getConfigsDirectory(void) {
    return platform::node().config().configsDirectory.c_str();
}

const char *nal_getLogsDirectory(void) { return platform::node().config().logsDirectory.c_str(); }

const char *nal_getHIECertifcatePath(void) {
    return platform::node().config().caCertificate.c_str();
}
