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

}  // namespace
