// SPDX-License-Identifier: BSL-1.0
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Testing.h"
#include "tools/WholeFile.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

TEST(WholeFile, IsWrittenWholeThroughItsLinkOrLeftAsItWas) {
  const fs::path folder = testing::TempDir() + "whole-file";
  fs::remove_all(folder);
  fs::create_directories(folder / "elsewhere");
  const auto contentOf = [](const fs::path& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const auto complaint = [](const fs::path& path) -> std::string {
    try {
      tools::writeWhole(path, "never");
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  };
  tools::writeWhole(folder / "file", "a longer text");
  tools::writeWhole(folder / "file", "text\0more"s);
  EXPECT_EQ(contentOf(folder / "file"), "text\0more"s);

  fs::create_symlink("elsewhere/file", folder / "link");
  std::ofstream(folder / "elsewhere/file") << "old";
  tools::writeWhole(folder / "link", "new");
  EXPECT_TRUE(fs::is_symlink(folder / "link")) << "it leads there still";
  EXPECT_EQ(contentOf(folder / "elsewhere/file"), "new");

  // What is no ordinary file is not replaced by one.
  tools::writeWhole("/dev/null", "text");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_NE(complaint(folder).find("cannot be written: Is a directory. Look at the path"),
            std::string::npos)
      << complaint(folder);
  EXPECT_NE(complaint(folder / "none\x1b/file").find("none\\x1b/file cannot be written: No such"),
            std::string::npos);
  // Another is being written under the name that this process would take.
  std::ofstream(folder / ("file." + std::to_string(getpid()) + ".part")) << "half";
  EXPECT_NE(complaint(folder / "file").find("File exists"), std::string::npos);
  fs::remove(folder / ("file." + std::to_string(getpid()) + ".part"));
  if (geteuid() != 0) {
    fs::permissions(folder / "file", fs::perms::owner_read);
    EXPECT_NE(complaint(folder / "file").find("Permission denied"), std::string::npos);
  }
  EXPECT_EQ(contentOf(folder / "file"), "text\0more"s);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3) << "nothing is left behind";
  fs::remove_all(folder);
}

}  // namespace
