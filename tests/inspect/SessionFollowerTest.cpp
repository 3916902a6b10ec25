// SPDX-License-Identifier: BSL-1.0

// What a follower tells of a session in this test's memory, by a clock that the test sets.
#include "inspect/SessionFollower.h"
#include "inspect/Source.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/util/FixedText.h"
#include "tests/support/Testing.h"

namespace {

using LIPC::ClientBuffer;
using LIPC::SessionBuffer;
using namespace std::chrono_literals;

/// Clients "a" and "b", whose buffers are attached; no pool.
class MemorySource final : public inspect::Source {
 public:
  MemorySource() {
    for (const char* id : {"a", "b"})
      add(id);
  }

  bool isLive() const override { return true; }
  std::int64_t time() override { return 1'700'000'000; }  // 2023-11-14 22:13:20 UTC
  std::optional<inspect::SegmentFacts> find(const std::string& name, bool) override {
    if (!attach(name)) return std::nullopt;
    inspect::SegmentFacts facts;
    facts.attachCount = deserted.count(name) == 0 ? 1 : 0;
    return facts;
  }
  inspect::Mapping attach(const std::string& name) override {
    if (name == LIPC::cSessionSegment && isThere) return mapping(*table);
    if (name == LIPC::cVersionSegment) return mapping(version);
    const auto buffer = buffers.find(name);
    return buffer != buffers.end() ? mapping(*buffer->second) : inspect::Mapping();
  }
  inspect::PoolBytes pool() override { return {}; }
  inspect::MachineFacts machine() override { return {}; }
  inspect::SettingsFacts settings() override { return {}; }
  inspect::Watched watch(std::chrono::milliseconds, const std::function<bool(double)>&) override {
    return {};
  }

  void add(const std::string& id) {
    auto* row = table->getEmptyEntry();
    row->id.setTo(id.c_str());
    buffers[id] = std::make_unique<ClientBuffer>(id.c_str());
    stamp(id, "20231114T221320");
  }
  void stamp(const std::string& id, const std::string& text) {
    LIPC::setFixedText(buffers[id]->keepAliveTimestamp, text);
  }
  void freeRow(const std::string& id) { table->getClientEntry(id.c_str())->id.setTo(""); }

  bool isThere = true;
  LIPC::VersionRecord version{LIPC::cProtocolVersion, LIPC::cPointerWidthBits};
  std::unique_ptr<SessionBuffer> table = std::make_unique<SessionBuffer>("SessionFollowerTest");
  std::map<std::string, std::unique_ptr<ClientBuffer>> buffers;
  std::set<std::string> deserted;

 private:
  template <class T>
  static inspect::Mapping mapping(const T& record) {
    return {std::shared_ptr<const char>(std::shared_ptr<void>(),
                                        reinterpret_cast<const char*>(&record)),
            sizeof record};
  }
};

struct SessionFollower : testing::Test {
  SessionFollower() { EXPECT_EQ(look(0ms), "there; present a; present b; no pool; "); }

  /// What is told of the looks until then, every tenth of a second as a command does. Meanwhile the
  /// host beats, and those that live refresh their stamps.
  std::string look(std::chrono::milliseconds duration) {
    std::string told;
    for (const auto end = now + duration;; now += 100ms) {
      source.table->heartbeat += isBeating ? 1 : 0;
      for (const std::string& id : living)
        source.stamp(id, "20231114T2213" + std::to_string(++seconds % 40 + 20));
      for (const inspect::Event& event : follower.look(source, now))
        told += words(event) + "; ";
      if (now >= end) break;
    }
    now += 100ms;
    return told;
  }
  static std::string words(const inspect::Event& event) {
    using Kind = inspect::Event::eKind;
    const std::string text = event.textAfter.empty() ? "" : ": " + event.textAfter;
    switch (event.kind) {
      case Kind::ePresent:
        return "present " + event.id;
      case Kind::eJoined:
        return "joined " + event.id;
      case Kind::eLeft:
        return "left " + event.id + text;
      case Kind::eLost:
        return "lost " + event.id + text;
      case Kind::eStampBack:
        return "back " + event.id;
      case Kind::eSessionThere:
        return "there";
      case Kind::eSessionGone:
        return "gone" + text;
      case Kind::eHeartbeatLost:
        return "no heartbeat";
      case Kind::eHeartbeatBack:
        return "heartbeat";
      case Kind::eHostChanged:
        return "another host";
      case Kind::ePoolUnreadable:
        return "no pool";
      default:
        return "something else";
    }
  }

