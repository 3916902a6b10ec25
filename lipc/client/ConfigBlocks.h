#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace LIPC {

/// What a session is joined with.
struct ClientConfig {
  std::string clientID;                     // session-wide identity, 64 characters are used
  std::uint16_t inputChannelCount = 0;      // channels the client sends
  std::uint16_t outputChannelCount = 0;     // channels the client receives
  std::vector<std::int32_t> outputRouting;  // per output channel the return ring's channel, or -1
};

/// The client's configuration as a double buffer: the active block, with which the session was or
/// will be joined, and the edit block.
///
///   beginEdit, first    copies the active block over the edit block
///   setters             change the edit block and mark it changed
///   endEdit, outermost  makes the edit block the active one
///
/// Threads: none of its own; the client's edit lock guards every call.
class ConfigBlocks {
 public:
  /// Both blocks start with an ID of their own.
  ConfigBlocks(std::string firstID, std::string secondID);

  const ClientConfig& active() const { return mConfig[mEditIndex ^ 1]; }
  ClientConfig& active() { return mConfig[mEditIndex ^ 1]; }
  ClientConfig& edit() { return mConfig[mEditIndex]; }
  bool isEditing() const { return mEditDepth > 0; }

  void beginEdit();
  /// True when this was the outermost end and something had changed. An end without a begin does
  /// nothing.
  bool endEdit();
  void markChanged() { mConfigChanged = true; }

  /// Zeroes the counts that `mode` does not allow, in the edit block.
  void restrictToMode(std::uint32_t mode);
  /// Sets the edit block's counts as far as `mode` allows; true when one changed.
  bool setChannelCounts(std::uint16_t inputs, std::uint16_t outputs, std::uint32_t mode);
  void resetOutputRouting();
  /// Gives the configuration another ID at once, as an edit of its own inside any that is open.
  void replaceID(const std::string& newID);

 private:
  bool setInputs(std::uint16_t count);
  bool setOutputs(std::uint16_t count);
  void flip();

  ClientConfig mConfig[2];
  int mEditIndex = 0;
  int mEditDepth = 0;
  bool mConfigChanged = false;
};

}  // namespace LIPC
