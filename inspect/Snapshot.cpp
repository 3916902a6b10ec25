// SPDX-License-Identifier: BSL-1.0
#include "inspect/Snapshot.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <string_view>

#include <unistd.h>

#include "inspect/Archive.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/util/SystemError.h"

namespace inspect {
namespace {

constexpr std::string_view cMark = "LIPC snapshot\n";
constexpr std::uint32_t cVersion = 1;
constexpr std::size_t cHeadBytes = cMark.size() + 4 + 8 + 8;
/// More than any session takes: 1024 clients with rings of 64 channels each way.
constexpr std::size_t cLargestFile = std::size_t{4} << 30U;
constexpr std::uint64_t cLargestSegment = std::uint64_t{256} << 20U;
constexpr std::size_t cPage = 4096;

/// Bytes of which pages of zeros are left out.
struct SparseBytes {
  struct Run {
    std::uint64_t offset = 0;
    std::string bytes;

    template <class Archive>
    void fields(Archive& archive) {
      archive(offset, bytes);
    }
  };

  std::uint64_t size = 0;
  std::vector<Run> runs;

  template <class Archive>
  void fields(Archive& archive) {
    archive(size, runs);
  }
};

struct KeptSegment {
  SegmentFacts facts;
  bool isReadable = false;
  SparseBytes bytes;

  template <class Archive>
  void fields(Archive& archive) {
    archive(facts, isReadable, bytes);
  }
};

struct Content {
  MachineFacts machine;
  Watched watched;
  PoolBytes pool;
  std::vector<KeptSegment> segments;

