// SPDX-License-Identifier: MIT
// The platform's calls that the host stands in front of: the agent's library, and the platform's
// own, find these names in this executable first. So every platform's updates are followed alike.
#include "host/code_pages.h"
#include "host/platform_library.h"
#include "host/supervisor_link.h"
#include "host/trial.h"
#include "host/update_notes.h"
#include "platform/nal.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

struct MemoryFree {
    void operator()(char *memory) const { std::free(memory); }
};
using Text = std::unique_ptr<char, MemoryFree>;

__attribute__((format(printf, 1, 0))) Text formatted(const char *format, va_list arguments) {
    char *text = nullptr;
    return Text(vasprintf(&text, format, arguments) < 0 ? nullptr : text);
}

// A library may log before it is known where to.
void log(decltype(&nalLogNotice) into, const char *function, int line, const Text &text) {
    if (text == nullptr) {
        return;
    }
    if (into == nullptr) {
        std::fprintf(stderr, "%s\n", text.get());
        return;
    }
    into(function, line, "%s", text.get());
    host::followLog(function, text.get());
}

} // namespace

void nalLogNotice(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log(host::platformCalls().logNotice, function, line, formatted(format, arguments));
    va_end(arguments);
}

void nalLogError(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log(host::platformCalls().logError, function, line, formatted(format, arguments));
    va_end(arguments);
}

int nal_writePassiveImage(const char *imagePath) {
    host::enterStage(host::Stage::writing);
    host::awaitReason();
    host::giveBackCode(); // of the download above all
    const int answer = host::platformCalls().writePassiveImage(imagePath);
    if (answer != 0) {
        host::tellUnlessTold({"the platform did not write the image (it answered " +
                                  std::to_string(answer) + "); look into its log",
                              base::Reason::bankNotWritten});
    }
    return answer;
}

int nal_activatePassiveImage(void) {
    host::enterStage(host::Stage::activating);
    host::awaitReason();
    const int answer = host::platformCalls().activatePassiveImage();
    if (answer == 0) {
        host::tellUnlessTold(
            {"the platform did not activate the image (it answered 0); look into its "
             "log",
             base::Reason::bootStateNotWritten});
        return answer;
    }
    // Every road of the agent goes on to the reboot from here.
    host::enterStage(host::Stage::rebooting);
    host::tellBanks();
    host::askSupervisor(host::newCall("activated")); // which keeps it before the reboot can come
    return answer;
}
