// SPDX-License-Identifier: MIT
// Paths below the build folder, checked.
#include "desk/layout.h"

#include "desk/failure.h"
#include "desk/files.h"

namespace desk {

namespace fs = std::filesystem;

Layout::Layout(const Options &options)
    : build(options.buildFolder.empty()
                ? fs::read_symlink("/proc/self/exe").parent_path().parent_path()
                : absolutePath(options.buildFolder)),
      daemon(build / "service/otad"), control(build / "cli/otactl"),
      host(build / "desk/ota-desk-host"), power(build / "desk/power/ota-power"),
      imageTool(build / "tools/ota-image"),
      library(options.library.empty() ? build / "src/libotaSwAgent.so"
                                      : absolutePath(options.library)) {
    for (const fs::path &part : {daemon, control, host, power, imageTool}) {
        if (!fs::exists(part)) {
            throw Failure(part.string() + " is missing: build the project first, or name its "
                                          "build folder with --build-dir");
        }
    }
    if (!fs::exists(library)) {
        throw Failure(library.string() + " is missing: " +
                      (options.library.empty() ? "build the project first"
                                               : "name the agent's library with --library"));
    }
}

} // namespace desk
