// SPDX-License-Identifier: MIT
// Preloaded into a test's processes: each one writes its command line into a journal as it starts.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

__attribute__((constructor)) static void writeCommandLine(void) {
    char line[2048];
    const char *const path = getenv("OTA_EXEC_JOURNAL");
    const int self = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
    if (path == NULL || self < 0) {
        return;
    }
    ssize_t length = read(self, line, sizeof line - 1);
    close(self);
    for (ssize_t i = 0; i < length; ++i) {
        if (line[i] == '\0' || line[i] == '\n') {
            line[i] = ' ';
        }
    }
    const int journal = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (journal >= 0 && length > 0) {
        line[length++] = '\n';
        // One write an entry: processes that start at the same time do not mix.
        length = write(journal, line, (size_t)length);
        close(journal);
    }
}
