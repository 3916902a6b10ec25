// A processor library with the fault that the environment names, for the command that finds it.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>

#include "lipc/AudioProcessor.h"

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
  return new Processor;
}

EXPORTED int getLIPCVersion() {
  return has("version") ? 4 : 5;
}

EXPORTED int getClientType() {
  return has("type") ? 5 : 0x46415553;
}

EXPORTED void loadLibrary() {
  if (has("crash")) crash();
  if (has("hang")) sleepLong();
  if (has("exit")) std::exit(3);
  if (has("thread")) std::thread(sleepLong).detach();
  if (has("file")) static_cast<void>(open("/dev/null", O_RDONLY));
}

EXPORTED void unloadLibrary() {}
