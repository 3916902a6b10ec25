// SPDX-License-Identifier: BSL-1.0
#include <nlohmann/json.hpp>

#include "inspect/Rings.h"
#include "tools/Picture.h"
#include "tools/Text.h"
#include "tools/Value.h"

namespace tools {

using json = nlohmann::ordered_json;

json valueJson(const ClientValue& value) {
  json result = {{"what", placeText(value.place)}, {"name", value.name}};
  if (value.place.isText) {
    result["value"] = value.text;
    result["default"] = value.defaultText;
  } else {
    result["value"] = value.number;
    result["default"] = value.defaultNumber;
  }
  result["differs"] = !value.isDefault;
  return result;
}

namespace {

using inspect::ClientPicture;
using inspect::RingPicture;
using inspect::SessionPicture;

json valuesJson(const ClientPicture& client) {
  json values = json::array();
  for (const ClientValue& value : valuesOf(client)) {
    if (value.isDefault && value.name.empty()) continue;
    values.push_back(valueJson(value));
  }
  return values;
}

json sliceJson(const inspect::SlicePicture& slice, int age) {
  return {{"age", age},
          {"timeStamp", slice.timeStamp},
          {"sampleCount", slice.sampleCount},
          {"ready", slice.isReady},
          {"clientID", slice.clientID}};
}

json ringJson(const std::optional<RingPicture>& ring, bool isSend) {
  if (!ring) return nullptr;
  json slices = json::array();
  for (int age = 0; age < LIPC::SHMSlices::cSliceCount; ++age) {
    json slice = sliceJson(ring->behind(age), age);
    if (isSend) {
      slice["step"] = inspect::stepName(inspect::stepBefore(*ring, age).kind);
      slice["missedBlocks"] = inspect::stepBefore(*ring, age).missedBlocks;
    } else {
      slice["missed"] = inspect::isMissed(*ring, age);
    }
    slices.push_back(std::move(slice));
  }
  return {{"channels", ring->channels}, {"slices", std::move(slices)}};
}

json segmentJson(const std::optional<inspect::SegmentFacts>& segment) {
  if (!segment) return nullptr;
  json result = {{"name", segment->name}, {"id", segment->id}, {"error", segment->error}};
  if (segment->error != 0) return result;
  result["bytes"] = segment->bytes;
  result["attachCount"] = segment->attachCount;
  result["owner"] = segment->owner;
  result["permissions"] = segment->permissions;
  result["lastAttached"] = segment->lastAttached;
  result["lastDetached"] = segment->lastDetached;
  result["creator"] = processJson(&segment->creator);
  result["lastUser"] = processJson(&segment->lastUser);
  return result;
}

json bufferJson(const ClientPicture& client) {
  if (!client.buffer) return nullptr;
  return {{"stamp", client.buffer->stamp},
          {"type", typeText(client.buffer->type)},
          {"mode", client.buffer->mode},
          {"blocksWaiting", client.buffer->blocksWaiting},
          {"mustDisconnectSemaphore", client.buffer->mustDisconnectSemaphore},
          {"keepAliveSemaphore", client.buffer->keepAliveSemaphore}};
}

}  // namespace

json connectionJson(const LIPC::Connection& connection) {
  json wires = json::array();
  for (const LIPC::Connection::Wire& wire : connection.wires) {
    if (wire.channel[0] != LIPC::Connection::cNoChannel &&
        wire.channel[1] != LIPC::Connection::cNoChannel) {
      wires.push_back({wire.channel[0], wire.channel[1]});
    }
  }
  return {{"source", connection.source.text()},
          {"target", connection.target.text()},
          {"owner", connection.owner.text()},
          {"automatic", connection.isAuto != 0},
          {"disconnected", connection.disconnectRequested != 0},
          {"wires", std::move(wires)}};
}

json clientJson(const SessionPicture& session, const ClientPicture& client) {
  json result = {{"format", "lipc-show"}, {"version", 1}};
  result.update(rowJson(client, session));
  result["hostBeating"] = session.isBeating;
  result["parameters"] = client.parameters;
  result["strings"] = client.strings;
  result["values"] = valuesJson(client);
  result["connections"] = nullptr;
  if (session.connections) {
    result["connections"] = json::array();
    for (const LIPC::Connection& connection : *session.connections)
      if (isOf(client, connection)) result["connections"].push_back(connectionJson(connection));
  }
  result["connectionsError"] = session.poolError;
  result["buffer"] = bufferJson(client);
  result["rings"] = {{"send", ringJson(client.send, true)},
                     {"return", ringJson(client.answer, false)}};
  json& segments = result["segments"] = json::array();
  for (const auto& segment : client.segments)
    segments.push_back(segmentJson(segment));
  return result;
}

}  // namespace tools
