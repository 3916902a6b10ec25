// SPDX-License-Identifier: BSL-1.0
#include <map>

#include <fmt/core.h>

#include "inspect/Settings.h"
#include "tools/Picture.h"
#include "tools/Text.h"
#include "tools/Value.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::SessionPicture;

constexpr std::size_t cSettingColumns = 32;

/// The processes that made the session's segments, each with the rows of its clients.
class Makers {
 public:
  explicit Makers(const SessionPicture& session) {
    if (session.table) add(session.table->creator).isHost = true;
    for (const ClientPicture& client : session.clients) {
      const inspect::ProcessFacts* maker = makerOf(client);
      if (maker != nullptr) add(*maker).rows.push_back(client.index);
    }
  }

  std::string text(const Style& style) const {
    Columns columns({">Process", "Rows", "~Command"});
    for (const auto& [id, maker] : mMakers) {
      std::string rows = rangesText(maker.rows);
      if (maker.isHost) rows = rows.empty() ? "host" : fmt::format("host, {}", rows);
      columns.add({std::to_string(id), cut(rows, cRowsColumns), commandCell(maker.process)});
    }
    return mMakers.empty() ? "" : fmt::format("\n{}", columns.text(style, 0));
  }

 private:
  struct Maker {
    inspect::ProcessFacts process;
    bool isHost = false;
    std::vector<int> rows;
  };

  static constexpr std::size_t cRowsColumns = 20;

  Maker& add(const inspect::ProcessFacts& process) {
    Maker& maker = mMakers[process.id];
    maker.process = process;
    return maker;
  }

  std::map<std::int64_t, Maker> mMakers;
};

std::string settingsText(const ClientPicture& client, const inspect::SettingsFacts& files,
                         const Style& style) {
  Columns columns({"Setting", "Value", "No.", "From"});
  for (const inspect::SettingView& setting : settingsOf(client, files)) {
    const std::string value = setting.isText ? fmt::format("\"{}\"", printable(setting.text))
                                             : numberText(setting.number);
    const ValuePlace place{setting.isText, static_cast<unsigned>(setting.index)};
    columns.add({setting.key, cut(value, cSettingColumns), placeText(place), setting.source});
  }
  return fmt::format("\nSettings of {}\n", printable(client.id)) + columns.text(style, 2);
}

std::string clientsText(const SessionPicture& session, const Style& style) {
  Columns columns({">Row", "~ID", "~Name", "Type", "Mode", ">In", ">Out", "Life", ">Process"});
  for (const ClientPicture& client : session.clients) {
    const inspect::ProcessFacts* maker = makerOf(client);
    columns.add({std::to_string(client.index), printable(client.id), printable(client.name),
                 typeText(client.type), modeLetters(client.mode),
                 std::to_string(client.inputChannels), std::to_string(client.outputChannels),
                 lifeCell(client), maker != nullptr ? std::to_string(maker->id) : "-"});
  }
  return session.clients.empty() ? "" : fmt::format("\n{}", columns.text(style, 0));
}

}  // namespace

const char* lifeName(inspect::eLife life) {
  switch (life) {
    case inspect::eLife::eAlive:
      return "alive";
    case inspect::eLife::eStale:
      return "stale";
    case inspect::eLife::eUnknown:
      break;
  }
  return "unknown";
}

Columns::Cell lifeCell(const ClientPicture& client) {
  const auto age = client.stampAgeSeconds();
  return {lifeName(client.life) + (age ? fmt::format(" {}", ageText(*age)) : std::string()),
          client.life == inspect::eLife::eAlive   ? eColour::eGood
          : client.life == inspect::eLife::eStale ? eColour::eBad
                                                  : eColour::eWarning};
}

Columns::Cell commandCell(const inspect::ProcessFacts& process) {
  if (process.id <= 0) return {"(unknown)", eColour::eWarning};
  if (!process.lives) return {"(gone)", eColour::eBad};
  if (process.isStopped) return {"(stopped) " + printable(process.command), eColour::eWarning};
  return printable(process.command);
}

const inspect::ProcessFacts* makerOf(const ClientPicture& client) {
  for (const auto& segment : client.segments)
    if (segment && segment->creator.id > 0) return &segment->creator;
  return nullptr;
}

std::string sessionText(const SessionPicture& session, const Style& style) {
  const std::string beating =
      session.isBeating ? style(eColour::eGood, "beating") : style(eColour::eBad, "stalled");
  std::string text =
      fmt::format("Host      protocol {}, {} bits, heartbeat {} ({}){}{}\n",
                  session.protocolVersion, session.pointerWidthBits, session.heartbeat, beating,
                  session.table && session.table->creator.id > 0
                      ? fmt::format(", process {}", session.table->creator.id)
                      : "",
                  session.forbidsJoins ? "\n          forbids joins" : "");
  if (!session.referenceClient.empty())
    text += fmt::format("Reference {}\n", printable(session.referenceClient));
  text += fmt::format("Clients   {}\n", session.clients.size());
  text += clientsText(session, style) + Makers(session).text(style);
  for (const ClientPicture& client : session.clients)
    if (isSettingsClient(client)) text += settingsText(client, session.settings, style);
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
