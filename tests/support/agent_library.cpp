// SPDX-License-Identifier: MIT
// Opening the library and leaving a call of it early.
#include "agent_library.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace ota::test {

namespace {

void *gLibrary = nullptr;
void *gBase = nullptr;

std::jmp_buf *gDoor = nullptr;
int gStatus = 0;

const char *libraryPath() {
    const char *chosen = std::getenv("OTA_AGENT_LIBRARY");
    return chosen != nullptr ? chosen : OTA_AGENT_LIBRARY_DEFAULT;
}

[[noreturn]] void giveUp(const char *what) {
    const char *reason = dlerror();
    std::fprintf(stderr, "%s: %s\n", what, reason != nullptr ? reason : "unknown reason");
    std::abort();
}

// musl unloads nothing: opened again, the library would go on with what the last test left in it.
bool isStillLoaded() {
    void *const loaded = dlopen(libraryPath(), RTLD_NOLOAD | RTLD_NOW);
    if (loaded != nullptr) {
        dlclose(loaded);
    }
    return loaded != nullptr;
}

void *openCopy() {
    const int file = open(libraryPath(), O_RDONLY | O_CLOEXEC);
    const int copy = memfd_create("agent", MFD_CLOEXEC);
    ssize_t copied = 0;
    do {
        copied = sendfile(copy, file, nullptr, 1024 * 1024);
    } while (copied > 0);
    void *const library = dlopen(("/proc/self/fd/" + std::to_string(copy)).c_str(), RTLD_NOW);
    close(copy);
    close(file);
    return library;
}

bool runsToItsEnd(const std::function<void()> &body, std::jmp_buf &door) {
    if (setjmp(door) != 0) {
        return false;
    }
    body();
    return true;
}

} // namespace

void loadAgent() {
    gLibrary = isStillLoaded() ? openCopy() : dlopen(libraryPath(), RTLD_NOW);
    if (gLibrary == nullptr) {
        giveUp("the agent's library cannot be opened");
    }
    Dl_info info{};
    if (dladdr(agentSymbol("initOTAlib"), &info) == 0) {
        giveUp("the agent's library cannot be found in memory");
    }
    gBase = info.dli_fbase;
}

void unloadAgent() {
    if (gLibrary != nullptr && dlclose(gLibrary) != 0) {
        giveUp("the agent's library cannot be closed");
    }
    gLibrary = nullptr;
    gBase = nullptr;
}

void *agentSymbol(const char *name) {
    void *address = gLibrary != nullptr ? dlsym(gLibrary, name) : nullptr;
    Dl_info info{};
    if (address == nullptr || dladdr(address, &info) == 0) {
        giveUp("the agent's library lacks a name");
    }
    return address;
}

bool belongsToAgent(const void *address) noexcept {
    Dl_info info{};
    return gBase != nullptr && dladdr(address, &info) != 0 && info.dli_fbase == gBase;
}

std::string agentNameOf(const void *address) {
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_saddr != address || info.dli_sname == nullptr) {
        return {};
    }
    return info.dli_sname;
}

int callAgentMain() { return AgentCall{reinterpret_cast<int (*)()>(agentSymbol("main"))}(); }

std::optional<int> untilLeft(const std::function<void()> &body) {
    const CallDepth depth = callDepth();
    std::jmp_buf door;
    gDoor = &door;
    const bool ended = runsToItsEnd(body, door);
    gDoor = nullptr;
    setCallDepth(depth);
    return ended ? std::nullopt : std::optional<int>(gStatus);
}

void leaveAgent(int status) {
    if (gDoor == nullptr) {
        std::fprintf(stderr, "the agent left with %d where the test did not expect it\n", status);
        std::abort();
    }
    gStatus = status;
    std::longjmp(*gDoor, 1);
}

} // namespace ota::test
