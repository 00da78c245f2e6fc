// SPDX-License-Identifier: MIT
// Memory that runs out on demand: the agent's own allocations, or those made for JSON.
#pragma once

#include <functional>

namespace ota::test {

enum class Owner { kAgent, kJson };

// Under AddressSanitizer malloc is the sanitizer's; the agent's own cannot be failed there.
bool canFailAllocationsOf(Owner owner);

// The nth allocation from now on fails (1 is the next one), once.
void failAllocation(Owner owner, int nth);
bool allocationFailed();
void stopFailingAllocations();

// Runs `attempt` with the first allocation failing, then the second, and so on, until one run
// needs fewer; that last run is an undisturbed one and is not reported as failed.
void withEveryAllocationFailing(Owner owner, const std::function<void(bool failed)> &afterRun,
                                const std::function<void()> &attempt);

// JSON allocations of the agent and the test that are not yet released.
int outstandingJson();

// Routes cJSON's allocations through the harness; the fixture calls it.
void watchJsonAllocations();

} // namespace ota::test

#define OTA_SKIP_UNLESS_ALLOCATIONS_FAIL(owner)                                                    \
    if (!::ota::test::canFailAllocationsOf(owner))                                                 \
    GTEST_SKIP() << "the sanitizer owns malloc here"
