// docs/contract.md says what the structs say: each row of its record tables is compared with the
// field that it names; each field, each byte and each shared name and number must be in it.
#include <cstddef>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <utility>

#include <boost/preprocessor/seq/for_each.hpp>
#include <boost/preprocessor/stringize.hpp>
#include <boost/preprocessor/variadic/to_seq.hpp>
#include <gtest/gtest.h>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/Connection.h"
#include "lipc/session/SessionBuffer.h"

namespace {

using namespace LIPC;

using Extent = std::pair<std::size_t, std::size_t>;  // offset, size

struct Record {
  std::size_t size = 0;
  std::size_t alignment = 0;
  std::map<std::string, Extent> fields;
};
using Records = std::map<std::string, Record>;

// clang-format off
#define EACH(macro, T, ...) BOOST_PP_SEQ_FOR_EACH(macro, T, BOOST_PP_VARIADIC_TO_SEQ(__VA_ARGS__))
#define FIELD(r, T, name) {BOOST_PP_STRINGIZE(name), {offsetof(T, name), sizeof(T::name)}},
#define NUMBER(r, T, name) {BOOST_PP_STRINGIZE(name), static_cast<long>(T::name)},
#define RECORD(T, ...) {#T, {sizeof(T), alignof(T), {EACH(FIELD, T, __VA_ARGS__)}}}
#define NUMBERS(T, ...) EACH(NUMBER, T, __VA_ARGS__)

const Records cRecords = {
  RECORD(VersionRecord, protocolVersion, pointerWidthBits),
  RECORD(ClientID, id, terminator),
  RECORD(Semaphore, posixName, name, initialCount),
  RECORD(SHMString, reserved, buffers, index, padding),
  RECORD(ClientEntry, id, padding, type, name, mode, inputChannelCount, outputChannelCount,
         offlineParameters, strings),
  RECORD(SessionBuffer, sessionID, registrationRequest, padding0, registrationSemaphore,
         registrationEndedSemaphore, newAudioDataSemaphore, reserved, clientsCanRegisterMutex,
         padding1, entries, heartbeat, referenceClientID),
  RECORD(ValueQueue, queueRead, queueWrite, queue),
  RECORD(ClientBuffer, id, padding0, type, mode, reserved, mustDisconnectSemaphore, newDataQueue,
         keepAliveTimestamp, keepAliveMutex, padding1),
  RECORD(Connection::Wire, channel),
  RECORD(Connection, source, target, owner, isAuto, wires, disconnectRequested, reserved, padding),
  RECORD(SHMChannel, samples),
  RECORD(SHMSliceBuffer, clientType, clientID, terminator, padding0, timeStamp, channelCount,
         padding1, sampleCount, ready, padding2, parameters, samplesOffset),
  RECORD(SHMSlices, currentSlice, reserved, padding, slices),
};

const std::map<std::string, long> cNumbers = {
  NUMBERS(LIPC, cProtocolVersion, cPointerWidthBits, cMaxClients, cOfflineParameterCount,
          cStringSlotCount, eClientModeInputs, eClientModeOutputs, eClientModeNoAudio,
          eClientModeExclusive)
  NUMBERS(SessionBuffer, cJoinRequest, cLeaveRequest) NUMBERS(ValueQueue, cSlotCount)
  NUMBERS(Connection, cWireCount) NUMBERS(SHMChannel, cSampleCount)
  NUMBERS(SHMSlices, cSliceCount) NUMBERS(SHMSliceBuffer, cParameterCount)
};
// clang-format on

std::string document() {
  std::ifstream file(CONTRACT_DOCUMENT);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The document's record tables. A table row in a record's section that names no field fails.
Records documentedRecords() {
  const std::regex heading("### (\\S+): (\\d+) bytes");
  const std::regex row("\\| (\\d+) \\| (\\d+) \\| `(\\w+)` \\|.*\\|");
  const std::regex tableHead("\\| Offset \\| Size \\| Field \\|.*|[-|]+");
  Records records;
  Record* record = nullptr;
  std::istringstream lines(document());
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, 1, "#") == 0) {
      record = std::regex_match(line, match, heading) ? &records[match[1]] : nullptr;
      if (record != nullptr) record->size = std::stoul(match[2]);
    } else if (record == nullptr || line.compare(0, 1, "|") != 0) {
      continue;
    } else if (std::regex_match(line, match, row)) {
      const Extent extent(std::stoul(match[1]), std::stoul(match[2]));
      EXPECT_TRUE(record->fields.emplace(match[3], extent).second) << "a second time: " << line;
    } else {
      EXPECT_TRUE(std::regex_match(line, tableHead)) << "names no field: " << line;
    }
  }
  return records;
}

TEST(Contract, EveryRowIsAFieldAndEveryFieldHasARow) {
  Records tables = documentedRecords();
  for (const auto& [name, record] : cRecords) {
    const Record table = std::exchange(tables[name], {});
    EXPECT_EQ(table.size, record.size) << name;
    for (const auto& [field, extent] : table.fields) {
      const auto real = record.fields.find(field);
      ASSERT_TRUE(real != record.fields.end()) << "no field: " << name << "::" << field;
      EXPECT_EQ(extent, real->second) << name << "::" << field;
    }
    for (const auto& [field, extent] : record.fields)
      EXPECT_EQ(table.fields.count(field), 1U) << "has no row: " << name << "::" << field;
    tables.erase(name);
  }
  for (const auto& [name, table] : tables)
    ADD_FAILURE() << "the table of no record: " << name;
}

/// A field that is new in a struct, and unknown to this test, is missing in the sum.
TEST(Contract, TheFieldsCoverEachRecord) {
  for (const auto& [name, record] : cRecords) {
    std::size_t covered = 0;
    for (const auto& [field, extent] : record.fields)
      covered += extent.second;
    EXPECT_LT(record.size - covered, record.alignment) << name;
  }
}

TEST(Contract, TheSharedNamesAndNumbersAreInTheDocument) {
  const std::string text = document();
  const auto expect = [&](const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
  };
  const Semaphore example("ContractExampleSemaphoreOfThisPage", 0);
  for (const char* name :
       {cVersionSegment, cSessionSegment, cNoConnectSegment, cPannerValuesSegment,
        cConnectionPoolSegment, cConnectionListName, cRegistrationSuffix, cRegistrationEndedSuffix,
        cNewAudioDataSuffix, cClientsCanRegisterSuffix, cMustDisconnectSuffix,
        cKeepAliveMutexSuffix, cSliceAccessSuffix, example.posixName})
    expect("`" + std::string(name) + "`");
  expect("| `ID" + std::string(cSendSuffix) + "` |");
  expect("| `ID" + std::string(cReturnSuffix) + "` |");
  for (const auto& [name, value] : cNumbers)
    expect("| `" + name + "` | " + std::to_string(value) + " |");
}

}  // namespace
