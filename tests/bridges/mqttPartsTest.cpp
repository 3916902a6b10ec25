// SPDX-License-Identifier: BSL-1.0

// What lipc mqtt is made of, without a broker and without a session.
#include <bit>

#include <nlohmann/json.hpp>

#include "bridges/mqtt/Outbox.h"
#include "bridges/mqtt/Payload.h"
#include "bridges/mqtt/RemoteClient.h"
#include "bridges/mqtt/SetGate.h"
#include "bridges/mqtt/Topic.h"
#include "tests/support/Testing.h"
#include "tools/Failure.h"

namespace {

using namespace support;
using namespace mqtt;
using tools::valueAt;
using Time = Outbox::Time;

template <class Act>
bool isRefused(Act act) {
  try {
    act();
    return false;
  } catch (const BadMessage&) {
    return true;
  }
}

TEST(MqttTopic, EachTextHasOneEscapedFormAndThatOneText) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte)
    all += static_cast<char>(byte);
  const std::string level = escaped(all);
  EXPECT_EQ(level.find_first_of(std::string_view("/+#$* \0\n\x7f\xff", 10)), std::string::npos);
  EXPECT_EQ(unescaped(level), all);
  EXPECT_EQ(escaped("Desk-1.a_b~@x/+#$\xc3\xbc"), "Desk-1.a_b~@x%2F%2B%23%24%C3%BC");
  for (const char* wrong : {"", "%", "%4", "%zz", "%41", "%2f", "a b", "a+", "a#", "%-1", "\xc3"})
    EXPECT_FALSE(unescaped(wrong)) << wrong;

  const SiteTopics topics("a/b");
  const auto ofClient = topics.takeApart(topics.value("x y", {true, 9}));
  ASSERT_TRUE(ofClient);
  EXPECT_EQ(ofClient->id + "|" + ofClient->tail, "x y|strings/9");
  EXPECT_EQ(topics.takeApart("lipc/a%2Fb/clients/x")->tail, "");
  for (const char* foreign : {"lipc/a/clients/x", "lipc/a%2Fb/clients/", "lipc/a%2Fb/clients//x",
                              "lipc/a%2Fb/clients/x/", "lipc/a%2Fb/clients/%41", ""})
    EXPECT_FALSE(topics.takeApart(foreign)) << foreign;
  for (const char* none : {"parameters/128", "parameters/-1", "parameters/07", "parameters/",
                           "parameters/1/2", "strings/10", "strings/99999999999", "names/1", ""})
    EXPECT_FALSE(placeOfTail(none)) << none;
}

TEST(MqttOutbox, SendsTheLastOfEachTopicAtItsPaceAndAllAgainAfterAnotherConnection) {
  Outbox outbox;
  int id = 0;
  Time now = Time{} + 1h;
  const auto sendAll = [&](bool isConfirmed) {
    std::string sent;
    while (const auto message = outbox.next(now)) {
      sent += message->topic + "=" + message->payload + " ";
      outbox.sent(message->topic, ++id, now);
      if (isConfirmed) outbox.confirmed(id);
    }
    return sent;
  };
  outbox.set("host", "h");
  outbox.set("a", "1");
  EXPECT_EQ(sendAll(true), "") << "nothing before it is open";
  outbox.beginConnection();
  outbox.found("a", "1");
  outbox.found("gone", "x");
  outbox.set("b", "1");
  outbox.release("host");
  EXPECT_EQ(sendAll(true), "b=1 gone= host=h ") << "a is there, and the host comes last";
  EXPECT_FALSE(outbox.has("gone"));

  for (const char* value : {"2", "3", "4"})
    outbox.set("b", value);
  EXPECT_EQ(sendAll(false), "") << "too soon";
  EXPECT_EQ(outbox.nextDue(), now + Outbox::cPace);
  now += Outbox::cPace;
  EXPECT_EQ(sendAll(false), "b=4 ");
  outbox.set("b", "5");
  now += 1h;
  EXPECT_EQ(sendAll(false), "") << "one is under way";
  EXPECT_EQ(outbox.waiting(), 1U);
  EXPECT_TRUE(outbox.isStuck(now));
  outbox.confirmed(id);
  outbox.set("b", "5");
  EXPECT_EQ(sendAll(true), "b=5 ");
  EXPECT_TRUE(outbox.isEmpty());

  outbox.set("short", "life");
  outbox.remove("short");
  outbox.remove("a");
  outbox.set("b", "6");
  now += 1h;
  EXPECT_EQ(sendAll(false), "a= b=6 ");
  outbox.beginConnection();
  outbox.confirmed(id);
  outbox.release("host");
  EXPECT_EQ(sendAll(true), "a= b=6 host=h ") << "nobody knows what became of them";
  EXPECT_EQ(outbox.topics(), 2U);

  for (int i = 0; i < 1000; ++i)
    outbox.set("t" + std::to_string(i), "v");
  sendAll(false);
  EXPECT_EQ(outbox.waiting(), 1000U);
  EXPECT_FALSE(outbox.next(now)) << "enough is under way";
  EXPECT_FALSE(outbox.isStuck(now));
}