  MemorySource source;
  inspect::SessionFollower follower;
  inspect::SessionFollower::SteadyTime now{1h};
  bool isBeating = true;
  std::set<std::string> living{"a"};
  int seconds = 0;
};

TEST_F(SessionFollower, ARowThatGoesWhileItsStampStandsStillWasTakenButNotByANewHost) {
  living = {"a", "b"};
  EXPECT_EQ(look(5s), "");
  source.freeRow("b");
  EXPECT_EQ(look(0s), "left b; ");
  source.add("b");
  EXPECT_EQ(look(300ms), "joined b; ");
  living = {"a"};
  EXPECT_EQ(look(3600ms), "");
  source.freeRow("b");
  EXPECT_EQ(look(0s), "lost b; ");

  source.add("b");
  EXPECT_EQ(look(3800ms), "joined b; ");
  source.table->heartbeat = 0;
  source.freeRow("a");
  source.freeRow("b");
  const std::string why = ": it has no row with the new host yet; ";
  EXPECT_EQ(look(0s), "another host; left a" + why + "left b" + why);
}

TEST_F(SessionFollower, WhoStoodStillBeforeTheFirstLookOrWhomNobodyHasIsLostSooner) {
  source.stamp("b", "20231114T221310");  // ten seconds ago
  source.add("set");                     // its clock was set: the next stamp makes it good
  source.stamp("set", "20231114T221310");
  source.add("ahead");
  source.stamp("ahead", "20231114T231320");
  source.add("deserted");
  inspect::SessionFollower another;
  another.look(source, now);
  source.stamp("set", "20231114T221311");
  const auto lookOn = [&](std::chrono::milliseconds after) {
    std::string told;
    for (const inspect::Event& event : another.look(source, now + after))
      if (event.kind != inspect::Event::eKind::ePoolUnreadable) told += words(event) + "; ";
    return told;
  };
  EXPECT_EQ(lookOn(600ms), "");
  for (const char* id : {"b", "set", "ahead"})
    source.freeRow(id);
  EXPECT_EQ(lookOn(700ms), "lost b; left set; left ahead; ");
  source.deserted = {"deserted"};
  EXPECT_EQ(lookOn(1700ms), "");
  source.freeRow("deserted");
  EXPECT_EQ(lookOn(1800ms), "lost deserted; ");
}

TEST_F(SessionFollower, AStampThatStandsStillIsToldAfterFourSecondsOfWatchingAndOnceOnly) {
  EXPECT_EQ(look(3800ms), "");
  EXPECT_EQ(look(500ms), "lost b: its stamp has stood still for 4 seconds; ");
  EXPECT_EQ(look(5s), "");
  living = {"a", "b"};
  EXPECT_EQ(look(1s), "back b; ");
  living.clear();
  EXPECT_EQ(look(900ms), "");
  now += 1h;  // the machine slept
  EXPECT_EQ(look(1900ms), "");
  EXPECT_EQ(look(1500ms),
            "lost a: its stamp has stood still for 4 seconds; "
            "lost b: its stamp has stood still for 4 seconds; ");
  source.freeRow("b");
  EXPECT_EQ(look(0s), "left b: its row was freed; ");
  source.buffers.erase("a");
  EXPECT_EQ(look(3s), "") << "without a buffer it is no less lost";
  source.add("c");
  source.buffers.erase("c");
  EXPECT_EQ(look(3s), "joined c; lost c: it has had no client buffer for 2 seconds; ");
}

TEST_F(SessionFollower, AHeartbeatAndASessionAreLostAndFoundAndSomethingElseUnderItsNameIsSaid) {
  isBeating = false;
  living = {"a", "b"};
  EXPECT_EQ(look(1800ms), "");
  EXPECT_EQ(look(1s), "no heartbeat; ");
  isBeating = true;
  EXPECT_EQ(look(1s), "heartbeat; ");
  source.version.protocolVersion = 6;
  EXPECT_EQ(look(1s), "gone: one of another protocol version or pointer width has its name; ");
  source.version.protocolVersion = 5;
  EXPECT_EQ(look(0s), "there; present a; present b; no pool; ") << "as if it was never seen";
  source.isThere = false;
  EXPECT_EQ(look(1s), "gone; ");
  source.isThere = true;
  look(0s);
  for (LIPC::ClientEntry& row : source.table->entries)
    row.id.setTo("x");
  EXPECT_EQ(look(1s), "gone: its table was written over; ");
}

TEST_F(SessionFollower, ARowFarBehindTheOthersIsFoundWithinASecondsLooks) {
  living = {"a", "b"};
  source.table->entries[900].id.setTo("far");
  EXPECT_EQ(look(1300ms), "joined far; ");
  source.table->entries[900].id.setTo("");
  EXPECT_EQ(look(0s), "left far; ");
}

}  // namespace
