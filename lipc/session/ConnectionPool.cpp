#include "lipc/session/ConnectionPool.h"

#include <exception>

#include "lipc/session/SessionNames.h"
#include "lipc/util/Log.h"

namespace LIPC {

namespace bip = boost::interprocess;

PublishedConnections::PublishedConnections(const ClientID& id)
    : mID(id),
      mPool(bip::open_only, cConnectionPoolSegment),
      mList(
          mPool.construct<SharedConnectionList>(mID.text().c_str())(mPool.get_segment_manager())) {}

PublishedConnections::~PublishedConnections() {
  if (!mKept) withdraw(mID);
}

void PublishedConnections::publish(const std::list<Connection>& connections) {
  mList->assign(connections.begin(), connections.end());
  mPool = bip::managed_shared_memory();
}

void PublishedConnections::withdraw(const ClientID& id) {
  const auto report = [&](const std::exception& error) {
    Lct::Log(Lct::eLogWarn, "PublishedConnections", "list of %s not withdrawn: %s",
             id.text().c_str(), error.what());
  };
  try {
    bip::managed_shared_memory pool(bip::open_only, cConnectionPoolSegment);
    pool.destroy<SharedConnectionList>(id.text().c_str());
  } catch (const bip::interprocess_exception& error) {
    // Unless the host took the pool away.
    if (error.get_error_code() != bip::not_found_error) report(error);
  } catch (const std::exception& error) {
    report(error);
  }
}

}  // namespace LIPC
