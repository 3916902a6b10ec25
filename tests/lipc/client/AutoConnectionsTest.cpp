// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/AutoConnections.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;

constexpr int cMix = static_cast<int>(LIPC::cMixEngineType);
constexpr int cPanner = static_cast<int>(LIPC::fourCharacterCode("VPan"));

struct AutoConnections : testing::Test {
  AutoConnections() {
    for (const auto& [index, id, type] : {std::tuple{3, "mix a", cMix},
                                          {4, "", cMix},
                                          {5, "me", cMix},
                                          {9, "mix b", cMix},
                                          {11, "panner", cPanner}}) {
      session->entries[index].id.setTo(id);  // an empty one: freed, its type still there
      session->entries[index].type = static_cast<std::uint32_t>(type);
    }
  }
  std::string resolve(const std::list<AutoConnection>& rules) {
    resolveAutoConnections(*session, rules, ClientID("me"), connections);
    std::string all;
    for (const Connection& c : connections)
      all += c.source.text() + ">" + c.target.text() + " ";
    return all;
  }

  std::unique_ptr<SessionBuffer> session = std::make_unique<SessionBuffer>("AutoConnectionsTest");
  std::list<Connection> connections;
};

TEST_F(AutoConnections,
       EveryOtherOfTheTypeIsATargetUnlessTheReferenceDecidesForItAndForLaterRules) {
  EXPECT_EQ(resolve({{cMix, Connection::eTargetSide, 0}}), "me>mix a me>mix b ");
  EXPECT_EQ(connections.front().isAuto, 1);
  connections.clear();
  session->referenceClientID.setTo("mix b");
  EXPECT_EQ(resolve({{cMix, Connection::eTargetSide, 1},
                     {cMix, Connection::eSourceSide, 0},
                     {cPanner, Connection::eSourceSide, 1}}),
            "me>mix b mix b>me panner>me ");
}

TEST_F(AutoConnections, ChildrenApplyToWhatTheirParentFoundAndHeldOnesAreNotDoubled) {
  AutoConnection rule(cPanner, Connection::eTargetSide, 0);
  rule.addChild(0, Connection::eSourceSide, 0);
  connections.emplace_back(ClientID("me"), ClientID("panner"), ClientID());
  connections.front().disconnectRequested = 1;
  EXPECT_EQ(resolve({rule}), "me>panner panner>me ");
  EXPECT_EQ(connections.front().disconnectRequested, 1);
}

}  // namespace
