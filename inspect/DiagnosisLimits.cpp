// SPDX-License-Identifier: BSL-1.0

// The kernel's limits on shared memory against what a session needs.
#include <algorithm>

#include "inspect/DiagnosisParts.h"
#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionBuffer.h"

namespace inspect {
namespace {

constexpr std::uint64_t cTableBytes = sizeof(LIPC::SessionBuffer);
constexpr std::uint64_t cPannerBytes = 4096;
constexpr std::uint64_t cRingBytes = sizeof(LIPC::SHMSlices);
constexpr std::uint64_t cChannelBytes = LIPC::SHMSlices::cSliceCount * sizeof(LIPC::SHMChannel);

/// Table, version, panner values, and the mark that forbids joins while a host stops.
constexpr std::uint64_t cSessionSegments = 4;
constexpr std::uint64_t cClientSegments = 3;
/// A host holds the session's and its clients' segments, and looks at one more in passing. A client
/// holds the table, the panner values and its own, and looks at one more.
constexpr std::uint64_t cHostOwn = cSessionSegments + 1;
constexpr std::uint64_t cClientOwn = 2 + cClientSegments + 1;

/// A system without a limit has a number near the largest.
constexpr std::uint64_t cNoLimit = std::uint64_t{1} << 62;

constexpr unsigned cChannelCounts[] = {2, 16};
/// What is advised: room for so many clients of 16 channels.
constexpr std::uint64_t cAdvisedClients = 16;
/// Fewer than so many clients of 2 channels is a notice.
constexpr std::uint64_t cFewClients = 8;

std::uint64_t ringBytes(unsigned channels) {
  return cRingBytes + cChannelBytes * channels;
}

std::uint64_t pageBytesOf(const LimitFacts& limits) {
  return limits.pageBytes != 0 ? limits.pageBytes : 4096;
}

std::string number(std::uint64_t value) {
  return std::to_string(value);
}

std::string limitText(const std::optional<std::uint64_t>& limit, const std::string& thing) {
  return limit && *limit < cNoLimit ? number(*limit) + " " + thing : "no limit on " + thing;
}

/// The smallest power of two that is not below.
std::uint64_t roundedUp(std::uint64_t value) {
  std::uint64_t rounded = 1;
  while (rounded < value)
    rounded *= 2;
  return rounded;
}

struct Advice {
  std::uint64_t largest, pages, segments, perProcess;
};

Advice advised(const LimitFacts& limits) {
  const auto atLeast = [](std::uint64_t needed, const std::optional<std::uint64_t>& now) {
    return std::max(roundedUp(needed), now.value_or(0));
  };
  const std::uint64_t page = pageBytesOf(limits);
  return {
      atLeast(std::max(cTableBytes, ringBytes(16)), limits.largestSegmentBytes),
      atLeast(sessionPages(page) + cAdvisedClients * clientPages(16, page), limits.allPages),
      atLeast(cSessionSegments + cAdvisedClients * cClientSegments, limits.segments),
      atLeast(cHostOwn + cAdvisedClients * cClientSegments, limits.segmentsPerProcess),
  };
}

std::vector<std::string> howToRaise(const Exam& exam) {
  const Advice to = advised(exam.machine.limits);
  if (isOnMac(exam.machine)) {
    const std::string values = "kern.sysv.shmmax=" + number(to.largest) +
                               " kern.sysv.shmall=" + number(to.pages) +
                               " kern.sysv.shmseg=" + number(to.perProcess) +
                               " kern.sysv.shmmni=" + number(to.segments) + " kern.sysv.shmmin=1";
    return {"sudo sysctl " + values,
            "That lasts until the machine starts again, and shmmni can only be set before the "
            "first segment is made. For good: a property list in /Library/LaunchDaemons that runs "
            "/usr/sbin/sysctl with these five at every start (older systems: the five lines in "
            "/etc/sysctl.conf), then start the machine again."};
  }
  return {"sudo sysctl kernel.shmmax=" + number(to.largest) + " kernel.shmall=" + number(to.pages) +
              " kernel.shmmni=" + number(to.segments),
          "For good: the same three, a line each, in /etc/sysctl.d/60-lipc.conf."};
}

std::string sumText(std::uint64_t page) {
  return "table: " + number(cTableBytes) + " bytes / " + number(page) + " = " +
         countText(pagesOf(cTableBytes, page), "page") + "; version " +
         number(pagesOf(sizeof(LIPC::VersionRecord), page)) + ", panner values " +
         number(pagesOf(cPannerBytes, page)) +
         ", mark that forbids joins 1: " + countText(sessionPages(page), "page") + " and " +
         number(cSessionSegments) + " segments for a session without clients";
}

std::string clientText(unsigned channels, std::uint64_t page) {
  return "a client of " + number(channels) + " channels each way: buffer " +
         number(sizeof(LIPC::ClientBuffer)) +
         " bytes = " + countText(pagesOf(sizeof(LIPC::ClientBuffer), page), "page") +
         ", two rings of " + number(cRingBytes) + " + " + number(cChannelBytes) + " * " +
         number(channels) + " = " + number(ringBytes(channels)) +
         " bytes = " + countText(pagesOf(ringBytes(channels), page), "page") +
         " each: " + countText(clientPages(channels, page), "page") + " and " +
         number(cClientSegments) + " segments";
}

std::string roomText(unsigned channels, const ClientRoom& room) {
  return "room for " + countText(room.clients, "client") + " of " + number(channels) +
         " channels, bounded by the " + room.bound;
}

Finding limitsFinding(const Exam& exam) {
  const LimitFacts& limits = exam.machine.limits;
  const std::uint64_t page = pageBytesOf(limits);
  Finding finding{"limits", eSeverity::eFine, {}, {}, {}, {}};
  finding.evidence = {"this machine allows " + limitText(limits.allPages, "pages") + " of " +
                          number(page) + " bytes, " + limitText(limits.segments, "segments") +
                          ", " + limitText(limits.segmentsPerProcess, "segments of one process") +
                          " and " + limitText(limits.largestSegmentBytes, "bytes in a segment"),
                      sumText(page)};
  if (limits.segmentsPerProcess)
    finding.evidence.push_back("the host's process holds " + number(cHostOwn) + " segments and " +
                               number(cClientSegments) + " for each client, a client's " +
                               number(cClientOwn));
  for (const unsigned channels : cChannelCounts) {
    finding.evidence.push_back(clientText(channels, page));
    finding.evidence.push_back(roomText(channels, roomFor(limits, channels)));
  }
  const ClientRoom few = roomFor(limits, 2);
  const ClientRoom many = roomFor(limits, 16);
  if (few.clients == 0) {
    finding.severity = eSeverity::eWrong;
    finding.title = few.isSessionPossible
                        ? "The system's limits on shared memory leave no room for a client."
                        : "The system's limits on shared memory are too small for a session.";
  } else if (few.clients < cFewClients || many.clients == 0) {
    finding.severity = eSeverity::eNotice;
    finding.title = "The system's limits on shared memory leave room for " +
                    countText(few.clients, "client") + " of 2 channels, or for " +
                    number(many.clients) + " of 16.";
  } else {
    finding.title = "The system's limits on shared memory suffice: room for " +
                    countText(few.clients, "client") + " of 2 channels, or for " +
                    number(many.clients) + " of 16.";
  }
  if (finding.severity != eSeverity::eFine) finding.todo = howToRaise(exam);
  return finding;
}

/// What all programs of the machine have taken of it already.
void addUsed(const Exam& exam, Findings& findings) {
  const LimitFacts& limits = exam.machine.limits;
  const std::uint64_t page = pageBytesOf(limits);
  const auto left = [](const std::optional<std::uint64_t>& limit,
                       const std::optional<std::uint64_t>& used) {
    return limit && used ? std::optional(*limit - std::min(*limit, *used)) : std::nullopt;
  };
  const auto pages = left(limits.allPages, limits.pagesInUse);
  const auto segments = left(limits.segments, limits.segmentsInUse);
  const bool isTableThere = exam.session.table.has_value();
  const std::uint64_t neededPages = (isTableThere ? 0 : sessionPages(page)) + clientPages(2, page);
  const std::uint64_t neededSegments = (isTableThere ? 0 : cSessionSegments) + cClientSegments;
  const bool isShort = (pages && *pages < neededPages) || (segments && *segments < neededSegments);
  if (!isShort) return;
  const std::string what = isTableThere ? "one more client" : "a session with a client";
  findings.push_back(
      {"limits-used-up",
       eSeverity::eWrong,
       {},
       "The machine's shared memory is used up: " + what + " finds no room.",
       {"in use: " + countText(limits.segmentsInUse.value_or(0), "segment") + " of " +
            number(limits.segments.value_or(0)) + ", " +
            countText(limits.pagesInUse.value_or(0), "page") + " of " +
            number(limits.allPages.value_or(0)),
        "needed: " + number(neededSegments) + " segments and " + number(neededPages) + " pages"},
       {"lipc reap", "See whose the segments are: ipcs -m -p"}});
}

}  // namespace

std::uint64_t pagesOf(std::uint64_t bytes, std::uint64_t pageBytes) {
  return (bytes + pageBytes - 1) / pageBytes;
}

std::uint64_t clientPages(unsigned channels, std::uint64_t pageBytes) {
  return pagesOf(sizeof(LIPC::ClientBuffer), pageBytes) +
         2 * pagesOf(ringBytes(channels), pageBytes);
}

std::uint64_t sessionPages(std::uint64_t pageBytes) {
  return pagesOf(cTableBytes, pageBytes) + pagesOf(sizeof(LIPC::VersionRecord), pageBytes) +
         pagesOf(cPannerBytes, pageBytes) + 1;
}

ClientRoom roomFor(const LimitFacts& limits, unsigned channels) {
  const std::uint64_t page = pageBytesOf(limits);
  ClientRoom room{true, LIPC::cMaxClients, "rows"};
  const auto bound = [&](const std::optional<std::uint64_t>& limit, std::uint64_t ofSession,
                         std::uint64_t ofClient, const char* what) {
    if (!limit) return;
    if (*limit < ofSession) room.isSessionPossible = false;
    const std::uint64_t clients = *limit < ofSession ? 0 : (*limit - ofSession) / ofClient;
    if (clients < room.clients) {
      room.clients = clients;
      room.bound = what;
    }
  };
  bound(limits.allPages, sessionPages(page), clientPages(channels, page), "pages");
  bound(limits.segments, cSessionSegments, cClientSegments, "segments");
  bound(limits.segmentsPerProcess, cHostOwn, cClientSegments, "segments of a process");
  if (limits.segmentsPerProcess && *limits.segmentsPerProcess < cClientOwn) room.clients = 0;
  if (limits.largestSegmentBytes) {
    const std::uint64_t largest = *limits.largestSegmentBytes;
    if (largest < cTableBytes) room.isSessionPossible = false;
    if (largest < std::max(cTableBytes, ringBytes(channels))) {
      room.clients = 0;
      room.bound = "bytes of a segment";
    }
  }
  return room;
}

void diagnoseLimits(const Exam& exam, Findings& findings) {
  findings.push_back(limitsFinding(exam));
  addUsed(exam, findings);
}

}  // namespace inspect
