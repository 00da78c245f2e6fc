// SPDX-License-Identifier: MIT
// A name whose look-up hangs, as with a name server that does not answer.
#include "hanging_look_up.h"

#include "next_function.h"

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <netdb.h>

namespace {

std::mutex mutex;
std::condition_variable changed;
int hanging = 0;
bool ended = false;

} // namespace

int hangingLookUps() {
    const std::lock_guard lock(mutex);
    return hanging;
}

void endHangingLookUps() {
    const std::lock_guard lock(mutex);
    ended = true;
    changed.notify_all();
}

extern "C" int getaddrinfo(const char *name, const char *service, const addrinfo *hints,
                           addrinfo **result) {
    if (name == nullptr || std::strcmp(name, kHangingName) != 0) {
        return ota::test::nextFunction<decltype(getaddrinfo)>("getaddrinfo")(name, service, hints,
                                                                             result);
    }
    std::unique_lock lock(mutex);
    ++hanging;
    changed.wait(lock, [] { return ended; });
    --hanging;
    return EAI_AGAIN;
}
