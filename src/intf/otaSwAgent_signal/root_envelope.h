// SPDX-License-Identifier: MIT
// From an extender to the root: the envelope around a forwarded signal.
#pragma once

namespace ota {

inline constexpr char kSendSignal[] = "otaswmgnt_sendSignal";

// Wraps the signal and hands it to the root. `data` may be null. Logs under kSendSignal, to the
// platform logger only.
void forwardToRoot(const char *signalName, const char *data);

} // namespace ota