TEST(MqttPayload, OnlyWhatARowCanHaveIsSet) {
  for (const auto& [payload, value] : std::map<std::string, float>{{"3", 3.F},
                                                                   {" -2.5\n", -2.5F},
                                                                   {"1e-3", 1e-3F},
                                                                   {"{\"value\":7}", 7.F},
                                                                   {"3.4028234e38", 3.4028234e38F}})
    EXPECT_EQ(wantedNumber(payload), value) << payload;
  for (const std::string& wrong :
       std::vector<std::string>{"", " ", "x", "3x", "1 2", "nan", "inf", "-inf", "1e39", "0x10",
                                "+1", "1,5", "[1]", "{}", "{\"value\":null}", "{\"value\":\"3\"}",
                                "{\"value\":1e999}", "{\"value\":3", "true"})
    EXPECT_TRUE(isRefused([&] { wantedNumber(wrong); })) << wrong;
  EXPECT_TRUE(isRefused([&] { wantedNumber(std::string("3\0", 2)); }));
  EXPECT_TRUE(isRefused([&] { wantedNumber("{\"value\":" + std::string(70000, '1') + "}"); }));
  EXPECT_TRUE(isRefused([&] { wantedNumber("{\"value\":" + std::string(60000, '[')); }));

  for (const auto& [payload, text] :
       std::map<std::string, std::string>{{"Stage B", "Stage B"},
                                          {"\"\"", ""},
                                          {"\"a\\u00fc\"", "a\xc3\xbc"},
                                          {"{\"value\":\"{x\"}", "{x"},
                                          {std::string(127, 'x'), std::string(127, 'x')}})
    EXPECT_EQ(wantedText(payload), text);
  for (const std::string& wrong : std::vector<std::string>{
           std::string(), std::string(128, 'x'), std::string(129, 'x'), std::string("a\0b", 3),
           std::string("\"a\\u0000b\""), std::string("a\xff"), std::string("\xed\xa0\x80"),
           std::string("{\"value\":3}"), std::string("{x"), std::string("\"x")})
    EXPECT_TRUE(isRefused([&] { wantedText(wrong); })) << wrong;
}

TEST(MqttPayload, AValueComesBackAsItWasToTheBit) {
  inspect::ClientPicture client;
  const auto back = [&](float value) {
    client.parameters[7] = value;
    return std::bit_cast<std::uint32_t>(readNumber(valuePayload(valueAt(client, {false, 7}))));
  };
  for (const std::uint32_t bits : {0U, 1U, 0x80000000U, 0x3DCCCCCDU, 0x7F7FFFFFU, 0x7F800000U,
                                   0xFF800000U, 0x7FC00000U, 0xFFFFFFFFU, 0x7F800001U})
    EXPECT_EQ(back(std::bit_cast<float>(bits)), bits) << std::hex << bits;
  for (const std::string& text :
       std::vector<std::string>{"", "Stage \"B\"", "\xc3\xbc\x01", "\xff\xfe", "a\xe2\x80\xae"}) {
    client.strings[3] = text;
    EXPECT_EQ(readText(valuePayload(valueAt(client, {true, 3}))), text);
  }
  for (const std::string& wrong :
       std::vector<std::string>{"", "3", "{}", "{\"value\":\"3\"}", "{\"value\":1e300}",
                                "{\"bytes\":\"12345\"}", "{\"bytes\":\"xx000000\"}"})
    EXPECT_TRUE(isRefused([&] { readNumber(wrong); })) << wrong;
}

