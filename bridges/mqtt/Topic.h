// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Value.h"

/// The names under which a session stands on a broker:
///
///     lipc/SITE/host
///     lipc/SITE/events
///     lipc/SITE/clients/ID
///     lipc/SITE/clients/ID/parameters/INDEX
///     lipc/SITE/clients/ID/strings/SLOT
///     lipc/SITE/clients/ID/connections
///
/// SITE and ID are escaped: letters, digits and "-._~@" stand for themselves, each other byte for
/// %XX, in capital letters. So a text has one escaped form, and that one text.
namespace mqtt {

std::string escaped(std::string_view text);
/// Nothing where it is not the escaped form of a text, or that of the empty one.
std::optional<std::string> unescaped(std::string_view level);

/// "parameters/12" or "strings/3"
std::string placeTail(const tools::ValuePlace& place);
/// The place that such a tail names, if it is one that a row has.
std::optional<tools::ValuePlace> placeOfTail(std::string_view tail);

/// The topics of one site.
class SiteTopics {
 public:
  /// `site`: as it is, not escaped.
  explicit SiteTopics(std::string_view site) : mRoot("lipc/" + escaped(site) + "/") {}

  std::string host() const { return mRoot + "host"; }
  std::string events() const { return mRoot + "events"; }
  /// What the bridge sends to itself alone, to learn that it has got all that came before.
  std::string echo() const { return mRoot + "echo"; }
  std::string all() const { return mRoot + "#"; }
  /// What the bridge publishes, as filters; what is to be set is none of it.
  std::vector<std::string> own() const {
    const std::string clients = mRoot + "clients/+";
    return {host(), echo(), clients, clients + "/+", clients + "/+/+"};
  }
  std::string client(std::string_view id) const { return mRoot + "clients/" + escaped(id); }
  std::string value(std::string_view id, const tools::ValuePlace& place) const {
    return client(id) + "/" + placeTail(place);
  }
  std::string connections(std::string_view id) const { return client(id) + "/connections"; }

  /// A topic of a client, taken apart.
  struct OfClient {
    std::string id;    // as it is
    std::string tail;  // behind the ID and its slash; empty: the row itself
  };
  std::optional<OfClient> takeApart(std::string_view topic) const;

 private:
  std::string mRoot;
};

}  // namespace mqtt
