// SPDX-License-Identifier: BSL-1.0

// Events as text and as JSON.
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "inspect/Settings.h"
#include "tools/Picture.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::Event;
using Kind = inspect::Event::eKind;
using json = nlohmann::ordered_json;

std::string keyOf(const Event& event) {
  return inspect::settingKey(event.type, event.kind == Kind::eStringChanged,
                             static_cast<int>(event.slot));
}

std::string slotName(const Event& event) {
  const bool isText = event.kind == Kind::eStringChanged;
  const std::string place = fmt::format("{} {}", isText ? "string" : "parameter", event.slot);
  const std::string key = keyOf(event);
  return key.empty() ? place : place + " (" + key + ")";
}

/// "0>0 1>1", or "no wires".
std::string wiresText(const Event::Wires& wires) {
  std::string text;
  for (const auto& [source, target] : wires)
    text += fmt::format("{}{}>{}", text.empty() ? "" : " ", source, target);
  return text.empty() ? "no wires" : text;
}

std::string clientWords(const Event& event) {
  const std::string who = fmt::format("#{} {}", event.index, printable(event.id));
  switch (event.kind) {
    case Kind::ePresent:
      return fmt::format("present  {}  \"{}\"  {}  {} in, {} out", who, printable(event.name),
                         typeText(event.type), event.inputChannels, event.outputChannels);
    case Kind::eJoined:
      return fmt::format("joined   {}  \"{}\"  {}", who, printable(event.name),
                         typeText(event.type));
    case Kind::eLeft:
      return fmt::format("left     {}{}{}", who, event.textAfter.empty() ? "" : "  ",
                         event.textAfter);
    case Kind::eLost:
      return fmt::format("lost     {}  {}", who,
                         event.textAfter.empty() ? "stopped refreshing its stamp; its row was freed"
                                                 : event.textAfter);
    case Kind::eStampBack:
      return fmt::format("back     {}  it refreshes its stamp again", who);
    case Kind::eRenamed:
      return fmt::format("renamed  {}  \"{}\" -> \"{}\"", who, printable(event.textBefore),
                         printable(event.textAfter));
    case Kind::eParameterChanged:
      return fmt::format("changed  {}  {}  {} -> {}", who, slotName(event),
                         numberText(event.before), numberText(event.after));
    default:
      return fmt::format("changed  {}  {}  \"{}\" -> \"{}\"", who, slotName(event),
                         printable(event.textBefore), printable(event.textAfter));
  }
}

std::string connectionWords(const Event& event) {
  const std::string ends = fmt::format("{} -> {}", printable(event.id), printable(event.target));
  const char* automatic = event.isAuto ? "  automatic" : "";
  switch (event.kind) {
    case Kind::eConnectionPresent:
      return fmt::format("present  {}  {}{}", ends, wiresText(event.wires), automatic);
    case Kind::eConnected:
      return fmt::format("linked   {}  {}{}", ends, wiresText(event.wires), automatic);
    case Kind::eDisconnected:
      return fmt::format("cut      {}", ends);
    default:
      return fmt::format("rewired  {}  {} -> {}", ends, wiresText(event.wiresBefore),
                         wiresText(event.wires));
  }
}

/// The name in JSON.
const char* kindName(Kind kind) {
  switch (kind) {
    case Kind::ePresent:
      return "present";
    case Kind::eJoined:
      return "joined";
    case Kind::eLeft:
      return "left";
    case Kind::eLost:
      return "lost";
    case Kind::eStampBack:
      return "back";
    case Kind::eRenamed:
      return "renamed";
    case Kind::eParameterChanged:
    case Kind::eStringChanged:
      return "changed";
    case Kind::eConnectionPresent:
      return "connection";
    case Kind::eConnected:
      return "connected";
    case Kind::eDisconnected:
      return "disconnected";
    case Kind::eWiresChanged:
      return "wiresChanged";
    case Kind::eSessionThere:
      return "sessionThere";
    case Kind::eSessionGone:
      return "sessionGone";
    case Kind::eHeartbeatLost:
      return "heartbeatLost";
    case Kind::eHeartbeatBack:
      return "heartbeatBack";
    case Kind::eHostChanged:
      return "hostChanged";
    case Kind::ePoolUnreadable:
      return "poolUnreadable";
    case Kind::ePoolReadable:
      return "poolReadable";
    case Kind::eNote:
      break;
  }
  return "note";
}

