// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <jack/jack.h>

namespace jack_bridge {

/// What the bridge's ports are connected to in JACK, by whomever: remembered while the server
/// lives, and made again, as far as the ports at the other ends are there, after another took its
/// place.
///
/// Threads: one at a time, none of JACK's.
class PortConnections {
 public:
  /// The bridge's ports were registered: what is remembered is wanted again.
  void begin();
  /// Wants the server's physical ports too, the n-th for the n-th.
  void wantPhysical(jack_client_t* client, const std::vector<jack_port_t*>& inputs,
                    const std::vector<jack_port_t*>& outputs);
  /// Connects what is wanted and can be; once each.
  void restore(jack_client_t* client);
  void remember(jack_client_t* client, const std::vector<jack_port_t*>& inputs,
                const std::vector<jack_port_t*>& outputs);

 private:
  using Pairs = std::vector<std::pair<std::string, std::string>>;  // from, to

  Pairs mRemembered;
  Pairs mWanted;
};

}  // namespace jack_bridge
