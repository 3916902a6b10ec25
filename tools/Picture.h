#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "host/AudioCycle.h"
#include "inspect/Event.h"
#include "inspect/Picture.h"

/// The session and its events as text and as JSON.
namespace tools {

std::string sessionText(const inspect::SessionPicture& session);
nlohmann::ordered_json sessionJson(const inspect::SessionPicture& session);

/// One client with everything its row holds, and its connections.
std::string clientText(const inspect::SessionPicture& session,
                       const inspect::ClientPicture& client);
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

/// `indent` spaces a level; -1: one line. Bytes that are no UTF-8 are replaced, numbers that are
/// none are null.
std::string dump(const nlohmann::ordered_json& json, int indent);

}  // namespace tools
