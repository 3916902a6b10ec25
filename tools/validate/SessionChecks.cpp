// SPDX-License-Identifier: BSL-1.0

// The library's client in a session that is as it should be.
#include <algorithm>
#include <thread>

#include <fmt/core.h>

#include "host/ClientSegments.h"
#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/SegmentNames.h"
#include "tools/Text.h"
#include "tools/validate/Holdings.h"
#include "tools/validate/ScriptedHost.h"
#include "tools/validate/TestedLibrary.h"

namespace tools::validate {
namespace {

using LIPC::ClientID;
using LIPC::ShmManaged;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char cGoodHost[] = "a good host";
constexpr char cUseLibrary[] =
    "Use LIPC::Client, or write the records as docs/contract.md has them.";
/// A stamp counts whole seconds and is written twice a second at least.
constexpr milliseconds cStampTime(3'000);
constexpr milliseconds cAskedTime(10'000);
constexpr std::uint32_t cAllModes = LIPC::eClientModeInputs | LIPC::eClientModeOutputs |
                                    LIPC::eClientModeNoAudio | LIPC::eClientModeExclusive;

std::uint32_t typeOf(Context& context) {
  TestedLibrary library(context);
  return library.type();
}

void require(Context& context, bool isSo, const std::string& evidence) {
  if (!isSo) context.reporter.fail(evidence, cUseLibrary);
}

void judgeRow(Context& context, const LIPC::ClientEntry& row) {
  const std::uint32_t mode = row.mode;
  require(context, row.id.isDefined() && row.id.view().find('/') == std::string_view::npos,
          fmt::format("the row's ID \"{}\" is none for a client.", row.id.view()));
  require(context, !row.nameView().empty(), "the row has no name.");
  require(context, (mode & ~cAllModes) == 0 && ((mode & 8) == 0 || mode == 8),
          fmt::format("the row's mode is {}, which is none.", mode));
  require(context, (mode & 1) != 0 || row.inputChannelCount == 0,
          fmt::format("the row has {} inputs without mode bit 1.", row.inputChannelCount));
  require(context, (mode & 2) != 0 || row.outputChannelCount == 0,
          fmt::format("the row has {} outputs without mode bit 2.", row.outputChannelCount));
}

void judgeSegment(Context& context, const std::string& name, std::size_t bytes) {
  const auto segment = ShmManaged::find(name.c_str());
  require(context, segment.has_value(), fmt::format("there is no segment \"{}\".", name));
  require(context, segment->bytes == bytes,
          fmt::format("the segment \"{}\" has {} bytes; it should have {}.", name, segment->bytes,
                      bytes));
  require(context, segment->isAttached(),
          fmt::format("the client has not attached its segment \"{}\".", name));
}

void judgeSegments(Context& context, const LIPC::ClientEntry& row) {
  constexpr std::size_t cPerChannel = LIPC::SHMSlices::cSliceCount * sizeof(LIPC::SHMChannel);
  const auto names = LIPC::segmentNamesOf(row.id);
  judgeSegment(context, names[0], sizeof(LIPC::ClientBuffer));
  judgeSegment(context, names[1], sizeof(LIPC::SHMSlices) + cPerChannel * row.inputChannelCount);
  judgeSegment(context, names[2], sizeof(LIPC::SHMSlices) + cPerChannel * row.outputChannelCount);
}

void judgeBuffer(Context& context, const LIPC::ClientEntry& row) {
  const LIPC::ShmReadOnly<LIPC::ClientBuffer> buffer(row.id.text().c_str());
  require(context, buffer.get() != nullptr, "the client's buffer cannot be read.");
  require(
      context, buffer->id == row.id && buffer->type == row.type,
      fmt::format("the client's buffer is of \"{}\" and type {}, its row of \"{}\" and {}.",
                  buffer->id.view(), typeText(buffer->type), row.id.view(), typeText(row.type)));
  require(context,
          buffer->mustDisconnectSemaphore.isWellFormed() && buffer->keepAliveMutex.isWellFormed(),
          "a semaphore's name in the client's buffer is not well formed.");
  context.reporter.step("the wait for the client's stamp", cStampTime + context.callTime);
  const std::string first(buffer->stampText());
  const auto deadline = steady_clock::now() + cStampTime;
  while (buffer->stampText() == first) {
    require(context, steady_clock::now() < deadline,
            fmt::format("the client's stamp \"{}\" was not refreshed within {} s.", first,
                        cStampTime.count() / 1000));
    std::this_thread::sleep_for(milliseconds(20));
  }
  try {
    require(context,
            LIPC::ClientBuffer::judgeStamp(std::string(buffer->stampText()),
                                           LIPC::ClientBuffer::currentTime()) == LIPC::eAliveFresh,
            fmt::format("the client's stamp \"{}\" is not the present time in UTC.",
                        buffer->stampText()));
  } catch (const std::runtime_error&) {
    require(context, false, fmt::format("the client's stamp \"{}\" is no time.", first));
  }
}

/// What a client makes for an ID and takes away again.
std::string leftOf(const std::string& id) {
  std::string left;
  const auto add = [&](const std::string& thing) { left += (left.empty() ? "" : ", ") + thing; };
  for (const std::string& name : LIPC::segmentNamesOf(ClientID(id))) {
    if (ShmManaged::find(name.c_str())) add("segment " + name);
  }
  const std::set<std::string> semaphores = Holdings::now().semaphores;
  for (const char* suffix : {LIPC::cMustDisconnectSuffix, LIPC::cKeepAliveMutexSuffix}) {
    if (semaphores.count(LIPC::Semaphore::platformName((id + suffix).c_str())) != 0)
      add("semaphore " + id + suffix);
  }
  return left;
}

void requireLeave(Context& context, ScriptedHost& host, int count, const char* when) {
  if (host.waitForLeaves(count, cAskedTime)) return;
  context.reporter.fail(
      fmt::format("the client was still in the session {} s after {}.", cAskedTime.count() / 1000,
                  when),
      "Wait on the buffer's ClientMustDisconnect semaphore, and leave when it is posted and in "
      "unloadLibrary.");
}

}  // namespace

/// As a host does that drives the library's processor meanwhile.
void checkJoin(Context& context) {
  const std::uint32_t type = typeOf(context);
  ScriptedHost host(context, type, {}, cGoodHost);
  context.reporter.step("the host's loading of the library", 3 * context.callTime);
  try {
    host.session().load(context.library);
  } catch (const host::LibraryError& error) {
    context.reporter.fail(error.what(), "See the checks before.");
  }
  host.requireJoin(cFirstJoinTime);
  const ClientID id(host.id());
  const LIPC::ClientEntry* const found = host.session().session().getClientEntry(id.text().c_str());
  require(context, found != nullptr, "the client left again at once.");
  const LIPC::ClientEntry row = *found;
  context.reporter.note(fmt::format("joined as {} \"{}\", mode {}", printable(id.view()),
                                    printable(row.nameView()), modeText(row.mode)));
  judgeRow(context, row);
  judgeSegments(context, row);
  judgeBuffer(context, row);
  const std::vector<std::string> remaining = host.stop();
  if (std::ranges::find(remaining, id.text()) != remaining.end()) {
    context.reporter.fail("the client did not leave within 5 s when the host stopped.",
                          "Wait on the buffer's ClientMustDisconnect semaphore and leave when it "
                          "is posted.");
  }
}

void checkLeave(Context& context) {
  const std::uint32_t type = typeOf(context);
  ScriptedHost host(context, type, {}, cGoodHost);
  const Holdings before = Holdings::now();
  TestedLibrary library(context);
  library.load();
  host.requireJoin(cFirstJoinTime);
  const std::string firstID = host.id();
  host::askToLeave(ClientID(firstID));
  requireLeave(context, host, 1, "it was asked to leave");
  if (!host.waitForJoins(2, cJoinTime)) {
    context.reporter.fail(fmt::format("the client did not come back within {} s after it was asked "
                                      "to leave.",
                                      cJoinTime.count()),
                          "Try to join again after each leave, for as long as the library is "
                          "loaded.");
  }
  const std::string id = host.id();
  library.unload();
  requireLeave(context, host, 2, "unloadLibrary");
  std::string left = threadsBeyond(context, before);
  library.close();
  if (left.empty()) left = leftBeyond(context, before);
  for (const std::string& each : {leftOf(firstID), id == firstID ? "" : leftOf(id)}) {
    if (!each.empty()) left += (left.empty() ? "" : "; ") + each;
  }
  if (!left.empty()) {
    context.reporter.fail("after it left and was unloaded there are: " + left + ".",
                          "Remove in the leave what the join made, and end what was begun.");
  }
}

}  // namespace tools::validate
