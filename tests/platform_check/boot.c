/* SPDX-License-Identifier: MIT */
/* The boot loader of the platform in tests/foreign, in its node's folder. */
#include "../foreign/platform.c"

void sync(void) {} /* by another name, see CMakeLists.txt */

#include <stdlib.h>

/* A first state: bank a runs, bank b is empty. */
static int make(const char *version) {
    OtaFault why;
    memset(&state, 0, sizeof state);
    state.trial = OTA_NO_BANK;
    say(state.banks[0].version, version);
    state.banks[0].whole = 1;
    return store(&why);
}

/* A bank on trial boots as often as it has attempts, then the other one. */
static int boot(void) {
    OtaFault why;
    if (load(&why) != 0) {
        return 1;
    }
    state.active = getenv("BOOTS_THE_OLD") != NULL ? state.active : state.chosen;
    if (state.trial == state.active && getenv("BOOTS_FOR_EVER") == NULL) {
        if (state.banks[state.active].attempts > 0) {
            state.banks[state.active].attempts--;
        } else {
            state.active = !state.active;
        }
    }
    return store(&why);
}

int main(int count, char **words) { return count > 1 ? make(words[1]) : boot(); }
