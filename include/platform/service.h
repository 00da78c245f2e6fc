/* SPDX-License-Identifier: MIT */
/* What the upgrade service asks of a platform beside the agent's functions: one table, all of it
 * optional. */
#ifndef PLATFORM_SERVICE_H
#define PLATFORM_SERVICE_H

#include <stddef.h>
#include <stdint.h>

/*
 * A platform is one shared library that `ota-host --platform FILE` loads before the agent's. It has
 * the functions of platform/nal.h but nal_setSwmgntFileServerInfo: that one, platform/evbus.h,
 * platform/nwa.h and platform/timers.h are the host's, which passes them on to the service. Where
 * the library has them too, the host's are the ones that are called.
 *
 * It may also have the function below. Without it the node upgrades all the same, and does without
 * a trial: nothing is known of the banks but the two versions, what was activated is not watched,
 * and the service says so.
 *
 * C alone crosses this boundary: no exception may leave a function of the table, and none is thrown
 * through one. Every call is made on the host's one thread, one at a time, none while a call of the
 * agent runs, unless said otherwise. What a call is given stays the caller's and is read or filled
 * before the call returns. A member that is null is not there.
 */

#ifdef __cplusplus
extern "C" {
#endif

enum {
    OTA_BANKS = 2,               /* bank "a" is number 0, bank "b" number 1 */
    OTA_NO_BANK = -1,            /* where a number names none of them */
    OTA_BANK_VERSION_WIDTH = 64, /* a software version, NUL included */
    OTA_FAILED_VERSIONS = 16,    /* of which a platform may tell */
    OTA_REASON_WIDTH = 32,       /* a reason of docs/codes.md, NUL included */
    OTA_FAULT_TEXT_WIDTH = 1024, /* one line, NUL included */
    OTA_CONFIG_WRONG = 9         /* what `open` answers where starting again mends nothing */
};

/* Why a call failed. The caller hands it over zeroed; what is longer is cut. */
typedef struct OtaFault {
    char reason[OTA_REASON_WIDTH];   /* such as "bank-not-written"; empty: none of them */
    char text[OTA_FAULT_TEXT_WIDTH]; /* what, where, what to do; UTF-8 without a line end */
} OtaFault;

typedef struct OtaBank {
    char version[OTA_BANK_VERSION_WIDTH]; /* empty: none was ever whole in it */
    int32_t whole; /* 1: every byte of its image is there and was read back */
    int32_t
        attempts; /* of a bank on trial: boots that it has left, 0 to 99; else any such number */
} OtaBank;

enum { OTA_FAILED_BOOT, OTA_FAILED_HEALTH };

typedef struct OtaFailedVersion {
    char version[OTA_BANK_VERSION_WIDTH];
    int32_t trials; /* that it failed, 1 to 99 */
    int32_t last;   /* how the newest of them failed: OTA_FAILED_BOOT: its boot attempts were used
                       up; OTA_FAILED_HEALTH: the node was not healthy on it */
} OtaFailedVersion;

/* The banks as they are now. The numbers of banks are 0 and 1. */
typedef struct OtaBankFacts {
    int32_t active;  /* the bank that runs */
    int32_t chosen;  /* the bank that was chosen to boot next */
    int32_t next;    /* the bank that the next boot takes: the chosen one, unless it is not fit */
    int32_t trial;   /* the bank that must still prove itself; OTA_NO_BANK: none */
    int32_t healthy; /* 1: the bank on trial passed, and only its commit is missing */
    OtaBank banks[OTA_BANKS];
    int32_t failedCount;
    OtaFailedVersion failed[OTA_FAILED_VERSIONS]; /* the newest last */
} OtaBankFacts;

/* What `beginTrial` answers. */
enum {
    OTA_TRIAL_NONE,    /* nothing was activated since the last commit, or that cannot be told */
    OTA_TRIAL_RUNNING, /* the running bank must still prove itself */
    OTA_TRIAL_FAILED   /* the activated bank did not come up, or not for long; the old one runs */
};

/*
 * What a platform calls while it writes or activates, on the thread that it was called on. They
 * outlive it, and are never null.
 */
typedef struct OtaPlatformHooks {
    uint32_t size; /* bytes of this record, as the host knows it */
    /* The bank facts are others than before: the passive bank's first byte is about to change. */
    void (*banksChanged)(void);
    /* Behind a write or an activation that failed, before it returns. The text is read at once. */
    void (*failed)(const OtaFault *why);
    /*
     * The whole version of the offer that is being written; empty where it is not known. The agent
     * names the image by its first 14 characters. Read the text at once.
     */
    const char *(*offeredVersion)(void);
} OtaPlatformHooks;

/* What a line about the configuration says. */
enum {
    OTA_CONFIG_MISTAKE,  /* the platform does not start with it: `open` would fail */
    OTA_CONFIG_OBSTACLE, /* it starts, and no upgrade would succeed */
    OTA_CONFIG_WARNING   /* probably not meant */
};

/* Takes one line without a line end, in UTF-8, and reads it at once. */
typedef void (*OtaTellConfig)(void *context, int32_t kind, const char *line);

/*
 * Functions that answer an int: 0 is success, else `why` says what failed. Those that must all be
 * there for the node to have trials: bankFacts, beginTrial, failTrial, mayReboot, passTrial,
 * commit.
 */
typedef struct OtaPlatformService {
    uint32_t size; /* sizeof(OtaPlatformService), as the platform was compiled */

    /*
     * The first call, once: the service's configuration, which the platform may have keys in.
     * OTA_CONFIG_WRONG: it has mistakes. After a failure nothing else is called.
     */
    int (*open)(const char *configPath, OtaFault *why);
    /* The second one. The hooks stay the host's. */
    void (*follow)(const OtaPlatformHooks *hooks);

    /* Fills the zeroed facts. Called often, also from a hook; may read what survives a reboot. */
    int (*bankFacts)(OtaBankFacts *facts, OtaFault *why);
    /* Bytes of the larger bank, of which an image is none larger; 0: it cannot be told. */
    uint64_t (*bankCapacity)(void);

    /*
     * The trial: at the first start after each boot beginTrial; where that says running,
     * checkHealth unless the facts say healthy, and where that fails failTrial and a reboot; then
     * the agent's start, passTrial, the agent's commit check, commit. A bank that did not pass
     * never comes to the commit check, which would report a commit.
     */

    /*
     * Says which it is; `what` is one line about it, empty where there is nothing to say. A trial
     * that failed is settled: the running bank boots next, and the version is remembered. What
     * cannot be read or stored is said in `what`.
     */
    int (*beginTrial)(OtaFault *what);
    /* Whether the node is healthy. May block, for as long as healthLimit. */
    int (*checkHealth)(OtaFault *why);
    /*
     * Seconds: so long the host also waits, behind checkHealth, for what the agent's start waits
     * for without an end. Null: 60.
     */
    int (*healthLimit)(void);
    /* The other bank boots next, and the running version is remembered as one that failed. */
    int (*failTrial)(OtaFault *why);
    /*
     * Before the reboot into the other bank is asked for once more, since the first one ended in
     * this bank again. Failure: it would not bring the other one; the node then stays as it is.
     */
    int (*mayReboot)(OtaFault *why);
    /*
     * Keeps that the running bank passed: what is reported as committed must not be taken back by a
     * power cut or by another check of its health. Success where it is not on trial.
     */
    int (*passTrial)(OtaFault *why);
    /* The running bank is good: it boots from now on without counting. Again: success. */
    int (*commit)(OtaFault *why);
    /* A version that failed may be offered again. Fails also where it was not remembered. */
    int (*forget)(const char *version, OtaFault *why);

    /*
     * The running bank boots next where another one was chosen and has not booted: an upgrade was
     * cancelled. The image in the passive bank stays. Success where none was chosen.
     */
    int (*takeBack)(OtaFault *why);
    /*
     * What the passive bank holds does not count as an image any more. Fails where that bank is
     * activated or on trial.
     */
    int (*giveUpPassive)(OtaFault *why);

    /*
     * Tells what is wrong with the platform's own keys, and with what they name: "FILE:LINE: what,
     * what to do". Changes nothing. Called before the service starts and by `otad --check`, in a
     * process that calls nothing else, not even `open`; it has 30 seconds.
     */
    void (*checkConfig)(const char *configPath, OtaTellConfig tell, void *context);
} OtaPlatformService;

/* The platform's table: the same one whenever it is asked for, valid for the life of the process.
 */
const OtaPlatformService *otaPlatformService(void);

#ifdef __cplusplus
}
#endif

#endif
