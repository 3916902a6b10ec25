// SPDX-License-Identifier: BSL-1.0
#include <gtest/gtest.h>

#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SessionBuffer.h"

namespace {

using namespace LIPC;
using namespace boost::interprocess;

const ClientID cA("A"), cB("B"), cC("C"), cD("D"), cNone;

struct Pool : testing::Test {
  /// The number of A's connections and the IDs of its peers.
  std::string found(int type, bool owned = false) {
    std::list<Connection> connections;
    std::deque<ClientEntry> peers;
    table->getConnectedClients(cA, peers, type);
    std::string all = std::to_string(table->getClientConnections(cA, connections, type, owned));
    for (const ClientEntry& peer : peers)
      all += peer.id.view();
    return all;
  }

  std::unique_ptr<SessionBuffer> table = std::make_unique<SessionBuffer>("PoolTest");
  const bool wasThere = shared_memory_object::remove(cConnectionPoolSegment);
  managed_shared_memory pool{create_only, cConnectionPoolSegment, 65536};
  SharedConnectionList& list =
      *pool.construct<SharedConnectionList>(cConnectionListName)(pool.get_segment_manager());
};

TEST_F(Pool, ConnectionsAndPeersOfAClientAreFoundInTheSharedList) {
  table->entries[0].id = cB;
  table->entries[0].type = 2;
  table->entries[1].id = cC;
  table->entries[1].type = 3;
  list.emplace_back(cB, cC, cNone);
  list.emplace_back(cA, cB, cNone);
  list.emplace_back(cB, cC, cA);  // counts for type 2: the peer found before is remembered
  list.emplace_back(cC, cA, cNone);
  list.emplace_back(cA, cD, cNone);  // D has no row: nothing is remembered
  list.emplace_back(cB, cC, cNone);
  EXPECT_EQ(found(0) + found(0, true), "3BC4BC");
  EXPECT_EQ(found(2) + found(3), "2B1C");
  (++list.begin())->disconnectRequested = 1;
  EXPECT_EQ(found(0), "3C");
}

TEST_F(Pool, AMissingListIsSaidAndAMissingPoolThrows) {
  pool.destroy<SharedConnectionList>(cConnectionListName);
  testing::internal::CaptureStdout();
  EXPECT_EQ(found(0), "0");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n!! getConnectedClients : lSessionConnections == 0 !! "
            "\n!! getClientConnections : lSessionConnections == 0 !! ");
  shared_memory_object::remove(cConnectionPoolSegment);
  EXPECT_THROW(found(0), interprocess_exception);
}

TEST_F(Pool, ASpoiltLinkEndsTheWalkInsideThePool) {
  list.assign(3, Connection());
  // A node begins with the distance to the next one, 16 bytes before its record.
  auto& next = *reinterpret_cast<std::int64_t*>(reinterpret_cast<char*>(&*++list.begin()) - 16);
  for (const std::int64_t spoilt : {next, std::int64_t{1} << 40, next + 1, std::int64_t{0}}) {
    const std::size_t most = spoilt == next ? 3
                             : spoilt == 0  ? 65536 / sizeof(SharedConnectionNode)
                                            : 2;
    next = spoilt;
    std::size_t visits = 0;
    forEachConnection(static_cast<const char*>(pool.get_address()), pool.get_size(), list,
                      [&](const Connection&) { ++visits; });
    EXPECT_EQ(visits, most) << spoilt;
  }
}

TEST_F(Pool, APublishedListIsAloneOfItsNameAndWithdrawnUnlessKept) {
  PublishedConnections(cA).publish({Connection(cA, cB, cA)});
  PublishedConnections(cA).keep();
  EXPECT_THROW(PublishedConnections{cA}, interprocess_exception);
}

TEST_F(Pool, AProcessThatDiedInItsLockMakesOperationsThrowAfterASecond) {
  auto die = [] { _exit(0); };
  EXPECT_EXIT(pool.atomic_func(die), testing::ExitedWithCode(0), "");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THROW(found(0), interprocess_exception);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
