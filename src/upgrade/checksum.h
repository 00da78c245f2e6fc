// SPDX-License-Identifier: MIT
// Is the downloaded image the one that was offered?
#pragma once

namespace ota::install {

// Computes the image's MD5 sum into md5CRC and compares it with the descriptor's.
bool verifyChecksum(const char *imagePath);

} // namespace ota::install
