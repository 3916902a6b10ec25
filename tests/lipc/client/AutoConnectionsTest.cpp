#include "lipc/client/AutoConnections.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;

constexpr int cMix = static_cast<int>(LIPC::cMixEngineType);
constexpr int cPanner = static_cast<int>(LIPC::fourCharacterCode("VPan"));

class AutoConnections : public testing::Test {
 protected:
  AutoConnections() : session(std::make_unique<LIPC::SessionBuffer>("AutoConnectionsTest")) {
    addRow(3, "mix a", cMix);
    addRow(5, "me", cMix);
    addRow(9, "mix b", cMix);
    addRow(11, "panner", cPanner);
    session->entries[4].type = static_cast<std::uint32_t>(cMix);  // freed, its type still there
  }

  void addRow(int index, const char* id, int type) {
    session->entries[index].id.setTo(id);
    session->entries[index].type = static_cast<std::uint32_t>(type);
  }

  std::vector<std::string> resolve(const std::list<AutoConnection>& rules) {
    resolveAutoConnections(*session, rules, ClientID("me"), connections);
    std::vector<std::string> texts;
    for (const Connection& c : connections)
      texts.push_back(c.source.text() + ">" + c.target.text());
    return texts;
  }

  using Texts = std::vector<std::string>;
  std::unique_ptr<LIPC::SessionBuffer> session;
  std::list<Connection> connections;
};

TEST_F(AutoConnections, EveryOtherClientOfTheTypeIsATarget) {
  EXPECT_EQ(resolve({{cMix, Connection::eTargetSide, 0}}), (Texts{"me>mix a", "me>mix b"}));
  EXPECT_EQ(connections.front().isAuto, 1);
}

TEST_F(AutoConnections, TheReferenceDecidesForItsTypeAndForLaterRules) {
  session->referenceClientID.setTo("mix b");
  EXPECT_EQ(resolve({{cMix, Connection::eTargetSide, 1},
                     {cMix, Connection::eSourceSide, 0},
                     {cPanner, Connection::eSourceSide, 1}}),
            (Texts{"me>mix b", "mix b>me", "panner>me"}));
}

TEST_F(AutoConnections, ChildrenApplyToWhatTheirParentFoundAndHeldOnesAreNotDoubled) {
  AutoConnection rule(cPanner, Connection::eTargetSide, 0);
  rule.addChild(0, Connection::eSourceSide, 0);
  connections.emplace_back(ClientID("me"), ClientID("panner"), ClientID());
  connections.front().disconnectRequested = 1;
  EXPECT_EQ(resolve({rule}), (Texts{"me>panner", "panner>me"}));
  EXPECT_EQ(connections.front().disconnectRequested, 1);
}

}  // namespace
