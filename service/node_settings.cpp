// SPDX-License-Identifier: MIT
#include "service/node_settings.h"

#include <string>

namespace service {
namespace {

std::optional<std::string> &fieldOf(node::Overlay &overlay, guard::Setting setting) {
    switch (setting) {
    case guard::Setting::workMode:
        return overlay.workMode;
    case guard::Setting::workRole:
        return overlay.workRole;
    case guard::Setting::onboarding:
        return overlay.onboarding;
    case guard::Setting::preferredActivationTime:
        break;
    }
    return overlay.preferredActivationTime;
}

} // namespace

NodeSettings::NodeSettings(const node::Config &config, DiskWriter &disk)
    : config_(config), disk_(disk), path_(config.overlayPath()) {}

base::Result<void> NodeSettings::load() {
    const auto overlay = node::readOverlay(path_);
    if (!overlay) {
        return overlay.error();
    }
    kept_ = *overlay;
    return {};
}

void NodeSettings::change(guard::Setting setting, const std::string &value, DiskWriter::Done done) {
    changes_.push_back({setting, value, std::move(done)});
    if (changes_.size() == 1) {
        keepFirst();
    }
}

// One after the other: each is made on what the one before it left, kept or not.
void NodeSettings::keepFirst() {
    node::Overlay changed = kept_;
    fieldOf(changed, changes_.front().setting) = changes_.front().value;
    const std::string text = node::printOverlay(changed);
    disk_.replace(path_, text,
                  [this, changed = std::move(changed)](const base::Result<void> &stored) {
                      if (stored) {
                          kept_ = changed;
                      }
                      const Change change = std::move(changes_.front());
                      changes_.pop_front();
                      if (!changes_.empty()) {
                          keepFirst();
                      }
                      change.done(stored);
                  });
}

node::Config NodeSettings::inForce() const {
    node::Config config = config_;
    node::applyOverlay(kept_, config);
    return config;
}

} // namespace service
