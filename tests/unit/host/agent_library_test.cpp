// SPDX-License-Identifier: MIT
// Without the agent's whole library the host ends.
#include "host_process.h"

namespace {

class AgentLibrary : public HostProcess {};

TEST_F(AgentLibrary, ThatIsMissingEndsTheHost) {
    start(in("none.so"));
    expectLastWords("library-unusable", in("none.so"));
    expectEnd(in("none.so"));
}

TEST_F(AgentLibrary, WithoutASymbolEndsTheHost) {
    start(FAKE_AGENT_WITHOUT_QUERY);
    expectEnd("has no symbol ota_ISUpgradeDefered; give a libotaSwAgent.so");
}

} // namespace
