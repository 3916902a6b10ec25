// SPDX-License-Identifier: BSL-1.0

// What a client has in shared memory, as text: rings, segments, semaphores.
#include "inspect/Rings.h"
#include "tools/ClientSections.h"
#include "tools/Columns.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::BlockStep;
using inspect::ClientPicture;
using inspect::RingPicture;
using inspect::SlicePicture;

constexpr int cSlices = LIPC::SHMSlices::cSliceCount;
constexpr unsigned cQueueRoom = 63;

Columns::Cell stepCell(const RingPicture& send, int age) {
  const BlockStep step = stepBefore(send, age);
  switch (step.kind) {
    case BlockStep::eUnknown:
      break;
    case BlockStep::eNext:
      return "next";
    case BlockStep::eMissing:
      return {fmt::format("{} missing before", step.missedBlocks), eColour::eBad};
    case BlockStep::eJump:
      return {"jump", eColour::eWarning};
  }
  return "";
}

Columns::Cell readyCell(const RingPicture& answer, int age) {
  if (answer.behind(age).isReady) return {"ready", eColour::eGood};
  if (isMissed(answer, age)) return {"missed", eColour::eBad};
  return "waiting";
}

const char* answerText(inspect::eAnswer answer) {
  switch (answer) {
    case inspect::eAnswer::eNotDue:
      return "none was due yet";
    case inspect::eAnswer::eThere:
      return "the last one due came";
    case inspect::eAnswer::eNotReady:
      return "the last one due was not ready";
    case inspect::eAnswer::eNoSlice:
      break;
  }
  return "no slice has the stamp of the last one due";
}

bool isUsed(const std::optional<RingPicture>& ring) {
  if (!ring) return false;
  for (const SlicePicture& slice : ring->slices)
    if (slice.sampleCount != 0 || slice.timeStamp != 0) return true;
  return false;
}

std::string queueText(const ClientPicture& client, const Style& style) {
  if (!client.buffer) return "the queue cannot be read";
  const unsigned waiting = client.buffer->blocksWaiting;
  const std::string text = fmt::format("{} of {} blocks wait for the host", waiting, cQueueRoom);
  return waiting < cQueueRoom ? text : style(eColour::eBad, text);
}

}  // namespace

std::string ringsText(const ClientPicture& client, const Style& style) {
  if (!client.send && !client.answer) return section("Rings", "none can be read");
  const std::string queue = queueText(client, style);
  if (!isUsed(client.send) && !isUsed(client.answer))
    return section("Rings", "no block was sent; " + queue);
  Columns columns({">Behind", ">Sent", ">Samples", "Flag", "Follows", ">Answer to", "Flag"});
  for (int age = 0; age < cSlices; ++age) {
    std::vector<Columns::Cell> row{std::to_string(age)};
    const bool hasSent = client.send && client.send->behind(age).sampleCount != 0;
    const SlicePicture sent = hasSent ? client.send->behind(age) : SlicePicture();
    row.emplace_back(hasSent ? std::to_string(sent.timeStamp) : "-");
    row.emplace_back(hasSent ? std::to_string(sent.sampleCount) : "");
    row.emplace_back(hasSent ? (sent.isReady ? "ready" : "not ready") : "");
    row.push_back(hasSent ? stepCell(*client.send, age) : "");
    const bool isStamped = client.answer && client.answer->behind(age).sampleCount != 0;
    row.emplace_back(isStamped ? std::to_string(client.answer->behind(age).timeStamp) : "-");
    row.push_back(isStamped ? readyCell(*client.answer, age) : "");
    columns.add(std::move(row));
  }
  std::string text = fmt::format("\nRings       {} channels sent, {} received; {}\n",
                                 client.send ? client.send->channels : 0,
                                 client.answer ? client.answer->channels : 0, queue) +
                     columns.text(style, cSectionIndent);
  if (client.answer) {
    const inspect::MissedCount missed = countMissed(*client.answer);
    text += fmt::format("  Answers: {}. Missed: {} of {} that are still held.\n",
                        answerText(newestAnswer(*client.answer)), missed.missed, missed.looked);
  }
  return text;
}

std::string segmentsText(const ClientPicture& client, const Style& style) {
  constexpr const char* cKinds[] = {"buffer", "send", "return"};
  Columns columns(
      {"Segment", ">ID", ">Bytes", ">Attached", ">Owner", ">Mode", ">Made by", ">Used by", "Note"});
  bool areAny = false;
  for (std::size_t i = 0; i < client.segments.size(); ++i) {
    const auto& segment = client.segments[i];
    if (!segment) continue;
    areAny = true;
    if (segment->error != 0) {
      columns.add({cKinds[i], std::to_string(segment->id), "", "", "", "", "", "",
                   Columns::Cell("denied", eColour::eWarning)});
      continue;
    }
    const auto processText = [](const inspect::ProcessFacts& process) -> Columns::Cell {
      if (process.id <= 0) return "-";
      if (!process.lives) return std::to_string(process.id) + " (gone)";
      return std::to_string(process.id);
    };
    columns.add({cKinds[i], std::to_string(segment->id), std::to_string(segment->bytes),
                 std::to_string(segment->attachCount), std::to_string(segment->owner),
                 fmt::format("{:04o}", segment->permissions), processText(segment->creator),
                 processText(segment->lastUser), ""});
  }
  return areAny ? "\nSegments\n" + columns.text(style, cSectionIndent)
                : section("Segments", "none");
}

std::string semaphoresText(const ClientPicture& client) {
  if (!client.buffer) return section("Semaphores", "unknown, without a client buffer");
  const auto name = [](const std::string& platformName) {
    return platformName.empty() ? "(its record is damaged)" : printable(platformName);
  };
  return fmt::format("\nSemaphores\n  must disconnect  {}\n  keep alive       {}\n",
                     name(client.buffer->mustDisconnectSemaphore),
                     name(client.buffer->keepAliveSemaphore));
}

}  // namespace tools
