// SPDX-License-Identifier: BSL-1.0

// What programs that were built before go by: the places of the virtual operations, which are fixed
// for good, and the size of what they derive from. VERSIONING.md says what a change of the size
// means.
#include <cstring>

#include <gtest/gtest.h>

#include "lipc/client/Client.h"

namespace {

using LIPC::Client;

#if defined(__x86_64__) && defined(__GLIBCXX__)
static_assert(sizeof(Client) == 2256, "the shared library's number rises: VERSIONING.md");
#endif

/// The word of the class's table that a call through this pointer takes: the platforms' common C++
/// ABI keeps its distance in bytes, plus 1.
template <class Member>
std::ptrdiff_t wordOf(Member member) {
  std::ptrdiff_t parts[2];
  static_assert(sizeof parts == sizeof member);
  std::memcpy(parts, &member, sizeof parts);
  return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(ClientSurface, TheVirtualOperationsKeepTheirSlots) {
  EXPECT_EQ(wordOf(&Client::configSetName), 0);
  EXPECT_EQ(wordOf(&Client::configGetDefaultName), 1);
  EXPECT_EQ(wordOf(&Client::getOfflineParameterCount), 2);
  EXPECT_EQ(wordOf(&Client::offlineParameterChanged), 3);
  // Words 4 and 5 are the two destructors of slot 5.
  EXPECT_EQ(wordOf(&Client::onLIPCConnectionEstablished), 6);
  EXPECT_EQ(wordOf(static_cast<void (Client::*)()>(&Client::onLIPCConnectionTick)), 7);
  EXPECT_EQ(wordOf(static_cast<void (Client::*)(const std::deque<LIPC::ClientEntry>*)>(
                &Client::onLIPCConnectionTick)),
            8);
  EXPECT_EQ(wordOf(&Client::onLIPCConnectionToBeRemoved), 9);
  EXPECT_EQ(wordOf(&Client::updateDAWvaluesCallback), 10);
  EXPECT_EQ(wordOf(&Client::need2updatePreviousRTparamsCallback), 11);
  EXPECT_EQ(wordOf(&Client::updatePreviousRTparamsCallback), 12);
}

}  // namespace
