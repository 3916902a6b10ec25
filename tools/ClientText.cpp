// One client as text: a section for each thing that is known of it.
#include <algorithm>
#include <map>

#include <fmt/core.h>

#include "inspect/Rings.h"
#include "inspect/Settings.h"
#include "tools/Columns.h"
#include "tools/Picture.h"
#include "tools/Text.h"
#include "tools/Value.h"

namespace tools {
namespace {

using inspect::BlockStep;
using inspect::ClientPicture;
using inspect::RingPicture;
using inspect::SessionPicture;
using inspect::SlicePicture;

constexpr std::size_t cIndent = 2;
constexpr std::size_t cValueColumns = 24;
constexpr std::size_t cRunsALine = 3;
constexpr int cSlices = LIPC::SHMSlices::cSliceCount;
constexpr unsigned cQueueRoom = 63;

/// A section with nothing in it is a line.
std::string section(const char* title, const std::string& line) {
  return fmt::format("\n{:<11} {}\n", title, line);
}

std::string quoted(std::string_view text) {
  return "\"" + printable(text) + "\"";
}

std::string headText(const ClientPicture& client, const Style& style) {
  std::string text = fmt::format(
      "Client      {}  {}\n", style(eColour::eStrong, printable(client.id)), quoted(client.name));
  text += fmt::format("            row {}, type {}, mode {}, {} in, {} out\n", client.index,
                      typeText(client.type), modeText(client.mode), client.inputChannels,
                      client.outputChannels);
  const Columns::Cell life = lifeCell(client);
  text += "            " + style(*life.colour, life.text);
  text += client.buffer ? ", stamp " + printable(client.buffer->stamp) + "\n"
                        : ": no client buffer of this ID can be read\n";
  if (client.buffer && client.buffer->type != client.type)
    text += fmt::format("            its client buffer has another type: {}\n",
                        typeText(client.buffer->type));
  if (const inspect::ProcessFacts* maker = makerOf(client)) {
    const Columns::Cell command = commandCell(*maker);
    const std::string begin = fmt::format("            process {}  ", maker->id);
    const std::size_t room = style.columns() > begin.size() ? style.columns() - begin.size() : 0;
    text += begin + cut(command.text, room) + "\n";
  }
  return text;
}

std::map<ValuePlace, std::string> sourcesOf(const ClientPicture& client,
                                            const SessionPicture& session) {
  std::map<ValuePlace, std::string> sources;
  if (!isSettingsClient(client)) return sources;
  for (const inspect::SettingView& setting : settingsOf(client, session.settings))
    sources[{setting.isText, static_cast<unsigned>(setting.index)}] = setting.source;
  return sources;
}

std::string valuesText(const ClientPicture& client, const SessionPicture& session,
                       bool withDefaults, const Style& style) {
  const auto sources = sourcesOf(client, session);
  Columns columns({"", "Place", "Name", "Value", "Default", "From"});
  std::size_t shown = 0;
  const std::vector<ClientValue> values = valuesOf(client);
  for (const ClientValue& value : values) {
    if (value.isDefault && value.name.empty() && !withDefaults) continue;
    ++shown;
    const bool isText = value.place.isText;
    const std::string now = isText ? quoted(value.text) : numberText(value.number);
    const std::string usual = isText ? quoted(value.defaultText) : numberText(value.defaultNumber);
    const auto source = sources.find(value.place);
    Columns::Cell cell = cut(now, cValueColumns);
    if (!value.isDefault) cell.colour = eColour::eWarning;
    columns.add({value.isDefault ? " " : "*", placeText(value.place), value.name, std::move(cell),
                 cut(usual, cValueColumns), source != sources.end() ? source->second : ""});
  }
  if (shown == 0) return section("Values", "all parameters and strings are at their defaults");
  std::string text = "\nValues\n" + columns.text(style, 0);
  if (shown < values.size())
    text += fmt::format("  The other {} are at their defaults.\n", values.size() - shown);
  return text;
}

std::vector<std::string> wireRuns(const LIPC::Connection& connection) {
  struct Run {
    std::int64_t source, target, count;
  };
  std::vector<Run> runs;
  for (const LIPC::Connection::Wire& wire : connection.wires) {
    const std::int64_t source = wire.channel[0];
    const std::int64_t target = wire.channel[1];
    if (source == LIPC::Connection::cNoChannel || target == LIPC::Connection::cNoChannel) continue;
    Run* last = runs.empty() ? nullptr : &runs.back();
    if (last != nullptr && source == last->source + last->count &&
        target == last->target + last->count) {
      ++last->count;
    } else {
      runs.push_back({source, target, 1});
    }
  }
  std::vector<std::string> texts;
  for (const Run& run : runs) {
    const auto side = [&](std::int64_t first) {
      return run.count == 1 ? std::to_string(first)
                            : fmt::format("{}-{}", first, first + run.count - 1);
    };
    texts.push_back(side(run.source) + " -> " + side(run.target));
  }
  return texts;
}

void addConnection(const LIPC::Connection& connection, Columns& columns) {
  std::string state = connection.isAuto != 0 ? "automatic" : "";
  if (connection.disconnectRequested != 0) state += state.empty() ? "cut" : ", cut";
  std::vector<std::string> runs = wireRuns(connection);
  if (runs.empty()) runs.emplace_back(connection.isAuto != 0 ? "channel by channel" : "none");
  for (std::size_t first = 0; first < runs.size(); first += cRunsALine) {
    std::string wires;
    for (std::size_t i = first; i < std::min(first + cRunsALine, runs.size()); ++i)
      wires += (i == first ? "" : ", ") + runs[i];
    if (first == 0) {
      columns.add({printable(connection.source.view()), printable(connection.target.view()), state,
                   printable(connection.owner.view()), wires});
    } else {
      columns.add({"", "", "", "", wires});
    }
  }
}

std::string connectionsText(const SessionPicture& session, const ClientPicture& client,
                            const Style& style) {
  if (!session.connections)
    return section("Connections", "the pool cannot be read: " + printable(session.poolError));
  Columns columns({"Source", "Target", "State", "Owner", "Wires"});
  bool areAny = false;
  for (const LIPC::Connection& connection : *session.connections) {
    if (!isOf(client, connection)) continue;
    addConnection(connection, columns);
    areAny = true;
  }
  return areAny ? "\nConnections\n" + columns.text(style, cIndent) : section("Connections", "none");
}

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
      return "the last one that was due came";
    case inspect::eAnswer::eNotReady:
      return "the last one that was due was not ready: silence";
    case inspect::eAnswer::eNoSlice:
      break;
  }
  return "no slice has the stamp of the last one that was due: silence";
}

