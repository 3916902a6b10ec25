// SPDX-License-Identifier: BSL-1.0
#include <gtest/gtest.h>

#include "lipc/util/Identifiers.h"
#include "lipc/util/Threads.h"

namespace {

TEST(Threads, ALongNameIsCut) {
  const std::string name = "LIPC with a name of more than fifteen bytes";
  char kept[64] = {};
  LIPC::setCurrentThreadName(name.c_str());
  pthread_getname_np(pthread_self(), kept, sizeof kept);
  EXPECT_TRUE(name.rfind(kept, 0) == 0 && strlen(kept) >= 15) << kept;
}

TEST(Identifiers, AreRandomUUIDsInCanonicalForm) {
  const std::string id = LIPC::generateUUID(), x = "[0-9a-f]{";
  const std::string form = x + "8}-" + x + "4}-4" + x + "3}-[89ab]" + x + "3}-" + x + "12}";
  EXPECT_TRUE(testing::internal::RE::FullMatch(id, form) && id != LIPC::generateUUID()) << id;
}

}  // namespace
