// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "inspect/Picture.h"
#include "inspect/SessionWatch.h"
#include "lipc/session/ClientID.h"

/// Who lives: the one judge for the host that reaps and for the command that shows, diagnoses and
/// mends. A host frees the row of a client that is lost (ClientWatch.h). Dead is more: nobody can
/// be its owner any more, so that all of it may be removed.
namespace inspect {

enum class eVerdict {
  eAlive,    // it was seen to go on
  eHeld,     // it stands still, but a process that may be its owner lives: stopped, in a debugger
  eDead,     // it stands still, and nobody can be its owner
  eUnknown,  // not watched for long enough, or the system does not tell
};

struct Judgement {
  eVerdict verdict = eVerdict::eUnknown;
  std::vector<std::string> evidence;  // sentences without a full stop; texts in them not escaped
};

/// `session` read withUsers, `watched` over cFullWatch.
Judgement judgeClient(const ClientPicture& client, const SessionPicture& session,
                      const Watched& watched);
/// Of the session's host: by its heartbeat, and by the process that made the table.
Judgement judgeHost(const SessionPicture& session, const Watched& watched);

/// True when the client's buffer exists and no process has it attached: its owner held it for as
/// long as it lived. Only where the caller has nothing of the client attached itself.
bool isDeserted(const LIPC::ClientID& id);

/// "process 17 (tone --id a)", with "gone" or "stopped" where it is.
std::string processText(const ProcessFacts& process);

}  // namespace inspect
