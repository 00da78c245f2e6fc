/* SPDX-License-Identifier: MIT */
/* A host in C judges offers by the guard's public header and library alone. */
#include "guard/guard.h"

#include <stdio.h>
#include <string.h>

#define DESCRIPTOR(version, url)                                                                   \
    "{\"policy\": 1, \"model\": \"GW-1000\", \"nxtMSVersion\": \"" version                         \
    "\", \"fileServerURL\": \"" url                                                                \
    "\", \"checksum\": \"0123456789abcdef0123456789abcdef\", \"mac\": \"02:00:5e:10:00:01\"}"

static const char kGood[] = DESCRIPTOR("4QZ2.1.0", "https://files.example/it's");
static int failures;

static void expect(int holds, const char *what) {
    if (!holds) {
        ++failures;
        printf("not so: %s\n", what);
    }
}

static OtaGuardNode node;
static OtaGuardRules rules;

static void expectRefused(const char *text, const char *name, const char *key) {
    char *canonical = (char *)text; /* anything but null */
    OtaGuardRefusal why;
    int code = otaGuardOffer(text, strlen(text), &node, &rules, &canonical, &why);
    expect(code != OTA_GUARD_ADMITTED && code == why.code, "the answer is the refusal's code");
    expect(canonical == NULL, "nothing is handed out");
    expect(strcmp(why.name, name) == 0, name);
    expect(strcmp(why.key, key) == 0, key);
    expect(strncmp(why.sentence, key, strlen(key)) == 0, "the sentence begins with the key");
    printf("%d %s: %s\n", why.code, why.name, why.sentence);
    expect(otaGuardOffer(text, strlen(text), &node, &rules, &canonical, NULL) == code,
           "nobody need ask why");
}

int main(void) {
    const char *failed[] = {"4QZ2.0.0"};
    char *canonical = NULL;
    OtaGuardRefusal why;
    node.size = sizeof node;
    node.model = "GW-1000";
    node.mac = "02:00:5E:10:00:01";
    node.logsDirectory = "/var/log/ota";
    rules.size = sizeof rules;
    rules.lowestVersion = "4QZ1.5";
    rules.refusedVersions = failed;
    rules.refusedCount = 1;

    expect(otaGuardOffer(kGood, sizeof kGood - 1, &node, &rules, &canonical, &why) ==
               OTA_GUARD_ADMITTED,
           "a good offer is let through");
    expect(canonical != NULL && strncmp(canonical, "{\"model\":\"GW-1000\",", 19) == 0,
           "it is printed anew, in the record's order");
    expect(canonical != NULL && strstr(canonical, "it%27s") != NULL, "with its URL encoded");
    otaGuardRelease(canonical);
    otaGuardRelease(NULL);

    expectRefused("", "descriptorNotOneObject", "descriptor");
    expectRefused(DESCRIPTOR("4QZ2.1.0; reboot", "https://files.example/a"), "versionMalformed",
                  "nxtMSVersion");
    expectRefused(DESCRIPTOR("4QZ1.4", "https://files.example/a"), "versionBelowFloor",
                  "nxtMSVersion");
    expectRefused(DESCRIPTOR("4QZ2.0.0", "https://files.example/a"), "versionFailedTrial",
                  "nxtMSVersion");
    expectRefused(DESCRIPTOR("4QZ2.1.0", "http://files.example/a"), "plainHttpForbidden",
                  "fileServerURL");
    rules.allowPlainHttp = 1;
    node.model = "GW-9";
    expectRefused(kGood, "wrongModel", "model");
    node.model = NULL;
    expectRefused(kGood, "wrongModel", "model");

    node.size = 4;
    expect(otaGuardOffer(kGood, sizeof kGood - 1, &node, &rules, &canonical, &why) ==
                   OTA_GUARD_FAILED &&
               canonical == NULL && why.code == OTA_GUARD_FAILED,
           "a record of no size is none");
    return failures == 0 ? 0 : 1;
}
