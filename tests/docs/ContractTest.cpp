// docs/contract.md says what the structs say: each row of its record tables is compared with the
// field that it names; each field, each byte and each shared name and number must be in it.
#include <cstddef>
#include <iterator>
#include <regex>
#include <utility>

#include <boost/preprocessor/seq/for_each.hpp>
#include <boost/preprocessor/stringize.hpp>
#include <boost/preprocessor/variadic/to_seq.hpp>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/Connection.h"
#include "lipc/session/SessionBuffer.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;

using Extent = std::pair<std::size_t, std::size_t>;  // offset, size
using Fields = std::map<std::string, Extent>;        // "" is the record: its alignment and size
using Records = std::map<std::string, Fields>;

// clang-format off
#define EACH(macro, T, ...) BOOST_PP_SEQ_FOR_EACH(macro, T, BOOST_PP_VARIADIC_TO_SEQ(__VA_ARGS__))
#define FIELD(r, T, name) {BOOST_PP_STRINGIZE(name), {offsetof(T, name), sizeof(T::name)}},
#define NUMBER(r, T, name) {BOOST_PP_STRINGIZE(name), static_cast<long>(T::name)},
#define RECORD(T, ...) {#T, {{"", {alignof(T), sizeof(T)}}, EACH(FIELD, T, __VA_ARGS__)}}
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

TEST(Contract, EveryRowIsAFieldEveryFieldHasARowAndTogetherTheyCoverTheRecord) {
  const std::regex heading("### (\\S+): (\\d+) bytes");
  const std::regex row("\\| (\\d+) \\| (\\d+) \\| `(\\w+)` \\|.*\\|");
  const std::regex tableHead("\\| Offset \\| Size \\| Field \\|.*|[-|]+");
  Records undocumented = cRecords;
  std::string record;
  std::istringstream lines(document());
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    const bool isHeading = std::regex_match(line, match, heading);
    if (isHeading || line.starts_with("#")) {
      record = isHeading ? match[1].str() : "";
      if (isHeading) EXPECT_EQ(std::stoul(match[2]), undocumented[record][""].second) << line;
    } else if (record.empty() || !line.starts_with("|")) {
      continue;
    } else if (std::regex_match(line, match, row)) {
      Fields& fields = undocumented.at(record);
      EXPECT_EQ(fields[match[3]], Extent(std::stoul(match[1]), std::stoul(match[2]))) << line;
      fields.erase(match[3]);
    } else {
      EXPECT_TRUE(std::regex_match(line, tableHead)) << "names no field: " << line;
    }
  }
  for (const auto& [name, fields] : undocumented)
    EXPECT_EQ(fields.size(), 1U) << name << " has a field without a row, or no table";
  // A field that is new in a struct, and unknown to this test, is missing in the sum.
  for (const auto& [name, fields] : cRecords) {
    const auto [alignment, size] = fields.at("");
    std::size_t covered = 0;
    for (const auto& [field, extent] : fields)
      covered += field.empty() ? 0 : extent.second;
    EXPECT_LT(size - covered, alignment) << name;
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
