/* SPDX-License-Identifier: MIT */
/* The lock on the door, for a host in C: which new-image descriptors may reach the agent. */
#ifndef GUARD_GUARD_H
#define GUARD_GUARD_H

#include <stddef.h>
#include <stdint.h>

/*
 * libotaGuard.so. Pure checks: a call reads what it is given, keeps nothing and takes at most
 * milliseconds; the first one that meets a URL also loads libcurl, which reads URLs for it. Any
 * thread may make one at any time, several at once too. Texts end with a NUL and stay the caller's,
 * unless said otherwise; null counts as an empty one.
 */

#ifdef __cplusplus
extern "C" {
#endif

enum {
    OTA_GUARD_ADMITTED = 0,    /* the agent may have what comes with it */
    OTA_GUARD_FAILED = 1,      /* nothing was judged: memory ran out, or a record is no record */
    OTA_GUARD_NAME_WIDTH = 32, /* NUL included, as below */
    OTA_GUARD_KEY_WIDTH = 64,
    OTA_GUARD_SENTENCE_WIDTH = 512
};

/* What of this node an offer is compared with. */
typedef struct OtaGuardNode {
    uint32_t size;             /* sizeof(OtaGuardNode), as the caller was compiled */
    const char *model;         /* as in the node-information record */
    const char *mac;           /* of the bridge: six hexadecimal pairs with colons, any case */
    const char *logsDirectory; /* of the platform: how long a version may be follows from it */
} OtaGuardNode;

/* What its owner allows. */
typedef struct OtaGuardRules {
    uint32_t size;                      /* sizeof(OtaGuardRules) */
    int32_t allowPlainHttp;             /* 1: http:// too */
    const char *lowestVersion;          /* a version below it is refused; empty: none is */
    const char *const *refusedVersions; /* that failed their trial; may be null with 0 */
    size_t refusedCount;
} OtaGuardRules;

/* Why an offer was not let through: three texts of printable ASCII, cut where they are longer. */
typedef struct OtaGuardRefusal {
    int32_t code;                            /* of docs/codes.md, 20 to 42; or OTA_GUARD_FAILED */
    char name[OTA_GUARD_NAME_WIDTH];         /* of the code, such as "wrongModel" */
    char key[OTA_GUARD_KEY_WIDTH];           /* of the descriptor; "descriptor": the whole */
    char sentence[OTA_GUARD_SENTENCE_WIDTH]; /* "<key>: what is wrong and what is expected" */
} OtaGuardRefusal;

/*
 * Judges a descriptor of `length` bytes, whatever they are. OTA_GUARD_ADMITTED: `*canonical` is the
 * descriptor printed anew from what was checked, and the only text that the agent must get; it is
 * the caller's, for otaGuardRelease. Any other answer is the code of the refusal: `*canonical` is
 * null and
 * `*refusal`, where that is not null, is filled.
 */
int otaGuardOffer(const char *text, size_t length, const OtaGuardNode *node,
                  const OtaGuardRules *rules, char **canonical, OtaGuardRefusal *refusal);

/* Releases what otaGuardOffer gave; null is nothing. */
void otaGuardRelease(char *canonical);

#ifdef __cplusplus
}
#endif

#endif
