/* SPDX-License-Identifier: MIT */
/* A platform of one's own, whole: two banks as files, and the bank facts as one more. */
#include "platform/nal.h"
#include "platform/service.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static const OtaPlatformHooks *hooks; /* null: nobody asked for the table below */
static OtaBankFacts state;            /* as it was loaded last */

static int fail(OtaFault *why, const char *reason, const char *text) {
    snprintf(why->reason, sizeof why->reason, "%s", reason);
    snprintf(why->text, sizeof why->text, "%s", text);
    return -1;
}

static int load(OtaFault *why) {
    int file = open("state", O_RDONLY);
    int whole = read(file, &state, sizeof state) == (ssize_t)sizeof state;
    close(file);
    return whole ? 0 : fail(why, "boot-state-unreadable", "state cannot be read; make it anew");
}

/* A new file takes the place of the old one. */
static int store(OtaFault *why) {
    int file = open("state.new", O_WRONLY | O_CREAT | O_TRUNC, 0640);
    int whole = write(file, &state, sizeof state) == (ssize_t)sizeof state && fsync(file) == 0;
    whole = close(file) == 0 && whole && rename("state.new", "state") == 0;
    sync(); /* the name, too */
    return whole ? 0 : fail(why, "boot-state-not-written", "state cannot be written; see its disk");
}

static int say(void *to, const char *text) { return strcpy(to, text) == NULL; }

const char *nal_getTmpDirectory(void) { return "."; }
const char *nal_getConfigsDirectory(void) { return "configs"; }
const char *nal_getLogsDirectory(void) { return "node-logs"; }
const char *nal_getHIECertifcatePath(void) { return "ca.pem"; }
int nal_getWorkMode(char *mode) { return say(mode, "RGW"); }
int nal_getWorkRole(char *role) { return say(role, "Controller"); }
int nal_getRootOnBoardingStatus(int *status) { return *status = 0; }

int nal_getNodeInfo(void *record) {
    say((char *)record + NAL_NODE_INFO_SERIAL_OFFSET, "SN0000000001");
    return say((char *)record + NAL_NODE_INFO_MODEL_OFFSET, "GW-1000");
}

int nal_getSwAutoUpgradeInfo(void *record) {
    return say((char *)record + NAL_UPGRADE_INFO_TIME_OFFSET, "03:00");
}

int nal_getCurSwVersion(char *version) {
    OtaFault why;
    return load(&why) != 0 || say(version, state.banks[state.active].version);
}

int nal_getPrevSwVersion(char *version) {
    OtaFault why;
    int whole = load(&why) == 0 && state.banks[!state.active].whole;
    return whole ? say(version, state.banks[!state.active].version) : NAL_NO_PREVIOUS_IMAGE;
}

/* Copies, or compares what is there; 0: all bytes went well, and there were some. */
static int pass(const char *imagePath, const char *bankPath, int compare) {
    char image[4096], bank[4096];
    int from = open(imagePath, O_RDONLY), to = open(bankPath, compare ? O_RDONLY : O_WRONLY);
    int wrong = from < 0 || to < 0;
    ssize_t count = 0;
    while (!wrong && (count = read(from, image, sizeof image)) > 0) {
        wrong = compare ? read(to, bank, (size_t)count) != count ||
                              memcmp(image, bank, (size_t)count) != 0
                        : write(to, image, (size_t)count) != count;
    }
    wrong = wrong || count != 0 || lseek(to, 0, SEEK_CUR) == 0 || (!compare && fsync(to) != 0);
    close(from);
    return close(to) != 0 || wrong;
}

static int tell(int answer, const OtaFault *why) {
    return answer != 0 && hooks != NULL ? (hooks->failed(why), answer) : answer;
}

