// SPDX-License-Identifier: MIT
// What reaches the agent from outside, as a test writes it: offers, times, triggers, expiries.
#pragma once

#include "agent_library.h"
#include "entries.h"

#include <string>

namespace ota::test {

inline constexpr char kNodeMac[] = "00:1A:2B:3C:4D:5E"; // of the node that a test starts with

// An offer of a new image; by default one that this node would download.
struct Offer {
    std::string version = "4QZ-2.0";
    int policy = 0;
    std::string url = "http://127.0.0.1/image";
    std::string checksum = "0123456789abcdef";
    std::string mac = kNodeMac;
    std::string model = "Gate-1";

    std::string json() const {
        return R"({"model":")" + model + R"(","nxtMSVersion":")" + version +
               R"(","fileServerURL":")" + url + R"(","checksum":")" + checksum + R"(","mac":")" +
               mac + R"(","policy":)" + std::to_string(policy) + "}";
    }
};

// How the node is told to take it.
inline constexpr OtaLibConfig kFirstPoll{0, 0, 1};
inline constexpr OtaLibConfig kLaterPoll{0, 0, 2};
inline constexpr OtaLibConfig kOffload{1, 0, 2};

// The offer is what the agent holds; how it got there is not in the journal.
inline void hold(const Offer &offer, const OtaLibConfig &config = kLaterPoll) {
    AGENT(ota_recv_newimagenfo)(offer.json().c_str());
    AGENT(ota_recv_config)(&config);
    journal().clear();
}

inline void announceText(const char *json, const OtaLibConfig &config = kLaterPoll) {
    AGENT(otaSwmgnt_process_newimage_info)(json, nullptr, &config);
}

inline void announce(const Offer &offer, const OtaLibConfig &config = kLaterPoll) {
    announceText(offer.json().c_str(), config);
}

// What the gateway is handed where the node does not download by itself.
inline std::string handOff(const Offer &offer, const std::string &time) {
    return "{\n\t\"fileServerURL\":\t\"" + offer.url + "\",\n\t\"activationTime\":\t\"" + time +
           "\",\n\t\"checksum\":\t\"" + offer.checksum + "\",\n\t\"swVersion\":\t\"" +
           offer.version + "\"\n}";
}

inline std::string activationJson(const std::string &time) {
    return R"({"model":"Gate-1","mac":"00:1A:2B:3C:4D:5E","sn":"SN0001","actTime":")" + time +
           R"("})";
}

inline void moveActivationTo(const std::string &time) {
    AGENT(otaSwmgnt_process_activation_time)(activationJson(time).c_str(), nullptr);
}

inline void mobileTrigger(int newswavailflag = 1) {
    const MobileAppNotify notify{newswavailflag};
    AGENT(otaMobileApp_process_newimage_request)(&notify);
}

inline void rebootTimerExpires() { AGENT(otaSwAgentProcessRebootTimer)(); }
inline void downloadStartTimerExpires() { AGENT(otaSwAgentProcessDownloadStartTimer)(); }
inline void downloadRetryTimerExpires() { AGENT(otaSwAgentProcessDownloadRetryTimer)(); }

} // namespace ota::test
