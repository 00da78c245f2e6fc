// SPDX-License-Identifier: MIT
// The settings that change at run time: the configuration's, and over them those kept on disk.
#ifndef SERVICE_NODE_SETTINGS_H
#define SERVICE_NODE_SETTINGS_H

#include "service/state/disk_writer.h"

#include "guard/setting.h"

#include "node/config/config.h"
#include "node/config/settings_overlay.h"

#include <list>
#include <string>

namespace service {

class NodeSettings {
  public:
    /* All of them outlive the settings. */
    NodeSettings(const node::Config &config, DiskWriter &disk);

    /* Reads what was kept. An error: it cannot be used, the configuration's stand. */
    base::Result<void> load();
    /* Keeps the value, which the guard let through; `done` as DiskWriter's. The agent reads it at
       its next question. */
    void change(guard::Setting setting, const std::string &value, DiskWriter::Done done);
    /* The configuration with the values in force. */
    node::Config inForce() const;

  private:
    struct Change {
        guard::Setting setting;
        std::string value;
        DiskWriter::Done done;
    };
    void keepFirst();

    const node::Config &config_;
    DiskWriter &disk_;
    std::string path_;
    node::Overlay kept_;
    std::list<Change> changes_; // the first is being kept
};

} // namespace service

#endif