static int copy(const char *image, const char *path, OtaFault *why) {
    OtaBank *bank = &state.banks[!state.active];
    bank->whole = 0;
    if (store(why) != 0 || (hooks != NULL && (hooks->banksChanged(), 0)) ||
        pass(image, path, 0) != 0 || pass(image, path, 1) != 0) {
        return fail(why, "bank-not-written", "the bank does not hold the image; see its disk");
    }
    /* A real image carries its version, and a signature. */
    say(bank->version, hooks != NULL ? hooks->offeredVersion() : strrchr(image, '/') + 1);
    bank->whole = 1;
    return store(why);
}

int nal_writePassiveImage(const char *image) {
    OtaFault why = {"", ""};
    if (load(&why) != 0 || state.chosen != state.active || state.trial != OTA_NO_BANK) {
        return tell(fail(&why, "bank-in-use", "the other bank is needed as it is"), &why);
    }
    return tell(copy(image, state.active ? "banks/a" : "banks/b", &why), &why);
}

int nal_activatePassiveImage(void) {
    OtaFault why = {"", ""};
    if (load(&why) != 0 || !state.banks[!state.active].whole || state.trial == state.active) {
        return tell(fail(&why, "bank-not-whole", "the other bank cannot be activated"), &why) == 0;
    }
    state.chosen = state.next = !state.active;
    state.trial = hooks == NULL ? OTA_NO_BANK : state.chosen;
    state.banks[state.chosen].attempts = 2;
    state.healthy = 0;
    return tell(store(&why), &why) == 0;
}

int nal_fallBackToActiveImage(void) { return 0; } /* no activation is ever half done */

void nalLogNotice(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "notice: %s:%d: ", function, line);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}

void nalLogError(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "error: %s:%d: ", function, line);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}

static void follow(const OtaPlatformHooks *given) { hooks = given; }

static int bankFacts(OtaBankFacts *facts, OtaFault *why) {
    return load(why) || (*facts = state, 0);
}

/* Ends the trial: this bank boots next; where it is not the one on trial, that one failed. */
static int settle(int next, int failure, OtaFault *why) {
    if (next != state.trial) {
        say(state.failed[0].version, state.banks[!next].version);
        state.failed[0].trials = state.failedCount = 1;
        state.failed[0].last = failure;
    }
    state.chosen = state.next = next;
    state.trial = OTA_NO_BANK;
    return store(why);
}

static int beginTrial(OtaFault *what) {
    if (load(what) != 0 || state.trial == OTA_NO_BANK) {
        return OTA_TRIAL_NONE;
    }
    if (state.trial == state.active) {
        return fail(what, "", "the running bank is on trial"), OTA_TRIAL_RUNNING;
    }
    fail(what, "", "the new bank used up its boot attempts");
    return settle(state.active, OTA_FAILED_BOOT, what), OTA_TRIAL_FAILED;
}

static int checkHealth(OtaFault *why) {
    return access("sick", F_OK) != 0 ? 0 : fail(why, "", "the node is sick");
}

static int failTrial(OtaFault *why) {
    return load(why) || settle(!state.active, OTA_FAILED_HEALTH, why);
}

static int mayReboot(OtaFault *why) {
    int may = load(why) == 0 && state.banks[state.active].attempts-- > 0;
    return may ? store(why) : fail(why, "", "the other bank does not come");
}

static int passTrial(OtaFault *why) { return load(why) || (state.healthy = 1, store(why)); }

/* Also where an upgrade is cancelled: the bank that runs boots next, and none is on trial. */
static int commit(OtaFault *why) {
    return load(why) || (state.trial = state.active, settle(state.active, 0, why));
}

static const OtaPlatformService kTable = {
    .size = sizeof(OtaPlatformService),
    .follow = follow,
    .bankFacts = bankFacts,
    .beginTrial = beginTrial,
    .checkHealth = checkHealth,
    .failTrial = failTrial,
    .mayReboot = mayReboot,
    .passTrial = passTrial,
    .commit = commit,
    .takeBack = commit,
};

const OtaPlatformService *otaPlatformService(void) { return &kTable; }
