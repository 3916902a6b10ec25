// SPDX-License-Identifier: BSL-1.0
#include <random>

#include "lipc/session/SessionBuffer.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;

struct SessionTable : testing::Test {
  std::unique_ptr<SessionBuffer> table = std::make_unique<SessionBuffer>("TestSession");
  ClientEntry* rows = table->entries;
  std::deque<ClientEntry> copies;
  // Whatever a test writes over the records, their semaphores go.
  ~SessionTable() override { new (table.get()) SessionBuffer("TestSession"); }
};

TEST_F(SessionTable, FindsRowsBySixtyFourCharactersAndCountsFreeOnesOnlyAsCopies) {
  const ClientID id(std::string(64, 'x') + "a");
  rows[1023].id.setTo((std::string(64, 'x') + "b").c_str());
  rows[1023].type = rows[5].type = 7;
  EXPECT_TRUE(ClientID(std::string(63, 'x') + "a") < ClientID(std::string(63, 'x') + "b"));
  PredicateFindClientEntryForID find(id);
  for (const int outside : {-1, table->getClientIndex(ClientID("absent"))}) {
    EXPECT_EQ(table->getClientEntry(outside), nullptr);
    table->scanClientEntryAt(outside, find);
  }
  EXPECT_FALSE(find.found || table->scanClientEntries(find));
  EXPECT_TRUE(table->getClientIndex(id) == 1023 && find.entry == &rows[1023]);
  EXPECT_TRUE(table->getClientEntriesCount(0) == 1 && table->getClientEntriesCount(7) == 1);
  EXPECT_EQ(table->getClientEntries(7, copies) * 10'000 + table->getClientEntries(0, copies),
            21'022u);
}

TEST(ClientID, EqualsAsTextsOfSixtyFourCharactersDoWhateverLiesBehindANul) {
  std::mt19937 random(1);
  for (int round = 0; round < 200'000; ++round) {
    ClientID a, b;
    const char characters[] = {'\0', '\1', '\x80', '\xff', 'a'};
    std::fill_n(a.id, 64, characters[1 + random() % 4]);
    std::copy_n(a.id, 64, b.id);
    for (int change = 0; change < 3; ++change) {
      // Most in the first word or around its end.
      const unsigned reach = change == 0 ? 64 : 10;
      (random() % 2 == 0 ? a : b).id[random() % reach] = characters[random() % 5];
      if (random() % 2 == 0) a.id[9] = b.id[9] = a.id[random() % 5] = b.id[random() % 5] = '\0';
    }
    a.terminator = 'x';
    const bool isEqual = std::strncmp(a.id, b.id, 64) == 0;
    ASSERT_TRUE(a.equals(b) == isEqual && b.equals(a) == isEqual && (a == b) == isEqual) << round;
  }
}

TEST_F(SessionTable, FullOfOnesAnswersNeutrallyAndTakesARowNamedDefaultForFree) {
  std::memset(static_cast<void*>(table.get()), 0xFF, sizeof *table);
  EXPECT_TRUE(table->getEmptyEntry() == nullptr && table->getClientEntriesCount(1) == 0);
  EXPECT_EQ(table->getClientEntries(-1, copies), 1024u);
  EXPECT_TRUE(copies[9].strings[9].current().empty() && copies[9].nameView().size() == 64);
  bool isJoin = true;
  EXPECT_TRUE(table->readRequest(isJoin).view().size() == 64 && !isJoin);
  table->writeRequest(ClientID(std::string(64, 'x')), SessionBuffer::cJoinRequest);
  EXPECT_EQ(std::memcmp(&table->sessionID.id[63], "x\0\1", 3), 0);
  rows[1023].id.setTo("Default");
  EXPECT_EQ(table->getEmptyEntry(), &rows[1023]);
}

TEST(ClientEntry, ACopyHasEveryFieldAndAClearedOneNoneButItsTexts) {
  ClientEntry row, copy;
  char* const bytes = reinterpret_cast<char*>(&row);
  for (int i = 0; i < 656; ++i)
    bytes[i] = static_cast<char>(i % 251 + 1);
  for (const int length : {0, 127, 128, 129}) {
    const std::string text(length, 'x'), kept = text.substr(0, length > 128 ? 127 : 128);
    row.strings[9].put(text.c_str(), length);
    const int before = copy.strings[9].index;
    copy = row;
    EXPECT_TRUE(row.strings[9].current() == kept && copy.strings[9].current() == kept) << length;
    EXPECT_EQ(copy.strings[9].index, 1 - before) << "into its other half";
  }
  EXPECT_TRUE(copy.id == row.id && copy.id.terminator == '\0');
  EXPECT_EQ(std::memcmp(reinterpret_cast<char*>(&copy) + 68, bytes + 68, 656 - 68), 0);
  row.clear();
  EXPECT_EQ(std::count(bytes + 68, bytes + 656, '\0'), 656 - 68);
  EXPECT_TRUE(row.id.view().empty() && bytes[1] == 2 && row.strings[9].current().size() == 127);
}

}  // namespace
