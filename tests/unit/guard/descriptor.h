// SPDX-License-Identifier: MIT
// A good descriptor, and every way to spoil it.
#ifndef TESTS_GUARD_DESCRIPTOR_H
#define TESTS_GUARD_DESCRIPTOR_H

#include "guard/offer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace guard::test {

inline constexpr const char *kTextKeys[] = {"model", "nxtMSVersion", "fileServerURL", "checksum",
                                            "mac"};
inline constexpr const char *kKeys[] = {"model",    "nxtMSVersion", "fileServerURL",
                                        "checksum", "mac",          "policy"};

inline NodeIdentity thisNode() { return {"GW-1000", "SN0000000001", "02:00:5E:10:00:01", 30}; }

/* How many bytes a text holds in the agent's record. */
std::size_t limitOf(std::string_view key);

/* The text as JSON writes it, in quotes. Bytes above 0x7E stay as they are. */
std::string jsonText(std::string_view text);

/* The object's members as they will be written: key and value are pieces of JSON. */
class Descriptor {
  public:
    Descriptor(); // every key once, with a value that is accepted

    Descriptor with(const std::string &key, const std::string &json) const;
    Descriptor withText(const std::string &key, std::string_view text) const;
    Descriptor without(const std::string &key) const;
    /* `keyJson` in the quotes that belong to it, at the end of the object. */
    Descriptor adding(const std::string &keyJson, const std::string &json) const;
    /* The value that is accepted, without quotes. */
    static std::string goodText(const std::string &key);

    std::string text() const;

  private:
    std::vector<std::pair<std::string, std::string>> members_;
};

} // namespace guard::test

#endif
