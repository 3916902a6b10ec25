#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"
#include "tests/support/SyslogCapture.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

}  // namespace
