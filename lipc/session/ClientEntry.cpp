// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/ClientEntry.h"

#include <cstring>

#include "lipc/util/FixedText.h"

namespace LIPC {
namespace {

constexpr std::size_t cClearedBytes = offsetof(ClientEntry, strings) - offsetof(ClientEntry, type);

}  // namespace

ClientEntry::ClientEntry() {
  clear();
}

ClientEntry::ClientEntry(const ClientEntry& other) : ClientEntry() {
  *this = other;
}

ClientEntry& ClientEntry::operator=(const ClientEntry& other) {
  id = other.id;
  type = other.type;
  std::memmove(name, other.name, sizeof name);
  mode = other.mode;
  inputChannelCount = other.inputChannelCount;
  outputChannelCount = other.outputChannelCount;
  std::memmove(offlineParameters, other.offlineParameters, sizeof offlineParameters);
  for (unsigned slot = 0; slot < cStringSlotCount; ++slot) {
    const std::string_view text = other.strings[slot].current();
    strings[slot].put(text.data(), static_cast<int>(text.size()));
  }
  return *this;
}

void ClientEntry::clear() {
  id.clear();
  std::memset(reinterpret_cast<char*>(this) + offsetof(ClientEntry, type), 0, cClearedBytes);
}

void ClientEntry::release() {
  setName("");
  id.clear();
}

void ClientEntry::setName(std::string_view text) {
  setFixedText(name, text);
}

std::string_view ClientEntry::nameView() const {
  return fixedTextView(name);
}

bool PredicateFindClientEntryForID::test(const ClientEntry& candidate) {
  if (!candidate.id.equals(id)) return true;
  found = true;
  entry = &candidate;
  return false;
}

}  // namespace LIPC
