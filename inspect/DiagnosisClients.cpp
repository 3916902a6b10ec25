// SPDX-License-Identifier: BSL-1.0

// The clients, one by one: who lives, and whether what they share is what their rows say.
#include <map>

#include "inspect/DiagnosisParts.h"
#include "inspect/Evidence.h"
#include "lipc/realtime/SHMSlices.h"
#include "lipc/realtime/ValueQueue.h"
#include "lipc/session/ClientBuffer.h"

namespace inspect {
namespace {

constexpr unsigned cFullQueue = LIPC::ValueQueue::cSlotCount - 1;

/// The first that may be its owner, for who wants to let it go on or end it.
const ProcessFacts* ownerOf(const ClientPicture& client) {
  const auto& segment = client.segments[0];
  if (!segment) return nullptr;
  if (segment->creator.lives) return &segment->creator;
  for (const ProcessFacts& user : segment->users)
    if (user.lives) return &user;
  return nullptr;
}

Finding heldFinding(const ClientPicture& client, std::vector<std::string> evidence) {
  Finding finding{"client-held", eSeverity::eWrong, client.id, {}, std::move(evidence), {}};
  const ProcessFacts* owner = ownerOf(client);
  const bool isStopped = owner != nullptr && owner->isStopped;
  finding.title = "The client " + quoted(client.id) +
                  (isStopped ? " is stopped." : " stands still, and its process lives.");
  if (owner == nullptr) return finding;
  const std::string process = std::to_string(owner->id);
  if (isStopped) {
    finding.todo = {"kill -CONT " + process, "kill -KILL " + process,
                    "The first lets it go on, as fg in its terminal or its debugger does; the "
                    "second ends it."};
  } else {
    finding.todo = {"kill " + process,
                    "That ends it. Look at it before: it may be in a debugger, or hang."};
  }
  finding.todo.emplace_back("It is not reaped for as long as its process is there.");
  return finding;
}

/// Adds what is known of its life; returns whether it is dead.
bool diagnoseLife(const Exam& exam, const ClientPicture& client, std::string& alive,
                  Findings& findings) {
  if (!exam.watched) return false;
  Judgement judgement = judgeClient(client, exam.session, *exam.watched);
  switch (judgement.verdict) {
    case eVerdict::eAlive:
      alive += (alive.empty() ? "" : ", ") + client.id;
      break;
    case eVerdict::eDead:
      findings.push_back({"client-dead",
                          eSeverity::eWrong,
                          client.id,
                          client.segments[0] ? "The client " + quoted(client.id) + " is dead."
                                             : "The row of " + quoted(client.id) +
                                                   " is nobody's: its client is dead, or left.",
                          std::move(judgement.evidence),
                          {"lipc reap"}});
      return true;
    case eVerdict::eHeld:
      findings.push_back(heldFinding(client, std::move(judgement.evidence)));
      break;
    case eVerdict::eUnknown:
      findings.push_back({"client-unknown",
                          eSeverity::eNotice,
                          client.id,
                          "Whether the client " + quoted(client.id) + " lives cannot be told yet.",
                          {"it was not watched for long enough: it joined, or stood still, just "
                           "now"},
                          {"Look again: lipc doctor"}});
      break;
  }
  return false;
}

class ClientCheck {
 public:
  ClientCheck(const ClientPicture& client, Findings& findings)
      : mClient(client), mFindings(findings) {}

  void look() {
    lookAtBuffer();
    lookAtRing(1, "-send", mClient.inputChannels, mClient.send);
    lookAtRing(2, "-return", mClient.outputChannels, mClient.answer);
  }

 private:
  void add(const char* key, eSeverity severity, const std::string& title, std::string evidence,
           std::string todo) {
    mFindings.push_back({key,
                         severity,
                         mClient.id,
                         "The client " + quoted(mClient.id) + " " + title,
                         {std::move(evidence)},
                         {std::move(todo)}});
  }

  void lookAtBuffer() {
    const auto& segment = mClient.segments[0];
    const std::string again = "End it and start it again: it makes another.";
    if (!segment || segment->error != 0) return;  // no segment: dead; no permission: access
    if (segment->bytes < sizeof(LIPC::ClientBuffer)) {
      add("segment-too-small", eSeverity::eWrong, "has a buffer that is too small for its record.",
          "its segment " + std::to_string(segment->id) + " has " + std::to_string(segment->bytes) +
              " bytes, and a buffer " + std::to_string(sizeof(LIPC::ClientBuffer)),
          again);
    } else if (!mClient.buffer) {
      add("buffer-foreign", eSeverity::eWrong, "has a name that leads to another's segment.",
          "segment " + std::to_string(segment->id) + " carries another ID; it was made by " +
              processText(segment->creator),
          again);
    } else {
      lookInBuffer(*mClient.buffer);
    }
  }

