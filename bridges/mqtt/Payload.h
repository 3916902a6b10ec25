// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/Picture.h"
#include "tools/Value.h"

/// What the topics hold: the JSON of lipc's own --json, without what changes by itself (ages,
/// heartbeats), and with what a reader needs to have it exact.
namespace mqtt {

/// Why a message of somebody else is not taken: part of a sentence.
class BadMessage final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `state`: "alive", "stalled", "none", "unreadable"; "gone" by the broker's will.
std::string hostPayload(const std::string& state, const inspect::SessionPicture& session);
std::string hostStateOf(std::string_view payload);

/// `published`: the values that have topics.
std::string rowPayload(const inspect::ClientPicture& client,
                       const std::set<tools::ValuePlace>& published);

/// What a reader needs of a row's payload.
struct RowMessage {
  std::uint32_t type = 0;
  std::string name;
  bool isAlive = false;
  std::set<tools::ValuePlace> published;
};
RowMessage readRow(std::string_view payload);

std::string valuePayload(const tools::ClientValue& value);
/// A value as its topic holds it. Throws BadMessage.
float readNumber(std::string_view payload);
std::string readText(std::string_view payload);

/// What a `set` topic wants: a bare number or text, or JSON. Throws BadMessage with all that a row
/// cannot have: what is no finite float; what is no UTF-8, has a NUL in it or more than 127 bytes.
float wantedNumber(std::string_view payload);
std::string wantedText(std::string_view payload);

/// The payload of each client's connections; those of who has none are "[]".
std::map<std::string, std::string> connectionPayloads(
    const std::vector<LIPC::Connection>& connections);

}  // namespace mqtt
