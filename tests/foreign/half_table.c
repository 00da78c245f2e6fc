/* SPDX-License-Identifier: MIT */
/* The same platform with a trial that lacks one of its functions. */
#define otaPlatformService wholeTable
#include "platform.c"
#undef otaPlatformService

const OtaPlatformService *otaPlatformService(void);

const OtaPlatformService *otaPlatformService(void) {
    static OtaPlatformService half;
    half = *wholeTable();
    half.mayReboot = NULL;
    return &half;
}
