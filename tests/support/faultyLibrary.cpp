// SPDX-License-Identifier: BSL-1.0

// A processor library with the fault that the environment names, for the command that finds it.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <fcntl.h>

#include "lipc/AudioProcessor.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

bool has(const char* fault) {
  return std::strcmp(std::getenv("LIPC_FAULT"), fault) == 0;
}

void sleepLong() {
  std::this_thread::sleep_for(std::chrono::hours(1));
}

/// The signal itself: a sanitizer would make an exit of it.
void crash() {
  std::signal(SIGSEGV, SIG_DFL);
  std::raise(SIGSEGV);
}

constexpr int cType = 0x46415553;
std::thread sThread;
std::atomic<bool> sStop{false};

/// Takes a row of every session that does not forbid joins, and asks nobody.
void takeRows() {
  while (!sStop) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const LIPC::ShmManagedOpen<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
    if (session.get() == nullptr) continue;
    LIPC::ClientEntry& row = session->entries[0];
    row.type = cType;
    row.setName("rude");
    row.id.setTo(LIPC::ShmManaged::find(LIPC::cNoConnectSegment) ? "" : "rude");
  }
}

class Processor final : public LIPC::AudioProcessor {
 public:
  int getOutputChannelCount() const override { return 0; }
  void setBlockSize(unsigned int) override {}
  void setSampleRate(float) override {}
  void updateParameters(float* parameters, const LIPC::SHMString*) override {
    if (has("write") && parameters != nullptr) parameters[172] = 0.0F;
  }
  void updateInput(const LIPC::ClientID&, const LIPC::ClientEntry*, float**, unsigned short,
                   unsigned int, const float*, const float*, bool) override {}
  void updateOutput(const LIPC::ClientID&, int, float**, unsigned short, unsigned int, float*,
                    const float* target) override {
    if (target == nullptr && has("null")) crash();
  }
  int process(unsigned int) override {
    if (has("throw")) throw 1;
    return 0;
  }
};

}  // namespace

EXPORTED LIPC::AudioProcessor* createProcessor(const char*) {
  if (has("create")) throw std::runtime_error("on purpose");
  if (has("odd")) throw 1;
  if (has("nothing")) return nullptr;
  return new Processor;
}

EXPORTED int getLIPCVersion() {
  return has("version") ? 4 : 5;
}

EXPORTED int getClientType() {
  return has("type") ? 5 : cType;
}

EXPORTED void loadLibrary() {
  setenv("LIPC_FAULTY_IS_LOADED", "1", 1);
  if (has("crash")) crash();
  if (has("hang")) sleepLong();
  if (has("exit")) std::exit(3);
  if (has("thread")) std::thread(sleepLong).detach();
  sStop = false;
  if (has("rude")) sThread = std::thread(takeRows);
  if (has("file")) static_cast<void>(open("/dev/null", O_RDONLY));
}

EXPORTED void unloadLibrary() {
  unsetenv("LIPC_FAULTY_IS_LOADED");
  sStop = true;
  if (sThread.joinable()) sThread.join();
}
