// SPDX-License-Identifier: BSL-1.0

// lipc doctor and lipc reap on a session whose host does not look after its clients.
#include <nlohmann/json.hpp>

#include "tests/support/BareSession.h"
#include "tests/support/Process.h"
#include "tests/support/Testing.h"

namespace {

using namespace support;
using nlohmann::json;

struct Command : Process {
  explicit Command(std::vector<std::string> arguments) : Process(with(std::move(arguments))) {}
  static std::vector<std::string> with(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), LIPC_COMMAND);
    return arguments;
  }
  /// Its exit status; `output` is whole then.
  int end() {
    waitForLine("a line that never comes", 30s);
    return wait(10s);
  }
};

/// "key subject" of each finding that is wrong.
std::set<std::string> wrongIn(const std::string& output) {
  std::set<std::string> wrong;
  const json report = json::parse(output);
  for (const json& finding : report["findings"])
    if (finding["severity"] == "wrong")
      wrong.insert(finding["key"].get<std::string>() + " " + finding["subject"].get<std::string>());
  return wrong;
}

TEST(Doctor, NamesTheDeadOneAndReapRemovesItAlone) {
  BareSession session;
  session.isAnswering = true;
  std::map<std::string, std::unique_ptr<Process>> clients;
  for (const char* id : {"a", "b", "dead", "stopped"}) {
    clients[id] = std::make_unique<Process>(std::vector<std::string>{LIPC_PARTICIPANT, id});
    ASSERT_TRUE(clients[id]->waitForLine("established", 20s)) << id;
  }
  const auto rows = [&] {
    std::string ids;
    for (int index = 0; index < 4; ++index)
      ids += session.row(index) + std::string(" ");
    return ids;
  };
  const auto has = [](const std::string& name) { return SystemSegment(name).size() != 0; };
  clients["dead"]->signal(SIGKILL);
  clients["stopped"]->signal(SIGSTOP);

  // What only looks, and what is not allowed to do more.
  Command doctor({"doctor", "--json"}), dry({"reap", "--dry-run"}), refused({"reap"});
  EXPECT_EQ(doctor.end(), 13);
  EXPECT_EQ(wrongIn(doctor.output()),
            (std::set<std::string>{"client-dead dead", "client-held stopped"}))
      << doctor.output();
  EXPECT_NE(doctor.output().find(") has not changed for "), std::string::npos);
  EXPECT_EQ(dry.end(), 0);
  EXPECT_NE(dry.output().find("1 thing would be removed."), std::string::npos) << dry.output();
  EXPECT_EQ(refused.end(), 10) << refused.output();
  EXPECT_EQ(rows(), "a b dead stopped ");
  EXPECT_TRUE(has("dead"));

  Command reap({"reap", "--yes"});
  EXPECT_EQ(reap.end(), 0) << reap.output();
  EXPECT_NE(reap.output().find("removed the client dead\n"), std::string::npos) << reap.output();
  EXPECT_EQ(rows(), "a b  stopped ");
  for (const char* name : {"dead", "dead-send", "dead-return"})
    EXPECT_FALSE(has(name)) << name;
  EXPECT_EQ(session.list("dead"), nullptr);
  EXPECT_TRUE(session.lockIsFree());

  // A host that answers nobody, and a lock that is held: then nothing is touched.
  session.isAnswering = false;
  clients["b"]->signal(SIGKILL);
  session.lock.take();
  Command locked({"reap", "--yes"});
  EXPECT_EQ(locked.end(), 17) << locked.output();
  EXPECT_EQ(rows(), "a b  stopped ");
  session.lock.post();
  Command alone({"reap", "--yes", "--json"});
  EXPECT_EQ(alone.end(), 0) << alone.output();
  EXPECT_EQ(json::parse(alone.output())["removed"], json({"the client b"})) << alone.output();
  EXPECT_EQ(rows(), "a   stopped ");
  EXPECT_TRUE(session.lockIsFree());
  EXPECT_FALSE(session.registration.take()) << "the request was taken back";

  EXPECT_TRUE(has("a"));
  EXPECT_TRUE(has("stopped"));
  EXPECT_TRUE(clients["a"]->isRunning());
  session.isAnswering = true;  // so that they leave
  clients["stopped"]->signal(SIGCONT);
}

}  // namespace
