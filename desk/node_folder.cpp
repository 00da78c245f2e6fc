// SPDX-License-Identifier: MIT
// Makes and boots a node's folder. Paths in the node's configuration are short and relative.
#include "desk/node_folder.h"

#include "desk/failure.h"
#include "desk/files.h"
#include "desk/folder_lock.h"

#include "node/boot.h"
#include "node/image_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace desk {
namespace {

namespace fs = std::filesystem;

// What the agent keeps in its temporary directory, beside the images themselves.
constexpr std::array kTemporaryNames{"tmpImage",           "software_download", "ota_dwld_prog",
                                     "ota_agent_data",     "otaMD5.txt",        "upgrade_status",
                                     "upgrade_done_reboot"};
constexpr std::string_view kImagePrefix = "4QZ";
constexpr const char *kRootAuthority = "root-ca.pem";
constexpr const char *kRootCertificate = "root-node.pem";
constexpr const char *kRootKey = "root-node.key";
constexpr const char *kSignerAuthority = "signer-ca.pem";

bool isDownloadedImage(const fs::path &path) {
    return path.filename().string().starts_with(kImagePrefix);
}

node::BankRecord install(const Image &image, const fs::path &bank, std::uint64_t bankBytes) {
    copyFile(image.path, bank);
    fs::resize_file(bank, bankBytes);
    const auto record = node::recordOfImage(image.path);
    if (!record) {
        throw Failure(record.error().text);
    }
    return *record;
}

} // namespace

NodeIdentity identityOf(int number) {
    const std::string digit = std::to_string(number);
    return {"02:00:5E:00:53:0" + digit, "DESK0000000" + digit};
}

fs::path NodeFolder::bank(node::Bank bank) const { return path_ / "banks" / node::bankName(bank); }

void NodeFolder::make(const NodePlan &plan) const {
    for (const char *folder : {"banks", "logs", "configs"}) {
        fs::create_directories(path_ / folder);
    }
    if (!plan.authority.empty()) {
        copyFile(plan.authority, path_ / "ca.pem");
    }
    copyFile(plan.signerAuthority, path_ / kSignerAuthority);
    if (plan.broker) {
        copyFile(plan.broker->authority, path_ / kRootAuthority);
        copyFile(plan.broker->node.certificate, path_ / kRootCertificate);
        copyFile(plan.broker->node.key, path_ / kRootKey);
        fs::permissions(path_ / kRootKey, fs::perms::owner_read | fs::perms::owner_write);
    }
    makeConfig(plan);
    makeBanks(plan);
    makeConfigurationManagerSocket();
}

void NodeFolder::makeConfig(const NodePlan &plan) const {
    if (!plan.config.empty()) {
        copyFile(plan.config, config());
        return;
    }
    std::string text = "[node]\n";
    text += std::string("model = ") + kModel + "\n";
    text += "serial = " + plan.identity.serial + "\n";
    text += "work_mode = " + plan.mode + "\n";
    text += "work_role = " + plan.role + "\n";
    text += "onboarding = 0\n";
    text += std::string("preferred_activation_time = ") + kPreferredTime + "\n";
    text += "\n[paths]\ntmp = .\nconfigs = configs\nlogs = logs\nca_certificate = ca.pem\n";
    text += "\n[banks]\na = banks/a\nb = banks/b\nsize = " + std::to_string(plan.bankBytes) + "\n";
    text += "boot_state = boot_state\n";
    text +=
        std::string("\n[trial]\nhealth_command = ") + (plan.unhealthy ? "false" : "true") + "\n";
    text += std::string("\n[images]\nsignature = required\nsigner_ca = ") + kSignerAuthority + "\n";
    if (plan.authority.empty()) {
        text += "\n[service]\nallow_plain_http = yes\n";
    }
    if (plan.broker) {
        text += "\n[root]\nbroker = " + plan.broker->address + "\n";
        text += std::string("ca_certificate = ") + kRootAuthority + "\n";
        text += std::string("certificate = ") + kRootCertificate + "\n";
        text += std::string("key = ") + kRootKey + "\n";
    }
    writeFile(config(), text);
}

void NodeFolder::makeBanks(const NodePlan &plan) const {
    node::BootState state;
    state.of(node::Bank::a) = install(plan.factory, bank(node::Bank::a), plan.bankBytes);
    if (plan.passive) {
        state.of(node::Bank::b) = install(*plan.passive, bank(node::Bank::b), plan.bankBytes);
    } else {
        writeFile(bank(node::Bank::b), "");
        fs::resize_file(bank(node::Bank::b), plan.bankBytes);
    }
    if (const auto written = node::writeBootState(bootStatePath(), state); !written) {
        throw Failure(written.error().text);
    }
}

void NodeFolder::makeConfigurationManagerSocket() const {
    const fs::path path = path_ / "cfgmgr_socket";
    if (mknod(path.c_str(), S_IFSOCK | S_IRUSR | S_IWUSR, 0) != 0) {
        throw Failure("cannot make the socket " + path.string() + ": " + std::strerror(errno));
    }
}

bool NodeFolder::isOff() const {
    // The host holds this lock for as long as it lives.
    return FolderLock(bootStatePath() + ".lock").tryLock();
}

NodeBoot NodeFolder::boot() const {
    fs::remove(rebootAsked());
    for (const char *name : kTemporaryNames) {
        fs::remove_all(path_ / name);
    }
    std::vector<fs::path> images;
    for (const auto &entry : fs::directory_iterator(path_)) {
        if (isDownloadedImage(entry.path())) {
            images.push_back(entry.path());
        }
    }
    for (const fs::path &image : images) {
        fs::remove(image);
    }
    const auto booted =
        node::bootNode({bootStatePath(), {bank(node::Bank::a), bank(node::Bank::b)}, ""});
    if (!booted) {
        throw Failure("the node cannot boot: " + booted.error().text);
    }
    NodeBoot boot;
    boot.state = booted->state;
    boot.passedOver = booted->passedOver;
    return boot;
}

node::BootState NodeFolder::bootState() const {
    const auto state = node::readBootState(bootStatePath());
    if (!state) {
        throw Failure(state.error().text);
    }
    return *state;
}

void NodeFolder::damagePassiveBank() const {
    const node::BootState state = bootState();
    const node::Bank passive = node::otherBank(state.active);
    std::fstream file(bank(passive), std::ios::in | std::ios::out | std::ios::binary);
    const auto middle = static_cast<std::streamoff>(state.of(passive).size / 2);
    file.seekg(middle);
    const int byte = file.get();
    file.seekp(middle);
    file.put(static_cast<char>(byte ^ 0xFF));
    file.close();
    if (!file) {
        throw Failure("cannot change a byte of " + bank(passive).string());
    }
}

std::uintmax_t NodeFolder::downloadedBytes() const {
    for (const auto &entry : fs::directory_iterator(path_)) {
        if (isDownloadedImage(entry.path())) {
            std::error_code error;
            const std::uintmax_t size = fs::file_size(entry.path(), error);
            return error ? 0 : size;
        }
    }
    return 0;
}

} // namespace desk