TEST(MqttSetGate, LetsThroughWhatAPatternHasAndNothingElse) {
  const SiteTopics topics("site");
  const auto isLet = [&](const std::vector<std::string>& patterns, const std::string& tail) {
    bool isThrough = false;
    isRefused([&] {
      isThrough = SetGate(patterns, topics).target("lipc/site/clients/" + tail).has_value();
    });
    return isThrough;
  };
  EXPECT_FALSE(isLet({}, "desk/parameters/40/set"));
  EXPECT_TRUE(isLet({"x/*/*", "desk/parameters/40"}, "desk/parameters/40/set"));
  EXPECT_TRUE(isLet({"d*k/*/*4*"}, "desk/parameters/40/set"));
  EXPECT_TRUE(isLet({"a%20*/strings/*"}, "a%20b/strings/0/set"));
  for (const char* tail :
       {"desk/parameters/41/set", "desk2/parameters/40/set", "desk/strings/4/set",
        "desk/parameters/40", "desk/parameters/40/set/set", "desk/parameters/set",
        "%64esk/parameters/40/set", "desk/parameters/040/set", "desk/set"})
    EXPECT_FALSE(isLet({"desk/parameters/40"}, tail)) << tail;
  EXPECT_FALSE(isLet({"*/parameters/*"}, "desk/parameters/128/set"));
  for (const char* wrong : {"", "desk", "desk/parameters", "desk/names/1", "desk/parameters/4/5",
                            "desk//4", "+/parameters/4", "de sk/parameters/4"})
    EXPECT_THROW(SetGate({wrong}, topics), tools::Failure) << wrong;
  EXPECT_EQ(SetGate({"d*/parameters/4"}, topics).filters().at(0),
            "lipc/site/clients/+/parameters/4/set");
}

TEST(MqttRemoteClient, IsKnownWholeOrKeepsWhatItHadAndIsMarked) {
  const SiteTopics topics("desk");
  RemoteClient remote("desk", "VexoSettings");
  inspect::ClientPicture client;
  client.id = "VexoSettings";
  client.name = std::string(60, 'x') + "\xc3\xbc\xc3\xbc";
  client.type = LIPC::cSettingsType;
  client.life = inspect::eLife::eAlive;
  client.parameters[40] = 7;
  const tools::ValuePlace place{false, 40};
  const auto take = [&](const std::string& topic, const std::string& payload) {
    return remote.take(topic, payload);
  };
  EXPECT_TRUE(take(topics.client(client.id), rowPayload(client, {place})));
  EXPECT_TRUE(take(topics.host(), hostPayload("alive", {})));
  EXPECT_FALSE(remote.row()) << "a value that it has is still to come";
  EXPECT_TRUE(take(topics.value(client.id, place), valuePayload(valueAt(client, place))));
  ASSERT_TRUE(remote.row());
  EXPECT_EQ(remote.row()->parameters[40], 7);
  EXPECT_EQ(remote.row()->parameters[41], 26) << "what has no topic is as nobody set it";
  EXPECT_EQ(remote.row()->strings[0], "Standard-Surround");
  EXPECT_EQ(remote.row()->name, std::string(57, 'x') + " @desk");
  EXPECT_FALSE(take(SiteTopics("other").host(), hostPayload("gone", {})));
  EXPECT_FALSE(take(topics.client("other"), "{}"));

  const std::string stale = std::string(49, 'x') + " @desk (stale)";
  EXPECT_TRUE(take(topics.host(), hostPayload("gone", {})));
  EXPECT_EQ(remote.row()->name, stale);
  client.parameters[40] = 8;
  take(topics.value(client.id, place), valuePayload(valueAt(client, place)));
  EXPECT_EQ(remote.row()->parameters[40], 7) << "not before the site is alive";
  take(topics.host(), hostPayload("alive", {}));
  EXPECT_EQ(remote.row()->parameters[40], 8);
  take(topics.client(client.id), "");
  EXPECT_EQ(remote.row()->name, stale) << "it left";
  take(topics.client(client.id), rowPayload(client, {}));
  EXPECT_EQ(remote.row()->parameters[40], 1);
  remote.forgetWhoIsThere();
  EXPECT_EQ(remote.row()->name, stale);
  take(topics.client(client.id), rowPayload(client, {}));
  take(topics.host(), hostPayload("alive", {}));
  for (const char* wrong :
       {"x", "{}", "[]", "{\"typeCode\":1,\"name\":\"a\\u0000b\",\"life\":\"alive\",\"topics\":[]}",
        "{\"typeCode\":-1,\"name\":\"\",\"life\":\"\"}",
        "{\"typeCode\":1,\"name\":\"\",\"life\":\"\",\"topics\":[\"x\"]}"})
    EXPECT_TRUE(isRefused([&] { take(topics.client(client.id), wrong); })) << wrong;
  EXPECT_EQ(remote.row()->name, std::string(57, 'x') + " @desk") << "as before";
}

}  // namespace
