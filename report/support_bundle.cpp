// SPDX-License-Identifier: MIT
#include "report/support_bundle.h"

#include "base/failure.h"
#include "base/file_io.h"
#include "base/json.h"
#include "base/new_file.h"
#include "cli/bus_client.h"
#include "node/config/config.h"
#include "report/command_output.h"
#include "report/metrics.h"
#include "report/secrets.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sys/stat.h>

namespace report {
namespace {

constexpr std::size_t kMostOfAPart = 4 * 1024 * 1024;
constexpr std::size_t kMostOfAFile = 16 * 1024 * 1024; // of which the end is taken
constexpr std::size_t kMostOfTheArchive = 64 * 1024 * 1024;
constexpr std::chrono::seconds kPatience{20};
constexpr std::chrono::seconds kPackingPatience{120};
constexpr mode_t kOwnersAlone = 0600;

using Parts = std::vector<Part>;

void take(Parts &parts, const std::string &name, base::Result<std::string> text) {
    Part part{name, std::move(text)};
    if (part.text) {
        std::string shown = withoutSecrets(std::move(*part.text));
        part.cut = shown.size() > kMostOfAPart;
        part.text = part.cut ? shown.substr(shown.size() - kMostOfAPart) : shown;
    }
    parts.push_back(std::move(part));
}

// What the service says; it may say nothing.
void takeAsked(Parts &parts, const std::string &name, const std::function<std::string()> &ask) {
    try {
        take(parts, name, ask());
    } catch (const base::Failure &failure) {
        take(parts, name, base::Error{failure.what()});
    }
}

void takeFile(Parts &parts, const std::string &name, const std::string &path) {
    std::string text;
    struct stat status {};
    if (base::readPlainFile(path, kMostOfAFile, text, status)) {
        return take(parts, name, std::move(text));
    }
    take(parts, name, base::Error{path + ": " + std::strerror(errno)});
}

std::string nodeText(cli::BusClient &client) {
    const base::Json object = base::newObject();
    cli::addProperties(object.get(), client.readNode());
    return base::printedInLines(object.get()) + "\n";
}

std::string rowsOf(cli::BusClient &client, const char *member, const char *row) {
    const bool isPair = std::strcmp(row, "(ss)") == 0;
    const cli::Message answer = isPair ? client.call(member, "") : client.call(member, "u", 500U);
    std::string text;
    const char *first = nullptr;
    const char *second = "";
    int result = sd_bus_message_enter_container(answer.get(), 'a', row);
    while (result >= 0 && (result = sd_bus_message_read(answer.get(), row, &first, &second)) > 0) {
        text += first;
        text += isPair ? ": " : "";
        text += second;
        text += "\n";
    }
    return text;
}

void takeService(Parts &parts, const std::string &bus) {
    std::optional<cli::BusClient> client;
    const auto connected = [&]() -> cli::BusClient & {
        return client ? *client : client.emplace(bus);
    };
    takeAsked(parts, "node.json", [&] { return nodeText(connected()); });
    takeAsked(parts, "explain.txt", [&] { return rowsOf(connected(), "Explain", "(ss)"); });
    takeAsked(parts, "metrics.prom", [&] { return metricsText(measure(connected())); });
    takeAsked(parts, "history-newest.jsonl", [&] { return rowsOf(connected(), "History", "s"); });
}

void takeState(Parts &parts, const node::Config &config) {
    const std::string &state = config.stateDirectory;
    for (const char *name : {"requests.json", "counters.json", "settings.ini", "history.jsonl"}) {
        takeFile(parts, name, state + ("/" + std::string(name)));
    }
    for (int older = 1; older <= config.historyFiles; ++older) {
        const std::string name = "history.jsonl." + std::to_string(older);
        takeFile(parts, name, state + "/" + name);
    }
    takeFile(parts, "agent.log", config.logsDirectory + "/otaSwAgent.log");
    take(parts, "files.txt",
         outputOf({"ls", "-lan", state, config.tmpDirectory, config.logsDirectory,
                   config.configsDirectory},
                  kMostOfAPart, kPatience));
    take(parts, "boot-state.txt",
         outputOf({"ota-boot-state", "show",
                   config.bootState.file.empty() ? "fw_env.config:" + config.bootState.fwEnvConfig
                                                 : config.bootState.file},
                  kMostOfAPart, kPatience));
}

// What the node's configuration names, where it can be read.
void takeConfigured(Parts &parts, const std::string &path) {
    takeFile(parts, "node.conf", path);
    take(parts, "node.conf-check.txt",
         outputOf({"ota-config", "check", path}, kMostOfAPart, kPatience));
    const auto text = node::readConfigText(path);
    const auto config =
        text ? node::parseConfig(path, *text) : base::Result<node::Config>(text.error());
    if (config) {
        takeState(parts, *config);
    } else {
        take(parts, "state", config.error());
    }
}

void takeSystem(Parts &parts) {
    struct Row {
        const char *name;
        std::vector<std::string> command;
    };
    const std::vector<Row> rows = {
        {"journal.txt",
         {"journalctl", "-u", "otad", "-n", "5000", "--no-pager", "-o", "short-iso"}},
        {"kernel.txt", {"journalctl", "-k", "-n", "500", "--no-pager", "-o", "short-iso"}},
        {"unit.txt", {"systemctl", "status", "otad", "--no-pager", "-l"}},
        {"unit-files.txt", {"systemctl", "cat", "otad", "--no-pager"}},
        {"versions.txt", {"uname", "-a"}},
        {"time.txt", {"date", "+%Y-%m-%dT%H:%M:%S%z %Z"}},
        {"disks.txt", {"df", "-k"}},
        {"addresses.txt", {"ip", "address"}},
    };
    for (const Row &row : rows) {
        take(parts, row.name, outputOf(row.command, kMostOfAFile, kPatience));
    }
    for (const char *name : {"mounts", "meminfo", "cmdline", "uptime", "loadavg"}) {
        take(parts, name + std::string(".txt"),
             base::readWholeFile("/proc/" + std::string(name), kMostOfAFile));
    }
    takeFile(parts, "os-release.txt", "/usr/lib/os-release");
}

std::string indexOf(const Parts &parts) {
    base::Json list = base::newList();
    for (const Part &part : parts) {
        base::Json row = base::newObject();
        base::add(row.get(), "name", part.name);
        if (part.text) {
            base::add(row.get(), "bytes", part.text->size());
            base::add(row.get(), "only_its_end", part.cut);
        } else {
            base::add(row.get(), "missing", part.text.error().text);
        }
        base::append(list.get(), std::move(row));
    }
    const base::Json index = base::newObject();
    base::add(index.get(), "made_by", "otaSwAgent " OTA_VERSION);
    base::add(index.get(), "parts", std::move(list));
    return base::printedInLines(index.get()) + "\n";
}

// A folder that nobody else can look into, and that goes with what it holds.
class OwnFolder {
  public:
    OwnFolder() : path_((std::filesystem::temp_directory_path() / "ota-report-XXXXXX").string()) {
        made_ = mkdtemp(path_.data()) != nullptr;
    }
    ~OwnFolder() {
        std::error_code ignored;
        if (made_) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    OwnFolder(const OwnFolder &) = delete;
    OwnFolder &operator=(const OwnFolder &) = delete;

    bool isMade() const { return made_; }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    bool made_ = false;
};

} // namespace

std::vector<Part> collectParts(const BundlePlan &plan) {
    Parts parts;
    takeService(parts, plan.bus);
    takeConfigured(parts, plan.config);
    takeSystem(parts);
    parts.push_back({"index.json", indexOf(parts)});
    return parts;
}

base::Result<void> writeBundle(const std::vector<Part> &parts, const std::string &folder,
                               const std::string &path) {
    base::NewFile archive;
    auto begun = archive.begin(path, kOwnersAlone);
    if (!begun) {
        return begun;
    }
    const OwnFolder place;
    if (!place.isMade() || mkdir((place.path() + "/" + folder).c_str(), S_IRWXU) != 0) {
        return base::Error{base::systemReason(place.path())};
    }
    for (const Part &part : parts) {
        if (!part.text) {
            continue;
        }
        const std::string file = place.path() + "/" + folder + "/" + part.name;
        if (auto written = base::renewFile(file, *part.text); !written) {
            return written;
        }
    }
    const auto packed = outputOf({"tar", "-czf", "-", "-C", place.path(), folder},
                                 kMostOfTheArchive, kPackingPatience);
    if (!packed) {
        return packed.error();
    }
    return archive.write(packed->data(), packed->size()).andThen([&] { return archive.finish(); });
}

} // namespace report
