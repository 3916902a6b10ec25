// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <httplib.h>

namespace tools {

/// The threads that answer requests: as many as were ever needed at once, up to a limit.
///
/// Threads: any.
class Workers final : public httplib::TaskQueue {
 public:
  explicit Workers(std::size_t most) : mMost(most) {}

  void enqueue(std::function<void()> task) override {
    const std::lock_guard lock(mMutex);
    mTasks.push_back(std::move(task));
    if (mTasks.size() > mIdle && mThreads.size() < mMost) mThreads.emplace_back([this] { work(); });
    mWake.notify_one();
  }

  /// Returns when all tasks are done.
  void shutdown() override {
    {
      const std::lock_guard lock(mMutex);
      mIsOver = true;
    }
    mWake.notify_all();
    for (std::thread& thread : mThreads)
      thread.join();
  }

 private:
  void work() {
    std::unique_lock lock(mMutex);
    for (;;) {
      ++mIdle;
      mWake.wait(lock, [&] { return mIsOver || !mTasks.empty(); });
      --mIdle;
      if (mTasks.empty()) return;
      const std::function<void()> task = std::move(mTasks.front());
      mTasks.pop_front();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  const std::size_t mMost;
  std::mutex mMutex;
  std::condition_variable mWake;
  std::deque<std::function<void()>> mTasks;
  std::vector<std::thread> mThreads;
  std::size_t mIdle = 0;
  bool mIsOver = false;
};

}  // namespace tools
