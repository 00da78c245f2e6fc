/* SPDX-License-Identifier: MIT */
/* The platform of tests/foreign with one fault, which the variable FAULT names. */
#define nal_getTmpDirectory rightTmpDirectory
#define nal_getConfigsDirectory rightConfigsDirectory
#define nal_getLogsDirectory rightLogsDirectory
#define nal_getNodeInfo rightNodeInfo
#define nal_getCurSwVersion rightCurSwVersion
#define nal_getPrevSwVersion rightPrevSwVersion
#define nal_getWorkMode rightWorkMode
#define nal_getWorkRole rightWorkRole
#define nal_getRootOnBoardingStatus rightRootOnBoardingStatus
#define nal_getSwAutoUpgradeInfo rightSwAutoUpgradeInfo
#define nal_writePassiveImage rightWrite
#define nal_activatePassiveImage rightActivate
#define nal_fallBackToActiveImage rightFallBack
#define nalLogNotice rightLogNotice
#define nalLogError rightLogError
#define otaPlatformService rightTable
#include "../foreign/platform.c"
#undef nal_getTmpDirectory
#undef nal_getConfigsDirectory
#undef nal_getLogsDirectory
#undef nal_getNodeInfo
#undef nal_getCurSwVersion
#undef nal_getPrevSwVersion
#undef nal_getWorkMode
#undef nal_getWorkRole
#undef nal_getRootOnBoardingStatus
#undef nal_getSwAutoUpgradeInfo
#undef nal_writePassiveImage
#undef nal_activatePassiveImage
#undef nal_fallBackToActiveImage
#undef nalLogNotice
#undef nalLogError
#undef otaPlatformService

#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/syscall.h>

