// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bridges/mqtt/Payload.h"
#include "bridges/mqtt/Topic.h"

namespace mqtt {

/// What a mirror is to have in its row.
struct MirroredRow {
  std::uint32_t type = 0;
  std::string name;  // with the site, and the mark of who is stale
  std::array<float, LIPC::cOfflineParameterCount> parameters{};
  std::array<std::string, LIPC::cStringSlotCount> strings;
};

/// A client of another site, put together from what a broker says of it. Its row names the values
/// that have topics; all others are as nobody has set them.
///
/// It is fresh while the broker is there, the site's session is alive, the client is in it and all
/// of its values have come. What is not fresh keeps what it had.
///
/// Pure. Threads: one.
class RemoteClient {
 public:
  RemoteClient(const std::string& site, std::string id);

  /// What to subscribe to.
  std::vector<std::string> filters() const;
  /// Whether the message is about this client or its site; takes it. Throws BadMessage.
  bool take(const std::string& topic, std::string_view payload);
  /// The broker is gone, and with it all knowledge of who is there.
  void forgetWhoIsThere();

  /// The row as it is known; nothing until it has been known whole once.
  const std::optional<MirroredRow>& row() const { return mWhole; }
  /// How it is, as the rest of a sentence.
  std::string condition() const;

 private:
  void takeTail(const std::string& tail, std::string_view payload);
  void putTogether();
  std::string nameOf(const std::string& name) const;

  const std::string mSite;
  const std::string mID;
  const SiteTopics mTopics;
  bool isWhole() const;

  std::string mSiteState;  // empty: nothing is known of it
  std::optional<RowMessage> mRow;
  std::map<tools::ValuePlace, float> mNumbers;
  std::map<tools::ValuePlace, std::string> mTexts;
  std::string mLastName;
  std::optional<MirroredRow> mWhole;
};

}  // namespace mqtt