  void lookInBuffer(const BufferPicture& buffer) {
    if (buffer.blocksWaiting >= cFullQueue)
      add("queue-full", eSeverity::eWrong, "has a full queue: its blocks overrun and are lost.",
          std::to_string(buffer.blocksWaiting) + " of " + std::to_string(cFullQueue) +
              " announced blocks wait for the host",
          "Look at the host: it is stopped, stuck or dead, or carries no audio.");
    if (!buffer.ageSeconds)
      add("stamp-damaged", eSeverity::eWrong, "has a keep-alive stamp that is no time.",
          "its stamp is " + quoted(buffer.stamp), "Somebody wrote over it: start it again.");
    if (buffer.mustDisconnectSemaphore.empty() || buffer.keepAliveSemaphore.empty())
      add("buffer-damaged", eSeverity::eWrong, "has a damaged buffer.",
          "the record of one of its semaphores is malformed",
          "Somebody wrote over it: start it again.");
  }

  void lookAtRing(std::size_t index, const std::string& suffix, unsigned channels,
                  const std::optional<RingPicture>& ring) {
    const auto& segment = mClient.segments[index];
    const std::string name = quoted(mClient.id + suffix);
    const std::string again = "Start it again.";
    if (!segment) {
      if (mClient.segments[0] && channels > 0)
        add("segment-missing", eSeverity::eWrong, "lacks a ring.",
            "its row says " + countText(channels, "channel") + ", and there is no segment " + name,
            again);
    } else if (segment->error == 0 && segment->bytes < sizeof(LIPC::SHMSlices)) {
      add("segment-too-small", eSeverity::eWrong, "has a ring that is too small for its record.",
          name + " has " + std::to_string(segment->bytes) + " bytes, and a ring without channels " +
              std::to_string(sizeof(LIPC::SHMSlices)),
          again);
    } else if (ring && channels > ring->channels) {
      add("ring-too-small", eSeverity::eWrong, "counts more channels than its ring has room for.",
          "its row says " + countText(channels, "channel") + ", and " + name + " has room for " +
              std::to_string(ring->channels),
          again);
    }
  }

  const ClientPicture& mClient;
  Findings& mFindings;
};

void diagnoseTwice(const SessionPicture& session, Findings& findings) {
  std::map<std::string, std::vector<std::string>> ids;
  std::map<std::string, std::vector<std::string>> names;
  for (const ClientPicture& client : session.clients) {
    ids[client.id].push_back("row " + std::to_string(client.index));
    if (!client.name.empty()) names[client.name].push_back("the client " + quoted(client.id));
  }
  for (const auto& [id, rows] : ids)
    if (rows.size() > 1)
      findings.push_back({"id-twice",
                          eSeverity::eWrong,
                          id,
                          "The ID " + quoted(id) + " has more than one row.",
                          rows,
                          {"End the clients of that ID, and start one again."}});
  for (const auto& [name, clients] : names)
    if (clients.size() > 1)
      findings.push_back({"name-twice",
                          eSeverity::eNotice,
                          name,
                          "The display name " + quoted(name) + " is that of more than one client.",
                          clients,
                          {}});
}

/// Who refreshes its stamp does so more often than that.
constexpr std::int64_t cStandingMS = 2500;

/// Who died while the session was watched, and was taken out by its host before the end.
void diagnoseGone(const Watched& watched, Findings& findings) {
  for (const WatchedClient& client : watched.gone) {
    if (client.unchangedMS < cStandingMS || watched.find(client.id) != nullptr) continue;
    const std::string seconds = std::to_string(client.unchangedMS / 1000) + "." +
                                std::to_string(client.unchangedMS % 1000 / 100) + " s";
    const bool isThere = client.maker.lives;
    Finding finding{isThere ? "client-stood-still" : "client-died",
                    isThere ? eSeverity::eWrong : eSeverity::eNotice,
                    client.id,
                    "The client " + quoted(client.id) + (isThere ? " stood still" : " died") +
                        ", and its host took it out.",
                    {"it had a row when the watch began, and its stamp had stood still for " +
                         seconds + " when the row was freed",
                     "its segments were made by " + processText(client.maker)},
                    {}};
    if (client.maker.isStopped) {
      finding.todo = {"kill -CONT " + std::to_string(client.maker.id), "Then it joins again."};
    } else if (isThere) {
      finding.todo = {"Look at what the process does; once its client goes on, it joins again."};
    } else {
      finding.todo = {
          "Nothing is left to do for the session. Why it ended, its own messages and "
          "the system's log may say."};
    }
    findings.push_back(std::move(finding));
  }
}

}  // namespace

void diagnoseClients(const Exam& exam, Findings& findings) {
  if (exam.session.state != SessionPicture::eRead) return;
  std::string alive;
  for (const ClientPicture& client : exam.session.clients) {
    if (!diagnoseLife(exam, client, alive, findings)) ClientCheck(client, findings).look();
  }
  if (!alive.empty())
    findings.push_back({"clients-alive",
                        eSeverity::eFine,
                        {},
                        "These clients live: " + alive + ".",
                        {"their stamps changed while they were watched"},
                        {}});
  diagnoseTwice(exam.session, findings);
  if (exam.watched) diagnoseGone(*exam.watched, findings);
}

}  // namespace inspect
