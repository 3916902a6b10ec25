// SPDX-License-Identifier: BSL-1.0
#include <random>

#include "inspect/ChildRead.h"
#include "inspect/Picture.h"
#include "inspect/Snapshot.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;
using inspect::SessionPicture;

constexpr std::size_t cBody = 14 + 4 + 8 + 8;

/// Gives the changed body of a snapshot the head that belongs to it.
void sign(std::string& snapshot) {
  const std::uint64_t bytes = snapshot.size() - cBody;
  std::uint64_t sum = 0xcbf29ce484222325U;
  for (std::size_t i = cBody; i < snapshot.size(); ++i)
    sum = (sum ^ static_cast<unsigned char>(snapshot[i])) * 0x100000001b3U;
  std::memcpy(snapshot.data() + 18, &bytes, sizeof bytes);
  std::memcpy(snapshot.data() + 26, &sum, sizeof sum);
}

/// What a reader of this file says, "" when it could be read.
std::string readingOf(const std::string& snapshot, SessionPicture* picture = nullptr) {
  const std::string path = testing::TempDir() + "a.lipc";
  std::ofstream(path, std::ios::binary) << snapshot;
  try {
    const auto source = inspect::openSnapshot(path);
    const SessionPicture read = inspect::readSession(
        *source, {.withRings = true, .withLevels = true, .withUsers = true, .withSettings = true});
    if (picture != nullptr) *picture = read;
    return "";
  } catch (const inspect::SnapshotError& error) {
    return error.what();
  }
}

std::string snapshotOf(std::chrono::milliseconds watched) {
  return *inspect::takeSnapshot(*inspect::openMachine(), watched, [](double) { return true; });
}

TEST(Snapshot, HoldsTheSessionAndIsRefusedWhenItIsNotWhatWasWritten) {
  const std::string empty = snapshotOf(0ms);
  TestHost host;
  TestClient client("a");
  client.configBeginEdit();
  client.configSetIOChannelCount(16, 2);
  client.configEditConnection(LIPC::ClientID("a"), LIPC::ClientID("b")).addWire(3, 4);
  client.configEndEdit();
  client.setString(7, "text");
  ASSERT_TRUE(client.join());
  ASSERT_TRUE(eventually(10s, [&] { return host->connections().size() == 1; }));
  const std::string whole = snapshotOf(300ms);

  SessionPicture picture;
  ASSERT_EQ(readingOf(whole, &picture), "");
  EXPECT_TRUE(picture.isBeating);
  ASSERT_EQ(picture.clients.size(), 1U);
  EXPECT_EQ(picture.clients[0].strings[7], "text");
  EXPECT_EQ(picture.clients[0].send->channels, 16U);
  EXPECT_EQ(picture.clients[0].send->peaks.size(), 16U);
  EXPECT_EQ(picture.clients[0].segments[2]->bytes, 4712U + 2 * 24576);
  ASSERT_TRUE(picture.connections) << picture.poolError;
  EXPECT_EQ(picture.connections->at(0).wires[0].channel[1], 4);
  ASSERT_EQ(readingOf(empty, &picture), "");
  EXPECT_EQ(picture.state, SessionPicture::eNone);

  const auto isRefused = [&](const std::string& bytes, const char* why) {
    const std::string said = readingOf(bytes);
    EXPECT_NE(said.find(why), std::string::npos) << said;
  };
  std::string other = whole;
  other[14] = 2;
  isRefused(other, "it has version 2, and this lipc reads 1");
  isRefused(whole.substr(0, 20), "cut short");
  isRefused(whole.substr(0, whole.size() - 1), "cut short");
  isRefused("no snapshot at all", "it is no snapshot");
  other = whole;
  other[whole.size() / 2] ^= 1;
  isRefused(other, "it was changed");
}

TEST(Snapshot, NoContentEndsItsReader) {
  TestHost host;
  TestClient client("a");
  ASSERT_TRUE(client.join());
  const std::string whole = snapshotOf(0ms);
  std::mt19937 random(7);
  int refused = 0;
  for (int attempt = 0; attempt < 60; ++attempt) {
    std::string changed = whole;
    const std::size_t from =
        cBody + (attempt % 2 == 0 ? random() % 2'000 : random() % (whole.size() - cBody - 64));
    for (std::size_t i = 0; i < 1 + random() % 64; ++i)
      changed[from + i] = static_cast<char>(attempt % 3 == 0 ? 0xFF : random());
    sign(changed);
    refused += readingOf(changed).empty() ? 0 : 1;
  }
  EXPECT_GT(refused, 0) << "lengths are among what was changed";
}

TEST(ChildRead, NeitherDeathNorSilenceOfTheChildIsItsReaders) {
  std::string why;
  EXPECT_EQ(inspect::readInChild([] { return std::string(1 << 20, 'x'); }, 5s, why)->size(),
            std::size_t{1} << 20U);
  EXPECT_FALSE(inspect::readInChild(
      []() -> std::string {
        raise(SIGKILL);
        return "";
      },
      5s, why));
  EXPECT_EQ(why, "the process that read it died of what it found");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(inspect::readInChild(
      []() -> std::string {
        pause();
        return "";
      },
      200ms, why));
  EXPECT_EQ(why, "the process that read it was not done within 200 ms");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  EXPECT_FALSE(
      inspect::readInChild([]() -> std::string { throw std::runtime_error("x"); }, 5s, why));
  EXPECT_EQ(why, "x");
}

}  // namespace
