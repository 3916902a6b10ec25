// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The session: its participants, their records and what they agree on.
namespace LIPC {

/// @addtogroup names
/// @{

/// Version of the session's protocol and records ("LIPC_VERSION", first word).
inline constexpr std::uint32_t cProtocolVersion = 5;
/// Pointer width of the host in bits ("LIPC_VERSION", second word).
inline constexpr std::uint32_t cPointerWidthBits = 64;

// System V segments, each found through shmKey(name).
/// The session table, a SessionBuffer.
inline constexpr char cSessionSegment[] = "LIPC_SESSION";
/// A VersionRecord, which clients look at before anything else.
inline constexpr char cVersionSegment[] = "LIPC_VERSION";
/// While a segment of this name exists nobody joins; nothing is read from it.
inline constexpr char cNoConnectSegment[] = "LIPC_SESSION_NOCONNECT";
/// A SHM_Panner_DAW_Values; a session may lack it.
inline constexpr char cPannerValuesSegment[] = "LIPC_SESSION_PANNER_DAW_VALS";
/// Behind a client's ID: the ring from the client to the host.
inline constexpr char cSendSuffix[] = "-send";
/// Behind a client's ID: the ring from the host to the client.
inline constexpr char cReturnSuffix[] = "-return";

/// The managed segment of the connection lists: the session's, and one per client under its ID.
inline constexpr char cConnectionPoolSegment[] = "LIPC_SESSION_CONNECTION_POOL";
/// The session's list in it.
inline constexpr char cConnectionListName[] = "LIPC_SESSION_CONNECTION_LIST";

/// The System V segments that belong to the session as a whole.
inline constexpr const char* cSessionWideSegments[] = {cSessionSegment, cVersionSegment,
                                                       cNoConnectSegment, cPannerValuesSegment};

/// True for their names and those of the connection pool; no client has one as its ID.
constexpr bool isSessionWideName(std::string_view name) {
  for (const std::string_view wide : cSessionWideSegments)
    if (name == wide) return true;
  return name == cConnectionPoolSegment || name == cConnectionListName;
}

// Named semaphores: session name or client ID, then the suffix.
/// A client posts: the header holds a request.
inline constexpr char cRegistrationSuffix[] = "RegistrationSemaphore";
/// The host posts: the request is answered.
inline constexpr char cRegistrationEndedSuffix[] = "RegistrationEndedSemaphore";
/// A client posts for each block that it announces.
inline constexpr char cNewAudioDataSuffix[] = "NewAudioDataAvailable";
/// The registration lock, count 1: a client takes it, the host gives it back with its answer.
inline constexpr char cClientsCanRegisterSuffix[] = "ClientsCanRegisterMutex";
/// The host or the client itself posts: the client is to leave.
inline constexpr char cMustDisconnectSuffix[] = "ClientMustDisconnect";
/// Guards the client's stamp, count 1.
inline constexpr char cKeepAliveMutexSuffix[] = "mKeepAliveTimestampMutex";
/// The suffixes of the semaphores that the session has.
inline constexpr const char* cSessionSemaphoreSuffixes[] = {
    cRegistrationSuffix, cRegistrationEndedSuffix, cNewAudioDataSuffix, cClientsCanRegisterSuffix};
/// The suffixes of the semaphores that each client has.
inline constexpr const char* cClientSemaphoreSuffixes[] = {cMustDisconnectSuffix,
                                                           cKeepAliveMutexSuffix};
/// Between a client's audio thread and its leave; no other process opens it.
inline constexpr char cSliceAccessSuffix[] = "SHMSliceBufferAccessMutex";

/// Rows of the session table; also the index that means absent.
inline constexpr int cMaxClients = 1024;
/// Offline parameters of a client.
inline constexpr unsigned cOfflineParameterCount = 128;
/// String slots of a client.
inline constexpr unsigned cStringSlotCount = 10;

/// The record in "LIPC_VERSION", written by the host.
struct VersionRecord {
  //                                    offset  size
  std::uint32_t protocolVersion;   ///<      0     4  cProtocolVersion
  std::uint32_t pointerWidthBits;  ///<      4     4  of the host's process: 64, or 32
};

static_assert(sizeof(VersionRecord) == 8);
static_assert(offsetof(VersionRecord, protocolVersion) == 0);
static_assert(offsetof(VersionRecord, pointerWidthBits) == 4);

/// A four-character code as its number: the first character in the most significant byte.
constexpr std::uint32_t fourCharacterCode(const char (&text)[5]) {
  std::uint32_t code = 0;
  for (int i = 0; i < 4; ++i)
    code = (code << 8) | static_cast<unsigned char>(text[i]);
  return code;
}

/// The mixing engine, whose ticks carry the clients that are connected to it.
inline constexpr std::uint32_t cMixEngineType = fourCharacterCode("VMIX");
/// The settings client, which publishes the machine's settings.
inline constexpr std::uint32_t cSettingsType = fourCharacterCode("VSet");

/// A client's mode bits, as its row and its ClientBuffer carry them. Inputs and outputs are meant
/// from the client's side of its rings: it sends inputs, it receives outputs.
enum eClientMode : std::uint32_t {
  eClientModeNone = 0,       ///< no channels, and no block is announced
  eClientModeInputs = 1,     ///< has a "-send" ring with channels
  eClientModeOutputs = 2,    ///< has a "-return" ring with channels
  eClientModeNoAudio = 4,    ///< receives no audio; with 1 it sends, and its blocks are announced
  eClientModeExclusive = 8,  ///< a mode with this bit is stored as exactly 8
};

/// @}

}  // namespace LIPC
