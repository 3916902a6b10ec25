// SPDX-License-Identifier: BSL-1.0
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

}  // namespace

json processJson(const inspect::ProcessFacts* process) {
  if (process == nullptr || process->id <= 0) return nullptr;
  return {{"id", process->id},
          {"lives", process->lives},
          {"stopped", process->isStopped},
          {"command", process->command}};
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
  row["life"] = lifeName(client.life);
  row["process"] = processJson(makerOf(client));
  if (isSettingsClient(client)) row["settings"] = settingsJson(client, session.settings);
  return row;
}

json sessionJson(const SessionPicture& session) {
  json host = {{"protocol", session.protocolVersion},
               {"pointerWidthBits", session.pointerWidthBits},
               {"heartbeat", session.heartbeat},
               {"beating", session.isBeating},
               {"forbidsJoins", session.forbidsJoins},
               {"referenceClient", session.referenceClient},
               {"process", processJson(session.table ? &session.table->creator : nullptr)}};
  json clients = json::array();
  for (const ClientPicture& client : session.clients)
    clients.push_back(rowJson(client, session));
  return {{"format", "lipc-ls"},
          {"version", 1},
          {"host", std::move(host)},
          {"clients", std::move(clients)}};
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
  return printableJson(value.dump(indent, ' ', false, json::error_handler_t::replace));
}

}  // namespace tools
