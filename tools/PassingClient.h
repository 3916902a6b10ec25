// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>
#include <vector>

#include "inspect/Source.h"
#include "lipc/session/Connection.h"

namespace tools {

/// A client without audio that joins a session to publish one connection, and leaves it in order
/// at this object's end, whatever ends the command: signals make requests (StopRequest.h).
///
/// The host lists the connection for as long as some client of the session publishes it. A new one
/// therefore goes when this client leaves; one that another client publishes too stays, in the
/// state that this client gave it.
///
/// Threads: one.
class PassingClient {
 public:
  /// Joins and waits until the session lists `wanted` with these wires and in this state. Throws
  /// Failure (eExitNotDone) with the reason when that is not so within 10 seconds, or a stop is
  /// requested before. Where standard error is a terminal, it shows that it waits.
  PassingClient(const char* name, const LIPC::Connection& wanted, inspect::Source& source);
  /// Leaves; that takes up to five seconds where the host does not answer.
  ~PassingClient();
  PassingClient(const PassingClient&) = delete;
  PassingClient& operator=(const PassingClient&) = delete;

  bool isConnected() const;

 private:
  class KeptOutput;
  class Participant;

  void waitUntilListed(const LIPC::Connection& wanted, inspect::Source& source, KeptOutput& output);

  std::unique_ptr<Participant> mParticipant;
};

}  // namespace tools
