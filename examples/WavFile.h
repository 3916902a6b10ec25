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
  /// Writes the file's final length into its head.
  ~WavFile();
  WavFile(const WavFile&) = delete;
  WavFile& operator=(const WavFile&) = delete;

  /// One buffer of `count` samples per channel. Throws as the constructor does.
  void write(const std::vector<float*>& channels, int count);

 private:
  void writeHead();

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
