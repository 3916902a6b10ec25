// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "bridges/jack/AnswerWatch.h"
#include "bridges/jack/BridgeOptions.h"
#include "lipc/client/Client.h"

namespace jack_bridge {

/// The bridge as a client of the session.
///
/// Threads: as LIPC::Client.
class SessionClient final : public LIPC::Client {
 public:
  explicit SessionClient(const BridgeOptions& options);
  /// Leaves.
  ~SessionClient() override;

  AnswerWatch& answers() { return mAnswers; }
  /// Takes the ID that it was to have, where it had to join under another and nobody has it any
  /// more: the client leaves and joins again. True when it does.
  bool retakeID();

  void onLIPCConnectionEstablished() override;
  void onLIPCConnectionToBeRemoved() override;

 private:
  void connectTo(const std::string& id);

  const BridgeOptions mOptions;
  AnswerWatch mAnswers;
};

}  // namespace jack_bridge
