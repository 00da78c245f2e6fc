// SPDX-License-Identifier: MIT
// What an extender may say to the root, and the check that stands before anybody hears it.
#ifndef SERVICE_UPLINK_ROOT_ENVELOPE_H
#define SERVICE_UPLINK_ROOT_ENVELOPE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace service {

/* One message of an extender, checked. */
struct FromExtender {
    enum class Kind {
        report,    // a status report
        fileServer // the hand-over of a download
    };
    Kind kind = Kind::report;
    std::string mac;     // of the extender, upper case; empty where the topic names none
    std::string text;    // report: the record's JSON text; fileServer: its four members
    std::string refusal; // not empty: the check failed, one printable line; text is empty then
};

/* A message as it came; the check is for whoever wants to take it. */
struct Unchecked {
    FromExtender::Kind kind = FromExtender::Kind::report;
    std::string sender; // as its topic names it
    std::string text;
    bool retained = false;

    /* The sender's MAC address in upper case, or empty. */
    std::string mac() const;
    FromExtender check(bool allowPlainHttp) const;
};

/* Longest message in bytes; a longer one is neither sent nor taken. */
inline constexpr std::size_t kLongestRootMessage = 64 * 1024;
/* With its topic and the protocol's own bytes. */
inline constexpr std::size_t kLargestRootPacket = kLongestRootMessage + 4 * 1024;

/*
 * The envelope of a status report, as it came under the topic of the extender `mac` (either case).
 * True: `taken` holds the record. False: `taken` holds the refusal. Pure; never blocks.
 */
bool checkEnvelope(std::string_view mac, std::string_view text, FromExtender &taken);

/* The same for the hand-over of a download, which comes without an envelope and obeys the rules of
 * an offer. */
bool checkFileServerInfo(std::string_view mac, std::string_view text, bool allowPlainHttp,
                         FromExtender &taken);

} // namespace service

#endif
