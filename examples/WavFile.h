// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace examples {

/// Writes a WAV file of 32-bit float samples.
class WavFile {
 public:
  /// Throws std::runtime_error when the file cannot be written.
  WavFile(const std::string& path, int channels, int sampleRate);
  /// Finishes the file if that was not done, and does not say whether it could.
  ~WavFile();
  WavFile(const WavFile&) = delete;
  WavFile& operator=(const WavFile&) = delete;

  /// One buffer of `count` samples per channel. Throws as the constructor does.
  void write(const std::vector<float*>& channels, int count);
  /// Writes the final length into the head, and closes. Only then everything is known to be in the
  /// file. Throws as the constructor does.
  void finish();

 private:
  bool writeHead();

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string mPath;
  int mChannels;
  int mSampleRate;
  unsigned mBytes = 0;  // of samples
  std::unique_ptr<std::FILE, Close> mFile;
};

}  // namespace examples