void addClient(const Event& event, json& result) {
  result["index"] = event.index;
  result["id"] = event.id;
  result["name"] = event.name;
  result["type"] = typeText(event.type);
  switch (event.kind) {
    case Kind::ePresent:
      result["inputChannels"] = event.inputChannels;
      result["outputChannels"] = event.outputChannels;
      return;
    case Kind::eParameterChanged:
      result["parameter"] = event.slot;
      if (const std::string key = keyOf(event); !key.empty()) result["key"] = key;
      result["before"] = event.before;
      result["after"] = event.after;
      return;
    case Kind::eStringChanged:
      result["string"] = event.slot;
      if (const std::string key = keyOf(event); !key.empty()) result["key"] = key;
      [[fallthrough]];
    case Kind::eRenamed:
      result["before"] = event.textBefore;
      result["after"] = event.textAfter;
      return;
    default:
      if (!event.textAfter.empty()) result["text"] = event.textAfter;
  }
}

void addConnection(const Event& event, json& result) {
  result["source"] = event.id;
  result["target"] = event.target;
  if (event.kind == Kind::eDisconnected) return;
  result["automatic"] = event.isAuto;
  if (event.kind == Kind::eWiresChanged) result["before"] = event.wiresBefore;
  result[event.kind == Kind::eWiresChanged ? "after" : "wires"] = event.wires;
}

}  // namespace

std::string eventWords(const Event& event) {
  switch (event.kind) {
    case Kind::ePresent:
    case Kind::eJoined:
    case Kind::eLeft:
    case Kind::eLost:
    case Kind::eStampBack:
    case Kind::eRenamed:
    case Kind::eParameterChanged:
    case Kind::eStringChanged:
      return clientWords(event);
    case Kind::eConnectionPresent:
    case Kind::eConnected:
    case Kind::eDisconnected:
    case Kind::eWiresChanged:
      return connectionWords(event);
    case Kind::eSessionThere:
      return fmt::format("session  it is there, heartbeat {}", event.heartbeat);
    case Kind::eSessionGone:
      return fmt::format("session  it is gone{}{}", event.textAfter.empty() ? "" : "; ",
                         event.textAfter);
    case Kind::eHeartbeatLost:
      return fmt::format("host     lost its heartbeat, which stands still at {}", event.heartbeat);
    case Kind::eHeartbeatBack:
      return fmt::format("host     its heartbeat is back, at {}", event.heartbeat);
    case Kind::eHostChanged:
      return fmt::format("host     another one, or started again: heartbeat {} -> {}",
                         event.heartbeatBefore, event.heartbeat);
    case Kind::ePoolUnreadable:
      return "pool     connections cannot be read: " + printable(event.textAfter);
    case Kind::ePoolReadable:
      return "pool     connections can be read again";
    case Kind::eNote:
      break;
  }
  return "note     " + printable(event.textAfter);
}

std::string eventText(const Event& event) {
  return clockText() + "  " + eventWords(event);
}

json eventJson(const Event& event) {
  json result = {{"event", kindName(event.kind)}};
  switch (event.kind) {
    case Kind::ePresent:
    case Kind::eJoined:
    case Kind::eLeft:
    case Kind::eLost:
    case Kind::eStampBack:
    case Kind::eRenamed:
    case Kind::eParameterChanged:
    case Kind::eStringChanged:
      addClient(event, result);
      break;
    case Kind::eConnectionPresent:
    case Kind::eConnected:
    case Kind::eDisconnected:
    case Kind::eWiresChanged:
      addConnection(event, result);
      break;
    case Kind::eHostChanged:
      result["heartbeatBefore"] = event.heartbeatBefore;
      [[fallthrough]];
    case Kind::eSessionThere:
    case Kind::eHeartbeatLost:
    case Kind::eHeartbeatBack:
      result["heartbeat"] = event.heartbeat;
      break;
    case Kind::eSessionGone:
    case Kind::ePoolUnreadable:
      if (!event.textAfter.empty()) result["text"] = event.textAfter;
      break;
    case Kind::ePoolReadable:
      break;
    case Kind::eNote:
      result["text"] = event.textAfter;
      break;
  }
  return result;
}

}  // namespace tools
