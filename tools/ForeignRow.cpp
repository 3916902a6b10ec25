// SPDX-License-Identifier: BSL-1.0
#include "tools/ForeignRow.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "lipc/session/SessionNames.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/SystemError.h"
#include "tools/Failure.h"
#include "tools/Look.h"
#include "tools/Text.h"

namespace tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// A client's pass comes every 500 ms at the latest.
constexpr milliseconds cStayWatch(700);

}  // namespace

ForeignRow::ForeignRow(const std::string& id) : mID(id), mTable(LIPC::cSessionSegment) {
  if (mTable.get() != nullptr) return;
  if (mTable.error() == EACCES) {
    throw Failure(eExitNoPermission,
                  "the session is another user's, and this user may not write into it. Run lipc as "
                  "that user.");
  }
  throw Failure(eExitNoSession, "the session is gone: {}. Nothing was changed.",
                LIPC::systemErrorText(mTable.error()));
}

/// Looked up anew each time: the client may leave meanwhile and its row become another's.
LIPC::ClientEntry& ForeignRow::row() const {
  if (LIPC::ClientEntry* row = mTable->getClientEntry(mID.id)) return *row;
  throw Failure(eExitNoClient,
                "the client {} has left the session meanwhile. See who is there with: lipc ls",
                printable(mID.view()));
}

void ForeignRow::set(unsigned parameter, float value) {
  LIPC::storeRelaxed(row().offlineParameters[parameter], value);
}

void ForeignRow::put(unsigned slot, const std::string& text) {
  row().strings[slot].put(text.c_str(), static_cast<int>(text.size()));
}

void ForeignRow::requireThatItStays(
    const std::string& what,
    const std::function<bool(const LIPC::ClientEntry&)>& isAsWritten) const {
  for (const auto start = steady_clock::now(); steady_clock::now() - start < cStayWatch;) {
    const LIPC::ClientEntry* row = mTable->getClientEntry(mID.id);
    if (row == nullptr) {
      throw Failure(eExitNotDone,
                    "{} was written, but the client has left the session since then: it publishes "
                    "what it holds itself when it comes back. Try again.",
                    what);
    }
    if (!isAsWritten(*row)) {
      throw Failure(eExitNotDone,
                    "{} was written, but did not stay: the client, or somebody else, wrote over it "
                    "after {} ms. Change it where it comes from.",
                    what,
                    std::chrono::duration_cast<milliseconds>(steady_clock::now() - start).count());
    }
    std::this_thread::sleep_for(cLook);
  }
}

}  // namespace tools
