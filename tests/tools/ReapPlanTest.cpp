// SPDX-License-Identifier: BSL-1.0

// What lipc reap would remove, by made-up facts: other users' things, and sessions that nobody can
// look into.
#include <gtest/gtest.h>

#include "tools/Reaper.h"

namespace {

using inspect::Exam;
using inspect::Leftover;
using inspect::SegmentFacts;

/// "word name" of each verdict, in their order; the word is what becomes of it.
std::string wordsOf(const tools::ReapPlan& plan) {
  std::string words;
  for (const tools::Verdict& verdict : plan.verdicts) {
    constexpr const char* cActions[] = {"remove", "keep", "other"};
    words += cActions[static_cast<int>(verdict.action)] + (" " + verdict.verdict) + " " +
             verdict.name + "; ";
  }
  return words;
}

SegmentFacts segmentOf(std::uint32_t owner, std::uint64_t attachCount) {
  SegmentFacts segment;
  segment.owner = owner;
  segment.attachCount = attachCount;
  segment.creator = {9, false, false, ""};
  return segment;
}

/// A host that beats, and clients of user 501 and another, who looked.
Exam examOf() {
  Exam exam;
  exam.machine.userID = 501;
  exam.session.state = inspect::SessionPicture::eRead;
  exam.session.table = segmentOf(501, 1);
  exam.watched.emplace();
  exam.watched->milliseconds = 5300;
  exam.watched->beats = 53;
  for (const auto& [id, owner, attached, isLost] : {std::tuple{"alive", 501U, 2U, false},
                                                    {"theirs", 502U, 0U, true},
                                                    {"mine", 501U, 0U, true}}) {
    inspect::ClientPicture& client = exam.session.clients.emplace_back();
    client.id = id;
    client.segments[0] = segmentOf(owner, attached);
    exam.watched->clients.push_back({id, true, isLost, 5000, isLost ? 0 : 5, {}});
  }
  exam.leftovers = {{Leftover::eSegment, "gone", "gone", 3, 501, true, ""},
                    {Leftover::eSegment, "mine-send", "mine", 4, 501, true, ""},
                    {Leftover::eKeyFile, "other", "other", -1, 502, true, ""},
                    {Leftover::eSemaphore, "maybe", "maybe", -1, 0, false, ""}};
  return exam;
}

TEST(ReapPlan, TakesTheDeadOfThisUserAloneAndSaysWhoseTheOthersAre) {
  Exam exam = examOf();
  tools::ReapPlan plan = tools::planReap(exam);
  EXPECT_EQ(wordsOf(plan),
            "remove dead mine; remove dead gone; keep alive LIPC_SESSION; keep alive alive; "
            "other dead theirs; other dead other; ");
  EXPECT_EQ(plan.clients.size(), 1U);
  EXPECT_EQ(plan.leftovers.size(), 2U) << "what may be there is tried";
  EXPECT_FALSE(plan.isSessionDead);
  EXPECT_EQ(plan.verdicts[4].evidence.back(), "it is of user 502; do: sudo -u '#502' lipc reap");
  exam.machine.userID = 0;
  EXPECT_EQ(tools::planReap(exam).count(tools::Verdict::eAction::eRemove), 4);
}

TEST(ReapPlan, ADeadSessionGoesAsAWholeAndOneThatCannotBeReadKeepsEverything) {
  Exam exam = examOf();
  exam.watched->beats = 0;
  EXPECT_TRUE(tools::planReap(exam).isSessionDead);
  EXPECT_TRUE(tools::planReap(exam).clients.empty()) << "they go with it";
  exam.session.table->owner = 502;
  EXPECT_FALSE(tools::planReap(exam).isSessionDead);
  exam = examOf();
  exam.session.clients.clear();
  for (const auto state : {inspect::SessionPicture::eForeign, inspect::SessionPicture::eOverwritten,
                           inspect::SessionPicture::eTooSmall}) {
    exam.session.state = state;
    exam.watched->beats = 0;
    exam.session.table->attachCount = 1;
    EXPECT_EQ(wordsOf(tools::planReap(exam)).find("remove"), std::string::npos) << state;
    EXPECT_TRUE(tools::planReap(exam).leftovers.empty());
    exam.session.table->attachCount = 0;
    EXPECT_EQ(tools::planReap(exam).isSessionDead, state != inspect::SessionPicture::eTooSmall);
  }
}

TEST(ReapPlan, PartsWithoutATableGoWhereNobodyMakesOneJustNow) {
  Exam exam;
  exam.watched.emplace();
  exam.machine.userID = 501;
  EXPECT_EQ(wordsOf(tools::planReap(exam)), "");
  exam.machine.poolFile = {true, 0, 1, 501, 0644};
  exam.machine.segments = {segmentOf(501, 0)};
  exam.machine.segments[0].name = "LIPC_VERSION";
  EXPECT_EQ(wordsOf(tools::planReap(exam)), "remove dead LIPC_SESSION; ");
  exam.machine.segments[0].creator.lives = true;
  EXPECT_EQ(wordsOf(tools::planReap(exam)), "keep held LIPC_SESSION; ");
  exam.machine.segments[0] = segmentOf(501, 1);
  exam.machine.segments[0].name = "LIPC_VERSION";
  EXPECT_EQ(wordsOf(tools::planReap(exam)), "keep held LIPC_SESSION; ");
  exam.machine.segments.clear();
  exam.machine.poolFile.owner = 502;
  EXPECT_EQ(wordsOf(tools::planReap(exam)), "other dead LIPC_SESSION; ");
}

}  // namespace
