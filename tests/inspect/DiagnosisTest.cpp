// SPDX-License-Identifier: BSL-1.0

// The findings by made-up facts.
#include <map>

#include <gtest/gtest.h>

#include "inspect/Diagnosis.h"
#include "lipc/realtime/Semaphore.h"

namespace {

using namespace inspect;

LimitFacts stockMac() {
  LimitFacts limits;
  limits.largestSegmentBytes = 4194304;
  limits.allPages = 1024;
  limits.segments = 32;
  limits.segmentsPerProcess = 8;
  limits.pageBytes = 4096;
  return limits;
}

TEST(Diagnosis, ASessionsNeedsAreCountedAgainstTheSystemsLimits) {
  EXPECT_EQ(pagesOf(3458224, 4096), 845U);
  EXPECT_EQ(sessionPages(4096), 848U);
  EXPECT_EQ(clientPages(0, 4096), 5U);
  EXPECT_EQ(clientPages(2, 4096), 29U);
  EXPECT_EQ(clientPages(16, 4096), 197U);

  LimitFacts limits = stockMac();
  const auto expect = [&](unsigned channels, std::uint64_t clients, const std::string& bound) {
    const ClientRoom room = roomFor(limits, channels);
    EXPECT_EQ(room.clients, clients) << channels;
    EXPECT_EQ(room.bound, bound) << channels;
  };
  expect(2, 1, "segments of a process");
  limits.segmentsPerProcess.reset();
  expect(2, 6, "pages");
  expect(16, 0, "pages");
  limits.allPages = 848 + 197;
  expect(16, 1, "pages");
  limits.allPages.reset();
  expect(16, 9, "segments");
  limits.segments.reset();
  expect(16, 1024, "rows");
  limits.largestSegmentBytes = 3458223;
  expect(2, 0, "bytes of a segment");
  EXPECT_FALSE(roomFor(limits, 2).isSessionPossible);
}

/// The severities of the findings that are not fine, by key.
std::map<std::string, eSeverity> found(const Exam& exam) {
  std::map<std::string, eSeverity> keys;
  for (const Finding& finding : diagnose(exam)) {
    EXPECT_FALSE(finding.title.empty()) << finding.key;
    if (finding.severity != eSeverity::eFine) keys[finding.key] = finding.severity;
  }
  return keys;
}

using Keys = std::map<std::string, eSeverity>;
constexpr eSeverity cWrong = eSeverity::eWrong, cNotice = eSeverity::eNotice;

TEST(Diagnosis, AMachineIsFoundAsItIs) {
  Exam exam;
  exam.watched.emplace();
  EXPECT_EQ(found(exam), Keys());

  exam.machine.system = "Darwin 23.0";
  exam.machine.limits = stockMac();
  exam.machine.time = 1000;
  exam.machine.userID = 501;
  EXPECT_EQ(found(exam), (Keys{{"limits", cNotice}}));
  const Finding limits = diagnose(exam)[0];
  EXPECT_EQ(limits.todo[0],
            "sudo sysctl kern.sysv.shmmax=4194304 kern.sysv.shmall=4096 kern.sysv.shmseg=64 "
            "kern.sysv.shmmni=64 kern.sysv.shmmin=1");
  exam.machine.limits = {};
  exam.machine.limits.segments = 100;
  exam.machine.limits.segmentsInUse = 94;
  EXPECT_EQ(found(exam), (Keys{{"limits-used-up", cWrong}}));
  exam.machine.limits = {};

  exam.machine.keyFiles = {{"a", 7, 501, 0644, 900}, {"b", 7, 501, 0644, 2000}};
  exam.machine.folders = {{"/tmp", 0, false, 1 << 20, 1 << 20}, {"/dev/shm", 0, true, 4096, 0}};
  exam.machine.settings.numbers = {"/s.xml", SettingsFileFacts::eMalformed, 0, 502, {}};
  exam.machine.settings.texts = {"/t.xml", SettingsFileFacts::eMissing, 0, 0, {}};
  exam.machine.poolFile = {true, 0, 1, 501, 0644};
  exam.leftovers = {{Leftover::eSegment, "x", "x", 3, 501, true, "nobody has it attached"},
                    {Leftover::eSemaphore, "y", "x", -1, 501, true, "it is of the ID x"}};
  EXPECT_EQ(found(exam), (Keys{{"key-shared", cNotice},
                               {"clock-behind", cWrong},
                               {"folder-not-writable", cWrong},
                               {"folder-full", cWrong},
                               {"settings-malformed", cWrong},
                               {"settings-missing", cNotice},
                               {"session-parts", cWrong},
                               {"leftover-segments", cWrong},
                               {"leftover-semaphores", cNotice}}));
}

TEST(Diagnosis, ASessionIsFoundAsItIs) {
  const auto segment = [](const char* name, std::uint64_t bytes) {
    SegmentFacts facts;
    facts.name = name;
    facts.bytes = bytes;
    facts.attachCount = 1;
    facts.owner = 501;
    facts.permissions = 0666;
    facts.creator = {17, true, false, "host"};
    return facts;
  };
  Exam exam;
  exam.machine.userID = 501;
  SessionPicture& session = exam.session;
  session.state = SessionPicture::eRead;
  session.protocolVersion = 5;
  session.table = segment("LIPC_SESSION", 3458224);
  session.connections.emplace();
  for (std::string* name : {&session.registrationSemaphore, &session.registrationEndedSemaphore,
                            &session.newAudioDataSemaphore, &session.registrationLock})
    *name = "00000000name";
  exam.watched = {5300, true, 53, 53, 0, 1, false, {{"a", true, false, 100, 10}}, {}};
  ClientPicture& client = session.clients.emplace_back();
  client.id = "a";
  client.segments = {segment("a", 1248), segment("a-send", 4712), segment("a-return", 4712)};
  client.buffer = {"a", 0, 0, "", 1, 0, "00000000must", "00000000keep"};
  client.send.emplace();
  EXPECT_EQ(found(exam), Keys());

  client.inputChannels = 2;
  client.outputChannels = 2;
  client.segments[2].reset();
  client.buffer->blocksWaiting = 63;
  client.buffer->ageSeconds = -3600;
  session.poolError = "why";
  session.connections.reset();
  session.isPoolDamaged = true;
  exam.watched->beats = 0;
  exam.watched->isLockStuck = true;
  exam.watched->lockCount = 0;
  exam.machine.keyFiles = {{"a", 7, 501, 0644, 0}, {"LIPC_SESSION", 7, 502, 0644, 0}};
  session.table->creator.isStopped = true;
  client.segments[1]->permissions = 0600;
  client.segments[1]->owner = 502;
  EXPECT_EQ(found(exam), (Keys{{"ring-too-small", cWrong},
                               {"segment-missing", cWrong},
                               {"queue-full", cWrong},
                               {"clock-behind", cWrong},
                               {"pool-damaged", cWrong},
                               {"lock-stuck", cWrong},
                               {"host-held", cWrong},
                               {"key-shared", cWrong},
                               {"access-denied", cWrong},
                               {"owner-foreign", cNotice}}));

  session.state = SessionPicture::eForeign;
  exam.watched.reset();
  session.clients.clear();
  exam.machine = {};
  EXPECT_EQ(found(exam), (Keys{{"session-foreign", cWrong}, {"not-watched", cNotice}}));
}

TEST(Diagnosis, WhoWasTakenOutWhileItWasWatchedDiedOrStoodStillUnlessItLeftOrIsBack) {
  Exam exam;
  exam.session.state = SessionPicture::eRead;
  exam.session.connections.emplace();
  exam.watched.emplace();
  exam.watched->gone = {{"stopped", true, false, 2500, 1, {17, true, true, "tone"}},
                        {"hung", true, false, 4100, 1, {18, true, false, "hung"}},
                        {"dead", true, false, 3990, 1, {19, false, false, ""}},
                        {"left", true, false, 2400, 9, {20, true, false, "left"}},
                        {"back", true, false, 4000, 1, {21, true, false, "back"}}};
  exam.watched->clients = {{"back", true, false, 100, 3, {}}};
  std::string all;
  for (const Finding& finding : diagnose(exam))
    if (finding.key.starts_with("client-"))
      all += finding.key + (finding.severity == cWrong ? " ! " : " ") + finding.title + " " +
             finding.evidence[1] + "; " + finding.todo[0] + "\n";
  EXPECT_EQ(
      all,
      "client-stood-still ! The client \"stopped\" stood still, and its host took it out. its "
      "segments were made by process 17 (tone), which is stopped; kill -CONT 17\n"
      "client-stood-still ! The client \"hung\" stood still, and its host took it out. its "
      "segments were made by process 18 (hung); Look at what the process does; once its client "
      "goes on, it joins again.\n"
      "client-died The client \"dead\" died, and its host took it out. its segments were made "
      "by process 19 (gone); Nothing is left to do for the session. Why it ended, its own "
      "messages and the system's log may say.\n");
}

/// Two IDs of which the system keeps one semaphore: equal within characters 8 to 28, and what
/// differs before adds up to the same.
TEST(Diagnosis, TwoIDsOfOneSemaphoreAreFound) {
  Exam exam;
  exam.watched.emplace();
  exam.machine.keyFiles = {{"abcd1234-a-client-of-some-length", 1, 0, 0, 0},
                           {"1234abcd-a-client-of-some-length", 2, 0, 0, 0}};
  EXPECT_EQ(found(exam), (Keys{{"semaphore-shared", cNotice}}));
  for (int index : {0, 1})
    exam.session.clients.emplace_back().id =
        exam.machine.keyFiles[static_cast<std::size_t>(index)].name;
  EXPECT_EQ(found(exam), (Keys{{"semaphore-shared", cWrong}}));
}

}  // namespace
