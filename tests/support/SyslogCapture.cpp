#include "tests/support/SyslogCapture.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include <syslog.h>

namespace support {
namespace {

std::mutex sMutex;
bool sCapturing = false;
std::vector<SyslogCapture::Message> sMessages;

}  // namespace

void capture(int priority, const char* format, va_list arguments) {
  char text[2048];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard lock(sMutex);
  if (sCapturing) sMessages.push_back({priority, text});
}

SyslogCapture::SyslogCapture() {
  const std::lock_guard lock(sMutex);
  sCapturing = true;
  sMessages.clear();
}

SyslogCapture::~SyslogCapture() {
  const std::lock_guard lock(sMutex);
  sCapturing = false;
}

std::vector<SyslogCapture::Message> SyslogCapture::messages() const {
  const std::lock_guard lock(sMutex);
  return sMessages;
}

int SyslogCapture::count(const std::string& text) const {
  const auto all = messages();
  return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const Message& message) {
    return message.text.ends_with(text);
  }));
}

}  // namespace support

extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  support::capture(priority, format, arguments);
  va_end(arguments);
}

// What a fortified build calls instead.
extern "C" void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  support::capture(priority, format, arguments);
  va_end(arguments);
}
