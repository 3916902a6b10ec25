// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>

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
  /// Joins so far.
  int joins() const { return mJoins; }

  void onLIPCConnectionEstablished() override;
  void onLIPCConnectionToBeRemoved() override;

 private:
  void connectTo(const std::string& id, const BridgeOptions& options);

  AnswerWatch mAnswers;
  std::atomic<int> mJoins{0};
};

}  // namespace jack_bridge
