/* SPDX-License-Identifier: MIT */
/* One-shot timers by name. */
#ifndef PLATFORM_TIMERS_H
#define PLATFORM_TIMERS_H

#ifdef __cplusplus
extern "C" {
#endif

/* The timers that the agent asks for; on expiry the host calls the handler named beside each. */
#define TIMER_REBOOT "rebootTimer"                /* otaSwAgentProcessRebootTimer */
#define TIMER_DOWNLOAD_START "downloadStartTimer" /* otaSwAgentProcessDownloadStartTimer */
#define TIMER_DOWNLOAD_RETRY "downloadRetryTimer" /* otaSwAgentProcessDownloadRetryTimer */

/*
 * Starts the named timer; one that runs under this name starts over. `seconds` may be negative:
 * it then runs out at once. The text is the caller's. Results are ignored; must not block.
 */
int startTimer(int seconds, const char *name);
/* Stops the named timer; one that does not run is no error. */
int stopTimer(const char *name);

#ifdef __cplusplus
}
#endif

#endif
