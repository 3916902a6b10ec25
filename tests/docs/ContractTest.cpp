// SPDX-License-Identifier: BSL-1.0

// docs/contract.md says what the structs say: its record tables, row by row, and every shared name.
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
#define RECORD(T, ...) "### " #T ": " + std::to_string(sizeof(T)) + " bytes\n" + EACH(FIELD, T, __VA_ARGS__)
std::string row(std::size_t offset, std::size_t size, const char* name) {
  return "| " + std::to_string(offset) + " | " + std::to_string(size) + " | `" + name + "` |\n";
}

/// The record tables as far as the structs tell.
const std::string cRecords =
  RECORD(VersionRecord, protocolVersion, pointerWidthBits)
  RECORD(ClientID, id, terminator)
  RECORD(Semaphore, posixName, name, initialCount)
  RECORD(SHMString, reserved, buffers, index, padding)
  RECORD(ClientEntry, id, padding, type, name, mode, inputChannelCount, outputChannelCount,
         offlineParameters, strings)
  RECORD(SessionBuffer, sessionID, registrationRequest, padding0, registrationSemaphore,
         registrationEndedSemaphore, newAudioDataSemaphore, reserved, clientsCanRegisterMutex,
         padding1, entries, heartbeat, referenceClientID)
  RECORD(ValueQueue, queueRead, queueWrite, queue)
  RECORD(ClientBuffer, id, padding0, type, mode, reserved, mustDisconnectSemaphore, newDataQueue,
         keepAliveTimestamp, keepAliveMutex, padding1)
  RECORD(Connection::Wire, channel)
  RECORD(Connection, source, target, owner, isAuto, wires, disconnectRequested, reserved, padding)
  RECORD(SHMChannel, samples)
  RECORD(SHMSliceBuffer, clientType, clientID, terminator, padding0, timeStamp, channelCount,
         padding1, sampleCount, ready, padding2, parameters, samplesOffset)
  RECORD(SHMSlices, currentSlice, reserved, padding, slices) "";

// clang-format on

std::string document() {
  std::ifstream file(CONTRACT_DOCUMENT);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Contract, TheRecordTablesAreTheStructs) {
  const std::regex told("### \\S+: \\d+ bytes|\\| \\d+ \\| \\d+ \\| `\\w+` \\|");
  const std::string text = document();
  std::string records;
  for (std::sregex_iterator match(text.begin(), text.end(), told), end; match != end; ++match)
    records += match->str() + "\n";
  EXPECT_EQ(records, cRecords);
}

TEST(Contract, TheSharedNamesAreInTheDocument) {
  const std::string text = document();
  const std::string sendRing = std::string("ID") + cSendSuffix,
                    returnRing = std::string("ID") + cReturnSuffix;
  const Semaphore example("ContractExampleSemaphoreOfThisPage", 0);
  for (const char* name :
       {cVersionSegment, cSessionSegment, cNoConnectSegment, cPannerValuesSegment,
        cConnectionPoolSegment, cConnectionListName, cRegistrationSuffix, cRegistrationEndedSuffix,
        cNewAudioDataSuffix, cClientsCanRegisterSuffix, cMustDisconnectSuffix,
        cKeepAliveMutexSuffix, cSliceAccessSuffix, sendRing.c_str(), returnRing.c_str(),
        example.posixName})
    EXPECT_NE(text.find("`" + std::string(name) + "`"), std::string::npos) << name;
}

}  // namespace
