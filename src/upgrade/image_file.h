// SPDX-License-Identifier: MIT
// The downloaded image in the temporary directory.
#pragma once

namespace ota::install {

struct ImageFile {
    char name[256]{};
    char path[256]{}; // at most 63 characters are kept
};

// Picks the image in `directory`; without one the name is empty and the path ends in "/".
void selectImage(ImageFile &image, const char *directory);

} // namespace ota::install
