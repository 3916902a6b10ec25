// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

namespace jack_bridge {

struct BridgeOptions {
  std::string id = "jack";
  std::string name = "JACK";
  std::string type = "JACK";
  int inputs = 2;                        // into the session
  int outputs = 2;                       // out of it
  std::vector<std::string> connect;      // IDs
  std::vector<std::string> connectType;  // four-character types
  std::string server;                    // empty: JACK's default
  bool autoconnectPhysical = false;
  std::string clock;  // ID of the client whose clock counts; empty: found
  bool status = false;
};

}  // namespace jack_bridge
