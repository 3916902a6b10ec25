// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/ProcessorLibrary.h"
#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/SessionBuffer.h"

namespace host {

/// Drives the loaded libraries' processors, once per block of 1024 frames at 48 kHz on a thread of
/// its own. Each cycle, per processor: preProcess; updateInput and updateOutput for every client;
/// process; updateParameters; postProcess. There is no audio in the calls (no channels).
///
/// The rows are copied under the host's lock and the processors called without it: a slow processor
/// holds nobody up. One that throws is not called again; the host is told.
///
/// A processor's parameter block starts as the offline parameters of the first client of the
/// library's type; slots that the processor changed are written back to that client's row, where
/// every participant can read them.
class ProcessorCycle {
 public:
  static constexpr unsigned cBlockFrames = 1024;
  static constexpr float cSampleRate = 48000.0F;

  using Report = std::function<void(const std::string&)>;

  /// `tableMutex` is the host's lock on the table's rows; `report` takes a sentence for people.
  ProcessorCycle(LIPC::SessionBuffer& session, std::mutex& tableMutex, Report report);
  ~ProcessorCycle();
  ProcessorCycle(const ProcessorCycle&) = delete;
  ProcessorCycle& operator=(const ProcessorCycle&) = delete;

  void add(ProcessorLibrary& library);
  /// Ends the thread; no processor is called after this returned.
  void stop();

 private:
  using Parameters = std::array<float, LIPC::SHMSliceBuffer::cParameterCount>;

  void run();
  void cycle(long long timestamp);
  void copyClients();
  void drive(ProcessorLibrary& library, long long timestamp);
  void publish(std::uint32_t type, const Parameters& before, const Parameters& after);

  LIPC::SessionBuffer& mSession;
  std::mutex& mTableMutex;
  const Report mReport;
  std::vector<LIPC::ClientEntry> mClients;  // the cycle's copy of the rows in use
  std::mutex mMutex;                        // guards mLibraries
  std::list<ProcessorLibrary*> mLibraries;
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

}  // namespace host
