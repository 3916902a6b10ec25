// SPDX-License-Identifier: BSL-1.0
#include "host/ClientSegments.h"

#include "lipc/realtime/Semaphore.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace host {

namespace {

using Buffer = LIPC::ShmReadOnly<LIPC::ClientBuffer>;

/// A name may lead to what is another's.
bool isOf(const LIPC::ClientID& id, const Buffer& buffer) {
  return buffer.get() != nullptr && buffer->id == id;
}

}  // namespace

bool askToLeave(const LIPC::ClientID& id) {
  const std::string name = id.text();
  const auto segment = LIPC::ShmManaged::find(name.c_str());
  if (!segment || !segment->isAttached()) return false;
  const Buffer buffer(name.c_str());
  return isOf(id, buffer) && LIPC::Semaphore::postIfPresent(buffer->mustDisconnectSemaphore);
}

}  // namespace host
