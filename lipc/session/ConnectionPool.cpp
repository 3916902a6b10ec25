#include "lipc/session/ConnectionPool.h"

#include <exception>

#include "lipc/session/SessionNames.h"
#include "lipc/util/Log.h"

namespace LIPC {

namespace bip = boost::interprocess;

PublishedConnections::PublishedConnections(const ClientID& id)
    : mPool(bip::open_only, cConnectionPoolSegment),
      mName(id.text()),
      mList(mPool.construct<SharedConnectionList>(mName.c_str())(mPool.get_segment_manager())) {}

PublishedConnections::~PublishedConnections() {
  if (mKept) return;
  try {
    mPool.destroy<SharedConnectionList>(mName.c_str());
  } catch (const std::exception& error) {
    Lct::Log(Lct::eLogWarn, "PublishedConnections", "list of %s stays in the pool: %s",
             mName.c_str(), error.what());
  }
}

void PublishedConnections::publish(const std::list<Connection>& connections) {
  mList->assign(connections.begin(), connections.end());
}

void PublishedConnections::withdraw(const ClientID& id) {
  try {
    bip::managed_shared_memory pool(bip::open_only, cConnectionPoolSegment);
    pool.destroy<SharedConnectionList>(id.text().c_str());
  } catch (const bip::interprocess_exception& error) {
    if (error.get_error_code() == bip::not_found_error) return;  // the host took the pool away
    Lct::Log(Lct::eLogWarn, "PublishedConnections", "list of %s not withdrawn: %s",
             id.text().c_str(), error.what());
  }
}

}  // namespace LIPC
