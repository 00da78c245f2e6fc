// SPDX-License-Identifier: MIT
// The directories of the node, as the configuration names them.
#include "platform/nal.h"
#include "platform/nal/node.h"

const char *nal_getTmpDirectory(void) { return nal::node().config().tmpDirectory.c_str(); }

const char *nal_getConfigsDirectory(void) { return nal::node().config().configsDirectory.c_str(); }

const char *nal_getLogsDirectory(void) { return nal::node().config().logsDirectory.c_str(); }

const char *nal_getHIECertifcatePath(void) { return nal::node().config().caCertificate.c_str(); }
