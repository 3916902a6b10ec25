// SPDX-License-Identifier: BSL-1.0

// One client as text: who it is, its values and its connections.
#include <algorithm>
#include <map>

#include <fmt/core.h>

#include "inspect/Settings.h"
#include "tools/ClientSections.h"
#include "tools/Columns.h"
#include "tools/Picture.h"
#include "tools/Routing.h"
#include "tools/Text.h"
#include "tools/Value.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::SessionPicture;

constexpr std::size_t cValueColumns = 24;
constexpr std::size_t cRunsALine = 3;

std::string quotedText(std::string_view text) {
  return fmt::format("\"{}\"", printable(text));
}

/// A string of a row; the columns set it off.
std::string textOrNone(std::string_view text) {
  return text.empty() ? "\"\"" : printable(text);
}

std::string whyNoBuffer(const ClientPicture& client) {
  const auto& segment = client.segments[0];
  if (!segment) return "it has no client buffer";
  if (segment->error != 0) return "its client buffer is not for this user";
  return fmt::format("its segment of {} bytes is no client buffer of this ID", segment->bytes);
}

std::string headText(const SessionPicture& session, const ClientPicture& client,
                     const Style& style) {
  std::string text =
      fmt::format("Client      {}  {}\n", style(eColour::eStrong, printable(client.id)),
                  quotedText(client.name));
  text += fmt::format("            row {}, type {}, mode {}, {} in, {} out\n", client.index,
                      typeText(client.type), modeText(client.mode), client.inputChannels,
                      client.outputChannels);
  const Columns::Cell life = lifeCell(client);
  text += "            " + style(*life.colour, life.text);
  text += client.buffer ? ", stamp " + printable(client.buffer->stamp) + "\n"
                        : ": " + whyNoBuffer(client) + "\n";
  if (client.buffer && client.buffer->type != client.type)
    text += fmt::format("            its client buffer has another type: {}\n",
                        typeText(client.buffer->type));
  if (!session.isBeating)
    text += "            " + style(eColour::eBad, "the host's heartbeat stands still") + "\n";
  if (const inspect::ProcessFacts* maker = makerOf(client)) {
    const Columns::Cell command = commandCell(*maker);
    const std::string begin = fmt::format("            made by process {}: ", maker->id);
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
  Columns columns({" No.", "Name", "Value", "Default", "From"});
  std::size_t shown = 0;
  const std::vector<ClientValue> values = valuesOf(client);
  for (const ClientValue& value : values) {
    if (value.isDefault && value.name.empty() && !withDefaults) continue;
    ++shown;
    const bool isText = value.place.isText;
    const std::string now = isText ? textOrNone(value.text) : numberText(value.number);
    const std::string usual =
        isText ? textOrNone(value.defaultText) : numberText(value.defaultNumber);
    const auto source = sources.find(value.place);
    Columns::Cell cell = cut(now, cValueColumns);
    if (!value.isDefault) cell.colour = eColour::eWarning;
    columns.add({fmt::format("{}{}", value.isDefault ? ' ' : '*', placeText(value.place)),
                 value.name, std::move(cell), cut(usual, cValueColumns),
                 source != sources.end() ? source->second : ""});
  }
  if (shown == 0) return section("Values", "all parameters and strings are at their defaults");
  std::string text = "\nValues\n" + columns.text(style, 0);
  if (shown < values.size())
    text += fmt::format("  The other {} are at their defaults.\n", values.size() - shown);
  return text;
}

bool isChannel(std::int32_t channel, unsigned count) {
  return channel >= 0 && static_cast<unsigned>(channel) < count;
}

std::vector<std::string> wireRuns(const LIPC::Connection& connection) {
  struct Run {
    std::int64_t source, target, count;
  };
  std::vector<Run> runs;
  for (const LIPC::Connection::Wire& wire : connection.wires) {
    if (!isWireUsed(wire)) continue;
    const std::int64_t source = wire.channel[0];
    const std::int64_t target = wire.channel[1];
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

/// What the reader should know of a connection besides its wires.
std::string stateOf(const LIPC::Connection& connection, const SessionPicture& session) {
  const ClientPicture* source = session.find(connection.source.text());
  const ClientPicture* target = session.find(connection.target.text());
  std::string state;
  const auto add = [&](bool isSo, const std::string& words) {
    if (isSo) state += (state.empty() ? "" : ", ") + words;
  };
  add(connection.isAuto != 0, "automatic");
  add(connection.disconnectRequested != 0, "disconnected");
  add(source == nullptr, "source absent");
  add(target == nullptr, "target absent");
  const auto beyond = std::count_if(
      std::begin(connection.wires), std::end(connection.wires), [&](const auto& wire) {
        return isWireUsed(wire) &&
               ((source != nullptr && !isChannel(wire.channel[0], source->inputChannels)) ||
                (target != nullptr && !isChannel(wire.channel[1], target->outputChannels)));
      });
  add(beyond != 0, fmt::format("{} without a channel", beyond));
  return state;
}

void addConnection(const LIPC::Connection& connection, const SessionPicture& session,
                   Columns& columns) {
  std::vector<std::string> runs = wireRuns(connection);
  if (runs.empty()) runs.emplace_back(connection.isAuto != 0 ? "channel by channel" : "none");
  for (std::size_t first = 0; first < runs.size(); first += cRunsALine) {
    std::string wires;
    for (std::size_t i = first; i < std::min(first + cRunsALine, runs.size()); ++i)
      wires += (i == first ? "" : ", ") + runs[i];
    if (first == 0) {
      columns.add({printable(connection.source.view()), printable(connection.target.view()),
                   printable(connection.owner.view()), wires, stateOf(connection, session)});
    } else {
      columns.add({"", "", "", wires, ""});
    }
  }
}

std::string connectionsText(const SessionPicture& session, const ClientPicture& client,
                            const Style& style) {
  if (!session.connections)
    return section("Connections", "cannot be read: " + printable(session.poolError));
  Columns columns({"Source", "Target", "Owner", "Wires", "State"});
  bool areAny = false;
  for (const LIPC::Connection& connection : *session.connections) {
    if (!isOf(client, connection)) continue;
    addConnection(connection, session, columns);
    areAny = true;
  }
  return areAny ? "\nConnections\n" + columns.text(style, cSectionIndent)
                : section("Connections", "none");
}

}  // namespace

bool isOf(const ClientPicture& client, const LIPC::Connection& connection) {
  return connection.source == client.id.c_str() || connection.target == client.id.c_str();
}

std::string clientText(const SessionPicture& session, const ClientPicture& client,
                       bool withDefaults, const Style& style) {
  return headText(session, client, style) + valuesText(client, session, withDefaults, style) +
         connectionsText(session, client, style) + ringsText(client, style) +
         segmentsText(client, style) + semaphoresText(client);
}

}  // namespace tools