  template <class Archive>
  void fields(Archive& archive) {
    archive(machine, watched, pool, segments);
  }
};

std::uint64_t sumOf(std::string_view bytes) {
  std::uint64_t sum = 0xcbf29ce484222325U;
  for (const char c : bytes)
    sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  return sum;
}

SparseBytes sparse(std::string_view all) {
  static constexpr std::array<char, cPage> cZeros{};
  SparseBytes bytes;
  bytes.size = all.size();
  bool isRunning = false;
  for (std::size_t offset = 0; offset < all.size(); offset += cPage) {
    const std::string page(all.substr(offset, cPage));  // once: somebody may be writing
    if (std::memcmp(page.data(), cZeros.data(), page.size()) == 0) {
      isRunning = false;
    } else if (isRunning) {
      bytes.runs.back().bytes += page;
    } else {
      bytes.runs.push_back({offset, page});
      isRunning = true;
    }
  }
  return bytes;
}

Mapping whole(const SparseBytes& bytes) {
  if (bytes.size > cLargestSegment) throw ArchiveError("it has a segment that is too large");
  const auto size = static_cast<std::size_t>(bytes.size);
  // Pages that nobody touches cost nothing.
  std::shared_ptr<char> memory(static_cast<char*>(std::calloc(size + 1, 1)), std::free);
  if (!memory) throw std::bad_alloc();
  for (const SparseBytes::Run& run : bytes.runs) {
    if (run.offset > size || run.bytes.size() > size - run.offset)
      throw ArchiveError("it has bytes outside of a segment");
    std::copy(run.bytes.begin(), run.bytes.end(), memory.get() + run.offset);
  }
  return {memory, size};
}

/// Of the session as a whole, and of every row.
std::set<std::string> segmentNames(Source& source) {
  std::set<std::string> names = {LIPC::cSessionSegment, LIPC::cVersionSegment,
                                 LIPC::cNoConnectSegment, LIPC::cPannerValuesSegment};
  const Mapping mapping = source.attach(LIPC::cSessionSegment);
  const auto* table = mapping.as<LIPC::SessionBuffer>();
  if (table == nullptr) return names;
  for (const LIPC::ClientEntry& entry : table->entries) {
    const LIPC::ClientID id = entry.id;
    if (!id.isDefined()) continue;
    for (const std::string& name : LIPC::segmentNamesOf(id))
      names.insert(name);
  }
  return names;
}

Content contentOf(Source& source) {
  Content content;
  content.machine = source.machine();
  content.pool = source.pool();
  for (const std::string& name : segmentNames(source)) {
    auto facts = source.find(name, true);
    if (!facts) continue;
    KeptSegment kept;
    kept.facts = std::move(*facts);
    if (const Mapping mapping = source.attach(name)) {
      kept.isReadable = true;
      kept.bytes = sparse(mapping.view());
    }
    content.segments.push_back(std::move(kept));
  }
  return content;
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string readFile(const std::string& path) {
  File file(path == "-" ? fdopen(dup(STDIN_FILENO), "rb") : std::fopen(path.c_str(), "rbe"),
            std::fclose);
  std::string bytes;
  char part[65536];
  while (file && bytes.size() <= cLargestFile) {
    const std::size_t count = std::fread(part, 1, sizeof part, file.get());
    if (count == 0) break;
    bytes.append(part, count);
  }
  if (!file || std::ferror(file.get()) != 0) {
    throw SnapshotError("The snapshot " + path +
                        " cannot be read: " + LIPC::systemErrorText(errno) + ".");
  }
  return bytes;
}

std::string whole(const Content& content) {
  ArchiveWriter body;
  body(content);
  ArchiveWriter head;
  head(cVersion, std::uint64_t{body.bytes().size()}, sumOf(body.bytes()));
  return std::string(cMark) + head.bytes() + body.bytes();
}

/// Seconds that can be added and compared, and that a calendar has.
void requireTime(std::int64_t seconds) {
  constexpr std::int64_t cMost = 253402300799;  // the end of the year 9999
  if (seconds < -cMost || seconds > cMost) throw ArchiveError("it has a time that is none");
}

void requireTimes(const Content& content) {
  requireTime(content.machine.time);
  for (const KeyFileFacts& file : content.machine.keyFiles)
    requireTime(file.modified);
  for (const SemaphoreFacts& semaphore : content.machine.semaphores)
    requireTime(semaphore.ageSeconds);
  const auto requireTimesOf = [](const SegmentFacts& segment) {
    requireTime(segment.lastAttached);
    requireTime(segment.lastDetached);
  };
  for (const SegmentFacts& segment : content.machine.segments)
    requireTimesOf(segment);
  for (const KeptSegment& segment : content.segments)
    requireTimesOf(segment.facts);
}

Content contentOf(std::string_view bytes) {
  if (bytes.substr(0, cMark.size()) != cMark) throw ArchiveError("it is no snapshot");
  if (bytes.size() < cHeadBytes) throw ArchiveError("it was cut short");
  std::uint32_t version = 0;
  std::uint64_t size = 0;
  std::uint64_t sum = 0;
  ArchiveReader head(bytes.data() + cMark.size(), cHeadBytes - cMark.size());
  head(version, size, sum);
  if (version != cVersion)
    throw ArchiveError("it has version " + std::to_string(version) + ", and this lipc reads " +
                       std::to_string(cVersion));
  const std::string_view body = bytes.substr(cHeadBytes);
  if (body.size() < size) throw ArchiveError("it was cut short");
  if (body.size() > size || sumOf(body) != sum) throw ArchiveError("it was changed");
  Content content;
  ArchiveReader reader(body.data(), body.size());
  reader(content);
  requireTimes(content);
  return content;
}

class Snapshot final : public Source {
 public:
  explicit Snapshot(Content content) : mContent(std::move(content)) {
    for (KeptSegment& segment : mContent.segments) {
      Kept kept{segment.facts, {}};
      if (segment.isReadable) kept.mapping = whole(segment.bytes);
      mSegments.emplace(segment.facts.name, std::move(kept));
      segment.bytes = {};
    }
  }

  bool isLive() const override { return false; }
  std::int64_t time() override { return mContent.machine.time; }
  std::optional<SegmentFacts> find(const std::string& name, bool) override {
    const auto found = mSegments.find(name);
    return found != mSegments.end() ? std::optional(found->second.facts) : std::nullopt;
  }
  Mapping attach(const std::string& name) override {
    const auto found = mSegments.find(name);
    return found != mSegments.end() ? found->second.mapping : Mapping();
  }
  PoolBytes pool() override { return mContent.pool; }
  MachineFacts machine() override { return mContent.machine; }
  SettingsFacts settings() override { return mContent.machine.settings; }
  Watched watch(std::chrono::milliseconds, const std::function<bool(double)>&) override {
    return mContent.watched;
  }

 private:
  struct Kept {
    SegmentFacts facts;
    Mapping mapping;
  };

  Content mContent;
  std::map<std::string, Kept> mSegments;
};

}  // namespace

std::optional<std::string> takeSnapshot(Source& source, std::chrono::milliseconds duration,
                                        const std::function<bool(double)>& progress) {
  bool isWanted = true;
  Watched watched = source.watch(duration, [&](double part) { return isWanted = progress(part); });
  if (!isWanted) return std::nullopt;
  Content content = contentOf(source);
  content.watched = std::move(watched);
  return whole(content);
}

std::unique_ptr<Source> openSnapshot(const std::string& path) {
  const std::string bytes = readFile(path);
  try {
    return std::make_unique<Snapshot>(contentOf(bytes));
  } catch (const std::bad_alloc&) {
    throw SnapshotError("The snapshot " + path + " cannot be read: there is not enough memory.");
  } catch (const ArchiveError& error) {
    throw SnapshotError("The snapshot " + path + " cannot be read: " + error.what() + ".");
  }
}

}  // namespace inspect
