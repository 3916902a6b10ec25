// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/ClientID.h"

#include <cstring>

#include "lipc/util/FixedText.h"

namespace LIPC {

ClientID& ClientID::operator=(const ClientID& other) {
  setFixedText(id, fixedTextView(other.id));
  terminator = '\0';
  return *this;
}

void ClientID::setTo(const char* text) {
  setFixedText(id, text != nullptr ? std::string_view(text, strnlen(text, cCharacters))
                                   : std::string_view());
  terminator = '\0';
}

bool ClientID::isDefined() const {
  return id[0] != '\0' && std::memcmp(id, cUnset, sizeof cUnset) != 0;  // with its NUL
}

std::string_view ClientID::view() const {
  return fixedTextView(id);
}

bool ClientID::operator==(const ClientID& other) const {
  return equals(other);
}

bool ClientID::operator==(const char* text) const {
  return std::strncmp(id, text != nullptr ? text : "", cCharacters) == 0;
}

bool ClientID::operator<(const ClientID& other) const {
  return std::strncmp(id, other.id, cCharacters) < 0;
}

}  // namespace LIPC
