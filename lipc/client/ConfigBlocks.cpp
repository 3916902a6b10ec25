// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/ConfigBlocks.h"

#include <numeric>
#include <utility>

#include "lipc/session/SessionNames.h"

namespace LIPC {
namespace {

void setIdentity(std::vector<std::int32_t>& routing) {
  std::iota(routing.begin(), routing.end(), 0);
}

void padID(ClientConfig& config) {
  config.paddedID.fill('\0');
  config.clientID.copy(config.paddedID.data(), config.paddedID.size());
}

}  // namespace

ConfigBlocks::ConfigBlocks(std::string firstID, std::string secondID) {
  mConfig[0].clientID = std::move(firstID);
  mConfig[1].clientID = std::move(secondID);
  padID(mConfig[1]);
}

void ConfigBlocks::beginEdit() {
  if (mEditDepth == 0 && !mIsBegun) edit() = active();
  ++mEditDepth;
}

/// The edit block, for a change. Outside of an edit the first begins one of its own.
ClientConfig& ConfigBlocks::changing() {
  if (mEditDepth == 0 && !mIsBegun) {
    edit() = active();
    mIsBegun = true;
  }
  return edit();
}

std::string ConfigBlocks::setID(const std::string& newID) {
  mConfigChanged = true;
  return std::exchange(changing().clientID, newID);
}

bool ConfigBlocks::endEdit() {
  if (mEditDepth == 0 || --mEditDepth > 0) return false;
  const bool hasOtherID = edit().clientID != active().clientID;
  flip();
  mIsBegun = false;
  return std::exchange(mConfigChanged, false) || hasOtherID;
}

void ConfigBlocks::restrictToMode(std::uint32_t mode) {
  if ((mode & eClientModeInputs) == 0) setInputs(0);
  if ((mode & eClientModeOutputs) == 0) setOutputs(0);
}

bool ConfigBlocks::setChannelCounts(std::uint16_t inputs, std::uint16_t outputs,
                                    std::uint32_t mode) {
  const bool inputsChanged = setInputs((mode & eClientModeInputs) != 0 ? inputs : 0);
  const bool outputsChanged = setOutputs((mode & eClientModeOutputs) != 0 ? outputs : 0);
  return inputsChanged || outputsChanged;
}

void ConfigBlocks::resetOutputRouting() {
  setIdentity(changing().outputRouting);
}

void ConfigBlocks::replaceID(const std::string& newID) {
  const std::string oldID = active().clientID;
  if (mEditDepth == 0) {
    const ClientConfig begun = edit();
    edit() = active();
    edit().clientID = newID;
    flip();
    if (!mIsBegun) {
      mConfigChanged = false;
      return;
    }
    edit() = begun;
  }
  if (edit().clientID == oldID) edit().clientID = newID;
}

bool ConfigBlocks::setInputs(std::uint16_t count) {
  if (current().inputChannelCount == count) return false;
  changing().inputChannelCount = count;
  mConfigChanged = true;
  return true;
}

bool ConfigBlocks::setOutputs(std::uint16_t count) {
  if (current().outputChannelCount == count) return false;
  changing().outputChannelCount = count;
  edit().outputRouting.resize(count);
  setIdentity(edit().outputRouting);
  mConfigChanged = true;
  return true;
}

/// The edit block becomes the active one. What was active becomes the edit block, in place where
/// the audio thread does not hold it, else as a copy in the block in reserve. Either this sees the
/// thread's pin, or the thread sees the new active block and pins that one.
void ConfigBlocks::flip() {
  const int wasActive = mActive;
  mActiveOutputs = edit().outputChannelCount;
  padID(edit());
  mActive = mEdit;
  const int reserve = cBlockCount - wasActive - mActive;
  mEdit = mPinned == wasActive ? reserve : wasActive;
  if (mEdit == reserve) edit() = mConfig[wasActive];
}

/// Goes round again only when an edit ends between two of its steps.
ConfigBlocks::Pin::Pin(ConfigBlocks& blocks) noexcept : mBlocks(blocks) {
  int index = blocks.mActive;
  for (;;) {
    blocks.mPinned = index;
    const int now = blocks.mActive;
    if (now == index) break;
    index = now;
  }
  mConfig = &blocks.mConfig[index];
}

}  // namespace LIPC
