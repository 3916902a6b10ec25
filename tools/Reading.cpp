// SPDX-License-Identifier: BSL-1.0
#include "tools/Reading.h"

#include "inspect/Snapshot.h"
#include "tools/Failure.h"
#include "tools/Text.h"

namespace tools {

using inspect::SessionPicture;

void addFromOption(CLI::App& command, std::string& path) {
  command
      .add_option("--from", path,
                  "Read a snapshot instead of the living session; - for standard input")
      ->type_name("FILE");
}

std::unique_ptr<inspect::Source> openSource(const std::string& from) {
  if (from.empty()) return inspect::openMachine();
  try {
    return inspect::openSnapshot(from);
  } catch (const inspect::SnapshotError& error) {
    throw Failure(eExitSnapshot, "{}", printable(error.what()));
  }
}

void failUnlessRead(const SessionPicture& session, bool isLive) {
  const char* where = isLive ? "on this machine" : "in this snapshot";
  switch (session.state) {
    case SessionPicture::eRead:
      break;
    case SessionPicture::eNone:
      throw Failure(eExitNoSession, "there is no session {}.{}", where,
                    isLive ? " Start a host, for example: lipc host" : "");
    case SessionPicture::eNoPermission:
      throw Failure(eExitNoPermission,
                    "the session {} is another user's, and this user may not read it. Run lipc as "
                    "that user; host and participants that are to share a session with others run "
                    "with umask 0.",
                    where);
    case SessionPicture::eTooSmall:
      throw Failure(eExitDamaged,
                    "what goes by the session's name {} is no session: its segment has {} bytes. "
                    "See what it is with: lipc doctor",
                    where, session.table->bytes);
    case SessionPicture::eOverwritten:
      throw Failure(eExitDamaged,
                    "the session's table {} is damaged: all of its {} rows have the same ID. "
                    "Somebody wrote over it; end what runs in the session, and start its host "
                    "anew.",
                    where, LIPC::cMaxClients);
    case SessionPicture::eForeign:
      throw Failure(eExitOtherVersion,
                    "the session {} has protocol {} with {} bits, and this lipc reads protocol {} "
                    "with {} bits. Use the lipc that came with its host.",
                    where, session.protocolVersion, session.pointerWidthBits,
                    LIPC::cProtocolVersion, LIPC::cPointerWidthBits);
  }
}

SessionPicture readOrFail(inspect::Source& source, const inspect::ReadOptions& options) {
  SessionPicture session = inspect::readSession(source, options);
  failUnlessRead(session, source.isLive());
  return session;
}

const inspect::ClientPicture& clientOrFail(const SessionPicture& session, const std::string& id) {
  if (const inspect::ClientPicture* client = session.find(id)) return *client;
  // As it is shown, where it cannot be typed.
  for (const inspect::ClientPicture& client : session.clients)
    if (printable(client.id) == id) return client;
  throw Failure(eExitNoClient,
                "no client of the session has the ID \"{}\". See who is there with: lipc ls",
                printable(id));
}

}  // namespace tools
