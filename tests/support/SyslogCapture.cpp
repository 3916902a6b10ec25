// SPDX-License-Identifier: BSL-1.0
#include "tests/support/SyslogCapture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include <syslog.h>

namespace support {
namespace {

std::mutex sMutex;
std::vector<SyslogCapture::Message> sMessages;

void capture(int priority, const char* format, va_list arguments) {
  char text[2048];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard lock(sMutex);
  sMessages.push_back({priority, text});
}

}  // namespace

SyslogCapture::SyslogCapture() {
  const std::lock_guard lock(sMutex);
  sMessages.clear();
}

std::vector<SyslogCapture::Message> SyslogCapture::messages() {
  const std::lock_guard lock(sMutex);
  return sMessages;
}

long SyslogCapture::count(const std::string& text) {
  long count = 0;
  for (const Message& message : messages())
    count += message.text.ends_with(text) ? 1 : 0;
  return count;
}

}  // namespace support

#define DEFINE_SYSLOG(name, ...)                                                           \
  extern "C" void name(int priority __VA_OPT__(, ) __VA_ARGS__, const char* format, ...) { \
    va_list arguments;                                                                     \
    va_start(arguments, format);                                                           \
    support::capture(priority, format, arguments);                                         \
    va_end(arguments);                                                                     \
  }
DEFINE_SYSLOG(syslog)
DEFINE_SYSLOG(__syslog_chk, int)  // what a fortified build calls instead
