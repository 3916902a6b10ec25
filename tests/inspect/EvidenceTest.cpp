// SPDX-License-Identifier: BSL-1.0

// Who is judged dead, held or alive by made-up facts: those of systems that tell everything, and of
// those that do not.
#include <cerrno>
#include <map>

#include <gtest/gtest.h>

#include "inspect/Evidence.h"
#include "inspect/Leftovers.h"
#include "lipc/realtime/Semaphore.h"

namespace {

using inspect::eVerdict;
using inspect::ProcessFacts;
using inspect::SegmentFacts;

const ProcessFacts cHost{10, true, false, "host"}, cClient{20, true, false, "client"},
    cStopped{30, true, true, "stopped"}, cGone{40, false, false, ""}, cUnknown{};

SegmentFacts made(const ProcessFacts& creator, std::uint64_t attachCount) {
  SegmentFacts segment;
  segment.creator = creator;
  segment.attachCount = attachCount;
  return segment;
}

SegmentFacts used(const ProcessFacts& creator, const std::vector<ProcessFacts>& users) {
  SegmentFacts segment = made(creator, users.size());
  segment.users = users;
  segment.areUsersComplete = true;
  return segment;
}

TEST(Evidence, AClientThatStandsStillIsDeadWhereNobodyCanBeItsOwner) {
  inspect::SessionPicture session;
  session.table = made(cHost, 2);
  inspect::ClientPicture client;
  client.id = "c";
  inspect::Watched watched;
  watched.clients = {{"c", true, true, 5000, 0, {}}};
  const auto verdict = [&] { return judgeClient(client, session, watched).verdict; };
  EXPECT_EQ(verdict(), eVerdict::eDead) << "a row without a segment";
  for (const auto& [segment, is] : {std::pair{made(cClient, 0), eVerdict::eDead},
                                    {made(cClient, 1), eVerdict::eHeld},
                                    {made(cGone, 1), eVerdict::eDead},
                                    {made(cUnknown, 1), eVerdict::eHeld},
                                    {used(cClient, {}), eVerdict::eDead},
                                    {used(cClient, {cHost}), eVerdict::eDead},
                                    {used(cHost, {cHost}), eVerdict::eHeld},
                                    {used(cGone, {cHost, cStopped}), eVerdict::eHeld},
                                    {used(cClient, {cHost, cGone}), eVerdict::eDead}}) {
    client.segments[0] = segment;
    EXPECT_EQ(verdict(), is) << testing::PrintToString(
        judgeClient(client, session, watched).evidence);
  }
  client.segments[0] = made(cGone, 0);
  watched.clients[0].changes = 1;
  EXPECT_EQ(verdict(), eVerdict::eDead) << "it stamped, and then it did not";
  watched.clients[0].isLost = false;
  EXPECT_EQ(verdict(), eVerdict::eAlive);
  watched.clients[0].changes = 0;
  EXPECT_EQ(verdict(), eVerdict::eUnknown) << "not watched for long enough";
  watched.clients.clear();
  EXPECT_EQ(verdict(), eVerdict::eUnknown);
}

TEST(Evidence, AHostIsJudgedByItsHeartbeatAndThenByWhoHasItsTable) {
  inspect::SessionPicture session;
  inspect::Watched watched;
  watched.milliseconds = 5300;
  session.clients.emplace_back().segments[0] = made(cClient, 1);
  for (const auto& [table, is] : {std::pair{made(cHost, 0), eVerdict::eDead},
                                  {made(cHost, 1), eVerdict::eHeld},
                                  {made(cGone, 1), eVerdict::eDead},
                                  {made(cUnknown, 1), eVerdict::eUnknown},
                                  {used(cGone, {cClient}), eVerdict::eDead},
                                  {used(cGone, {cClient, cStopped}), eVerdict::eHeld},
                                  {used(cGone, {cGone}), eVerdict::eDead}}) {
    session.table = table;
    EXPECT_EQ(judgeHost(session, watched).verdict, is)
        << testing::PrintToString(judgeHost(session, watched).evidence);
  }
  watched.milliseconds = 900;
  EXPECT_EQ(judgeHost(session, watched).verdict, eVerdict::eUnknown);
  watched.beats = 1;
  EXPECT_EQ(judgeHost(session, watched).verdict, eVerdict::eAlive);
  session.table->error = EACCES;
  EXPECT_EQ(judgeHost(session, watched).verdict, eVerdict::eUnknown);
}

TEST(Leftovers, AreWhatIsProvablyNobodysWhetherTheSystemListsSemaphoresOrNot) {
  inspect::MachineFacts facts;
  facts.time = 10'000;
  const auto segment = [&](const char* name, std::uint64_t bytes, std::uint64_t attachCount) {
    facts.segments.push_back(made(cGone, attachCount));
    facts.segments.back().name = name;
    facts.segments.back().bytes = bytes;
  };
  segment("dead", 1248, 0);
  segment("dead-send", 4712 + 24576, 0);
  segment("dead-return", 4711, 0);  // no ring: somebody else's
  segment("alive", 1248, 2);
  segment("LIPC_SESSION", 1248, 0);
  segment("denied", 1248, 0);
  facts.segments.back().error = EACCES;
  for (const auto& [name, modified] :
       {std::pair{"dead", 0}, {"alive", 0}, {"old", 9940}, {"young", 9941}, {"LIPC_VERSION", 0}})
    facts.keyFiles.push_back({name, 1, 0, 0644, modified});
  const auto ofID = [](const std::string& id) {
    return LIPC::Semaphore::platformName((id + "ClientMustDisconnect").c_str());
  };
  const std::string random = "01234567-89ab-cdef-0123-45678",
                    other = "01234567-89ab-cdef-0123-4567G";
  for (const std::string& name : {ofID("alive"), ofID("old"), ofID("unheard of"), random, other})
    facts.semaphores.push_back({name, 10, 0, 0644, {}});
  facts.semaphores.push_back({"11234567-89ab-cdef-0123-45678", 9, 0, 0644, {}});
  facts.areSemaphoresListed = true;

  std::vector<std::string> names;
  for (const inspect::Leftover& leftover : leftoversIn(facts)) {
    names.push_back(leftover.name);
    EXPECT_TRUE(leftover.isThere);
  }
  // The third of "dead" is in use, so that its semaphores may be, too.
  EXPECT_EQ(names, (std::vector<std::string>{"dead", "dead-send", ofID("old"), random, "old"}));

  facts.areSemaphoresListed = false;
  facts.semaphores.clear();
  std::map<std::string, int> mayBeThere;
  for (const inspect::Leftover& leftover : leftoversIn(facts))
    if (leftover.kind == inspect::Leftover::eSemaphore && !leftover.isThere)
      ++mayBeThere[leftover.clientID];
  EXPECT_EQ(mayBeThere, (std::map<std::string, int>{{"old", 2}, {"young", 2}}));
}

}  // namespace
