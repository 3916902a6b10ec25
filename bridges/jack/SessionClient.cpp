// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/SessionClient.h"

#include <algorithm>

namespace jack_bridge {
namespace {

using LIPC::ClientID;
using LIPC::Connection;

std::uint32_t codeOf(const std::string& type) {
  char code[5] = "    ";
  type.copy(code, 4);
  return LIPC::fourCharacterCode(code);
}

LIPC::eClientMode modeOf(const BridgeOptions& options) {
  unsigned mode = 0;
  if (options.inputs > 0) mode |= LIPC::eClientModeInputs;
  // One that only sends has its blocks announced all the same.
  mode |= options.outputs > 0 ? LIPC::eClientModeOutputs : LIPC::eClientModeNoAudio;
  return static_cast<LIPC::eClientMode>(mode);
}

}  // namespace

SessionClient::SessionClient(const BridgeOptions& options)
    : Client(static_cast<int>(codeOf(options.type)), options.name.c_str()), mOptions(options) {
  setAutoConnectLoopDurationMS(100);
  configBeginEdit();
  configSetMode(modeOf(options));
  configSetClientID(options.id.c_str());
  configSetIOChannelCount(options.inputs, options.outputs);
  for (const std::string& id : options.connect)
    connectTo(id);
  for (const std::string& type : options.connectType) {
    constexpr int hostDecides = 1;
    const int code = static_cast<int>(codeOf(type));
    if (options.inputs > 0)
      configAutoConnect(LIPC::AutoConnection(code, Connection::eTargetSide, hostDecides));
    if (options.outputs > 0)
      configAutoConnect(LIPC::AutoConnection(code, Connection::eSourceSide, hostDecides));
  }
  configEndEdit();
}

SessionClient::~SessionClient() {
  stopLIPCSession();
}

/// Channel by channel, in each direction in which this bridge has channels. Wires to channels that
/// the other does not have are no wires.
void SessionClient::connectTo(const std::string& id) {
  const auto wire = [&](const std::string& source, const std::string& target, int channels) {
    // What is there already others may have cut or changed, on purpose.
    const bool isThere = configGetConnection(ClientID(source), ClientID(target)).isDefined();
    if (channels == 0 || isThere) return;
    Connection& connection = configEditConnection(ClientID(source), ClientID(target));
    for (int c = 0; c < std::min(channels, static_cast<int>(Connection::cWireCount)); ++c)
      connection.addWire(c, c);
  };
  wire(mOptions.id, id, mOptions.inputs);
  wire(id, mOptions.id, mOptions.outputs);
}

/// A bridge that was killed and comes back at once meets its own row. A client that takes another
/// ID loses the connections to itself.
bool SessionClient::retakeID() {
  if (!isConnected() || configGetClientID() == mOptions.id) return false;
  if (getClientIndex(ClientID(mOptions.id)) != LIPC::cMaxClients) return false;
  configBeginEdit();
  configSetClientID(mOptions.id.c_str());
  for (const std::string& id : mOptions.connect)
    connectTo(id);
  configEndEdit();
  return true;
}

void SessionClient::onLIPCConnectionEstablished() {
  mAnswers.attach(configGetClientID());
}

void SessionClient::onLIPCConnectionToBeRemoved() {
  mAnswers.detach();
}

}  // namespace jack_bridge
