// SPDX-License-Identifier: MIT
// otactl offer: what reaches the service, and what is printed.
#include "otactl_test.h"

namespace {

TEST_F(Verbs, OfferSendsTheFileAsItIs) {
    const std::string file = fileHolding("{\"model\": \"x\",\n  \"caf\u00e9\": 1}\n");
    expectPrinted(otactl({"offer", file}), "accepted, ticket 7\n");
    expectCall("offer 0 0 0 {\"model\": \"x\",\n  \"caf\u00e9\": 1}\n");
}

TEST_F(Verbs, OfferReadsStandardInputAndItsOptions) {
    expectPrinted(
        otactl({"offer", "-", "--offload", "--first-poll", "--onboarding-status", "2", "--json"},
               {.input = "{}"}),
        "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"ticket\":7}\n");
    expectCall("offer 1 2 1 {}");
}

} // namespace
