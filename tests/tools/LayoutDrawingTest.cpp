// SPDX-License-Identifier: BSL-1.0

// The pictures of the speaker layouts as files; that they look as committed is a check of its own.
#include <regex>

#include "tables/SpeakerLayouts.h"
#include "tests/support/Process.h"

namespace {

using namespace support;
namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The status of `lipc layouts` with these arguments, in a shell; what it says goes to "said".
int layouts(const std::string& arguments, const std::string& before = "") {
  return Process({"/bin/sh", "-c", before + LIPC_COMMAND " layouts " + arguments + " 2> said"})
      .wait(15s);
}

/// In a folder of its own.
struct LayoutDrawing : testing::Test {
  LayoutDrawing() {
    fs::create_directory(mFolder);
    fs::current_path(mFolder);
  }
  ~LayoutDrawing() override {
    fs::current_path("/");
    fs::remove_all(mFolder);
  }
  const fs::path mFolder = "/tmp/lipc_pictures." + std::to_string(getpid());
};

TEST_F(LayoutDrawing, APictureIsWrittenWholeOrNotAtAll) {
  ASSERT_EQ(layouts("14 --svg a.svg"), 0);
  const std::string whole = contentOf("a.svg");
  EXPECT_TRUE(whole.ends_with("</svg>\n"));
  EXPECT_EQ(layouts("27 --svg a.svg", "trap '' XFSZ; ulimit -f 1; "), 1);
  EXPECT_EQ(contentOf("said"),
            "lipc: the file a.svg cannot be written: File too large. Look at the "
            "path, or name another file.\n");
  EXPECT_EQ(contentOf("a.svg"), whole);
  fs::create_symlink("a.svg", "link.svg");
  EXPECT_EQ(layouts("15 --svg link.svg"), 0);
  EXPECT_NE(contentOf("a.svg"), whole);
  EXPECT_EQ(layouts("14 --svg - > b.svg"), 0);
  EXPECT_EQ(contentOf("b.svg"), whole);
  for (const char* arguments : {"14 --svg none/a.svg", "14 --svg .", "14 --svg ''",
                                "14 --svg /dev/full", "14 --svg - > /dev/full"})
    EXPECT_EQ(layouts(arguments), 1) << arguments;
  EXPECT_EQ(layouts("--svg c.svg"), 2);
  EXPECT_EQ(contentOf("said"),
            "lipc: --svg draws one layout: give its key, for example: " LIPC_COMMAND
            " layouts 14 --svg layout.svg\n");
  EXPECT_EQ(layouts("20 --svg c.svg"), 9);
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 4) << "a, b, link and said";
}

TEST_F(LayoutDrawing, NoLabelCoversAnother) {
  const std::regex labels("class=\"label \\w+\" x=\"([0-9.]+)\" y=\"([0-9.]+)\">([^<]+)<");
  for (const auto& [key, first] : LSS::cSpeakerLabels) {
    ASSERT_EQ(layouts(std::to_string(key) + " --svg picture.svg"), 0);
    const std::string text = contentOf("picture.svg");
    const std::sregex_iterator begin(text.begin(), text.end(), labels), end;
    EXPECT_NE(begin, end);
    for (auto one = begin; one != end; ++one) {
      for (auto other = std::next(one); other != end; ++other) {
        const auto apart = [&](std::size_t axis) {
          return std::abs(std::stod((*one)[axis]) - std::stod((*other)[axis]));
        };
        const auto letters = static_cast<double>((*one)[3].length() + (*other)[3].length());
        EXPECT_TRUE(apart(1) >= 3.0 * letters || apart(2) >= 11)
            << key << ": " << (*one)[3] << ", " << (*other)[3];
      }
    }
  }
}

}  // namespace