bool isUsed(const std::optional<RingPicture>& ring) {
  if (!ring) return false;
  for (const SlicePicture& slice : ring->slices)
    if (slice.sampleCount != 0 || slice.timeStamp != 0) return true;
  return false;
}

std::string ringsText(const ClientPicture& client, const Style& style) {
  if (!client.send && !client.answer) return section("Rings", "none can be read");
  const std::string queue = client.buffer ? fmt::format("{} of {} blocks wait for the host",
                                                        client.buffer->blocksWaiting, cQueueRoom)
                                          : "the queue cannot be read";
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
  std::string text = fmt::format("\nRings       {} channels sent, {} answered; {}\n",
                                 client.send ? client.send->channels : 0,
                                 client.answer ? client.answer->channels : 0, queue) +
                     columns.text(style, cIndent);
  if (client.answer) {
    const inspect::MissedCount missed = countMissed(*client.answer);
    text += fmt::format("  Answers: {}; of the {} that the ring still holds, {} missed.\n",
                        answerText(newestAnswer(*client.answer)), missed.looked, missed.missed);
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
                   Columns::Cell("not for this user", eColour::eWarning)});
      continue;
    }
    const auto processText = [](const inspect::ProcessFacts& process) -> Columns::Cell {
      if (process.id <= 0) return "-";
      if (!process.lives) return {std::to_string(process.id) + " (gone)", eColour::eBad};
      return std::to_string(process.id);
    };
    columns.add({cKinds[i], std::to_string(segment->id), std::to_string(segment->bytes),
                 std::to_string(segment->attachCount), std::to_string(segment->owner),
                 fmt::format("{:04o}", segment->permissions), processText(segment->creator),
                 processText(segment->lastUser), ""});
  }
  return areAny ? "\nSegments\n" + columns.text(style, cIndent) : section("Segments", "none");
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

}  // namespace

bool isOf(const ClientPicture& client, const LIPC::Connection& connection) {
  return connection.source == client.id.c_str() || connection.target == client.id.c_str();
}

std::string clientText(const SessionPicture& session, const ClientPicture& client,
                       bool withDefaults, const Style& style) {
  return headText(client, style) + valuesText(client, session, withDefaults, style) +
         connectionsText(session, client, style) + ringsText(client, style) +
         segmentsText(client, style) + semaphoresText(client);
}

}  // namespace tools
