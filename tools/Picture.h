// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "host/AudioCycle.h"
#include "inspect/Event.h"
#include "inspect/Picture.h"
#include "tools/Columns.h"

/// The session and its events as text and as JSON.
namespace tools {

std::string sessionText(const inspect::SessionPicture& session, const Style& style = {});
nlohmann::ordered_json sessionJson(const inspect::SessionPicture& session);

/// One client with everything that is known of it. `withDefaults`: also the values that are as
/// nobody has changed them.
std::string clientText(const inspect::SessionPicture& session, const inspect::ClientPicture& client,
                       bool withDefaults, const Style& style = {});
nlohmann::ordered_json clientJson(const inspect::SessionPicture& session,
                                  const inspect::ClientPicture& client);

/// One line, without its line feed: the local time and `eventWords`.
std::string eventText(const inspect::Event& event);
/// What happened: a word and the rest.
std::string eventWords(const inspect::Event& event);
nlohmann::ordered_json eventJson(const inspect::Event& event);

/// What became of each client's blocks since it joined; lines without the last line feed.
std::string audioText(const std::vector<host::AudioCycle::ClientCounters>& clients);
nlohmann::ordered_json audioJson(const std::vector<host::AudioCycle::ClientCounters>& clients);

/// "alive", "stale" or "unknown"
const char* lifeName(inspect::eLife life);
/// A client's life with the age of its stamp: "alive 0 s".
Columns::Cell lifeCell(const inspect::ClientPicture& client);
/// A process by its command, or what became of it.
Columns::Cell commandCell(const inspect::ProcessFacts& process);
/// The process that made a client's segments; none where nothing is known of them.
const inspect::ProcessFacts* makerOf(const inspect::ClientPicture& client);
nlohmann::ordered_json processJson(const inspect::ProcessFacts* process);
/// Whether a connection begins or ends at a client.
bool isOf(const inspect::ClientPicture& client, const LIPC::Connection& connection);
nlohmann::ordered_json connectionJson(const LIPC::Connection& connection);
/// The keys that a client has in every object.
nlohmann::ordered_json rowJson(const inspect::ClientPicture& client,
                               const inspect::SessionPicture& session);

/// `indent` spaces a level; -1: one line. Bytes that are no UTF-8 are replaced, numbers that are
/// none are null.
std::string dump(const nlohmann::ordered_json& json, int indent);

}  // namespace tools
