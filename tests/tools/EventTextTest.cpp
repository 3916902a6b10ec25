// SPDX-License-Identifier: BSL-1.0

// Events as they are shown and printed, those that few sessions come to with them.
#include <cmath>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/Picture.h"

namespace {

using inspect::Event;
using Kind = inspect::Event::eKind;

/// What each kind says, with every text that a foreign process may have put there.
TEST(EventText, EveryKindHasItsWordsAndItsJson) {
  Event event;
  event.index = 3;
  event.id = "a\x1b";
  event.name = "n\n";
  event.type = 0x56536574;
  event.textBefore = "b\x7F";
  event.textAfter = "after";
  event.slot = 0;
  event.before = std::nanf("");
  event.after = 0.1F;
  event.target = "t\x1b";
  event.wiresBefore = {{0, 1}};
  event.wires = {{2, 3}, {4, 5}};
  event.isAuto = true;
  event.heartbeatBefore = 9;
  event.heartbeat = 2;
  const std::string who = R"("index":3,"id":"a\u001b","name":"n\n","type":"VSet")";
  const std::string ends = R"("source":"a\u001b","target":"t\u001b","automatic":true)";
  for (const auto& [kind, words, json] :
       {std::tuple<Kind, std::string, std::string>{Kind::eLeft, "left     #3 a\\x1b  after",
                                                   R"("left",)" + who + R"(,"text":"after")"},
        {Kind::eStampBack, "back     #3 a\\x1b  it refreshes its stamp again",
         R"("back",)" + who + R"(,"text":"after")"},
        {Kind::eRenamed, "renamed  #3 a\\x1b  \"b\\x7f\" -> \"after\"",
         R"("renamed",)" + who + ",\"before\":\"b\x7F\",\"after\":\"after\""},
        {Kind::eParameterChanged, "changed  #3 a\\x1b  parameter 0  nan -> 0.1",
         R"("changed",)" + who + R"(,"parameter":0,"before":null,"after":0.10000000149011612)"},
        {Kind::eStringChanged, "changed  #3 a\\x1b  string 0 (Facility)  \"b\\x7f\" -> \"after\"",
         R"("changed",)" + who + ",\"string\":0,\"key\":\"Facility\",\"before\":\"b\x7F\"," +
             R"("after":"after")"},
        {Kind::eConnected, "linked   a\\x1b -> t\\x1b  2>3 4>5  automatic",
         R"("connected",)" + ends + R"(,"wires":[[2,3],[4,5]])"},
        {Kind::eWiresChanged, "rewired  a\\x1b -> t\\x1b  0>1 -> 2>3 4>5",
         R"("wiresChanged",)" + ends + R"(,"before":[[0,1]],"after":[[2,3],[4,5]])"},
        {Kind::eSessionGone, "session  it is gone; after", R"("sessionGone","text":"after")"},
        {Kind::eHostChanged, "host     another one, or started again: heartbeat 9 -> 2",
         R"("hostChanged","heartbeatBefore":9,"heartbeat":2)"},
        {Kind::ePoolUnreadable, "pool     connections cannot be read: after",
         R"("poolUnreadable","text":"after")"},
        {Kind::ePoolReadable, "pool     connections can be read again", R"("poolReadable")"},
        {Kind::eNote, "note     after", R"("note","text":"after")"}}) {
    event.kind = kind;
    EXPECT_EQ(tools::eventWords(event), words);
    EXPECT_EQ(tools::eventJson(event).dump(), R"({"event":)" + json + "}");
  }
  event.kind = Kind::eWiresChanged;
  event.wires.clear();
  EXPECT_EQ(tools::eventWords(event), "rewired  a\\x1b -> t\\x1b  0>1 -> no wires");
}

}  // namespace
