// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>

#include <boost/container/list.hpp>
#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_shared_memory.hpp>
#include <fcntl.h>
#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "tests/support/Testing.h"

/// A session made with nothing but the system's own calls, numbers written by hand and Boost's
/// pool: what a client does in it is seen as a program of another make sees it, and nothing mends
/// what the client forgot.
namespace support {

/// A record's bytes, put together by offset.
struct Image : std::string {
  explicit Image(std::size_t bytes) : std::string(bytes, '\0') {}
  template <class T>
  Image& put(std::size_t offset, T value) {
    std::memcpy(data() + offset, &value, sizeof value);
    return *this;
  }
  Image& text(std::size_t offset, const std::string& value) {
    value.copy(data() + offset, value.size());
    return *this;
  }
};

/// Where the bytes at an address differ from the image, "" when nowhere.
inline std::string differences(const char* bytes, const Image& image) {
  std::string places;
  for (std::size_t i = 0; i < image.size() && places.size() < 80; ++i)
    if (bytes == nullptr || bytes[i] != image[i]) places += std::to_string(i) + " ";
  return places;
}

/// The 260 bytes in which a record names a semaphore.
inline Image semaphoreRecord(const std::string& name, std::uint32_t count) {
  Image record(260);
  record.text(0, name).text(128, name).put(256, count);
  std::uint32_t words[32], sum = 0;
  std::memcpy(words, record.data() + 128, sizeof words);
  for (const std::uint32_t word : words)
    sum += word;
  for (int i = 0; i < 8; ++i, sum >>= 4)
    record[i] = static_cast<char>(0x30 | (sum & 15));
  record[29] = '\0';
  return record;
}

/// A named semaphore of the system.
class SystemSemaphore {
 public:
  /// As it is there, or a new one of that count.
  explicit SystemSemaphore(const std::string& name, int count = -1)
      : mName(std::string("/") + semaphoreRecord(name, 0).c_str()), mIsMade(count >= 0) {
    if (mIsMade) sem_unlink(mName.c_str());
    mSemaphore = sem_open(mName.c_str(), mIsMade ? O_CREAT : 0, 0666, count);
  }
  ~SystemSemaphore() {
    if (exists()) sem_close(mSemaphore);
    if (mIsMade) sem_unlink(mName.c_str());
  }
  bool exists() const { return mSemaphore != SEM_FAILED; }
  void post() { sem_post(mSemaphore); }
  bool take() { return exists() && sem_trywait(mSemaphore) == 0; }
  int count() {
    int taken = 0;
    while (take())
      ++taken;
    for (int i = 0; i < taken; ++i)
      post();
    return taken;
  }

 private:
  const std::string mName;
  const bool mIsMade;
  sem_t* mSemaphore;
};

/// The segment of a name as it is there, or a new one of so many bytes.
class SystemSegment {
 public:
  explicit SystemSegment(const std::string& name, std::size_t bytes = 0) : mIsMade(bytes != 0) {
    const std::string path = "/tmp/LIPC_" + name;
    if (mIsMade) std::ofstream{path};
    const key_t key = ftok(path.c_str(), 1);
    mID = key == -1 ? -1 : shmget(key, bytes, mIsMade ? IPC_CREAT | 0666 : 0);
    if (mID >= 0) mAddress = static_cast<char*>(shmat(mID, nullptr, 0));
    shmid_ds status{};
    if (mID >= 0 && shmctl(mID, IPC_STAT, &status) == 0) mSize = status.shm_segsz;
  }
  ~SystemSegment() {
    if (mAddress != nullptr) shmdt(mAddress);
    if (mIsMade) shmctl(mID, IPC_RMID, nullptr);
  }
  SystemSegment(const SystemSegment&) = delete;
  SystemSegment& operator=(const SystemSegment&) = delete;
  char* at(std::size_t offset) const { return mAddress != nullptr ? mAddress + offset : nullptr; }
  std::size_t size() const { return mSize; }

 private:
  const bool mIsMade;
  int mID = -1;
  char* mAddress = nullptr;
  std::size_t mSize = 0;
};

struct BareSession {
  struct Connection {
    alignas(4) char bytes[460];
  };
  using Pool = boost::interprocess::managed_shared_memory;
  using List =
      boost::container::list<Connection,
                             boost::interprocess::allocator<Connection, Pool::segment_manager>>;
  static constexpr std::size_t cHeartbeat = 3458144;

  BareSession() {
    version.at(0)[0] = 5;
    version.at(0)[4] = 64;
  }
  ~BareSession() {
    mEnd = true;
    mThread.join();
    boost::interprocess::shared_memory_object::remove(cPool);
  }

  /// Whether the client asks: 1 to join, 0 to leave. From then on the answer is the test's
  /// business.
  bool isAsked(const std::string& id, char word) {
    return eventually(20s, [&] { return registration.take(); }) &&
           differences(table.at(0), Image(66).text(0, id).put(65, word)).empty();
  }
  void answer() {
    lock.post();  // the client looks no further than for the end
    ended.post();
  }
  char* row(int index) const { return table.at(1120 + 3376 * static_cast<std::size_t>(index)); }
  template <class T>
  void put(std::size_t offset, T value) const {
    std::memcpy(table.at(offset), &value, sizeof value);
  }
  /// A connection list by its name; null when there is none.
  List* list(const char* name) { return pool.find<List>(name).first; }
  /// Waits for the one count that the registration lock may have, takes it and gives it back.
  bool lockIsFree() {
    if (!eventually(10s, [&] { return lock.take(); })) return false;
    const bool isOne = !lock.take();
    lock.post();
    return isOne;
  }

  SystemSegment version{"LIPC_VERSION", 8}, table{"LIPC_SESSION", 3458224};
  SystemSemaphore registration = semaphore(68, "BareRegistrationSemaphore", 0),
                  ended = semaphore(328, "BareRegistrationEndedSemaphore", 0),
                  newData = semaphore(588, "BareNewAudioDataAvailable", 0),
                  lock = semaphore(856, "BareClientsCanRegisterMutex", 1);
  static constexpr char cPool[] = "LIPC_SESSION_CONNECTION_POOL";
  Pool pool{boost::interprocess::open_or_create, cPool, 262144};
  List& sessionList =
      *pool.construct<List>("LIPC_SESSION_CONNECTION_LIST")(pool.get_segment_manager());
  std::atomic<bool> isBeating{true}, isAnswering{false};

 private:
  SystemSemaphore semaphore(std::size_t offset, const char* name, int count) {
    semaphoreRecord(name, static_cast<std::uint32_t>(count)).copy(table.at(offset), 260);
    return SystemSemaphore(name, count);
  }
  void run() {
    for (std::uint64_t beats = 1000; !mEnd; std::this_thread::sleep_for(10ms)) {
      if (isBeating) put(cHeartbeat, ++beats);
      if (isAnswering && registration.take()) answer();
    }
  }
  std::atomic<bool> mEnd{false};
  std::thread mThread{[this] { run(); }};
};

}  // namespace support
