// SPDX-License-Identifier: BSL-1.0
#include "tools/LipcCommand.h"

// The rest is in the library, since each source that knows CLI11 takes long to compile.
int main(int argc, char** argv) {
  return tools::runLipc(argc, argv);
}
