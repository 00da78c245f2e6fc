// SPDX-License-Identifier: MIT
// The downloaded image in the temporary directory.
#include "upgrade/image_file.h"

#include <dirent.h>
#include <sys/stat.h>

#include "support/handle.h"
#include "support/log.h"
#include "support/text.h"
#include "upgrade/install.h"
#include "upgrade/unit.h"

namespace ota::install {

namespace {

constexpr char kImagePrefix[] = "4QZ";
constexpr size_t kPathLimit = 64;

bool looksLikeImage(const char *name) {
    return strncmp(name, kImagePrefix, sizeof kImagePrefix - 1) == 0;
}

// Kept: the whole directory is read and the last match wins, whatever its age or size.
void findLastListed(ImageFile &image, const char *path) {
    const Directory directory{opendir(path)};
    if (!directory) {
        return;
    }
    while (const struct dirent *entry = readdir(directory.get())) {
        if (looksLikeImage(entry->d_name)) {
            setText(image.name, entry->d_name);
            OTA_NOTICE_OF(kUpgrade, "Sw Dir name is = %s", image.name);
        }
    }
}

void announceSize(const ImageFile &image) {
    struct stat status {};
    if (stat(image.path, &status) == 0) {
        OTA_NOTICE_OF(kUpgrade, "stat(): write SUCCESS");
    } else {
        OTA_NOTICE_OF(kUpgrade, "stat(): FAILED");
    }
    OTA_NOTICE_OF(kUpgrade, "Image file Path and size before writing is = %s--%d", image.path,
                  static_cast<int>(status.st_size));
}

} // namespace

void selectImage(ImageFile &image, const char *directory) {
    findLastListed(image, directory);
    OTA_NOTICE_OF(kUpgrade, "Image File to upgrade is = %s", image.name);
    // Kept: a longer path is cut, and the cut one is used.
    formatCut(image.path, kPathLimit, "%s/%s", directory, image.name);
    announceSize(image);
}

} // namespace ota::install
