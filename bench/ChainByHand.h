// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace bench {

/// The audio of a session in which each client hears the one before it, written by hand for that
/// alone: a semaphore, a moment for blocks to gather, a copy for each block, a byte. No stamps but
/// those that the queue has, no routes, no lag, no check of what another process wrote. The slice
/// of a client's block b is (b + 1) % 6.
///
/// Attaches the clients as they come, on a thread of its own.
class ChainByHand {
 public:
  ChainByHand(LIPC::SessionBuffer& session, unsigned channels, int samples, int clients);
  ~ChainByHand();
  ChainByHand(const ChainByHand&) = delete;
  ChainByHand& operator=(const ChainByHand&) = delete;

  static std::string idOf(int client) { return "chain-" + std::to_string(1000 + client); }

 private:
  struct Member {
    explicit Member(const std::string& id);
    LIPC::ShmManagedOpen<LIPC::ClientBuffer> buffer;
    LIPC::ShmManagedOpen<LIPC::SHMSlices> send;
    LIPC::ShmManagedOpen<LIPC::SHMSlices> returns;
    int blocks = 0;
  };

  void run();
  void attach();
  void answer(Member& member, Member* source) const;

  const unsigned mChannels;
  const std::size_t mBytes;
  const std::size_t mClients;
  LIPC::SemaphoreHandle mNewData;
  std::vector<std::unique_ptr<Member>> mMembers;
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

}  // namespace bench
