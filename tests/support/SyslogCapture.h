#pragma once

#include <string>
#include <vector>

namespace support {

/// Collects what this program sends to the system log while it lives: the test program's own
/// `syslog` stands before the system's.
class SyslogCapture {
 public:
  struct Message {
    int priority;
    std::string text;
  };

  SyslogCapture();
  ~SyslogCapture();
  SyslogCapture(const SyslogCapture&) = delete;
  SyslogCapture& operator=(const SyslogCapture&) = delete;

  std::vector<Message> messages() const;
  /// How often a message came that ends with this text.
  int count(const std::string& text) const;
};

}  // namespace support
