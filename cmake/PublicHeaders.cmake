# SPDX-License-Identifier: BSL-1.0

# What is installed. The first group of each library is for its users; the second comes along since
# those headers include it, and may change with any version. cmake/check-includes holds that nothing
# here includes what is not here.

set(LIPC_PUBLIC_HEADERS
  lipc/AudioProcessor.h
  lipc/client/Client.h
  lipc/client/VersionStatus.h
  lipc/session/AutoConnection.h
  lipc/session/ClientBuffer.h
  lipc/session/ClientEntry.h
  lipc/session/ClientID.h
  lipc/session/Connection.h
  lipc/realtime/SHMSlices.h
  lipc/session/PannerValues.h
  lipc/session/SHMArray.h
  lipc/session/SessionBuffer.h
  lipc/session/SessionNames.h
  lipc/util/Export.h
  lipc/util/Identifiers.h
  lipc/util/Levels.h
  lipc/util/Log.h
  lipc/util/Meters.h
  lipc/util/RealTime.h
  lipc/util/VectOp.h

  lipc/client/AutoConnectThread.h
  lipc/client/ConfigBlocks.h
  lipc/client/HeartbeatWatch.h
  lipc/client/Join.h
  lipc/client/OwnBuffer.h
  lipc/client/Registration.h
  lipc/client/SessionAttachment.h
  lipc/realtime/BlockExchange.h
  lipc/realtime/MappedRing.h
  lipc/realtime/Semaphore.h
  lipc/realtime/SemaphoreHandle.h
  lipc/realtime/ValueQueue.h
  lipc/realtime/timed_posix_sema_waiter.h
  lipc/session/ShmManaged.h
  lipc/util/SharedWord.h)

set(LIPC_TABLES_PUBLIC_HEADERS
  tables/MixEngineTables.h
  tables/SettingsFiles.h
  tables/SettingsTables.h
  tables/SpeakerLayouts.h)

set(LIPC_HOST_PUBLIC_HEADERS
  host/HostError.h
  host/HostOptions.h
  host/ProcessorLibrary.h
  host/SessionHost.h
  inspect/Event.h

  host/AudioCycle.h
  host/ClientStream.h
  host/ClockWatch.h
  host/DeadSession.h
  host/FixedQueue.h
  host/ProcessorCycle.h
  host/SessionConnections.h
  host/SessionSegments.h
  host/Timeline.h
  inspect/ClientWatch.h
  inspect/LockWatch.h
  inspect/TableWatch.h
  inspect/WatchedTime.h
  lipc/session/ConnectionPool.h)
