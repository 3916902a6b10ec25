#include "lipc/session/Remains.h"

#include <string>

#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SessionNames.h"
#include "lipc/session/ShmManaged.h"

namespace LIPC {

unsigned removeRemains(const ClientID& id) {
  if (!id.isDefined()) return 0;
  const std::string name = id.text();
  unsigned removed = 0;
  for (const char* suffix : {"", cSendSuffix, cReturnSuffix}) {
    if (ShmManaged::removeIfPresent((name + suffix).c_str())) ++removed;
  }
  for (const char* suffix : {cMustDisconnectSuffix, cKeepAliveMutexSuffix}) {
    Semaphore::unlink((name + suffix).c_str());
  }
  return removed;
}

}  // namespace LIPC
