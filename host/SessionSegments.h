// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>

#include "host/HostOptions.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace host {

/// The session-wide segments, made by the host and removed with this object. The version comes last
/// and goes first: clients look at it before anything else.
///
///   LIPC_SESSION_PANNER_DAW_VALS   4096 bytes, zero
///   LIPC_SESSION                   the table
///   LIPC_SESSION_NOCONNECT         only while joins are forbidden
///   LIPC_VERSION                   protocol version, pointer width
///
/// A segment that somebody removed meanwhile is not removed again.
class SessionSegments {
 public:
  /// Throws HostError when a segment cannot be made.
  explicit SessionSegments(const HostOptions& options);
  ~SessionSegments();
  SessionSegments(const SessionSegments&) = delete;
  SessionSegments& operator=(const SessionSegments&) = delete;

  LIPC::SessionBuffer& session() const { return *mSession->get(); }
  /// From now on no client joins.
  void forbidJoins();
  /// They may again.
  void allowJoins();

 private:
  struct PannerBlock;
  struct Version;
  struct NoConnectMark;
  template <class T>
  using Segment = std::unique_ptr<LIPC::ShmManagedCreateOpen<T>>;
  template <class T>
  static Segment<T> make(const char* name);
  template <class T>
  static void remove(Segment<T>& segment);

  Segment<PannerBlock> mPannerValues;
  Segment<LIPC::SessionBuffer> mSession;
  Segment<NoConnectMark> mNoConnect;
  Segment<Version> mVersion;
};

}  // namespace host
