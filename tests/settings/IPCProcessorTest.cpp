// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/SessionNames.h"
#include "settings/IPCProcessor.h"
#include "tests/support/Testing.h"

namespace {

constexpr int cMixEngine = static_cast<int>(LIPC::cMixEngineType);

/// What a processor that held 7.0 puts out after it saw these two parameters, or no block.
float derived(float level, float state, int type = cMixEngine, bool hasBlock = true) {
  std::vector<float> target(128, -3.0F);
  target[59] = level;
  target[60] = state;
  Vexo::Settings::IPCProcessor processor("derives", 48000.0F, 64);
  processor.mixEngineState = 7.0F;
  std::vector<float> own(128, 1.0F);
  processor.updateOutput(LIPC::ClientID("mixer"), type, nullptr, 0, 64, own.data(),
                         hasBlock ? target.data() : nullptr);
  EXPECT_EQ(own, std::vector<float>(128, 1.0F)) << "the result leaves in updateParameters only";
  processor.updateParameters(nullptr, nullptr);
  processor.updateParameters(own.data(), nullptr);
  EXPECT_EQ(std::count(own.begin(), own.end(), 1.0F), 127) << "no other slot is written";
  return own[39];
}

TEST(IPCProcessor, DerivesSlot39FromTwoParametersOfTheMixEngine) {
  // Of parameter 60 only the low 16 bits count, and what does not fit 32 bits counts as clear.
  // clang-format off
  const float cases[][3] = {  // 59, 60, result
      {-6.5, NAN, -6.5}, {-1e-30, 1, -1e-30}, {-0.0, -1, 2}, {NAN, -1, 2}, {NAN, 1, 0}, {3, -1, 2},
      {0, -0.9, 0}, {0, NAN, 0}, {0, 32767.9, 0}, {0, 32768, 2}, {0, 40000, 2}, {0, -32769, 0},
      {0, 2147483520, 2}, {0, 3.0e9, 0}};
  // clang-format on
  for (const auto& [level, state, result] : cases)
    EXPECT_EQ(derived(level, state), result) << level << " " << state;
  EXPECT_EQ(derived(-6.5F, -1.0F, static_cast<int>(LIPC::cSettingsType)), 7.0F);
  EXPECT_EQ(derived(-6.5F, -1.0F, cMixEngine, false), 7.0F);
}

TEST(AudioProcessor, KeepsTheOrderOfItsOperations) {
  using P = LIPC::AudioProcessor;
  // A pointer to a virtual operation begins with its offset in bytes, plus 1 on some machines.
  const auto slots = [](auto... operations) {
    return std::vector{std::bit_cast<std::array<long, 2>>(operations)[0] / 8 ...};
  };
  EXPECT_EQ(slots(&P::getOutputChannelCount, &P::setBlockSize, &P::setSampleRate, &P::getLatency,
                  &P::updateParameters, &P::updateInput, &P::updateOutput, &P::preProcess,
                  &P::setPlayheadStartTimestamp, &P::process, &P::postProcess),
            (std::vector<long>{2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}))
      << "behind the destructor's 2";
}

}  // namespace
