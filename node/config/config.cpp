// SPDX-License-Identifier: MIT
#include "node/config/config.h"

#include "base/file_io.h"
#include "node/config/config_reading.h"

namespace node {
namespace {

constexpr std::size_t kMaxConfig = 64 * 1024;

} // namespace

std::string Config::lockPath() const {
    return (bootState.file.empty() ? configsDirectory + "/boot_state" : bootState.file) + ".lock";
}

base::Result<std::string> readConfigText(const std::string &path) {
    return base::readWholeFile(path, kMaxConfig);
}

base::Result<Config> parseConfig(const std::string &path, const std::string &text) {
    const ConfigReading reading(path, text, ConfigReader::service);
    if (!reading.mistakes().empty()) {
        return base::Error{reading.mistakes().front()};
    }
    return reading.config();
}

} // namespace node
