// SPDX-License-Identifier: BSL-1.0
#include <sys/shm.h>
#include <unistd.h>

#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;
using testing::ExitedWithCode;

struct Cell {
  explicit Cell(const char*) : made(1) {}
  int made, kept;
};
using OwnCell = ShmManagedCreateOpen<Cell>;
using OpenCell = ShmManagedOpen<Cell>;

TEST(ShmKey, IsTheSameInEveryProcessAndForEveryUserWhileItsFileIsEmptied) {
  const key_t key = shmKey("Key");
  std::filesystem::resize_file(keyFilePath("Key"), 4);
  EXPECT_EXIT(_exit(shmKey("Key") == key ? 0 : 1), ExitedWithCode(0), "");
  EXPECT_EQ(std::filesystem::file_size(keyFilePath("Key")), 0u);
  if (geteuid() != 0) GTEST_SKIP() << "not root: one user";
  ASSERT_EQ(chown(keyFilePath("Key").c_str(), 65534, 65534), 0);
  EXPECT_EXIT(_exit(setuid(65533) == 0 && shmKey("Key") == key ? 0 : 1), ExitedWithCode(0), "");
}

TEST(ShmManaged, WhatIsMissingTooSmallOrWithoutKeyFileIsNotAttached) {
  EXPECT_GE(shmget(shmKey("Small"), sizeof(Cell) - 1, IPC_CREAT | 0666), 0);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(ShmReadOnly<Cell>("Unnamed").get() == nullptr && existingShmKey("Unnamed") == -1);
  for (const char* name : {"Missing", "Small"})
    EXPECT_TRUE(ShmReadOnly<Cell>(name).get() == nullptr && OpenCell(name).get() == nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(OwnCell("no/file", sizeof(Cell)).get() == nullptr && shmget(-1, 0, 0) == -1);
  EXPECT_EQ(OwnCell("Small", sizeof(Cell)).mappedBytes(), sizeof(Cell));
}

TEST(ShmManaged, ASegmentIsReusedWhenItCanBeOnesOwnUntilAnotherRemovesOrRemakesIt) {
  OwnCell first("Name", sizeof(Cell));
  first->made = first->kept = 2;
  OwnCell("Name", sizeof(Cell)).abandon();
  EXPECT_TRUE(first->made == 1 && first->kept == 2);
  for (const std::size_t otherSize : {sizeof(Cell) + 1, sizeof(Cell) - 1})
    EXPECT_EQ(OwnCell("Name", otherSize).error(), EEXIST);
  EXPECT_TRUE(first.holdsItsName() && !ShmManaged::removeIfUnattached("Name"));
  EXPECT_EQ(ShmManaged::remove("Name"), 0);
  EXPECT_EQ(first.nameState(), ShmManaged::eNameFree);
  const OwnCell other("Name", sizeof(Cell));
  EXPECT_EQ(first.nameState(), ShmManaged::eNameTaken);
  first.leaveToAnother();
}

TEST(ShmManaged, ARemovalThatFailsEndsTheProcessWithStatusOne) {
  const auto lose = [](const OwnCell&) { ShmManaged::remove("Lost"); };
  EXPECT_EXIT(lose(OwnCell("Lost", sizeof(Cell))), ExitedWithCode(1), "^shmctl: ");
  EXPECT_EXIT(ShmManaged::remove("None"), ExitedWithCode(1), "remove .*\\(shmget\\) \\(None\\): ");
}

}  // namespace