const char *nal_getTmpDirectory(void);
const char *nal_getConfigsDirectory(void);
const char *nal_getLogsDirectory(void);
int nal_getNodeInfo(void *record);
int nal_getCurSwVersion(char *version);
int nal_getPrevSwVersion(char *version);
int nal_getWorkMode(char *mode);
int nal_getWorkRole(char *role);
int nal_getRootOnBoardingStatus(int *status);
int nal_getSwAutoUpgradeInfo(void *record);
int nal_writePassiveImage(const char *image);
int nal_activatePassiveImage(void);
int nal_fallBackToActiveImage(void);
void nalLogNotice(const char *function, int line, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
void nalLogError(const char *function, int line, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
const OtaPlatformService *otaPlatformService(void);

void sync(void) {} /* by another name, see CMakeLists.txt */

static int is(const char *fault) {
    const char *chosen = getenv("FAULT");
    return chosen != NULL && strcmp(chosen, fault) == 0;
}

static OtaBank *passive(void) { return &state.banks[!state.active]; }

__attribute__((constructor)) static void whenLoaded(void) {
    if (is("ends-when-loaded")) {
        exit(0);
    }
}

/* ---- Directories ---- */

const char *nal_getTmpDirectory(void) {
    static int times;
    if (is("another-tmp-each-time")) {
        return times++ % 2 == 0 ? "." : "./.";
    }
    return is("no-tmp")           ? NULL
           : is("tmp-with-slash") ? "./"
           : is("long-tmp")       ? "a-long-tmp"
           : is("blank-in-tmp")   ? "a b"
                                  : rightTmpDirectory();
}

const char *nal_getConfigsDirectory(void) {
    static int times;
    if (is("slow-paths") && times++ < 10) {
        usleep(150000);
    }
    return is("no-configs-there") ? "nowhere" : rightConfigsDirectory();
}

const char *nal_getLogsDirectory(void) {
    return is("logs-of-everybody") ? "open" : rightLogsDirectory();
}

/* ---- Identity ---- */

int nal_getNodeInfo(void *record) {
    static int times;
    char *bytes = record;
    int answer = rightNodeInfo(record);
    if (is("record-too-long")) {
        memset(bytes + NAL_NODE_INFO_MODEL_OFFSET + 31, 0, 560 - NAL_NODE_INFO_MODEL_OFFSET - 31);
    } else if (is("before-the-record")) {
        bytes[-1] = 0;
    } else if (is("long-serial")) {
        memset(bytes + NAL_NODE_INFO_SERIAL_OFFSET, '7', 40);
    } else if (is("no-model")) {
        bytes[NAL_NODE_INFO_MODEL_OFFSET] = '\0';
    } else if (is("another-model-each-time")) {
        bytes[NAL_NODE_INFO_MODEL_OFFSET] = (char)('A' + times++ % 2);
    }
    return answer;
}

int nal_getCurSwVersion(char *version) {
    int answer = rightCurSwVersion(version);
    if (is("long-version")) {
        return say(version, "4QZ-1234567890.1234567890.1234567890");
    }
    if (is("version-without-end")) {
        memset(version, 'x', NAL_VERSION_WIDTH);
    } else if (is("version-for-a-shell")) {
        return say(version, "4QZ;reboot");
    } else if (is("version-of-the-chosen-bank")) {
        return say(version, state.banks[state.chosen].version);
    } else if (is("no-version")) {
        return -1;
    } else if (is("version-of-the-written-bank") && passive()->whole) {
        return say(version, passive()->version);
    }
    return answer;
}

int nal_getPrevSwVersion(char *version) {
    int answer = rightPrevSwVersion(version);
    if (is("other-version-scribbles") && answer != 0) {
        say(version, "none");
    }
    return answer;
}

int nal_getWorkMode(char *mode) {
    return is("mode-answers-one") ? 1 : say(mode, is("mode-unknown") ? "Rgw" : "RGW");
}

int nal_getWorkRole(char *role) {
    static int times;
    if (is("leaks-memory")) {
        memset(malloc(200), 1, 200);
    }
    if (is("slow-query") && times++ < 4) {
        usleep(1100000);
    }
    return is("no-role") ? say(role, "") : rightWorkRole(role);
}

int nal_getRootOnBoardingStatus(int *status) {
    int answer = rightRootOnBoardingStatus(status);
    *status = is("onboarding-two") ? 2 : *status;
    return answer;
}

int nal_getSwAutoUpgradeInfo(void *record) {
    if (is("leaks-descriptors")) {
        open("/dev/null", O_RDONLY);
    }
    if (is("settings-answer-one")) {
        return 1;
    }
    return is("no-time-of-day") ? say((char *)record + NAL_UPGRADE_INFO_TIME_OFFSET, "25:99")
                                : rightSwAutoUpgradeInfo(record);
}

/* ---- Logger, and what is done to the process behind it ---- */

static void *sleeps(void *nothing) {
    pause();
    return nothing;
}

static void leakThread(void) {
    static int times;
    pthread_t thread;
    if (++times > 120 && times <= 140) {
        pthread_create(&thread, NULL, sleeps, NULL);
    }
}

static void leaveChild(void) {
    static int times;
    if (times++ == 0 && fork() == 0) {
        setsid();
        sleep(60);
        _exit(0);
    }
}

static void nothing(int number) { (void)number; }

static void harmProcess(void) {
    if (is("changes-directory") && chdir("/") != 0) {
        abort();
    } else if (is("changes-umask")) {
        umask(0);
    } else if (is("changes-signals")) {
        signal(SIGPIPE, nothing);
    } else if (is("closes-standard-files")) {
        close(0);
        close(1);
        close(2);
    } else if (is("changes-environment")) {
        setenv("PATH", "/tmp", 1);
    } else if (is("leaves-a-process")) {
        leaveChild();
    } else if (is("writes-to-standard-output")) {
        printf("a line\n");
        fflush(stdout);
    } else if (is("leaks-threads")) {
        leakThread();
    }
}

__attribute__((format(printf, 2, 0))) static void logText(const char *kind, const char *format,
                                                          va_list arguments) {
    static char text[100000];
    static int times;
    vsnprintf(text, sizeof text, format, arguments);
    if (is("log-aborts") || (is("empty-log-line-aborts") && text[0] == '\0') ||
        (is("log-line-too-long") && strlen(text) > 4096) ||
        (is("log-line-formatted-twice") && strchr(text, '%') != NULL)) {
        abort();
    }
    if (is("slow-logger") && times++ < 40) {
        usleep(60000);
    }
    fprintf(stderr, "%s: %s\n", kind, text);
    harmProcess();
}

void nalLogNotice(const char *function, int line, const char *format, ...) {
    va_list arguments;
    (void)function;
    (void)line;
    va_start(arguments, format);
    logText("notice", format, arguments);
    va_end(arguments);
}

void nalLogError(const char *function, int line, const char *format, ...) {
    va_list arguments;
    (void)function;
    (void)line;
    va_start(arguments, format);
    logText("error", format, arguments);
    va_end(arguments);
}

/* ---- Banks ---- */

static const char *bankFile(int bank) { return bank ? "banks/b" : "banks/a"; }

/* Somebody must have set an end to it. */
static void flood(void) {
    static char piece[65536];
    for (int pieces = 0; write(2, piece, sizeof piece) == (ssize_t)sizeof piece; ++pieces) {
        if (pieces == 512) {
            abort();
        }
    }
}

static const char *volatile nowhere;

/* What ends a process, or tries to bring its machine down: never a real reboot. */
static void endProcess(void) {
    if (is("ends-the-process")) {
        exit(0);
    } else if (is("aborts")) {
        abort();
    } else if (is("reads-nothing")) {
        exit(nowhere[0]);
    } else if (is("hangs")) {
        pause();
    } else if (is("reboots-by-system")) {
        exit(system("./reboot"));
    } else if (is("reboots-by-popen")) {
        exit(popen("sleep 0; exec ./reboot -f", "r") == NULL);
    } else if (is("reboots-by-exec")) {
        execl("./reboot", "reboot", (char *)NULL);
    } else if (is("reboots-by-the-kernel")) {
        syscall(SYS_reboot, 0, 0, 0, NULL); /* wrong magic numbers: refused by any kernel */
#ifdef __x86_64__
    } else if (is("reboots-by-another-way")) {
        int answer = 88; /* i386's number of the same call, with the same wrong magic numbers */
        __asm__ volatile("int $0x80" : "+a"(answer) : "b"(0), "c"(0), "d"(0), "S"(0) : "memory");
#endif
    } else if (is("runs-a-program") && system("touch ../marked") != 0) {
        fprintf(stderr, "no program may run\n");
    } else if (is("floods-its-log")) {
        flood();
    } else if (is("signals-init")) {
        kill(1, 0);
    } else if (is("signals-its-parent")) {
        kill(getppid(), 0);
    }
}

/* Marked as whole first, and written then. */
static int writeBehindMark(const char *image) {
    OtaFault why = {"", ""};
    struct stat status;
    if (load(&why) != 0 || state.chosen != state.active || state.trial != OTA_NO_BANK ||
        stat(image, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
        return tell(-1, &why);
    }
    say(passive()->version, hooks != NULL ? hooks->offeredVersion() : "4QZ");
    passive()->whole = 1;
    store(&why);
    if (hooks != NULL) {
        hooks->banksChanged();
    }
    if (pass(image, bankFile(!state.active), 0) != 0) {
        passive()->whole = 0;
        store(&why);
        return -1;
    }
    return 0;
}

static int claim(const char *image) {
    OtaFault why;
    load(&why);
    say(passive()->version, strrchr(image, '/') + 1);
    passive()->whole = 1;
    return store(&why);
}

static int writeOverActivated(const char *image) {
    OtaFault why;
    load(&why);
    return state.chosen != state.active ? pass(image, bankFile(!state.active), 0)
                                        : rightWrite(image);
}

static void harmRunningBank(void) {
    int bank = open(bankFile(state.active), O_WRONLY | O_APPEND);
    if (write(bank, "x", 1) != 1) {
        abort();
    }
    close(bank);
}

static int writeOnTrial(const char *image) {
    OtaFault why;
    return load(&why) == 0 && state.trial == state.active ? pass(image, bankFile(!state.active), 0)
                                                          : rightWrite(image);
}

static int kept = -1; /* in memory alone: the bank that was activated */

static int writeWrongly(const char *image) {
    struct stat status;
    OtaFault why;
    int isThere = stat(image, &status) == 0;
    int isEmpty = isThere && S_ISREG(status.st_mode) && status.st_size == 0;
    if (is("marks-before-it-writes")) {
        return writeBehindMark(image);
    }
    if ((is("takes-a-missing-image") && !isThere) || (is("takes-an-empty-image") && isEmpty) ||
        (is("takes-a-directory") && isThere && S_ISDIR(status.st_mode))) {
        return 0;
    }
    if (is("claims-to-write") && isThere && S_ISREG(status.st_mode) && !isEmpty) {
        return claim(image);
    }
    if (is("writes-once") && load(&why) == 0 && passive()->whole) {
        return 0;
    }
    if (is("activated-in-memory") && kept >= 0) {
        return -1;
    }
    if (is("refuses-the-same-twice") && load(&why) == 0 && passive()->whole && hooks != NULL &&
        strcmp(passive()->version, hooks->offeredVersion()) == 0) {
        return -1;
    }
    if (is("writes-while-on-trial")) {
        return writeOnTrial(image);
    }
    return is("writes-over-the-activated") ? writeOverActivated(image) : rightWrite(image);
}

int nal_writePassiveImage(const char *image) {
    endProcess();
    int answer = writeWrongly(image);
    struct stat status;
    if (answer != 0) {
        int isWhole = stat(image, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
        return is("believes-a-broken-write") && isWhole && state.chosen == state.active
                   ? claim(image)
                   : answer;
    }
    if (is("leaks-descriptors-on-writing")) {
        open(image, O_RDONLY);
    } else if (is("removes-the-image")) {
        unlink(image);
    } else if (is("harms-the-running-bank")) {
        harmRunningBank();
    } else if (is("activates-at-once")) {
        rightActivate();
    } else if (is("forgets-the-version")) {
        OtaFault why;
        passive()->whole = 0;
        store(&why);
    }
    return is("write-answers-one") ? 1 : 0;
}

/* Not as a new file that takes the old one's place. */
static int storeInPlace(void) {
    int file = open("state", O_WRONLY | O_TRUNC);
    int whole = write(file, &state, 8) == 8 &&
                write(file, (char *)&state + 8, sizeof state - 8) == (ssize_t)sizeof state - 8;
    return close(file) == 0 && whole ? 0 : -1;
}

static int changeActivated(int answer) {
    OtaFault why;
    if (is("no-attempts")) {
        passive()->attempts = 0;
        store(&why);
    } else if (is("no-trial")) {
        state.trial = OTA_NO_BANK;
        store(&why);
    } else if (is("activation-harms-the-bank")) {
        state.active = !state.active;
        harmRunningBank();
        state.active = !state.active;
    } else if (is("activated-in-memory")) {
        kept = !state.active;
        state.chosen = state.next = state.active;
        state.trial = OTA_NO_BANK;
        store(&why);
    }
    return answer;
}

static int activateInPlace(void) {
    OtaFault why;
    if (load(&why) != 0 || !passive()->whole || state.trial == state.active) {
        return 0;
    }
    state.chosen = state.next = state.trial = !state.active;
    passive()->attempts = 2;
    return storeInPlace() == 0;
}

int nal_activatePassiveImage(void) {
    OtaFault why;
    load(&why);
    int before = state.chosen != state.active;
    if (is("activates-nothing") && !passive()->whole) {
        return 1;
    }
    struct stat bank;
    if (is("activates-what-broke-off") && !passive()->whole &&
        stat(bankFile(!state.active), &bank) == 0 && bank.st_size > 0) {
        return 1;
    }
    if (is("activation-answers-zero-again") && before) {
        return 0;
    }
    int answer = is("activates-in-place") ? activateInPlace() : rightActivate();
    return is("activation-answers-zero") ? answer == 0 : answer != 0 ? changeActivated(answer) : 0;
}

int nal_fallBackToActiveImage(void) {
    OtaFault why;
    load(&why);
    int activated = state.chosen != state.active;
    if (is("falls-back-from-success") && activated) {
        state.chosen = state.next = state.active;
        state.trial = OTA_NO_BANK;
        return store(&why);
    }
    if (is("falls-back-to-the-other") && !activated && !passive()->whole) {
        state.chosen = !state.active;
        return store(&why);
    }
    if (is("fall-back-drops-the-image") && !activated) {
        passive()->whole = 0;
        return store(&why);
    }
    if (is("falls-back-in-place")) {
        return storeInPlace();
    }
    return rightFallBack();
}

/* ---- The table ---- */

static int wrongFacts(OtaBankFacts *facts, OtaFault *why) {
    static int times;
    int answer = bankFacts(facts, why);
    if (is("no-facts")) {
        return -1;
    }
    if (is("facts-too-long")) {
        memset((char *)facts + sizeof *facts, 0, 8);
    } else if (is("bank-seven")) {
        facts->next = 7;
    } else if (is("bank-version-without-end")) {
        memset(facts->banks[1].version, 'x', sizeof facts->banks[1].version);
    } else if (is("facts-of-another-version")) {
        say(facts->banks[facts->active].version, "4QZ-0.9");
    } else if (is("other-facts-each-time")) {
        facts->banks[1].attempts = times++ % 2;
    } else if (is("activated-in-memory") && kept >= 0) {
        facts->chosen = facts->next = facts->trial = kept;
        facts->banks[kept].attempts = 2;
    }
    return answer;
}

static int wrongOpen(const char *path, OtaFault *why) {
    if (is("open-fails")) {
        return fail(why, "", "it does not like its configuration");
    }
    (void)path;
    return 0; /* whatever there is */
}

static int noHealth(OtaFault *why) {
    (void)why;
    return -1; /* without a word */
}

static int noSeconds(void) { return 0; }

static int forgetAnything(const char *version, OtaFault *why) {
    (void)why;
    return version == NULL;
}

static uint64_t anotherCapacity(void) {
    static uint64_t times;
    return times++;
}

static int doNothing(OtaFault *why) {
    (void)why;
    return 0;
}

static int doNothingMuch(OtaFault *why) { return load(why); }

static void followNobody(const OtaPlatformHooks *given) { (void)given; }

static int beginNone(OtaFault *what) {
    load(what);
    return state.trial == state.active ? OTA_TRIAL_NONE : beginTrial(what);
}

static int beginFailed(OtaFault *what) {
    load(what);
    return state.trial == OTA_NO_BANK ? OTA_TRIAL_FAILED : beginTrial(what);
}

static int commitInPlace(OtaFault *why) {
    load(why);
    state.chosen = state.next = state.active;
    state.trial = OTA_NO_BANK;
    return storeInPlace();
}

static int failInPlace(OtaFault *why) {
    load(why);
    say(state.failed[0].version, state.banks[state.active].version);
    state.failed[0].trials = state.failedCount = 1;
    state.failed[0].last = OTA_FAILED_HEALTH;
    state.chosen = state.next = !state.active;
    state.trial = OTA_NO_BANK;
    return storeInPlace();
}

static int failWithoutMemory(OtaFault *why) {
    load(why);
    state.failedCount = 0;
    state.chosen = state.next = !state.active;
    state.trial = OTA_NO_BANK;
    return store(why);
}

static int giveUpAnything(OtaFault *why) {
    load(why);
    passive()->whole = 0;
    return store(why);
}

const OtaPlatformService *otaPlatformService(void) {
    static OtaPlatformService table, another;
    static int times;
    table = *rightTable();
    table.bankFacts = wrongFacts;
    table.size = is("table-of-three-bytes") ? 3 : table.size;
    if (is("half-a-trial")) {
        table.mayReboot = NULL;
    } else if (is("another-table-each-time")) {
        another = table;
        return times++ % 2 == 0 ? &table : &another;
    } else if (is("open-fails") || is("opens-anything")) {
        table.open = wrongOpen;
    } else if (is("unhealthy-without-a-word")) {
        table.checkHealth = noHealth;
    } else if (is("no-time-for-health")) {
        table.healthLimit = noSeconds;
    } else if (is("forgets-anything")) {
        table.forget = forgetAnything;
    } else if (is("another-capacity-each-time")) {
        table.bankCapacity = anotherCapacity;
    } else if (is("takes-nothing-back")) {
        table.takeBack = doNothingMuch;
    } else if (is("gives-up-the-activated")) {
        table.giveUpPassive = giveUpAnything;
    } else if (is("gives-up-nothing")) {
        table.giveUpPassive = doNothing;
    } else if (is("calls-no-hook")) {
        table.follow = followNobody;
    } else if (is("begins-no-trial")) {
        table.beginTrial = beginNone;
    } else if (is("begins-without-activation")) {
        table.beginTrial = beginFailed;
    } else if (is("commits-nothing")) {
        table.commit = doNothing;
    } else if (is("passes-nothing")) {
        table.passTrial = doNothing;
    } else if (is("fails-nothing")) {
        table.failTrial = doNothing;
    } else if (is("remembers-no-failure")) {
        table.failTrial = failWithoutMemory;
    } else if (is("reboots-for-ever")) {
        table.mayReboot = doNothing;
    } else if (is("commits-in-place")) {
        table.commit = commitInPlace;
    } else if (is("fails-in-place")) {
        table.failTrial = failInPlace;
    }
    return &table;
}
