// SPDX-License-Identifier: BSL-1.0
#include "examples/WavFile.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace examples {
namespace {

constexpr std::uint16_t cFloatFormat = 3;  // WAVE_FORMAT_IEEE_FLOAT
constexpr std::uint32_t cHeadBytes = 44;

[[noreturn]] void fail(const std::string& path, const std::string& why) {
  throw std::runtime_error("\"" + path + "\" cannot be written: " + why);
}

}  // namespace

WavFile::WavFile(const std::string& path, int channels, int sampleRate)
    : mPath(path),
      mChannels(channels),
      mSampleRate(sampleRate),
      mFile(std::fopen(path.c_str(), "wb")) {
  if (!mFile || !writeHead()) fail(path, std::generic_category().message(errno));
}

WavFile::~WavFile() {
  if (mFile && std::fseek(mFile.get(), 0, SEEK_SET) == 0) writeHead();
}

void WavFile::finish() {
  const bool isWhole = std::fseek(mFile.get(), 0, SEEK_SET) == 0 && writeHead();
  const int error = errno;
  const bool isClosed = std::fclose(mFile.release()) == 0;
  if (!isWhole || !isClosed) fail(mPath, std::generic_category().message(isWhole ? errno : error));
}

void WavFile::write(const std::vector<float*>& channels, int count) {
  std::vector<float> frames;
  frames.reserve(channels.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    for (const float* channel : channels)
      frames.push_back(channel[i]);
  }
  const std::size_t bytes = frames.size() * sizeof(float);
  if (bytes > std::numeric_limits<std::uint32_t>::max() - cHeadBytes - mBytes) {
    fail(mPath, "it would be longer than the format allows");
  }
  if (std::fwrite(frames.data(), sizeof(float), frames.size(), mFile.get()) != frames.size()) {
    fail(mPath, std::generic_category().message(errno));
  }
  mBytes += static_cast<unsigned>(bytes);
}

bool WavFile::writeHead() {
  const auto frame = static_cast<std::uint32_t>(mChannels) * sizeof(float);
  std::vector<char> head;
  const auto text = [&](const char* four) { head.insert(head.end(), four, four + 4); };
  const auto number = [&](std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
      head.push_back(static_cast<char>(value >> (8 * i)));
  };
  text("RIFF"), number(cHeadBytes - 8 + mBytes, 4), text("WAVE");
  text("fmt "), number(16, 4), number(cFloatFormat, 2);
  number(static_cast<std::uint32_t>(mChannels), 2);
  number(static_cast<std::uint32_t>(mSampleRate), 4);
  number(static_cast<std::uint32_t>(mSampleRate * frame), 4);
  number(static_cast<std::uint32_t>(frame), 2), number(8 * sizeof(float), 2);
  text("data"), number(mBytes, 4);
  return std::fwrite(head.data(), 1, head.size(), mFile.get()) == head.size();
}

}  // namespace examples
