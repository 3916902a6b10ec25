// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Credentials.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include <sys/stat.h>

#include "lipc/util/SystemError.h"
#include "tools/Failure.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

constexpr std::size_t cMostPasswordBytes = 4096;

}  // namespace

std::string passwordOfFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r"),
                                                             std::fclose);
  struct stat status {};
  if (!file || fstat(fileno(file.get()), &status) != 0) {
    throw tools::Failure(tools::eExitFailure, "the password file {} cannot be read: {}",
                         tools::printable(path), LIPC::systemErrorText(errno));
  }
  // Of the file that is open, so that nobody changes it in between.
  if (S_ISREG(status.st_mode) && (status.st_mode & 077) != 0) {
    throw tools::Failure(tools::eExitFailure,
                         "the password file {} may be read by others. Make it yours alone: chmod "
                         "600 {}",
                         tools::printable(path), tools::printable(path));
  }
  std::string password;
  for (int c;
       (c = std::fgetc(file.get())) != EOF && c != '\n' && password.size() < cMostPasswordBytes;)
    password += static_cast<char>(c);
  if (password.ends_with('\r')) password.pop_back();
  if (!password.empty()) return password;
  throw tools::Failure(tools::eExitFailure,
                       "the password file {} has no password in its first line",
                       tools::printable(path));
}

}  // namespace mqtt
