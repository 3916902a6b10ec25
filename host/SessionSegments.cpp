// SPDX-License-Identifier: BSL-1.0
#include "host/SessionSegments.h"

#include <cstring>
#include <string>

#include "host/DeadSession.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/SystemError.h"

namespace host {
namespace {

constexpr std::size_t cPannerBlockBytes = 4096;

}  // namespace

struct SessionSegments::PannerBlock {
  explicit PannerBlock(const char*) { std::memset(bytes, 0, sizeof bytes); }
  char bytes[cPannerBlockBytes];
};

struct SessionSegments::Version {
  explicit Version(const char*) : record{LIPC::cProtocolVersion, LIPC::cPointerWidthBits} {}
  LIPC::VersionRecord record;
};

struct SessionSegments::NoConnectMark {
  explicit NoConnectMark(const char*) {}
  char mark = 1;
};

template <class T>
SessionSegments::Segment<T> SessionSegments::make(const char* name) {
  auto segment = std::make_unique<LIPC::ShmManagedCreateOpen<T>>(name, sizeof(T));
  if (segment->get() == nullptr) {
    throw HostError(std::string("The segment \"") + name + "\" of " + std::to_string(sizeof(T)) +
                    " bytes cannot be made: " + LIPC::systemErrorText(segment->error()) +
                    ". Look at the system's limits (ipcs -l) and at leftovers (ipcs -m).");
  }
  return segment;
}

template <class T>
void SessionSegments::remove(Segment<T>& segment) {
  if (segment && !segment->holdsItsName()) segment->abandon();
  segment.reset();
}

SessionSegments::SessionSegments(const HostOptions& options)
    : mPannerValues(make<PannerBlock>(LIPC::cPannerValuesSegment)),
      mSession(make<LIPC::SessionBuffer>(LIPC::cSessionSegment)) {
  session().referenceClientID.setTo(options.referenceClient.c_str());
  LIPC::storeRelease(session().heartbeat, std::uint64_t{1});
  if (options.faults.noConnect) forbidJoins();
  mVersion = make<Version>(LIPC::cVersionSegment);
  mVersion->get()->record = {options.protocolVersion, options.pointerWidthBits};
}

SessionSegments::~SessionSegments() {
  remove(mVersion);
  remove(mSession);
  remove(mPannerValues);
  remove(mNoConnect);
}

void SessionSegments::forbidJoins() {
  if (!mNoConnect) mNoConnect = make<NoConnectMark>(LIPC::cNoConnectSegment);
}

void SessionSegments::allowJoins() {
  remove(mNoConnect);
}

}  // namespace host
