// SPDX-License-Identifier: MIT
// otactl explain: topics and sentences.
#include "otactl_test.h"

namespace {

TEST_F(Verbs, ExplainPairsTopicAndSentence) {
    service_.raise([this](service::BusService &) {
        service_.sentences = {{"now", "An image is downloading."}, {"next", "It is checked."}};
    });
    expectPrinted(otactl({"explain"}), "now         An image is downloading.\n"
                                       "next        It is checked.\n");
    expectPrinted(otactl({"explain", "--json"}),
                  R"({"sentences":[{"topic":"now","sentence":"An image is downloading."},)"
                  "{\"topic\":\"next\",\"sentence\":\"It is checked.\"}]}\n");
}

} // namespace
