// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <cstring>

#include <fcntl.h>
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

/// Of a mapping of whole pages; -1 where the system does not tell.
long pagesMapped(const void* address, long pages) {
  std::vector<std::uint64_t> entries(pages);
  const std::size_t bytes = pages * sizeof entries[0];
  const auto page = reinterpret_cast<std::uintptr_t>(address) / getpagesize();
  const int map = open("/proc/self/pagemap", O_RDONLY);
  const ssize_t got =
      pread(map, entries.data(), bytes, static_cast<off_t>(page * sizeof entries[0]));
  close(map);
  if (got != static_cast<ssize_t>(bytes)) return -1;
  return std::count_if(entries.begin(), entries.end(), [](auto entry) { return entry >> 63; });
}

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

TEST(ShmManaged, PopulatingMapsAllPagesOfWhatTheSegmentHasAndChangesNothing) {
  constexpr long cPages = 50;  // the last one in part
  const OwnCell own("Pages", (cPages - 1) * getpagesize() + sizeof(Cell));
  ASSERT_EQ(own.error(), 0);
  if (pagesMapped(own.get(), cPages) < 0) GTEST_SKIP() << "the system does not tell";
  EXPECT_LT(pagesMapped(own.get(), cPages), 2);
  own.populate();
  EXPECT_EQ(pagesMapped(own.get(), cPages), cPages);
  const std::string before(own.mappedBytes(), '\xA5');
  std::memcpy(static_cast<void*>(own.get()), before.data(), before.size());
  const OpenCell opened("Pages");
  opened.populate();
  own.populate();
  EXPECT_EQ(pagesMapped(opened.get(), cPages), cPages);
  EXPECT_EQ(std::memcmp(opened.get(), before.data(), before.size()), 0);
  OpenCell("None").populate();  // nothing attached
}

TEST(ShmManaged, ARemovalThatFailsEndsTheProcessWithStatusOne) {
  const auto lose = [](const OwnCell&) { ShmManaged::remove("Lost"); };
  EXPECT_EXIT(lose(OwnCell("Lost", sizeof(Cell))), ExitedWithCode(1), "^shmctl: ");
  EXPECT_EXIT(ShmManaged::remove("None"), ExitedWithCode(1), "remove .*\\(shmget\\) \\(None\\): ");
}

}  // namespace
