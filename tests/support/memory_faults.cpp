// SPDX-License-Identifier: MIT
// Counting down to an allocation that fails.
#include "memory_faults.h"

#include "agent_library.h"
#include "journal.h"
#include "next_function.h"

#include <cjson/cJSON.h>

#include <cerrno>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define OTA_MALLOC_IS_TAKEN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OTA_MALLOC_IS_TAKEN 1
#endif
#endif

namespace ota::test {

namespace {

constinit int gAgentCountdown = 0;
constinit int gJsonCountdown = 0;
constinit bool gFailed = false;
constinit int gOutstandingJson = 0;

bool reachesZero(int &countdown) {
    if (countdown == 0 || --countdown > 0) {
        return false;
    }
    gFailed = true;
    errno = ENOMEM;
    return true;
}

void *allocateJson(std::size_t size) {
    if (reachesZero(gJsonCountdown)) {
        return nullptr;
    }
    const HarnessScope harness;
    void *memory = std::malloc(size);
    gOutstandingJson += memory != nullptr ? 1 : 0;
    return memory;
}

void releaseJson(void *memory) {
    gOutstandingJson -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

#if !defined(OTA_MALLOC_IS_TAKEN)
// Counts only what the agent's own code asks for, not what libc asks for on its behalf.
bool agentAllocationFails(const void *caller) {
    return gAgentCountdown != 0 && agentIsActive() && belongsToAgent(caller) &&
           reachesZero(gAgentCountdown);
}
#endif

} // namespace

bool canFailAllocationsOf(Owner owner) {
#if defined(OTA_MALLOC_IS_TAKEN)
    return owner == Owner::kJson;
#else
    return owner == Owner::kAgent || owner == Owner::kJson;
#endif
}

void failAllocation(Owner owner, int nth) {
    stopFailingAllocations();
    gFailed = false;
    (owner == Owner::kAgent ? gAgentCountdown : gJsonCountdown) = nth;
}

bool allocationFailed() { return gFailed; }

void stopFailingAllocations() {
    gAgentCountdown = 0;
    gJsonCountdown = 0;
}

void withEveryAllocationFailing(Owner owner, const std::function<void(bool failed)> &afterRun,
                                const std::function<void()> &attempt) {
    bool failed = true;
    for (int nth = 1; failed; ++nth) {
        failAllocation(owner, nth);
        attempt();
        stopFailingAllocations();
        failed = allocationFailed();
        afterRun(failed);
    }
}

int outstandingJson() { return gOutstandingJson; }

void watchJsonAllocations() {
    cJSON_Hooks hooks{allocateJson, releaseJson};
    cJSON_InitHooks(&hooks);
    gOutstandingJson = 0;
}

} // namespace ota::test

#if !defined(OTA_MALLOC_IS_TAKEN)
extern "C" {

#if defined(__GLIBC__) // whose search for a name may allocate
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
#else
static void *__libc_malloc(size_t size) {
    static auto *const next = ota::test::nextFunction<void *(size_t)>("malloc");
    return next(size);
}

static void *__libc_calloc(size_t count, size_t size) {
    static auto *const next = ota::test::nextFunction<void *(size_t, size_t)>("calloc");
    return next(count, size);
}
#endif

void *malloc(size_t size) noexcept {
    if (ota::test::agentAllocationFails(__builtin_return_address(0))) {
        return nullptr;
    }
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) noexcept {
    if (ota::test::agentAllocationFails(__builtin_return_address(0))) {
        return nullptr;
    }
    return __libc_calloc(count, size);
}

} // extern "C"
#endif
