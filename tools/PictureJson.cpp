#include <nlohmann/json.hpp>

#include "inspect/Settings.h"
#include "tools/Picture.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::SessionPicture;
using json = nlohmann::ordered_json;

json settingsJson(const ClientPicture& client, const inspect::SettingsFacts& files) {
  json settings = json::object();
  for (const inspect::SettingView& setting : settingsOf(client, files)) {
    json value = json::object();
    if (setting.isText) {
      value["value"] = setting.text;
      value["string"] = setting.index;
    } else {
      value["value"] = setting.number;
      value["parameter"] = setting.index;
    }
    value["source"] = setting.source;
    settings[setting.key] = std::move(value);
  }
  return settings;
}

json rowJson(const ClientPicture& client, const SessionPicture& session) {
  json row = {{"index", client.index},
              {"id", client.id},
              {"name", client.name},
              {"type", typeText(client.type)},
              {"mode", client.mode},
              {"inputChannels", client.inputChannels},
              {"outputChannels", client.outputChannels},
              {"stampAgeSeconds", nullptr}};
  if (const auto age = client.stampAgeSeconds()) row["stampAgeSeconds"] = *age;
  if (isSettingsClient(client)) row["settings"] = settingsJson(client, session.settings);
  return row;
}

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

}  // namespace

json sessionJson(const SessionPicture& session) {
  json host = {
      {"protocol", session.protocolVersion},  {"pointerWidthBits", session.pointerWidthBits},
      {"heartbeat", session.heartbeat},       {"beating", session.isBeating},
      {"forbidsJoins", session.forbidsJoins}, {"referenceClient", session.referenceClient}};
  json clients = json::array();
  for (const ClientPicture& client : session.clients)
    clients.push_back(rowJson(client, session));
  return {{"host", std::move(host)}, {"clients", std::move(clients)}};
}

json clientJson(const SessionPicture& session, const ClientPicture& client) {
  json result = rowJson(client, session);
  result["parameters"] = client.parameters;
  result["strings"] = client.strings;
  result["connections"] = nullptr;
  if (!session.connections) return result;
  result["connections"] = json::array();
  for (const LIPC::Connection& connection : *session.connections) {
    if (connection.source == client.id.c_str() || connection.target == client.id.c_str()) {
      result["connections"].push_back(connectionJson(connection));
    }
  }
  return result;
}

json audioJson(const std::vector<host::AudioCycle::ClientCounters>& clients) {
  json rows = json::array();
  for (const auto& [id, counters] : clients) {
    rows.push_back({{"id", id.text()},
                    {"blocksIn", counters.blocksIn},
                    {"answered", counters.answered},
                    {"late", counters.late},
                    {"dropped", counters.dropped},
                    {"overruns", counters.overruns}});
  }
  return {{"event", "audio"}, {"clients", rows}};
}

std::string dump(const json& value, int indent) {
  return value.dump(indent, ' ', false, json::error_handler_t::replace);
}

}  // namespace tools
