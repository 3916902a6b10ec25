// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Options.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "bridges/ClientIDCheck.h"
#include "bridges/mqtt/Credentials.h"
#include "bridges/mqtt/Topic.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

using tools::eExitUsage;
using tools::Failure;
using tools::printable;

/// As it was typed.
struct Line {
  std::string broker = "localhost";
  std::string protocol = "3.1.1";
  std::string passwordFile;
  std::vector<std::string> mirrors;
};

/// HOST, HOST:PORT, an IPv6 address, or one in brackets and a port.
void readBroker(const std::string& text, BrokerOptions& broker) {
  const std::size_t bracket = text.starts_with('[') ? text.find(']') : std::string::npos;
  std::size_t colon = text.find(':', bracket != std::string::npos ? bracket : 0);
  if (bracket == std::string::npos && colon != text.rfind(':')) colon = std::string::npos;
  broker.host = bracket != std::string::npos ? text.substr(1, bracket - 1) : text.substr(0, colon);
  if (colon != std::string::npos) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + colon + 1, end, broker.port);
    if (read.ec != std::errc() || read.ptr != end) broker.port = -1;
  }
  if (!broker.host.empty() && broker.port >= 0 && broker.port <= 65535 &&
      (colon == std::string::npos || broker.port != 0))
    return;
  throw Failure(eExitUsage, "\"{}\" is no broker. Write HOST, or HOST:PORT.", printable(text));
}

/// SITE/ID, or SITE/ID=LOCAL; each escaped as in topics.
MirrorOptions readMirror(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::size_t equals = text.find('=', slash != std::string::npos ? slash : 0);
  MirrorOptions mirror;
  if (slash != std::string::npos) {
    const std::string id = text.substr(slash + 1, equals - slash - 1);
    mirror.site = unescaped(text.substr(0, slash)).value_or("");
    mirror.id = unescaped(id).value_or("");
    mirror.localID = mirror.id + "@" + mirror.site;
    if (equals != std::string::npos)
      mirror.localID = unescaped(text.substr(equals + 1)).value_or("");
  }
  if (mirror.site.empty() || mirror.id.empty() || mirror.localID.empty()) {
    throw Failure(eExitUsage,
                  "\"{}\" is no client of a site. Write SITE/ID, or SITE/ID=LOCAL, as topics have "
                  "them.",
                  printable(text));
  }
  const std::string why = bridges::whyNoID(mirror.localID);
  if (why.empty()) return mirror;
  throw Failure(eExitUsage,
                "a mirror of {} cannot have the ID \"{}\" in this session: {}. Give it another: "
                "--mirror {}=LOCAL",
                printable(text), printable(mirror.localID), why, printable(text.substr(0, equals)));
}

std::string machineName() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  const std::string whole(name);
  return whole.substr(0, whole.find('.'));
}

