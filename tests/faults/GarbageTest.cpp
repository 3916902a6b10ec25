// SPDX-License-Identifier: BSL-1.0

// Garbage in the shared records while a host, clients with and without audio and readers work on
// them: nobody ends or hangs, and afterwards everybody is back.
//
// LIPC_GARBAGE_TRIES=N makes N tries of each test instead of a few; 90 take longer than ctest
// waits:
//
//   LIPC_GARBAGE_TRIES=90 tests/sandbox build/dev/tests/garbage_tests
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>

#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "tests/faults/Session.h"

namespace {

namespace bip = boost::interprocess;
using namespace faults;
using Random = std::mt19937;

constexpr std::size_t cFrontBytes = 4096;  // of a record: where small damage goes

/// A segment's bytes from there on.
struct Record {
  std::string segment;
  std::size_t begin = 0;
};

const std::vector<Record> cPool = {{LIPC::cConnectionPoolSegment}};
const std::vector<Record> cRecords = {
    {LIPC::cSessionSegment},
    {LIPC::cSessionSegment, offsetof(LIPC::SessionBuffer, entries)},
    {LIPC::cSessionSegment, offsetof(LIPC::SessionBuffer, heartbeat)},
    {LIPC::cVersionSegment},
    {"sounding"},
    {"sounding-send"},
    {"sounding-return"}};

enum Kind { eZeros, eRandom, eWindow, eWords, eWrongLinks, eKinds };
constexpr const char* cKindNames[] = {"zeros", "random", "window", "words", "wrong links"};

void spoil(Kind kind, char* bytes, std::size_t size, Random& random) {
  const auto place = [&](std::size_t room) {
    return bytes + random() % ((std::min(size, cFrontBytes) - room) / 8 + 1) * 8;
  };
  const std::size_t room = kind == eWindow ? std::min<std::size_t>(size, 300) : size;
  if (kind == eZeros) std::memset(bytes, 0, size);
  if (kind == eRandom || kind == eWindow)
    std::generate_n(kind == eRandom ? bytes : place(room), room, [&] { return random() & 0xFF; });
  for (int words = kind >= eWords ? 16 : 0; words > 0; --words) {
    char* const at = place(sizeof(std::int64_t));
    std::int64_t word;
    std::memcpy(&word, at, sizeof word);
    // A link is kept as the distance to what it leads to.
    word = kind == eWords ? word ^ static_cast<std::int64_t>(random())
                          : static_cast<std::int64_t>(random() % size / 8 * 8) - (at - bytes);
    std::memcpy(at, &word, sizeof word);
  }
}

/// False when the record is not there.
bool damage(const Record& record, Kind kind, Random& random) {
  if (record.segment != LIPC::cConnectionPoolSegment) {
    const LIPC::ShmManagedOpen<char> segment(record.segment.c_str());
    if (segment.mappedBytes() <= record.begin) return false;
    spoil(kind, segment.get() + record.begin, segment.mappedBytes() - record.begin, random);
    return true;
  }
  try {
    const bip::shared_memory_object pool(bip::open_only, record.segment.c_str(), bip::read_write);
    const bip::mapped_region region(pool, bip::read_write);
    spoil(kind, static_cast<char*>(region.get_address()), region.get_size(), random);
    return true;
  } catch (const bip::interprocess_exception&) {
    return false;
  }
}

/// A session of its own with damage in one of its records. The session's table and version are
/// whole again with the next host.
std::map<std::string, std::string> suffer(const Record& record, Kind kind, Random& random) {
  Session session;
  Process& host = session.startHost();
  session.start("b", {LIPC_PARTICIPANT, "b"}, "established");
  session.start("a", {LIPC_PARTICIPANT, "a", "b"}, "established");
  session.start("sounding", {LIPC_PARTICIPANT, "sounding", "sounding"}, "established");
  for (int time = 0; time < 3; ++time) {
    if (time == 1) session.start("visitor", {LIPC_PARTICIPANT, "visitor", "a"}, "");
    if (!damage(record, kind, random) && time == 0) session.faults["not damaged"];
    session.read();
  }
  const bool isHosts =
      record.segment == LIPC::cSessionSegment || record.segment == LIPC::cVersionSegment;
  if (isHosts || !host.isRunning()) {
    session.end("host");
    session.startHost();
  }
  session.waitFor(
      {R"("id":"a")", R"("id":"b")", R"("id":"sounding")", R"("source":"a","target":"b")"});
  session.end();
  session.faults.erase("left");
  return session.faults;
}

/// Makes the tries, each kind as often, prints them and returns how often each fault came.
std::map<std::string, int> sufferAll(const std::vector<Record>& records, int tries) {
  Random random = seededRandom();
  std::map<std::string, int> sums, table;
  for (int i = 0; i < tries; ++i) {
    const auto kind = static_cast<Kind>(i % eKinds);
    const Record& record = records[random() % records.size()];
    const std::string row = std::string(cKindNames[kind]) + ", ";
    ++table[row + "tries"];
    for (const auto& [fault, whose] : suffer(record, kind, random)) {
      std::printf("%s%s + %zu: %s%s\n", row.c_str(), record.segment.c_str(), record.begin,
                  fault.c_str(), whose.c_str());
      ++table[row + fault];
      ++sums[fault];
    }
  }
  for (const auto& [what, count] : table)
    std::printf("%-28s %4d\n", what.c_str(), count);
  return sums;
}

TEST(Garbage, InTheRecordsEndsNobodyAndEverybodyIsBack) {
  EXPECT_TRUE(sufferAll(cRecords, numberFrom("LIPC_GARBAGE_TRIES", 5)).empty());
}

TEST(Garbage, InThePoolEndsNoClientAndNoReaderAndHardlyAHost) {
  const int tries = numberFrom("LIPC_GARBAGE_TRIES", 8);
  auto faults = sufferAll(cPool, tries);
  EXPECT_LE(faults["host ended"], (tries + 29) / 30);
  faults.erase("host ended");
  EXPECT_TRUE(faults.empty());
}

}  // namespace
