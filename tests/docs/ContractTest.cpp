// docs/contract.md says what the structs say: each row of its record tables is compared with the
// field that it names; each field, each byte and each shared name and number must be in it.
#include <regex>

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

// clang-format off
#define EACH(macro, T, ...) BOOST_PP_SEQ_FOR_EACH(macro, T, BOOST_PP_VARIADIC_TO_SEQ(__VA_ARGS__))
#define FIELD(r, T, name) \
  row(offsetof(T, name), sizeof(T::name), BOOST_PP_STRINGIZE(name)) +
#define NUMBER(r, T, name) {BOOST_PP_STRINGIZE(name), static_cast<long>(T::name)},
#define RECORD(T, ...) {#T, "### " #T ": " + std::to_string(sizeof(T)) + " bytes\n" + EACH(FIELD, T, __VA_ARGS__) ""}
#define NUMBERS(T, ...) EACH(NUMBER, T, __VA_ARGS__)

std::string row(std::size_t offset, std::size_t size, const char* name) {
  return "| " + std::to_string(offset) + " | " + std::to_string(size) + " | `" + name + "` |\n";
}

/// The record tables as far as the structs tell.
const std::map<std::string, std::string> cRecords = {
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

TEST(Contract, TheRecordTablesAreTheStructs) {
  const std::regex heading("### (\\S+): \\d+ bytes"),
      row("(\\| \\d+ \\| \\d+ \\| `\\w+` \\|).*\\|");
  std::map<std::string, std::string> tables;
  std::string record;
  std::istringstream lines(document());
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("#")) {
      record = std::regex_match(line, match, heading) ? match[1].str() : "";
      if (!record.empty()) tables[record] = line + "\n";
    } else if (!record.empty() && line.starts_with("|") && line.find_first_of("0123456789`") < 5) {
      tables[record] += std::regex_match(line, match, row) ? match[1].str() + "\n" : line + "?\n";
    }
  }
  EXPECT_EQ(tables, cRecords);
  // A field that is new in a struct, and unknown to this test, is missing in the sum.
  for (const auto& [name, table] : cRecords) {
    long size = 0, covered = 0, offset = 0, bytes = 0;
    std::sscanf(table.c_str() + 5 + name.size(), " %ld bytes", &size);
    for (std::size_t at = 0; (at = table.find("\n| ", at)) != std::string::npos; ++at)
      if (std::sscanf(table.c_str() + at, "\n| %ld | %ld", &offset, &bytes) == 2) covered += bytes;
    EXPECT_LT(size - covered, 8) << name;
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
