#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/SessionBuffer.h"

namespace {

using namespace LIPC;

/// A table over memory that held something else.
class SessionTable : public testing::Test {
 protected:
  ~SessionTable() override { std::destroy_at(&mTable); }

  std::vector<char> mMemory = std::vector<char>(sizeof(SessionBuffer), '\xFF');
  SessionBuffer& mTable = *new (mMemory.data()) SessionBuffer("TestSession");
  std::deque<ClientEntry> mCopies;
};

TEST_F(SessionTable, StartsWithoutClientsAndWithoutAnEarlierSessionsRegistrations) {
  EXPECT_EQ(mTable.getClientEntries(0, mCopies), 1024u);
  EXPECT_EQ(mTable.getClientEntriesCount(0), 0u);
  EXPECT_FALSE(mTable.sessionID.isDefined() || mTable.referenceClientID.isDefined());
  EXPECT_EQ(mTable.heartbeat, ~std::uint64_t{0});
  SemaphoreHandle(mTable.registrationSemaphore).post();
  const auto next = std::make_unique<SessionBuffer>("TestSession");
  EXPECT_FALSE(SemaphoreHandle(next->registrationSemaphore).try_wait());
  EXPECT_FALSE(SemaphoreHandle(next->registrationEndedSemaphore).try_wait());
  EXPECT_FALSE(SemaphoreHandle(next->newAudioDataSemaphore).try_wait());
  EXPECT_TRUE(SemaphoreHandle(next->clientsCanRegisterMutex).try_wait());
}

TEST_F(SessionTable, ARowNamedDefaultCountsAsFree) {
  for (ClientEntry& row : mTable.entries)
    row.id.setTo("Used");
  EXPECT_EQ(mTable.getEmptyEntry(), nullptr);
  mTable.entries[1023].id.setTo("Default");
  EXPECT_EQ(mTable.getEmptyEntry(), &mTable.entries[1023]);
  EXPECT_EQ(mTable.getClientEntriesCount(0), 1023u);
}

TEST_F(SessionTable, FindsTheFirstRowWhoseSixtyFourCharactersAreEqual) {
  const std::string id(64, 'x');
  mTable.entries[1022].id.setTo((id + "a").c_str());
  mTable.entries[1023].id.setTo((id + "b").c_str());
  EXPECT_EQ(mTable.getClientIndex(ClientID(id + "b")), 1022);
  EXPECT_EQ(mTable.getClientEntry((id + "b").c_str()), &mTable.entries[1022]);
  EXPECT_EQ(mTable.getClientEntry(""), &mTable.entries[0]);
  PredicateFindClientEntryForID find{ClientID(id)};
  for (const int outside : {-1, 1024}) {
    EXPECT_EQ(mTable.getClientEntry(outside), nullptr);
    mTable.scanClientEntryAt(outside, find);
  }
  EXPECT_FALSE(find.found);
  EXPECT_FALSE(mTable.scanClientEntries(find));
  EXPECT_EQ(find.entry, &mTable.entries[1022]);
  PredicateFindClientEntryForID absent{ClientID("absent")};
  EXPECT_TRUE(mTable.scanClientEntries(absent));
  EXPECT_EQ(mTable.getClientIndex(absent.id), 1024);
}

TEST_F(SessionTable, TheCountLeavesFreeRowsOutAndTheCopiesDoNot) {
  mTable.entries[1].id.setTo("InUse");
  mTable.entries[1].type = mTable.entries[2].type = 7;
  EXPECT_EQ(mTable.getClientEntriesCount(0), 1u);
  EXPECT_EQ(mTable.getClientEntriesCount(7), 1u);
  EXPECT_EQ(mTable.getClientEntries(7, mCopies), 2u);
  EXPECT_EQ(mTable.getClientEntries(0, mCopies), 1022u);
}

TEST_F(SessionTable, ARequestRewritesTheByteThatEndsItsID) {
  const ClientID id(std::string(64, 'x'));
  for (const bool join : {true, false}) {
    mTable.sessionID.terminator = 'x';
    mTable.writeRequest(id, join ? SessionBuffer::cJoinRequest : SessionBuffer::cLeaveRequest);
    EXPECT_EQ(mMemory[64], 0);
    EXPECT_EQ(mMemory[65], join);
    bool isJoin = !join;
    EXPECT_TRUE(mTable.readRequest(isJoin) == id);
    EXPECT_EQ(isJoin, join);
  }
}

TEST_F(SessionTable, AnswersNeutrallyWhenItHoldsNothingButOnes) {
  std::memset(static_cast<void*>(&mTable), 0xFF, sizeof mTable);
  EXPECT_EQ(mTable.getClientIndex(ClientID("any")), 1024);
  EXPECT_EQ(mTable.getClientIndex(mTable.sessionID), 0);
  EXPECT_EQ(mTable.getEmptyEntry(), nullptr);
  EXPECT_EQ(mTable.getClientEntriesCount(1), 0u);
  EXPECT_EQ(mTable.getClientEntries(-1, mCopies), 1024u);
  EXPECT_EQ(mCopies[1023].strings[9].current(), "");
  EXPECT_EQ(mCopies[1023].nameView().size(), 64u);
  bool isJoin = true;
  EXPECT_EQ(mTable.readRequest(isJoin).text().size(), 64u);
  EXPECT_FALSE(isJoin);
}

TEST(StringSlot, KeepsTextsOf128CharactersWholeAndCutsLongerOnesTo127) {
  for (const int length : {0, 127, 128, 129, 200}) {
    SHMString slot;
    const std::string text(length, 'x');
    for (int i = 1; i <= 3; ++i) {
      slot.put(text.c_str(), length);
      EXPECT_EQ(slot.current(), text.substr(0, length > 128 ? 127 : 128));
      EXPECT_EQ(slot.index, i % 2);
    }
  }
}

TEST(StringSlot, ASpoiltIndexReadsEmptyAndIsHealedByTheNextText) {
  SHMString slot;
  std::memset(slot.buffers, 'x', sizeof slot.buffers);
  EXPECT_EQ(slot.current().size(), 128u);
  for (const int spoilt : {7, -1}) {
    slot.index = spoilt;
    EXPECT_EQ(slot.current(), "");
    slot.put("abc", 3);
    EXPECT_EQ(slot.current(), "abc");
  }
}

TEST(ClientEntry, ACopyTakesTheTextsIntoItsOwnNextBufferAndClearKeepsThem) {
  ClientEntry from, to;
  from.offlineParameters[127] = 0.5f;
  from.strings[9].put("abc", 3);
  for (const int index : {1, 0}) {
    to = from;
    EXPECT_EQ(to.strings[9].index, index);
    EXPECT_EQ(to.strings[9].current(), "abc");
  }
  EXPECT_EQ(to.offlineParameters[127], 0.5f);
  to.clear();
  EXPECT_EQ(to.offlineParameters[127], 0.0f);
  EXPECT_EQ(to.strings[9].current(), "abc");
}

}  // namespace
