// Garbage in the shared records while a host, clients with and without audio and readers work on
// them: nobody ends or hangs, and afterwards everybody is back.
//
// LIPC_GARBAGE_TRIES=N makes N tries of each test instead of a few; 90 take longer than ctest
// waits:
//
//   LIPC_GARBAGE_TRIES=90 tests/sandbox build/dev/tests/garbage_tests
#include <algorithm>
#include <cstring>

#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>
#include <gtest/gtest.h>

#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "tests/faults/Session.h"

namespace {

namespace bip = boost::interprocess;
using namespace faults;
using Random = std::mt19937;

constexpr std::size_t cFrontBytes = 4096;  // of a record: where small damage goes
constexpr int cTries = 8;

struct Record {
  std::string segment;
  std::size_t begin = 0;
  std::size_t end = SIZE_MAX;
};

constexpr std::size_t cRows = offsetof(LIPC::SessionBuffer, entries);
constexpr std::size_t cHeartbeat = offsetof(LIPC::SessionBuffer, heartbeat);
const std::vector<Record> cPool = {{LIPC::cConnectionPoolSegment}};
const std::vector<Record> cRecords = {{LIPC::cSessionSegment, 0, cRows},
                                      {LIPC::cSessionSegment, cRows, cHeartbeat},
                                      {LIPC::cSessionSegment, cHeartbeat},
                                      {LIPC::cVersionSegment},
                                      {"sounding"},
                                      {"sounding-send"},
                                      {"sounding-return"}};

enum Kind { eZeros, eOnes, eRandom, eWindow, eEndlessText, eWords, eShortWords, eWrongLinks };
constexpr const char* cKindNames[] = {"zeros", "ones",  "random",      "window",
                                      "text",  "words", "short words", "wrong links"};

void spoil(Kind kind, char* bytes, std::size_t size, Random& random) {
  const auto place = [&](std::size_t room) {
    return bytes + random() % ((std::min(size, cFrontBytes) - room) / 8 + 1) * 8;
  };
  const auto fill = [&](char* at, std::size_t count) {
    std::generate_n(at, count, [&] { return static_cast<char>(random()); });
  };
  const std::size_t room = std::min<std::size_t>(size, 300);
  if (kind <= eOnes) std::memset(bytes, kind == eZeros ? 0 : 0xFF, size);
  if (kind == eRandom) fill(bytes, size);
  if (kind == eWindow) fill(place(room), room);
  if (kind == eEndlessText) std::memset(place(room), 'x', room);
  for (int words = kind >= eWords ? 16 : 0; words > 0; --words) {
    char* const at = place(sizeof(std::int64_t));
    std::int64_t word;
    std::memcpy(&word, at, sizeof word);
    if (kind == eWords) word ^= static_cast<std::int64_t>(random());
    if (kind == eShortWords) word &= 0xFFFF;
    // A link is kept as the distance to what it leads to.
    if (kind == eWrongLinks)
      word = static_cast<std::int64_t>(random() % size / 8 * 8) - (at - bytes);
    std::memcpy(at, &word, sizeof word);
  }
}

/// False when the record is not there.
bool damage(const Record& record, Kind kind, Random& random) {
  if (record.segment == LIPC::cConnectionPoolSegment) {
    try {
      const bip::shared_memory_object pool(bip::open_only, record.segment.c_str(), bip::read_write);
      const bip::mapped_region region(pool, bip::read_write);
      spoil(kind, static_cast<char*>(region.get_address()), region.get_size(), random);
      return true;
    } catch (const bip::interprocess_exception&) {
      return false;
    }
  }
  const LIPC::ShmManagedOpen<char> segment(record.segment.c_str());
  const std::size_t end = std::min(record.end, segment.mappedBytes());
  if (end > record.begin) spoil(kind, segment.get() + record.begin, end - record.begin, random);
  return end > record.begin;
}

/// A session of its own with damage in one of its records. The session's table and version are
/// whole again with the next host.
std::map<std::string, std::string> suffer(const Record& record, Kind kind, bool isBusy,
                                          Random& random) {
  Session session;
  session.startHost();
  session.start("b", {LIPC_PARTICIPANT, "b", "in=1", "type=VMIX"}, "established");
  session.start("a", {LIPC_PARTICIPANT, "a", "out=1", "to=b"}, "established");
  session.start("sounding",
                {LIPC_PARTICIPANT, "sounding", "in=2", "out=2", "to=sounding", "audio=yes"},
                "established");
  for (const std::string visitor : {"first", "second", "third"}) {
    if (isBusy) session.start(visitor, {LIPC_PARTICIPANT, visitor, "to=a"}, "");
    if (!damage(record, kind, random) && visitor == "first") session.faults["not damaged"];
    session.read();
    if (isBusy) session[visitor].closeInput();
  }
  const bool isHosts =
      record.segment != LIPC::cConnectionPoolSegment && record.segment.rfind("LIPC_", 0) == 0;
  if (isHosts || !session["host"].isRunning()) {
    session.end("host");
    session.startHost();
  }
  session.waitFor({"a", "b", "sounding", "a>b"});
  session.end();
  session.faults.erase("left");
  return session.faults;
}

/// Makes the tries, each kind as often, prints them and returns how often each fault came.
std::map<std::string, int> sufferAll(const std::vector<Record>& records, int tries) {
  Random random = seededRandom();
  std::map<std::string, int> sums;
  std::map<std::pair<std::string, std::string>, int> table;
  for (int i = 0; i < tries; ++i) {
    const auto kind = static_cast<Kind>(i % static_cast<int>(std::size(cKindNames)));
    const Record& record = records[random() % records.size()];
    const bool isBusy = random() % 2 == 0;
    const std::string row = cKindNames[kind];
    ++table[{row, "tries"}];
    for (const auto& [fault, whose] : suffer(record, kind, isBusy, random)) {
      std::printf("%s in %s + %zu%s: %s%s\n", row.c_str(), record.segment.c_str(), record.begin,
                  isBusy ? ", beside joins" : "", fault.c_str(), whose.c_str());
      ++table[{row, fault}];
      ++sums[fault];
    }
  }
  for (const auto& [what, count] : table)
    std::printf("%-12s %-12s %4d\n", what.first.c_str(), what.second.c_str(), count);
  return sums;
}

TEST(Garbage, InTheRecordsEndsNobodyAndEverybodyIsBack) {
  EXPECT_TRUE(sufferAll(cRecords, numberFrom("LIPC_GARBAGE_TRIES", cTries)).empty());
}

TEST(Garbage, InThePoolEndsNoClientAndNoReaderAndHardlyAHost) {
  const int tries = numberFrom("LIPC_GARBAGE_TRIES", cTries);
  auto faults = sufferAll(cPool, tries);
  EXPECT_LE(faults["host ended"], (tries + 29) / 30);
  faults.erase("host ended");
  EXPECT_TRUE(faults.empty());
}

}  // namespace
