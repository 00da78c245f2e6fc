/* SPDX-License-Identifier: MIT */
/* What the C host's platform was told. */
#ifndef C_HOST_PLATFORM_H
#define C_HOST_PLATFORM_H

extern int gNotices;
extern int gErrors;
extern int gSignals;
extern int gNotifications;
extern char gLastSignal[1024];

#endif
