// SPDX-License-Identifier: BSL-1.0

// main() of the test programs that touch the machine's segments and semaphores.
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include "host/DeadSession.h"

namespace {

/// Outside a sandbox: one test program at a time, and none over a living session.
bool isAlone() {
  if (std::getenv("LIPC_TEST_SANDBOX") != nullptr) return true;
  if (flock(open("/tmp/lipc-tests.lock", O_RDWR | O_CREAT, 0666), LOCK_EX) != 0) {
    std::perror("/tmp/lipc-tests.lock");
  } else if (host::isSessionAlive()) {
    std::puts("A session is alive on this machine: the tests do not start over it.");
  } else {
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  setenv("TZ", "FAR-13:45", 1);  // far from UTC: no local time passes for it
  testing::InitGoogleTest(&argc, argv);
  if (!testing::GTEST_FLAG(list_tests) && !isAlone()) return 1;
  return RUN_ALL_TESTS();
}