void addOptions(CLI::App& app, Options& options, Line& line) {
  BrokerOptions& broker = options.broker;
  app.add_option("--broker", line.broker, "Where the broker is; the port is 1883, or 8883 with TLS")
      ->type_name("HOST[:PORT]")
      ->capture_default_str();
  app.add_option("--site", options.site,
                 "What this session is called there; this machine's name where it is left out")
      ->type_name("SITE");
  app.add_option("--mirror", line.mirrors,
                 "Have that client of another site in this session (repeatable)")
      ->type_name("SITE/ID[=LOCAL]");
  app.add_option("--allow-set", options.setPatterns,
                 "Let others set these values, such as desk/parameters/40 or desk/strings/* "
                 "(repeatable)")
      ->type_name("PATTERN");
  app.add_flag("--no-events", options.withoutEvents, "Publish what is true, and not what happens");
  app.add_option("--protocol", line.protocol, "The version of MQTT: 3.1.1 or 5")
      ->type_name("VERSION")
      ->check(CLI::IsMember({"3.1.1", "5"}))
      ->capture_default_str();
  app.add_option("--client-id", broker.clientID,
                 "By what the broker knows this program; lipc-SITE where it is left out")
      ->type_name("ID");
  app.add_option("--user", broker.user, "The user at the broker")->type_name("NAME");
  app.add_option("--password-file", line.passwordFile,
                 "The password is this file's first line. Without it LIPC_MQTT_PASSWORD counts")
      ->type_name("FILE");
  app.add_flag("--tls", broker.isTLS, "Encrypt, and trust the system's authorities");
  app.add_option("--ca", broker.authorities, "Encrypt, and trust the authorities in this file")
      ->type_name("FILE");
  app.add_option("--cert", broker.certificate, "Encrypt, and show this certificate")
      ->type_name("FILE");
  app.add_option("--key", broker.key, "The certificate's key, without a password")
      ->type_name("FILE");
  app.add_option("--keep-alive", broker.keepAliveSeconds,
                 "Seconds; after one and a half times as many without a sign the broker says that "
                 "this site is gone")
      ->type_name("SECONDS")
      ->check(CLI::Range(5, 65535))
      ->capture_default_str();
  app.add_option("--counters", options.countersSeconds,
                 "Print every so many seconds what was sent and taken")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86400));
  app.footer(
      "Example:\n  lipc mqtt --broker broker.example.org --ca house.pem --site stage-b --user "
      "stage-b "
      "--password-file ~/.lipc-mqtt");
}

void takePassword(BrokerOptions& broker, const std::string& file) {
  if (!file.empty() && broker.user.empty())
    throw Failure(eExitUsage, "a password is nobody's without a user: add --user NAME");
  const char* const variable = std::getenv(cPasswordVariable);
  if (!file.empty()) {
    broker.password = passwordOfFile(file);
  } else if (variable != nullptr && !broker.user.empty()) {
    broker.password = variable;
  }
  // No child of this program needs it.
  unsetenv(cPasswordVariable);
}

void complete(Options& options, const Line& line) {
  BrokerOptions& broker = options.broker;
  readBroker(line.broker, broker);
  broker.protocol = line.protocol == "5" ? 5 : 4;
  if (options.site.empty()) options.site = machineName();
  if (options.site.empty()) throw Failure(eExitUsage, "this machine has no name: add --site SITE");
  if (broker.clientID.empty()) broker.clientID = "lipc-" + escaped(options.site);
  for (const std::string& mirror : line.mirrors) {
    options.mirrors.push_back(readMirror(mirror));
    if (options.mirrors.back().site == options.site)
      throw Failure(eExitUsage, "{} is of this very site; a mirror is of another one's client",
                    printable(mirror));
    const MirrorOptions& last = options.mirrors.back();
    const bool isTwice =
        std::any_of(options.mirrors.begin(), options.mirrors.end() - 1,
                    [&](const MirrorOptions& other) { return other.localID == last.localID; });
    if (isTwice)
      throw Failure(eExitUsage, "two mirrors would have the ID \"{}\". Leave out --mirror {}",
                    printable(last.localID), printable(mirror));
  }
  if (broker.certificate.empty() != broker.key.empty())
    throw Failure(eExitUsage, "--cert and --key go together");
  if (!broker.authorities.empty() || !broker.certificate.empty()) broker.isTLS = true;
  takePassword(broker, line.passwordFile);
}

}  // namespace

bool readOptions(int argc, char** argv, Options& options, int& status) {
  CLI::App app(
      "Publishes this machine's session on an MQTT broker, until Ctrl-C; mirrors clients of other "
      "sites into it, and lets others set values, where that is asked for.",
      "lipc mqtt");
  app.failure_message(CLI::FailureMessage::help);
  Line line;
  addOptions(app, options, line);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    status = app.exit(error, help, std::cerr) == 0 ? tools::eExitOK : tools::eExitUsage;
    tools::print(help.str());
    return false;
  }
  complete(options, line);
  return true;
}

}  // namespace mqtt
