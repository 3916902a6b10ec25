// Garbage in the shared records while a host, clients with and without audio and readers work on
// them: nobody ends or hangs, and afterwards everybody is back.
//
// LIPC_GARBAGE_TRIES=N makes N tries of each test instead of a few.
#include <algorithm>
#include <csignal>
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
using LIPC::SessionBuffer;
using Random = std::mt19937;

struct Record {
  const char* segment;
  std::size_t begin = 0;
  std::size_t end = SIZE_MAX;
  bool isHosts = false;  // whole again with the next host
};

constexpr std::size_t cRows = offsetof(SessionBuffer, entries);
constexpr std::size_t cHeartbeat = offsetof(SessionBuffer, heartbeat);
const std::vector<Record> cPool = {{LIPC::cConnectionPoolSegment}};
const std::vector<Record> cRecords = {
    {LIPC::cSessionSegment, 0, cRows, true},
    {LIPC::cSessionSegment, cRows, cHeartbeat, true},
    {LIPC::cSessionSegment, cHeartbeat, SIZE_MAX, true},
    {LIPC::cVersionSegment, 0, SIZE_MAX, true},
    {"ramp"},
    {"ramp-send"},
    {"ramp-return"},
};

/// A place for `room` bytes near the front, where what is in use lies.
char* somewhere(char* bytes, std::size_t size, std::size_t room, Random& random) {
  const std::size_t places = (std::min<std::size_t>(size, 16'384) - room) / 8 + 1;
  return bytes + random() % places * 8;
}

/// Changes some of the words of the type at random places.
template <class Word, class Change>
void changeWords(char* bytes, std::size_t size, Random& random, Change change) {
  for (int i = 0; i < 16; ++i) {
    char* const place = somewhere(bytes, size, sizeof(Word), random);
    Word word;
    std::memcpy(&word, place, sizeof word);
    word = change(word, static_cast<Word>(place - bytes));
    std::memcpy(place, &word, sizeof word);
  }
}

struct Kind {
  const char* name;
  void (*write)(char* bytes, std::size_t size, Random& random);
};

const Kind cKinds[] = {
    {"zeros", [](char* bytes, std::size_t size, Random&) { std::memset(bytes, 0, size); }},
    {"ones", [](char* bytes, std::size_t size, Random&) { std::memset(bytes, 0xFF, size); }},
    {"random",
     [](char* bytes, std::size_t size, Random& random) {
       std::generate(bytes, bytes + size, [&] { return static_cast<char>(random()); });
     }},
    {"random window",
     [](char* bytes, std::size_t size, Random& random) {
       const std::size_t room = std::min<std::size_t>(size, 64);
       char* const place = somewhere(bytes, size, room, random);
       std::generate(place, place + room, [&] { return static_cast<char>(random()); });
     }},
    {"words",
     [](char* bytes, std::size_t size, Random& random) {
       changeWords<std::uint32_t>(bytes, size, random, [&](auto, auto) { return random(); });
     }},
    {"short words",
     [](char* bytes, std::size_t size, Random& random) {
       changeWords<std::uint64_t>(bytes, size, random,
                                  [](auto word, auto) { return word & 0xFFFF; });
     }},
    {"wrong links",
     [](char* bytes, std::size_t size, Random& random) {
       // Links are kept as the distance to what they lead to.
       changeWords<std::int64_t>(bytes, size, random, [&](auto, auto place) {
         return static_cast<std::int64_t>(random() % size / 8 * 8) - place;
       });
     }},
    {"text without end",
     [](char* bytes, std::size_t size, Random& random) {
       const std::size_t room = std::min<std::size_t>(size, 300);
       std::memset(somewhere(bytes, size, room, random), 'x', room);
     }},
};

/// False when the record is not there.
bool damage(const Record& record, const Kind& kind, Random& random) {
  if (record.segment == std::string(LIPC::cConnectionPoolSegment)) {
    try {
      const bip::shared_memory_object pool(bip::open_only, record.segment, bip::read_write);
      const bip::mapped_region region(pool, bip::read_write);
      kind.write(static_cast<char*>(region.get_address()), region.get_size(), random);
      return true;
    } catch (const bip::interprocess_exception&) {
      return false;  // it is being made anew
    }
  }
  const LIPC::ShmManagedOpen<char> segment(record.segment);
  const std::size_t end = std::min(record.end, segment.mappedBytes());
  if (end <= record.begin) return false;
  kind.write(segment.get() + record.begin, end - record.begin, random);
  return true;
}

/// One session with damage in one of its records, and what went wrong for whom.
std::map<std::string, std::string> suffer(const Record& record, const Kind& kind, bool isBusy,
                                          Random& random) {
  Session session;
  session.start("host", {LIPC_COMMAND, "host"}, "Clients");
  session.start("b", {LIPC_PARTICIPANT, "b", "in=1", "type=VMIX"}, "established");
  session.start("a", {LIPC_PARTICIPANT, "a", "out=1", "to=b"}, "established");
  session.start("ramp", {LIPC_RAMP, "ramp", "2", "256"}, "joined").send("clock 300");
  for (int time = 0; time < 3; ++time) {
    const std::string visitor = "visitor" + std::to_string(time);
    if (isBusy) session.start(visitor, {LIPC_PARTICIPANT, visitor, "to=a"});
    if (!damage(record, kind, random) && time == 0) session.faults["not damaged"];
    session.read();
    if (isBusy) session[visitor].closeInput();
  }
  if (!session["ramp"].waitForLine("clock", 15s)) session.faults["client hangs"] += " ramp";
  if (record.isHosts || !session["host"].isRunning()) {
    session.end("host");
    session.start("host", {LIPC_COMMAND, "host"}, "Clients");
  }
  session.waitFor({"a", "b", "ramp", "a>b"});
  session.end();
  session.faults.erase("left");
  return session.faults;
}

/// Makes the tries, each kind as often, prints a table of their faults and returns the sums.
std::map<std::string, int> sufferAll(const std::vector<Record>& records, int tries) {
  constexpr const char* faults[] = {"host ended",   "host hangs",   "client ended", "client hangs",
                                    "reader ended", "reader hangs", "not back",     "not started"};
  Random random = seededRandom();
  std::map<std::string, std::map<std::string, int>> table;
  for (int i = 0; i < tries; ++i) {
    const Kind& kind = cKinds[static_cast<std::size_t>(i) % std::size(cKinds)];
    const Record& record = records[random() % records.size()];
    const bool isBusy = random() % 2 == 0;
    ++table[kind.name]["tries"];
    for (const auto& [fault, whose] : suffer(record, kind, isBusy, random)) {
      std::printf("%s in %s + %zu%s: %s%s\n", kind.name, record.segment, record.begin,
                  isBusy ? ", beside joins" : "", fault.c_str(), whose.c_str());
      ++table[kind.name][fault];
      ++table["all"][fault];
    }
  }
  const auto sums = table["all"];
  for (auto& [kind, row] : table) {
    std::printf("%-16s tries %3d", kind.c_str(), kind == "all" ? tries : row["tries"]);
    for (const char* fault : faults)
      std::printf("  %s %d", fault, row[fault]);
    std::printf("\n");
  }
  return sums;
}

constexpr int cTries = 8;

TEST(Garbage, InTheRecordsEndsNobodyAndEverybodyIsBack) {
  const auto faults = sufferAll(cRecords, numberFrom("LIPC_GARBAGE_TRIES", cTries));
  EXPECT_TRUE(faults.empty());
}

TEST(Garbage, InThePoolEndsNoClientAndNoReaderAndHardlyAHost) {
  const int tries = numberFrom("LIPC_GARBAGE_TRIES", cTries);
  auto faults = sufferAll(cPool, tries);
  EXPECT_LE(faults["host ended"], (tries + 29) / 30);
  faults.erase("host ended");
  EXPECT_TRUE(faults.empty());
}

}  // namespace
