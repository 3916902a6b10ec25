#include <algorithm>

#include <fmt/core.h>

#include "inspect/Settings.h"
#include "tools/Picture.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::SessionPicture;

std::string stampText(const ClientPicture& client) {
  return client.stampAgeSeconds() ? fmt::format("stamp {} s old", *client.stampAgeSeconds())
                                  : std::string("no stamp");
}

std::string settingsText(const ClientPicture& client, const inspect::SettingsFacts& files) {
  std::string text =
      fmt::format("\n      {:<35} {:<20} {:<14} {}\n", "setting", "value", "published as", "from");
  for (const inspect::SettingView& setting : settingsOf(client, files)) {
    const std::string value = setting.isText ? fmt::format("\"{}\"", printable(setting.text))
                                             : numberText(setting.number);
    const std::string place =
        (setting.isText ? "string " : "parameter ") + std::to_string(setting.index);
    text +=
        fmt::format("      {:<35} {:<20} {:<14} {}\n", setting.key, value, place, setting.source);
  }
  return text;
}

std::string rowText(const ClientPicture& client) {
  return fmt::format("  #{:<4} {}  \"{}\"  {}  mode {}  {} in, {} out  {}\n", client.index,
                     printable(client.id), printable(client.name), typeText(client.type),
                     modeText(client.mode), client.inputChannels, client.outputChannels,
                     stampText(client));
}

}  // namespace

std::string sessionText(const SessionPicture& session) {
  std::string text = fmt::format("Host      protocol {}, {} bits, heartbeat {} ({}){}\n",
                                 session.protocolVersion, session.pointerWidthBits,
                                 session.heartbeat, session.isBeating ? "beating" : "stalled",
                                 session.forbidsJoins ? ", forbids joins" : "");
  if (!session.referenceClient.empty()) {
    text += fmt::format("Reference {}\n", printable(session.referenceClient));
  }
  text += fmt::format("Clients   {}\n", session.clients.size());
  for (const ClientPicture& client : session.clients) {
    text += fmt::format("\n{}", rowText(client));
    if (isSettingsClient(client)) text += settingsText(client, session.settings);
  }
  return text;
}

std::string clientText(const SessionPicture& session, const ClientPicture& client) {
  std::string text = rowText(client);
  if (isSettingsClient(client)) text += settingsText(client, session.settings);
  text += "\n      offline parameters that are not 0\n";
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i) {
    const float value = client.parameters[i];
    if (value != 0.0F) text += fmt::format("      {:>3}  {}\n", i, numberText(value));
  }
  text += "\n      strings that are not empty\n";
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot) {
    if (client.strings[slot].empty()) continue;
    text += fmt::format("      {:>3}  \"{}\"\n", slot, printable(client.strings[slot]));
  }
  text += "\n      connections\n";
  if (!session.connections) return text + "      (the connection pool cannot be read)\n";
  for (const LIPC::Connection& connection : *session.connections) {
    if (!(connection.source == client.id.c_str()) && !(connection.target == client.id.c_str())) {
      continue;
    }
    const auto wires = std::count_if(std::begin(connection.wires), std::end(connection.wires),
                                     [](const auto& wire) {
                                       return wire.channel[0] != LIPC::Connection::cNoChannel &&
                                              wire.channel[1] != LIPC::Connection::cNoChannel;
                                     });
    text += fmt::format("      {} -> {}  {} wires{}{}\n", printable(connection.source.view()),
                        printable(connection.target.view()), wires,
                        connection.isAuto != 0 ? ", automatic" : "",
                        connection.disconnectRequested != 0 ? ", disconnected" : "");
  }
  return text;
}

std::string audioText(const std::vector<host::AudioCycle::ClientCounters>& clients) {
  std::string text = fmt::format("{}  audio    {:>10} {:>10} {:>8} {:>8} {:>8}", clockText(),
                                 "blocks in", "answered", "late", "dropped", "overruns");
  for (const auto& [id, counters] : clients) {
    text += fmt::format("\n          {:>19} {:>10} {:>8} {:>8} {:>8}  {}", counters.blocksIn,
                        counters.answered, counters.late, counters.dropped, counters.overruns,
                        printable(id.view()));
  }
  return text;
}

}  // namespace tools
