// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "lipc/util/RealTime.h"

namespace LIPC {

/// What a session is joined with.
struct ClientConfig {
  std::string clientID;                     // session-wide identity, 64 characters are used
  std::uint16_t inputChannelCount = 0;      // channels the client sends
  std::uint16_t outputChannelCount = 0;     // channels the client receives
  std::vector<std::int32_t> outputRouting;  // per output channel the return ring's channel, or -1
  std::array<char, 64> paddedID{};          // clientID as slices carry it, of an active block
};

/// The client's configuration as a double buffer: the active block, with which the session was or
/// will be joined, and the edit block. A third block lies in reserve, so that the audio thread may
/// go on reading the one with which it began while two edits follow each other.
///
///   beginEdit, first    copies the active block over the edit block
///   setters             change the edit block and mark it changed
///   endEdit, outermost  makes the edit block the active one; that its ID is another is a change
///                       too, however it came there
///
/// A change outside of them begins an edit of its own, which the next endEdit publishes: it copies
/// the active block, and the beginEdit that follows does not.
///
/// Threads: none of its own. The client's edit lock guards every call but Pin and
/// activeOutputChannelCount, which are the audio thread's and take no lock.
class ConfigBlocks {
 public:
  /// Active and edit block start with an ID of their own.
  ConfigBlocks(std::string firstID, std::string secondID);

  const ClientConfig& active() const { return mConfig[mActive]; }
  ClientConfig& active() { return mConfig[mActive]; }
  const ClientConfig& edit() const { return mConfig[mEdit]; }
  ClientConfig& edit() { return mConfig[mEdit]; }
  bool isEditing() const { return mEditDepth > 0; }
  /// The configuration as edited so far: the edit block inside an edit and after a change outside
  /// of one, else the active block.
  const ClientConfig& current() const { return mEditDepth > 0 || mIsBegun ? edit() : active(); }

  void beginEdit();
  /// True when this was the outermost end and something had changed. An end without a begin does
  /// nothing.
  bool endEdit();
  /// Of something beside the blocks that is published together with them.
  void markChanged() { mConfigChanged = true; }

  /// Sets the edit block's ID, marks it changed and returns the ID before.
  std::string setID(const std::string& newID);

  /// Zeroes the counts that `mode` does not allow, in the edit block.
  void restrictToMode(std::uint32_t mode);
  /// Sets the edit block's counts as far as `mode` allows; true when one changed.
  bool setChannelCounts(std::uint16_t inputs, std::uint16_t outputs, std::uint32_t mode);
  void resetOutputRouting();
  /// Gives the configuration another ID, for the join that follows: at once, or with the end of the
  /// edit that is open. At once, the change mark goes too, since that join takes whatever was
  /// marked (see markChanged); but a change that began outside of an edit keeps its mark, as it is
  /// still to be published.
  void replaceID(const std::string& newID);

  /// Holds the block that is active when it is made: until its end nobody writes there. One at a
  /// time.
  class Pin {
   public:
    explicit Pin(ConfigBlocks& blocks) noexcept LIPC_NONBLOCKING;
    ~Pin() LIPC_NONBLOCKING { mBlocks.mPinned.store(cNone, std::memory_order_release); }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;
    const ClientConfig& operator*() const noexcept LIPC_NONBLOCKING { return *mConfig; }
    const ClientConfig* operator->() const noexcept LIPC_NONBLOCKING { return mConfig; }

   private:
    ConfigBlocks& mBlocks;
    const ClientConfig* mConfig;
  };

  unsigned activeOutputChannelCount() const noexcept LIPC_NONBLOCKING {
    return mActiveOutputs.load(std::memory_order_relaxed);
  }

 private:
  static constexpr int cBlockCount = 3;
  static constexpr int cNone = -1;

  bool setInputs(std::uint16_t count);
  bool setOutputs(std::uint16_t count);
  ClientConfig& changing();
  void flip();

  ClientConfig mConfig[cBlockCount];
  int mEdit = 0;
  std::atomic<int> mActive{1};
  std::atomic<int> mPinned{cNone};  // written by the audio thread
  std::atomic<std::uint16_t> mActiveOutputs{0};
  int mEditDepth = 0;
  bool mConfigChanged = false;
  bool mIsBegun = false;  // the edit block has a change that was made outside of an edit
};

}  // namespace LIPC
