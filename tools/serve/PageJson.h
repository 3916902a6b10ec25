// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "inspect/Event.h"
#include "inspect/Picture.h"
#include "tools/top/TopModel.h"

/// What lipc serve tells its readers, as JSON; docs/lipc-serve.md describes it. All texts in it are
/// printable (Text.h), so that a page may show them as they are.
namespace tools {

/// A session as it was at one look.
struct PagePicture {
  enum eState { eNone, eUnreadable, eAlive, eStalled, eFrozen };

  eState state = eNone;
  bool isThorough = false;          // with what is known of the clients' segments
  std::string sentence;             // why there is nothing to see, or which snapshot this is
  inspect::SessionPicture session;  // without its clients
  std::vector<TopRow> rows;
  int graph = 0;  // number of its drawing
};

/// All but the clients.
nlohmann::ordered_json pageSession(const PagePicture& picture);
/// Of one client what changes rarely, and what changes all the time.
nlohmann::ordered_json pageClient(const TopRow& row);
nlohmann::ordered_json pageLevels(const PagePicture& picture);
/// With the local time.
nlohmann::ordered_json pageEvent(const inspect::Event& event);
/// Everything about one client.
nlohmann::ordered_json pageDetails(const PagePicture& picture, const TopRow& row);
/// Everything.
nlohmann::ordered_json pageWhole(const PagePicture& picture);

/// The session with the clients that are in it.
inspect::SessionPicture withClients(const PagePicture& picture);

/// Tells a client's row from all others, those of gone clients among them.
std::string pageKey(const TopRow& row);
const TopRow* findRow(const PagePicture& picture, const std::string& key);

}  // namespace tools
