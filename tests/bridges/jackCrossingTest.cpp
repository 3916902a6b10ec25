// SPDX-License-Identifier: BSL-1.0

// The way between two clocks, in a time that the test makes.
#include "bridges/jack/Crossings.h"
#include "tests/support/TestClient.h"

namespace {

using namespace jack_bridge;
using namespace support;

/// A server and a session of other clocks; what goes into the session comes back at once.
struct JackCrossing : testing::Test {
  static constexpr unsigned cPeriod = 256, cBlock = 480;
  static constexpr double cJackRate = 44100 * 1.0001, cSessionRate = 48000;

  /// Plays `in`, a period at a time; what JACK hears.
  std::vector<float> play(const std::vector<float>& in) {
    callback.begin(44100, 0);
    callback.setMode(AudioCallback::eResampled);
    std::vector<float> out(in.size());
    double nextBlock = 0.013;
    for (unsigned frame = 0; frame + cPeriod <= in.size(); frame += cPeriod) {
      const float* const ins[] = {in.data() + frame};
      float* const outs[] = {out.data() + frame};
      const double now = 1 + frame / cJackRate;
      for (; nextBlock < now - 1; nextBlock += cBlock / cSessionRate) {
        const AudioCallback::Mark mark = callback.mark();
        const double since = 1 + nextBlock - static_cast<double>(mark.microseconds) / 1e6;
        refills += to.pull(callback.trade(), cBlock, mark, since) ? 0 : 1;
        refills += from.push(callback.trade(), cBlock, mark, since) ? 0 : 1;
      }
      callback.period({cPeriod, frame, static_cast<std::uint64_t>(now * 1e6), ins, outs});
    }
    return out;
  }

  TestClient client{"jack"};
  AnswerWatch answers;
  AudioCallback callback{client, answers, 1, 1};
  ToSession to{callback.toSession(), 44100, cSessionRate};
  FromSession from{callback.fromSession(), 44100, cSessionRate};
  int refills = 0;
};

TEST_F(JackCrossing, AnImpulseCrossesAndComesBackInTheTimeThatIsTold) {
  std::vector<float> in(44100 * 2);
  in[40000] = 1;
  const std::vector<float> out = play(in);
  const auto peak = std::max_element(out.begin(), out.end());
  const double told = (to.targetSeconds() + from.targetSeconds()) * 44100 - cPeriod;
  EXPECT_NEAR(static_cast<double>(peak - out.begin()) - 40000, told, 20);
  EXPECT_EQ(refills, 0);
}

}  // namespace
