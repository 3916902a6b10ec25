// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/PortConnections.h"

#include <algorithm>
#include <cerrno>
#include <memory>

namespace jack_bridge {
namespace {

struct Free {
  void operator()(const char** names) const { jack_free(names); }
};
using Names = std::unique_ptr<const char*[], Free>;

void add(std::vector<std::pair<std::string, std::string>>& pairs, const char* from,
         const char* to) {
  const std::pair<std::string, std::string> pair(from, to);
  if (std::find(pairs.begin(), pairs.end(), pair) == pairs.end()) pairs.push_back(pair);
}

/// Calls each(own, other) for every connection of these ports.
template <class Each>
void forEach(jack_client_t* client, const std::vector<jack_port_t*>& ports, Each each) {
  for (jack_port_t* const port : ports) {
    const Names others(jack_port_get_all_connections(client, port));
    for (int i = 0; others && others[i] != nullptr; ++i)
      each(jack_port_name(port), others[i]);
  }
}

}  // namespace

void PortConnections::begin() {
  for (const auto& [from, to] : mRemembered)
    add(mWanted, from.c_str(), to.c_str());
}

void PortConnections::wantPhysical(jack_client_t* client, const std::vector<jack_port_t*>& inputs,
                                   const std::vector<jack_port_t*>& outputs) {
  const auto physical = [&](unsigned long direction) {
    return Names(
        jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | direction));
  };
  const Names captures = physical(JackPortIsOutput), playbacks = physical(JackPortIsInput);
  for (std::size_t i = 0; captures && i < inputs.size() && captures[i] != nullptr; ++i)
    add(mWanted, captures[i], jack_port_name(inputs[i]));
  for (std::size_t i = 0; playbacks && i < outputs.size() && playbacks[i] != nullptr; ++i)
    add(mWanted, jack_port_name(outputs[i]), playbacks[i]);
}

void PortConnections::restore(jack_client_t* client) {
  std::erase_if(mWanted, [&](const auto& pair) {
    if (jack_port_by_name(client, pair.first.c_str()) == nullptr ||
        jack_port_by_name(client, pair.second.c_str()) == nullptr) {
      return false;
    }
    const int error = jack_connect(client, pair.first.c_str(), pair.second.c_str());
    return error == 0 || error == EEXIST;
  });
}

void PortConnections::remember(jack_client_t* client, const std::vector<jack_port_t*>& inputs,
                               const std::vector<jack_port_t*>& outputs) {
  mRemembered = mWanted;  // what was not there yet is not forgotten
  forEach(client, inputs,
          [&](const char* own, const char* other) { add(mRemembered, other, own); });
  forEach(client, outputs,
          [&](const char* own, const char* other) { add(mRemembered, own, other); });
}

}  // namespace jack_bridge
