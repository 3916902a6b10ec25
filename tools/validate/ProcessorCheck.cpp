// SPDX-License-Identifier: BSL-1.0

// The slots of a processor as a host calls them.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include <fmt/core.h>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientEntry.h"
#include "tools/validate/TestedLibrary.h"

namespace tools::validate {
namespace {

constexpr unsigned cBlockFrames = 1024;
constexpr float cSampleRate = 48000.0F;
constexpr int cBlocks = 8;

/// A parameter block with a margin on both sides that nobody may write.
class ParameterBlock {
 public:
  ParameterBlock() { mFloats.fill(cMargin); }
  float* get() { return mFloats.data() + cMarginFloats; }
  bool isMarginWhole() const {
    const auto isMargin = [](float value) { return value == cMargin; };
    return std::all_of(mFloats.begin(), mFloats.begin() + cMarginFloats, isMargin) &&
           std::all_of(mFloats.end() - cMarginFloats, mFloats.end(), isMargin);
  }
  bool operator==(const ParameterBlock& other) const {
    return std::memcmp(mFloats.data(), other.mFloats.data(), sizeof mFloats) == 0;
  }

 private:
  static constexpr std::size_t cMarginFloats = 64;
  static constexpr float cMargin = 12345.0F;

  std::array<float, LIPC::SHMSliceBuffer::cParameterCount + 2 * cMarginFloats> mFloats;
};

LIPC::ClientEntry makeRow(const char* id, std::uint32_t type) {
  LIPC::ClientEntry row;
  row.id.setTo(id);
  row.type = type;
  row.setName(id);
  return row;
}

/// The calls of one block, in a host's order, for clients of several types.
class Driver {
 public:
  Driver(Context& context, TestedLibrary& library, LIPC::AudioProcessor& processor)
      : mContext(context),
        mLibrary(library),
        mProcessor(processor),
        mRows{makeRow("mixer", LIPC::cMixEngineType), makeRow("own", library.type())} {
    std::memset(mSourceParameters.get(), 0, cParameterBytes);
    mSourceBefore = mSourceParameters;
  }

  void setUp() {
    const int channels = mLibrary.call("slot 2 getOutputChannelCount",
                                       [&] { return mProcessor.getOutputChannelCount(); });
    if (channels < 0 || channels > 0xFFFF) fail("getOutputChannelCount", channels);
    mLibrary.call("slot 4 setSampleRate", [&] { mProcessor.setSampleRate(cSampleRate); });
    mLibrary.call("slot 3 setBlockSize", [&] { mProcessor.setBlockSize(cBlockFrames); });
    const int latency = mLibrary.call("slot 5 getLatency", [&] { return mProcessor.getLatency(); });
    if (latency < 0) fail("getLatency", latency);
    const long long start = 0;
    mLibrary.call("slot 10 setPlayheadStartTimestamp",
                  [&] { mProcessor.setPlayheadStartTimestamp(start); });
  }

  /// `isBare`: without the parameter blocks that may be null.
  void drive(long long timestamp, bool isBare) {
    float* const source = isBare ? nullptr : mSourceParameters.get();
    float* const own = isBare ? nullptr : mParameters.get();
    std::memset(mParameters.get(), 0, cParameterBytes);
    mLibrary.call("slot 9 preProcess", [&] { mProcessor.preProcess(timestamp); });
    for (const LIPC::ClientEntry& row : mRows) {
      mLibrary.call("slot 7 updateInput", [&] {
        mProcessor.updateInput(row.id, &row, nullptr, 0, cBlockFrames, mSourceParameters.get(),
                               nullptr, false);
      });
      mLibrary.call("slot 8 updateOutput", [&] {
        mProcessor.updateOutput(row.id, static_cast<int>(row.type), nullptr, 0, cBlockFrames,
                                mParameters.get(), source);
      });
    }
    mLibrary.call("slot 11 process", [&] { return mProcessor.process(cBlockFrames); });
    mLibrary.call("slot 6 updateParameters", [&] { mProcessor.updateParameters(own, nullptr); });
    mLibrary.call("slot 12 postProcess", [&] { mProcessor.postProcess(timestamp); });
    judgeBlocks();
  }

 private:
  static constexpr std::size_t cParameterBytes =
      sizeof(float) * LIPC::SHMSliceBuffer::cParameterCount;

  void judgeBlocks() {
    if (!mParameters.isMarginWhole()) {
      mContext.reporter.fail("the processor wrote outside its block of 172 parameters.",
                             "Write parameters 0 to 171 alone.");
    }
    if (!(mSourceParameters == mSourceBefore)) {
      mContext.reporter.fail("the processor wrote into another client's parameters.",
                             "Read sourceParameters and targetParameters, and write neither.");
    }
  }

  [[noreturn]] void fail(const char* name, int value) {
    mContext.reporter.fail(fmt::format("{} returned {}.", name, value),
                           "Return a count; 0 for a processor without audio.");
  }

  Context& mContext;
  TestedLibrary& mLibrary;
  LIPC::AudioProcessor& mProcessor;
  const LIPC::ClientEntry mRows[2];
  ParameterBlock mParameters, mSourceParameters, mSourceBefore;
};

}  // namespace

void checkProcessor(Context& context) {
  TestedLibrary library(context);
  library.load();
  auto first = library.createProcessor("validate");
  auto second = library.createProcessor("validate");
  if (first.get() == second.get()) {
    static_cast<void>(second.release());
    context.reporter.fail("createProcessor gave the same processor twice.",
                          "Return a new one at each call: the host destroys each.");
  }
  Driver driver(context, library, *first);
  driver.setUp();
  for (int block = 0; block < cBlocks; ++block)
    driver.drive(static_cast<long long>(block) * cBlockFrames, block == cBlocks - 1);
  library.call("slot 1, the destructor", [&] { first.reset(); });
  library.call("slot 1, the destructor", [&] { second.reset(); });
  library.close();
}

}  // namespace tools::validate
