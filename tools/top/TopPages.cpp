// SPDX-License-Identifier: BSL-1.0

// The pages of a TopView: an opened client, and the help.
#include <algorithm>

#include <fmt/core.h>

#include "inspect/Settings.h"
#include "tools/Terminal.h"
#include "tools/Text.h"
#include "tools/top/TopMeters.h"
#include "tools/top/TopView.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::SessionPicture;

void addState(std::vector<TopLine>& page, const TopRow& row, bool isUTF8) {
  const ClientPicture& client = row.client;
  const auto shown = [&](const std::string& text) {
    return fitted(text, static_cast<int>(columnsOf(text)), isUTF8);
  };
  page.emplace_back(fmt::format("{}  \"{}\"  {}", shown(printable(client.id)),
                                shown(printable(client.name)), typeText(client.type)),
                    eTopStyle::eBold);
  const std::string stamp = client.stampAgeSeconds()
                                ? fmt::format("stamp {} s old", *client.stampAgeSeconds())
                                : "no stamp";
  page.emplace_back(fmt::format("  row {}  {}, {}", client.index, lifeText(row.life), stamp));
  page.emplace_back(fmt::format("  mode {}  {} in, {} out", modeText(client.mode),
                                client.inputChannels, client.outputChannels));
  std::string blocks = fmt::format("  {} blocks/s", rateText(row.blocksPerSecond));
  if (row.blocksWaiting()) blocks += fmt::format("  queue {} of 63", *row.blocksWaiting());
  page.emplace_back(blocks);
  if (row.answers) {
    page.emplace_back(fmt::format("  answers seen {}, missing {}, of these late {}",
                                  row.answers->seen, row.answers->missing, row.answers->late));
  }
}

void addMeters(std::vector<TopLine>& page, const TopRow& row, TopShow show, int width) {
  const std::vector<TopMeter>& meters = row.meters(show.ofReturns);
  page.emplace_back();
  if (meters.empty()) {
    page.emplace_back(show.ofReturns ? "  no channels are returned" : "  no channels are sent",
                      eTopStyle::eDim);
    return;
  }
  const int bar = std::max(width - 15, 1);
  page.emplace_back(
      fmt::format("  {:<12} {}", show.ofReturns ? "returns  dB" : "sends    dB", meterScale(bar)),
      eTopStyle::eDim);
  for (std::size_t channel = 0; channel < meters.size(); ++channel) {
    TopLine line(fmt::format("  {:>5} {:>6} ", channel, dBText(meters[channel].heldDB)));
    page.push_back(line.add(meterBar(meters[channel], bar, show.isUTF8)));
  }
}

void addParameters(std::vector<TopLine>& page, const ClientPicture& client) {
  page.emplace_back();
  page.emplace_back("  offline parameters that are not 0", eTopStyle::eDim);
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i) {
    if (client.parameters[i] == 0.0F) continue;
    const std::string key = inspect::settingKey(client.type, false, static_cast<int>(i));
    page.emplace_back(fmt::format("  {:>5}  {:<20} {}", i, numberText(client.parameters[i]), key));
  }
}

void addConnections(std::vector<TopLine>& page, const ClientPicture& client,
                    const SessionPicture& session, bool isUTF8) {
  page.emplace_back();
  page.emplace_back("  connections", eTopStyle::eDim);
  if (!session.connections) {
    page.emplace_back(session.poolError.empty() ? std::string("  (not read yet)")
                                                : "  (the connection pool cannot be read: " +
                                                      printable(session.poolError) + ")");
    return;
  }
  for (const LIPC::Connection& connection : *session.connections) {
    if (!(connection.source == client.id.c_str()) && !(connection.target == client.id.c_str()))
      continue;
    const auto wires = std::count_if(std::begin(connection.wires), std::end(connection.wires),
                                     [](const auto& wire) {
                                       return wire.channel[0] != LIPC::Connection::cNoChannel &&
                                              wire.channel[1] != LIPC::Connection::cNoChannel;
                                     });
    const std::string text = fmt::format(
        "  {} -> {}  {} wires{}{}", printable(connection.source.view()),
        printable(connection.target.view()), wires, connection.isAuto != 0 ? ", automatic" : "",
        connection.disconnectRequested != 0 ? ", disconnected" : "");
    page.emplace_back(fitted(text, static_cast<int>(columnsOf(text)), isUTF8));
  }
}

}  // namespace

std::vector<TopLine> clientPage(const TopRow& row, const SessionPicture& session, TopShow show,
                                int width) {
  std::vector<TopLine> page;
  addState(page, row, show.isUTF8);
  addMeters(page, row, show, width);
  addParameters(page, row.client);
  addConnections(page, row.client, session, show.isUTF8);
  return page;
}

std::vector<TopLine> helpPage() {
  const char* const lines[] = {
      "Up Down PgUp PgDn Home End  choose a client, or move in a page",
      "Enter   open the client           Esc  back",
      "s       sort by the next column   S    the other way round",
      "r       levels of the returns, or of the sends",
      "p       pause, or go on           h ?  this help",
      "q       quit",
      "",
      "LIFE    by the client's stamp; gone: left within the last 5 seconds",
      "BLK/S   blocks a second that the client sends",
      "/63     blocks that wait for the host, of the 63 that may",
      "MISS    answers that were not there when the client looked,",
      "LATE    and of these, that came later; of those that top saw",
      "PEAK    highest level in dB, held for 1.5 s",
      "bars    -60 to 0 dB, peak of a block, with a mark at the held level;",
      "        yellow from -9 dB, red from -3 dB",
  };
  return {std::begin(lines), std::end(lines)};
}

}  // namespace tools
