// SPDX-License-Identifier: BSL-1.0
#include "tools/Routing.h"

#include <algorithm>
#include <charconv>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "inspect/PoolReader.h"
#include "tools/Failure.h"
#include "tools/Text.h"

namespace tools {
namespace {

using LIPC::Connection;
using Wire = Connection::Wire;
using inspect::ClientPicture;

/// The channels of "3" or "0-7"; none where it is neither.
struct Channels {
  int first = 0;
  int last = -1;
  bool areNone() const { return last < first; }
};

bool readNumber(std::string_view& text, int& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 0) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

Channels channelsOf(std::string_view text) {
  Channels channels;
  if (!readNumber(text, channels.first)) return {};
  channels.last = channels.first;
  if (!text.empty()) {
    if (text[0] != '-') return {};
    text.remove_prefix(1);
    if (!readNumber(text, channels.last) || !text.empty()) return {};
  }
  return channels;
}

void requireChannels(const Channels& channels, unsigned count, const ClientPicture& client,
                     const char* does) {
  if (static_cast<unsigned>(channels.last) < count) return;
  throw Failure(eExitNoValue, "the client {} {} {}, so that it has no channel {}.",
                printable(client.id), does,
                count == 0   ? std::string("no audio")
                : count == 1 ? std::string("channel 0 alone")
                             : fmt::format("channels 0 to {}", count - 1),
                channels.last);
}

void addWires(std::vector<Wire>& wires, std::string_view part, const ClientPicture& source,
              const ClientPicture& target) {
  const std::size_t colon = std::min(part.find(':'), part.size());
  const Channels from = channelsOf(part.substr(0, colon));
  const Channels to = colon < part.size() ? channelsOf(part.substr(colon + 1)) : Channels{};
  if (from.areNone() || to.areNone() || from.last - from.first != to.last - to.first) {
    throw Failure(eExitUsage,
                  "\"{}\" is no wire. Write a channel of the source and one of the target, or two "
                  "ranges of one length, for example: --wires 0:0,1:1 or --wires 0-7:8-15",
                  printable(part));
  }
  requireChannels(from, source.inputChannels, source, "sends");
  requireChannels(to, target.outputChannels, target, "receives");
  for (int i = 0; i <= from.last - from.first; ++i) {
    const Wire wire{{from.first + i, to.first + i}};
    const bool isTwice = std::any_of(wires.begin(), wires.end(), [&](const Wire& other) {
      return other.channel[0] == wire.channel[0] && other.channel[1] == wire.channel[1];
    });
    if (isTwice)
      throw Failure(eExitUsage, "the wire {}:{} is there twice. Leave one out.", wire.channel[0],
                    wire.channel[1]);
    if (wires.size() == Connection::cWireCount)
      throw Failure(eExitUsage, "a connection has {} wires at the most. Leave some out.",
                    Connection::cWireCount);
    wires.push_back(wire);
  }
}

}  // namespace

std::vector<Wire> wiresOrFail(std::string_view text, const ClientPicture& source,
                              const ClientPicture& target) {
  std::vector<Wire> wires;
  for (;;) {
    const std::size_t comma = std::min(text.find(','), text.size());
    addWires(wires, text.substr(0, comma), source, target);
    if (comma == text.size()) return wires;
    text.remove_prefix(comma + 1);
  }
}

std::vector<Wire> straightWires(const ClientPicture& source, const ClientPicture& target) {
  const unsigned count = std::min(
      {source.inputChannels, target.outputChannels, static_cast<unsigned>(Connection::cWireCount)});
  std::vector<Wire> wires;
  for (unsigned channel = 0; channel < count; ++channel)
    wires.push_back({{static_cast<int>(channel), static_cast<int>(channel)}});
  return wires;
}

void setWires(Connection& connection, const std::vector<Wire>& wires) {
  connection.clearWires();
  for (const Wire& wire : wires)
    connection.addWire(wire.channel[0], wire.channel[1]);
}

bool isWireUsed(const Wire& wire) {
  return wire.channel[0] != Connection::cNoChannel && wire.channel[1] != Connection::cNoChannel;
}

bool hasWires(const Connection& connection) {
  return std::any_of(std::begin(connection.wires), std::end(connection.wires), isWireUsed);
}

std::optional<Connection> connectionOrFail(const inspect::SessionPicture& session,
                                           const std::string& source, const std::string& target) {
  if (!session.connections) {
    throw Failure(session.isPoolDamaged ? eExitDamaged : eExitNotDone,
                  "the session's connections cannot be read: {}. See what is wrong with: lipc "
                  "doctor",
                  printable(session.poolError));
  }
  for (const Connection& connection : *session.connections)
    if (connection.source == source.c_str() && connection.target == target.c_str())
      return connection;
  return std::nullopt;
}

std::optional<Connection> listedConnection(inspect::Source& source, const LIPC::ClientID& from,
                                           const LIPC::ClientID& to) {
  const inspect::PoolPicture pool = inspect::readPool(source);
  if (!pool.connections) return std::nullopt;
  for (const Connection& connection : *pool.connections)
    if (connection.source == from && connection.target == to) return connection;
  return std::nullopt;
}

std::string endsText(const Connection& connection) {
  return printable(connection.source.view()) + " -> " + printable(connection.target.view());
}

std::string routingText(const std::optional<Connection>& connection) {
  if (!connection) return "not connected";
  std::string wires;
  int count = 0;
  for (const Wire& wire : connection->wires) {
    if (!isWireUsed(wire)) continue;
    wires += fmt::format("{}{}:{}", count++ == 0 ? "" : " ", wire.channel[0], wire.channel[1]);
  }
  return fmt::format("{}, {}", connection->disconnectRequested != 0 ? "cut" : "connected",
                     count == 0
                         ? std::string("no wires")
                         : fmt::format("{} wire{} ({})", count, count == 1 ? "" : "s", wires));
}

nlohmann::ordered_json routingJson(const std::optional<Connection>& connection) {
  if (!connection) return nullptr;
  auto wires = nlohmann::ordered_json::array();
  for (const Wire& wire : connection->wires)
    if (isWireUsed(wire)) wires.push_back({wire.channel[0], wire.channel[1]});
  return {{"automatic", connection->isAuto != 0},
          {"disconnected", connection->disconnectRequested != 0},
          {"wires", std::move(wires)}};
}

}  // namespace tools
