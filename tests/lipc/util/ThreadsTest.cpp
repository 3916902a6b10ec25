#include <future>
#include <regex>

#include <boost/thread/thread.hpp>
#include <gtest/gtest.h>

#include "lipc/util/Identifiers.h"
#include "lipc/util/Threads.h"

namespace {

TEST(Threads, ANameThatIsTooLongForThePlatformIsCutNotRefused) {
  const std::string name = "LIPC with a name of more than fifteen bytes";
  char kept[64] = {};
  std::thread([&] {
    LIPC::setCurrentThreadName(name.c_str());
    pthread_getname_np(pthread_self(), kept, sizeof kept);
  }).join();
  EXPECT_GE(std::strlen(kept), 15u);
  EXPECT_EQ(name.rfind(kept, 0), 0u) << kept;
}

template <class Thread>
void expectRaised() {
  std::promise<void> done;
  Thread thread([&] { done.get_future().wait(); });
  int policy = SCHED_RR;  // where it may have it: its priorities differ
  sched_param parameters{sched_get_priority_min(policy)};
  pthread_setschedparam(thread.native_handle(), policy, &parameters);
  LIPC::setThreadHighPriority(&thread);
  pthread_getschedparam(thread.native_handle(), &policy, &parameters);
  EXPECT_EQ(parameters.sched_priority, sched_get_priority_max(policy));
  done.set_value();
  thread.join();
}

TEST(Threads, ALiveThreadRisesToTheTopOfItsPolicyAndANullOneIsIgnored) {
  expectRaised<std::thread>();
  expectRaised<boost::thread>();
  LIPC::setThreadHighPriority(static_cast<std::thread*>(nullptr));
}

TEST(Identifiers, AreRandomUUIDsInCanonicalForm) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  for (int i = 0; i < 100; ++i)
    EXPECT_TRUE(std::regex_match(LIPC::generateUUID(), form));
  EXPECT_NE(LIPC::generateUUID(), LIPC::generateUUID());
}

}  // namespace
