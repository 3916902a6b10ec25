// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "bridges/mqtt/BrokerLink.h"

namespace mqtt {

struct MirrorOptions {
  std::string site;
  std::string id;
  std::string localID;
};

struct Options {
  BrokerOptions broker;
  std::string site;  // empty: this machine's name
  std::vector<MirrorOptions> mirrors;
  std::vector<std::string> setPatterns;
  bool withoutEvents = false;
  int countersSeconds = 0;  // 0: none
};

/// Reads the command line. False: it was asked for help, which was printed; `status` is the exit
/// status then, also of a line that cannot be read. Throws tools::Failure.
bool readOptions(int argc, char** argv, Options& options, int& status);

}  // namespace mqtt
