// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

namespace support {

/// What this program has sent to the system log since this was made: the test program's own
/// `syslog` stands before the system's.
struct SyslogCapture {
  struct Message {
    int priority;
    std::string text;
  };

  SyslogCapture();
  static std::vector<Message> messages();
  /// How often a message came that ends with this text.
  static long count(const std::string& text);
};

}  // namespace support
