// SPDX-License-Identifier: BSL-1.0
#include "tools/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <unistd.h>

#include "lipc/util/SystemError.h"
#include "tools/Text.h"

namespace tools {
namespace {

[[noreturn]] void fail(const std::string& path, int error) {
  throw std::runtime_error("the file " + printable(path) +
                           " cannot be written: " + LIPC::systemErrorText(error) +
                           ". Look at the path, or name another file.");
}

/// 0, or the system's error. `mode` as fopen's.
int write(const std::string& path, const char* mode, std::string_view text) {
  std::FILE* const file = std::fopen(path.c_str(), mode);
  if (file == nullptr) return errno;
  const bool isWritten =
      std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
  int error = isWritten ? 0 : errno;
  if (std::fclose(file) != 0 && error == 0) error = errno;
  return error;
}

}  // namespace

void writeWhole(const std::string& path, std::string_view text) {
  std::error_code none;
  const auto status = std::filesystem::status(path, none);
  const bool isThere = std::filesystem::exists(status);
  if (isThere && !std::filesystem::is_regular_file(status)) {
    if (const int error = write(path, "w", text); error != 0) fail(path, error);
    return;
  }
  // A link stays a link, and a file that is protected from its writer stays as it is.
  const std::string target = isThere ? std::filesystem::canonical(path, none).string() : path;
  if (isThere && access(target.c_str(), W_OK) != 0) fail(path, errno);
  const std::string unfinished = target + "." + std::to_string(getpid()) + ".part";
  int error = write(unfinished, "wx", text);
  if (error == 0 && std::rename(unfinished.c_str(), target.c_str()) != 0) error = errno;
  if (error == 0) return;
  if (error != EEXIST) std::remove(unfinished.c_str());
  fail(path, error);
}

}  // namespace tools
