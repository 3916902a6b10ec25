// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Log.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <iterator>

#include <sys/time.h>
#include <syslog.h>

namespace Lct {
namespace {

// deliberate: "<ERRO> " has four letters, so that all tags have one width.
constexpr char cLevelTags[3][8] = {"<INFO> ", "<WARN> ", "<ERRO> "};

constexpr std::size_t cDebugLineBytes = 500;

struct TimeText {
  char text[100];
};

TimeText localTimeText() {
  timeval now{};
  gettimeofday(&now, nullptr);
  const std::time_t seconds = now.tv_sec;
  std::tm local{};
  localtime_r(&seconds, &local);
  char date[64];
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
  TimeText result;
  std::snprintf(result.text, sizeof result.text, "%s.%06d", date, static_cast<int>(now.tv_usec));
  return result;
}

/// Length of what snprintf put into a buffer of `capacity` bytes.
std::size_t writtenLength(int printed, std::size_t capacity) {
  if (printed < 0) return 0;
  const auto length = static_cast<std::size_t>(printed);
  return length < capacity ? length : capacity - 1;
}

}  // namespace

void Log(eLogLevel level, const char* source, const char* format, ...) {
  char message[cLogBufferBytes];
  va_list arguments;
  va_start(arguments, format);
  if (std::vsnprintf(message, sizeof message, format, arguments) < 0) message[0] = '\0';
  va_end(arguments);

  const unsigned tagIndex = level;
  const char* tag = tagIndex < std::size(cLevelTags) ? cLevelTags[tagIndex] : "";

  // One byte less than the buffer for the text, so that the line feed always fits.
  char line[cLogBufferBytes];
  const std::size_t textCapacity = sizeof line - 1;
  const int printed =
      std::snprintf(line, textCapacity, "%s %s%s%s%s", localTimeText().text, tag,
                    source != nullptr ? source : "", source != nullptr ? " " : "", message);
  std::size_t length = writtenLength(printed, textCapacity);
  line[length++] = '\n';
  line[length] = '\0';

  const auto count = static_cast<std::streamsize>(length);
  if (level == eLogInfo) {
    std::cout.write(line, count);
    return;
  }
  std::cerr.write(line, count);
  std::cout.write(line, count);
  // deliberate: errors too go to the system log as warnings.
  syslog(LOG_WARNING, "%s", line);
}

void debugLog(const char* source, const char* format, ...) {
  char message[cLogBufferBytes];
  va_list arguments;
  va_start(arguments, format);
  if (std::vsnprintf(message, sizeof message, format, arguments) < 0) message[0] = '\0';
  va_end(arguments);

  char line[cDebugLineBytes];
  const int printed = std::snprintf(line, sizeof line, "(%s) %s", source, message);
  const std::size_t length = writtenLength(printed, sizeof line);
  std::cerr.write(line, static_cast<std::streamsize>(length)) << std::endl;
}

}  // namespace Lct
