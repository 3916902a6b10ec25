// SPDX-License-Identifier: BSL-1.0
#include "inspect/Evidence.h"

#include <set>

#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace inspect {
namespace {

std::string secondsText(std::int64_t milliseconds) {
  return std::to_string(milliseconds / 1000) + "." + std::to_string(milliseconds % 1000 / 100) +
         " s";
}

/// The processes, one of which may be the owner of `segment`: those that have it attached, but for
/// the host, which has its clients' segments attached too; or, where the system does not tell, the
/// one that made it.
std::vector<ProcessFacts> possibleOwners(const SegmentFacts& segment, const SessionPicture& session,
                                         std::vector<std::string>& evidence) {
  std::vector<ProcessFacts> owners;
  const std::int64_t host = session.table ? session.table->creator.id : 0;
  if (segment.areUsersComplete) {
    for (const ProcessFacts& user : segment.users) {
      const bool isHost = user.id == host && user.id != segment.creator.id;
      evidence.push_back("its segment is attached by " + processText(user) +
                         (isHost ? ", the host" : ""));
      if (!isHost && user.lives) owners.push_back(user);
    }
    if (segment.users.empty()) evidence.emplace_back("nobody has its segment attached");
    return owners;
  }
  evidence.push_back("its segment is attached " + std::to_string(segment.attachCount) +
                     " times and was made by " + processText(segment.creator));
  if (segment.attachCount > 0 && (segment.creator.lives || segment.creator.id <= 0))
    owners.push_back(segment.creator);
  return owners;
}

/// The processes, one of which may be the host: the one that made the table; and, where the system
/// tells, those that have it attached and are no client.
std::vector<ProcessFacts> possibleHosts(const SessionPicture& session,
                                        std::vector<std::string>& evidence) {
  const SegmentFacts& table = *session.table;
  if (!table.isAttached()) {
    evidence.emplace_back("nobody has its table attached");
    return {};
  }
  std::vector<ProcessFacts> hosts;
  evidence.push_back("the table was made by " + processText(table.creator));
  if (table.creator.lives || table.creator.id <= 0) hosts.push_back(table.creator);
  if (!table.areUsersComplete) return hosts;
  std::set<std::int64_t> clients;
  for (const ClientPicture& client : session.clients)
    if (client.segments[0]) clients.insert(client.segments[0]->creator.id);
  for (const ProcessFacts& user : table.users) {
    if (!user.lives || clients.count(user.id) != 0 || user.id == table.creator.id) continue;
    evidence.push_back("the table is attached by " + processText(user) + ", which is no client");
    hosts.push_back(user);
  }
  return hosts;
}

void judgeStanding(const SegmentFacts& segment, const SessionPicture& session,
                   Judgement& judgement) {
  const std::vector<ProcessFacts> owners = possibleOwners(segment, session, judgement.evidence);
  judgement.verdict = owners.empty() ? eVerdict::eDead : eVerdict::eHeld;
}

}  // namespace

std::string processText(const ProcessFacts& process) {
  if (process.id <= 0) return "an unknown process";
  std::string text = "process " + std::to_string(process.id);
  if (!process.lives) return text + " (gone)";
  if (!process.command.empty()) text += " (" + process.command + ")";
  return process.isStopped ? text + ", which is stopped" : text;
}

Judgement judgeClient(const ClientPicture& client, const SessionPicture& session,
                      const Watched& watched) {
  Judgement judgement;
  const WatchedClient* seen = watched.find(client.id);
  if (seen == nullptr) return judgement;
  const std::string during = " while it was watched for " + secondsText(watched.milliseconds);
  if (seen->changes > 0 && !seen->isLost) {
    judgement.verdict = eVerdict::eAlive;
    judgement.evidence.push_back("its stamp changed " + std::to_string(seen->changes) + " times" +
                                 during);
    return judgement;
  }
  if (!seen->isLost) return judgement;
  const auto& segment = client.segments[0];
  if (!seen->hasBuffer || !segment) {
    judgement.verdict = eVerdict::eDead;
    judgement.evidence.push_back("it has a row and no client buffer" + during);
    return judgement;
  }
  judgement.evidence.push_back("its stamp (" + (client.buffer ? client.buffer->stamp : "") +
                               ") has not changed for " + secondsText(seen->unchangedMS));
  judgeStanding(*segment, session, judgement);
  return judgement;
}

Judgement judgeHost(const SessionPicture& session, const Watched& watched) {
  Judgement judgement;
  const std::string during = " while it was watched for " + secondsText(watched.milliseconds);
  if (!session.table) return judgement;
  if (session.table->error != 0) {
    judgement.evidence.emplace_back("this user may not look at its table");
    return judgement;
  }
  if (watched.isBeating()) {
    judgement.verdict = eVerdict::eAlive;
    judgement.evidence.push_back("its heartbeat advanced by " + std::to_string(watched.beats) +
                                 during);
    return judgement;
  }
  if (watched.milliseconds < 1000) return judgement;
  judgement.evidence.push_back("its heartbeat stood still at " + std::to_string(watched.heartbeat) +
                               during);
  const std::vector<ProcessFacts> hosts = possibleHosts(session, judgement.evidence);
  judgement.verdict = hosts.empty() ? eVerdict::eDead : eVerdict::eHeld;
  if (!hosts.empty() && hosts[0].id <= 0) judgement.verdict = eVerdict::eUnknown;
  return judgement;
}

bool isDeserted(const LIPC::ClientID& id) {
  const std::string name = id.text();
  const auto segment = LIPC::ShmManaged::find(name.c_str());
  if (!segment || segment->error != 0 || segment->isAttached()) return false;
  const LIPC::ShmReadOnly<LIPC::ClientBuffer> buffer(name.c_str());
  return buffer.get() != nullptr && buffer->id == id;
}

}  // namespace inspect
