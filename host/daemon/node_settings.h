// SPDX-License-Identifier: MIT
// The settings that change at run time: the configuration's, and over them those kept on disk.
#ifndef HOST_DAEMON_NODE_SETTINGS_H
#define HOST_DAEMON_NODE_SETTINGS_H

#include "host/daemon/keep/disk_writer.h"

#include "host/guard/setting.h"

#include "platform/nal/config.h"
#include "platform/nal/settings_overlay.h"

#include <deque>
#include <string>

namespace otad {

class NodeSettings {
  public:
    /* All of them outlive the settings. */
    NodeSettings(const nal::Config &config, DiskWriter &disk);

    /* Reads what was kept. False: it cannot be used, the configuration's stand; whatIsWrong is one
       line. */
    bool load(std::string &whatIsWrong);
    /* Keeps the value, which the guard let through; `done` as DiskWriter's. The agent reads it at
       its next question. */
    void change(host::guard::Setting setting, const std::string &value, DiskWriter::Done done);
    /* The configuration with the values in force. */
    nal::Config inForce() const;

  private:
    struct Change {
        host::guard::Setting setting;
        std::string value;
        DiskWriter::Done done;
    };
    void keepFirst();

    const nal::Config &config_;
    DiskWriter &disk_;
    std::string path_;
    nal::Overlay kept_;
    std::deque<Change> changes_; // the first is being kept
};

} // namespace otad

#endif
