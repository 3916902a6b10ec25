#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/shm.h>
#include <unistd.h>

#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"

namespace {

using namespace LIPC;
using testing::ExitedWithCode;

struct Cell {
  explicit Cell(const char* name) : made(1) {
    if (name == std::string("Throws")) throw std::runtime_error(name);
  }
  int made;
  char rest[1020];
};
using OwnCell = ShmManagedCreateOpen<Cell>;
using OpenCell = ShmManagedOpen<Cell>;

TEST(ShmKey, IsTheSameInEveryProcessAndStaysWhileItsFileIsEmptied) {
  const key_t key = shmKey("Key");
  std::ofstream(keyFilePath("Key")) << "text";
  EXPECT_EXIT(_exit(shmKey("Key") == key ? 0 : 1), ExitedWithCode(0), "");
  EXPECT_EQ(std::filesystem::file_size(keyFilePath("Key")), 0u);
  EXPECT_NE(shmKey("OtherKey"), key);
}

TEST(ShmKey, ComesFromAnotherUsersFileToo) {
  const key_t key = shmKey("Foreign");
  if (chown(keyFilePath("Foreign").c_str(), 65534, 65534) != 0) {
    GTEST_SKIP() << "this user may not give a file to another";
  }
  EXPECT_EXIT(_exit(setuid(65533) == 0 && shmKey("Foreign") == key ? 0 : 1), ExitedWithCode(0), "");
}

TEST(ShmManaged, AMissingSegmentIsNotAttachedAndNothingIsPrinted) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(OpenCell("Missing").get(), nullptr);
  EXPECT_EQ(ShmReadOnly<Cell>("Unnamed").get(), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
  EXPECT_FALSE(std::filesystem::exists(keyFilePath("Unnamed")));
}

TEST(ShmManaged, AnExistingSegmentIsReusedConstructedOverAndLeftWhenAbandoned) {
  const OwnCell first("Reused", sizeof(Cell) + 100);
  first->made = first->rest[0] = 2;
  {
    OwnCell second("Reused", sizeof(Cell));
    EXPECT_EQ(second.mappedBytes(), sizeof(Cell) + 100);
    second.abandon();
  }
  EXPECT_EQ(first->made, 1);
  EXPECT_EQ(first->rest[0], 2);
  EXPECT_TRUE(first.holdsItsName());
}

TEST(ShmManaged, ASegmentThatIsTooSmallIsNotAttachedButReplacedByAnOwner) {
  EXPECT_GE(shmget(shmKey("Small"), 16, IPC_CREAT | 0666), 0);
  EXPECT_EQ(OpenCell("Small").get(), nullptr);
  EXPECT_EQ(ShmReadOnly<Cell>("Small").get(), nullptr);
  const OwnCell own("Small", sizeof(Cell));
  EXPECT_EQ(own.mappedBytes(), sizeof(Cell));
  EXPECT_EQ(OpenCell("Small")->made, 1);
  EXPECT_EQ(ShmReadOnly<Cell>("Small")->made, 1);
}

TEST(ShmManaged, HoldsItsNameUntilAnotherRemovesOrRemakesTheSegment) {
  OwnCell own("Name", sizeof(Cell));
  EXPECT_TRUE(own.holdsItsName());
  EXPECT_TRUE(ShmManaged::removeIfPresent("Name"));
  EXPECT_FALSE(own.holdsItsName());
  EXPECT_FALSE(ShmManaged::removeIfPresent("Name"));
  own.abandon();
  const OwnCell other("Name", sizeof(Cell));
  EXPECT_FALSE(own.holdsItsName());
}

TEST(ShmManaged, TheOwnersEndRemovesTheSegmentAlsoWhenTheRecordThrows) {
  EXPECT_NE(OwnCell("Owned", sizeof(Cell)).get(), nullptr);
  EXPECT_EQ(OpenCell("Owned").get(), nullptr);
  EXPECT_THROW(OwnCell("Throws", sizeof(Cell)), std::runtime_error);
  EXPECT_EQ(OpenCell("Throws").get(), nullptr);
}

TEST(ShmManaged, ARemovalThatFailsEndsTheProcessWithStatusOne) {
  const auto loseSegment = [] {
    const OwnCell own("Lost", sizeof(Cell));
    ShmManaged::remove("Lost");
  };
  EXPECT_EXIT(loseSegment(), ExitedWithCode(1), "^shmctl: ");
  EXPECT_EXIT(ShmManaged::remove("Nothing"), ExitedWithCode(1),
              "<ERRO> remove Could not get shm object \\(shmget\\) \\(Nothing\\): ");
}

TEST(ShmManaged, ANameThatCannotBeAFileHasNoKeyAndMakesNoSegment) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(OwnCell("no/file", sizeof(Cell)).get(), nullptr);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(
                "<ERRO> shmKey Could not create key for shm object (ftok) (no/file): "),
            std::string::npos);
  EXPECT_EQ(shmget(-1, 0, 0), -1);
}

}  // namespace
