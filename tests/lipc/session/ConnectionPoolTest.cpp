#include <chrono>
#include <optional>

#include <gtest/gtest.h>

#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SessionBuffer.h"

namespace {

using namespace LIPC;
namespace bip = boost::interprocess;
using PoolError = bip::interprocess_exception;
using Clock = std::chrono::steady_clock;

const ClientID cA("A"), cB("B"), cC("C"), cD("D"), cNone;

/// A pool with a session list, and a table with A of type 1, B of type 2 and C of type 3.
class Pool : public testing::Test {
 protected:
  Pool() {
    bip::shared_memory_object::remove(cConnectionPoolSegment);
    mPool = bip::managed_shared_memory(bip::create_only, cConnectionPoolSegment, 65536);
    mList = mPool.construct<SharedConnectionList>(cConnectionListName)(mPool.get_segment_manager());
    std::uint32_t type = 0;
    for (const ClientID& id : {cA, cB, cC}) {
      mTable->entries[type].id = id;
      mTable->entries[type].type = type + 1;
      ++type;
    }
  }
  ~Pool() override { bip::shared_memory_object::remove(cConnectionPoolSegment); }

  unsigned found(const ClientID& id, int type, bool owned = false) {
    std::list<Connection> out;
    return mTable->getClientConnections(id, out, type, owned);
  }
  std::string peers(const ClientID& id, int type) {
    std::string all;
    mTable->getConnectedClients(id, mPeers, type);
    for (const ClientEntry& row : mPeers)
      all += row.id.text();
    return all;
  }
  std::string visited() {
    std::string all;
    forEachConnection(mPool, *mList, [&](const Connection& c) { all += c.source.text(); });
    return all;
  }

  std::unique_ptr<SessionBuffer> mTable = std::make_unique<SessionBuffer>("PoolTest");
  bip::managed_shared_memory mPool;
  SharedConnectionList* mList;
  std::deque<ClientEntry> mPeers;
};

TEST_F(Pool, ConnectionsOfAClientAreThoseFromItToItAndWhenAskedThoseItOwns) {
  for (const Connection& c : {Connection(cA, cB, cNone), {cC, cA, cNone}, {cB, cC, cA}})
    mList->push_back(c);
  EXPECT_EQ(found(cA, 0), 2u);
  EXPECT_EQ(found(cA, 0, true), 3u);
  EXPECT_EQ(found(cD, 0, true), 0u);
}

TEST_F(Pool, APeerOfTheWantedTypeCountsForUnrelatedConnectionsUntilALookUpFails) {
  for (const Connection& c : {Connection(cB, cC, cNone),
                              {cA, cB, cNone},
                              {cC, cD, cNone},
                              {cA, cD, cNone},
                              {cB, cC, cNone},
                              {cC, cA, cNone},
                              {cB, cA, cNone}})
    mList->push_back(c);
  EXPECT_EQ(found(cA, 2), 3u);
  EXPECT_EQ(found(cA, 3), 1u);
  EXPECT_EQ(found(cA, 9), 0u);
}

TEST_F(Pool, ConnectedClientsAreTheRowsOfPeersThatAreStillConnected) {
  for (const Connection& c :
       {Connection(cA, cB, cNone), {cC, cA, cNone}, {cA, cD, cNone}, {cB, cC, cA}})
    mList->push_back(c);
  EXPECT_EQ(peers(cA, 0), "BC");
  EXPECT_EQ(peers(cA, 3), "C");
  mList->front().disconnectRequested = 1;
  EXPECT_EQ(peers(cA, 0), "C");
  EXPECT_EQ(found(cA, 0), 3u);
}

TEST_F(Pool, AMissingListIsSaidAndAMissingPoolThrows) {
  mPool.destroy<SharedConnectionList>(cConnectionListName);
  testing::internal::CaptureStdout();
  EXPECT_EQ(found(cA, 0), 0u);
  EXPECT_EQ(peers(cA, 0), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n!! getClientConnections : lSessionConnections == 0 !! "
            "\n!! getConnectedClients : lSessionConnections == 0 !! ");
  bip::shared_memory_object::remove(cConnectionPoolSegment);
  EXPECT_THROW(found(cA, 0), PoolError);
  EXPECT_THROW(peers(cA, 0), PoolError);
  EXPECT_THROW(PublishedConnections{cA}, PoolError);
  PublishedConnections::withdraw(cA);
  EXPECT_EQ(found(ClientID("Default"), 0), 0u);
}

TEST_F(Pool, ASpoiltLinkEndsTheWalkInsideThePool) {
  for (const ClientID& id : {cA, cB, cC})
    mList->emplace_back(id, cD, cNone);
  EXPECT_EQ(visited(), "ABC");
  // A node begins with the distance to the next one.
  auto* next = reinterpret_cast<std::int64_t*>(reinterpret_cast<char*>(&*++mList->begin()) - 16);
  const std::int64_t whole = *next;
  for (const std::int64_t spoilt :
       {std::int64_t{1} << 40, -(std::int64_t{1} << 40), std::int64_t{1}, std::int64_t{65536},
        whole + 1, std::int64_t{-1}}) {
    *next = spoilt;
    EXPECT_EQ(visited(), "AB") << spoilt;
  }
  *next = 0;  // to itself
  EXPECT_LE(visited().size(), 65536u / sizeof(Connection));
  *next = whole;
}

TEST_F(Pool, APublishedListIsWithdrawnUnlessKept) {
  const auto published = [&] { return mPool.find<SharedConnectionList>("A").first; };
  {
    PublishedConnections list(cA);
    list.publish({Connection(cA, cB, cA)});
    ASSERT_NE(published(), nullptr);
    EXPECT_TRUE(published()->front().target == cB);
    EXPECT_THROW(PublishedConnections{cA}, PoolError);
    EXPECT_THROW(list.publish(std::list<Connection>(1000)), bip::bad_alloc);
  }
  EXPECT_EQ(published(), nullptr);
  PublishedConnections(cA).keep();
  EXPECT_NE(published(), nullptr);
  PublishedConnections::withdraw(cA);
  EXPECT_EQ(published(), nullptr);
}

TEST_F(Pool, AProcessThatDiedInItsLockMakesOperationsThrowAfterASecond) {
  auto die = [] { _exit(0); };
  EXPECT_EXIT(mPool.atomic_func(die), testing::ExitedWithCode(0), "");
  const auto start = Clock::now();
  EXPECT_THROW(found(cA, 0), PoolError);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(900));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
