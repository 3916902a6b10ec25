// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Bridge.h"
#include "bridges/mqtt/Options.h"
#include "tools/ExitStatus.h"
#include "tools/Guarded.h"

int main(int argc, char** argv) {
  return tools::guarded([&]() -> int {
    mqtt::Options options;
    int status = tools::eExitOK;
    if (!mqtt::readOptions(argc, argv, options, status)) return status;
    mqtt::Bridge(options).run();
    return tools::eExitOK;
  });
}
