// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopJson.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "tools/Text.h"
#include "tools/top/TopTable.h"

namespace tools {
namespace {

using inspect::SessionPicture;
using nlohmann::ordered_json;

const char* stateText(const TopModel& model) {
  switch (model.session().state) {
    case SessionPicture::eNone:
      return "none";
    case SessionPicture::eNoPermission:
      return "no permission";
    case SessionPicture::eTooSmall:
    case SessionPicture::eOverwritten:
      return "damaged";
    case SessionPicture::eForeign:
      return "other version";
    case SessionPicture::eRead:
      break;
  }
  return model.isHostStalled() ? "stalled" : "beating";
}

ordered_json rounded(double value, double steps) {
  if (!std::isfinite(value)) return nullptr;
  return std::round(value * steps) / steps;
}

ordered_json topMetersJson(const std::vector<TopMeter>& meters) {
  ordered_json all = ordered_json::array();
  for (const TopMeter& meter : meters)
    all.push_back({{"dB", rounded(meter.dB, 100)}, {"heldDB", rounded(meter.heldDB, 100)}});
  return all;
}

ordered_json rowJson(const TopRow& row) {
  const inspect::ClientPicture& client = row.client;
  ordered_json json{{"index", client.index},
                    {"id", client.id},
                    {"name", client.name},
                    {"type", typeText(client.type)},
                    {"life", lifeText(row.life)},
                    {"blocksPerSecond", nullptr},
                    {"blocksWaiting", nullptr},
                    {"answers", nullptr},
                    {"send", topMetersJson(row.send)},
                    {"return", topMetersJson(row.answer)}};
  if (row.blocksPerSecond) json["blocksPerSecond"] = rounded(*row.blocksPerSecond, 10);
  if (row.blocksWaiting()) json["blocksWaiting"] = *row.blocksWaiting();
  if (row.answers) {
    json["answers"] = {{"seen", row.answers->seen},
                       {"missing", row.answers->missing},
                       {"late", row.answers->late}};
  }
  return json;
}

}  // namespace

ordered_json topJson(const TopModel& model) {
  ordered_json json{{"format", "lipc-top"},
                    {"version", 1},
                    {"time", model.session().time},
                    {"host", stateText(model)},
                    {"heartbeat", model.session().heartbeat},
                    {"clients", ordered_json::array()}};
  for (const TopRow& row : model.rows())
    json["clients"].push_back(rowJson(row));
  return json;
}

}  // namespace tools
