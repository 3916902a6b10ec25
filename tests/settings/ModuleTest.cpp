// SPDX-License-Identifier: BSL-1.0

// The built module as a host meets it, and what a host says of others that it cannot use. This
// program has JUCE and the settings classes of its own, as a host may have: they must not mix.
#include <cstdio>

#include <dlfcn.h>

#include "settings/IPCProcessor.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;
namespace fs = std::filesystem;

TEST(Module, ExportsItsFiveFunctionsAndMakesAProcessorAndIsUnloadedAsOftenAsOneLikes) {
  std::FILE* nm = popen("nm -g --defined-only $([ ! -d /proc ] || echo -D) '" LIPC_MODULE
                        "' | sed 's/.* _*//' | sort | tr '\\n' ' '",
                        "r");
  char names[4096] = "";
  EXPECT_STREQ(std::fgets(names, sizeof names, nm),
               "createProcessor getClientType getLIPCVersion loadLibrary unloadLibrary ");
  pclose(nm);
  EXPECT_EQ(std::system("grep -q 'VexoMax 26.1' '" LIPC_MODULE "'"), 0) << "it has the layouts";
  void* module = dlopen(LIPC_MODULE, RTLD_NOW | RTLD_LOCAL);
  const auto unloadLibrary = reinterpret_cast<void (*)()>(dlsym(module, "unloadLibrary"));
  unloadLibrary();
  {
    host::ProcessorLibrary library(LIPC_MODULE);
    EXPECT_EQ(reinterpret_cast<int (*)()>(dlsym(module, "getLIPCVersion"))(), 5);
    EXPECT_EQ(library.clientType(), 0x56536574U);
    auto& processor = static_cast<Vexo::Settings::IPCProcessor&>(library.processor());
    EXPECT_EQ(processor.msDefaultClient, nullptr) << "this program's own is another";
    EXPECT_EQ(processor.clientID, "lipc host");
    processor.setBlockSize(256);
    processor.setSampleRate(48000.0F);
    EXPECT_TRUE(processor.blockSize == 1024U && processor.sampleRate == 44100.0F);
  }
  unloadLibrary();
  dlclose(module);
}

/// Segments, threads, open files, and named semaphores with shared memory.
std::vector<long> held() {
  std::ifstream segments("/proc/sysvipc/shm");
  std::vector<long> counts{std::count(std::istreambuf_iterator<char>(segments), {}, '\n')};
  for (const char* folder : {"/proc/self/task", "/proc/self/fd", "/dev/shm"})
    counts.push_back(std::distance(fs::directory_iterator(folder), {}));
  return counts;
}

/// Has the module loaded and unloaded by a host, whose session its client joins meanwhile.
void loadAndUnloadInASession() {
  TestHost host;
  host->load(LIPC_MODULE);
  TestClient mixer("mixer", static_cast<int>(LIPC::cMixEngineType));
  mixer.setOfflineParameter(59, -6.5F);
  ASSERT_TRUE(mixer.join() && eventually(10s, [&] { return host.hasRow("VexoSettings"); }));
  const float* parameters = host.session().getClientEntry("VexoSettings")->offlineParameters;
  EXPECT_EQ(parameters[41], 3.0F) << "from the settings file under HOME";
  EXPECT_TRUE(eventually(5s, [&] { return parameters[39] == -6.5F; })) << "from the processor";
  EXPECT_EQ(mixer.getOfflineParameter("mixer", 39), 0.0F) << "into its own client's row alone";
  EXPECT_TRUE(host->stop().empty());
}

TEST(Module, FortyTimesLoadedAndUnloadedLeavesNothing) {
  if (!fs::exists("/proc/self/task")) GTEST_SKIP() << "what a process holds is read from /proc";
  setenv("HOME", (testing::TempDir() + "module-home").c_str(), 1);
  const std::string folder = getenv("HOME") + std::string("/Library/Application Support");
  fs::create_directories(folder + "/Vexo Technologies");
  std::ofstream(folder + "/Vexo Technologies/Vexo-Settings.xml")
      << "<PROPERTIES><VALUE name='PhysMonConfig' val='3'/></PROPERTIES>";
  std::thread([] {}).join();  // a sanitizer's own thread comes with the first
  const auto before = held();
  long pages[2] = {};  // resident after 10 and after 40 cycles
  for (int count = 1; count <= 40; ++count) {
    if (count % 10 == 7) loadAndUnloadInASession();
    host::ProcessorLibrary{LIPC_MODULE};
    ASSERT_EQ(dlopen(LIPC_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "after cycle " << count;
    long& resident = pages[count / 40];
    if (count % 30 == 10) std::ifstream("/proc/self/statm") >> resident >> resident;
  }
  EXPECT_TRUE(eventually(5s, [&] { return held() == before; })) << testing::PrintToString(held());
  // 1 MiB in 30 cycles; no bound where a sanitizer keeps freed memory back.
  EXPECT_LE(pages[1] - pages[0], LIPC_SANITIZED ? pages[1] : 256);
}

TEST(ProcessorLibrary, ThatCannotBeUsedGetsASentenceThatSaysWhyAndIsUnloadedAgain) {
  const auto complaint = [](const std::string& path, const char* fault) -> std::string {
    setenv("LIPC_FAULT", fault, 1);
    std::string said = "nothing";
    try {
      const host::ProcessorLibrary library(path);
    } catch (const host::LibraryError& error) {
      said = error.what();
    }
    EXPECT_EQ(getenv("LIPC_FAULTY_IS_LOADED"), nullptr) << "unloaded as often as loaded";
    const std::string start = "The library " + path + " ";
    return said.starts_with(start) ? said.substr(start.size()) : said;
  };
  const std::string faulty = LIPC_FAULTY_LIBRARY;
  EXPECT_EQ(complaint(faulty, "none"), "nothing");
  EXPECT_EQ(complaint(faulty, "version"), "has LIPC version 4; this host takes version 5.");
  EXPECT_EQ(complaint(faulty, "create"), "failed while it was started: on purpose.");
  EXPECT_EQ(complaint(faulty, "odd"), "failed while it was started: an exception of unknown type.");
  EXPECT_EQ(complaint(faulty, "nothing"),
            "failed while it was started: createProcessor gave no processor.");
  Dl_info other{};  // a library, but of another kind
  ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "fork"), &other), 0);
  EXPECT_EQ(complaint(other.dli_fname, ""),
            "is no processor library: it lacks the function getLIPCVersion.");
  EXPECT_EQ(complaint("/missing.so", "").find("cannot be loaded: "), 0U);
  EXPECT_EQ(complaint("missing.so", "").find("cannot be loaded: ./missing.so"), 0U)
      << "not looked for where the system has its libraries";
}

}  // namespace
