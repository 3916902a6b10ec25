// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "lipc/util/RealTime.h"
#include "lipc/util/SharedWord.h"

namespace LIPC {

/// Rings of audio slices in shared memory: the client's "-send" ring (client to host) and its
/// "-return" ring (host to client). A slice carries one block: up to 1024 samples per channel, its
/// time stamp in samples, the writer's type and ID, a ready flag and 172 float parameters. Slices
/// are found by time stamp, so writer and reader never exchange indices.
///
/// Memory: a segment of SHMSlices::sizeOfStruct(n) bytes holds the ring and, behind it, six times n
/// channels of 4096 bytes. Offsets are relative, so every process may map it anywhere.
///
/// Threads: everything here may run on the audio thread: no allocation, no lock. A "-send" slice is
/// written by the client, a "-return" slice is stamped by the client and filled by the host; the
/// exchange's protocol, not the ring, keeps them apart.

/// The samples of one channel of one slice.
///
/// @ingroup take_part
struct SHMChannel {
  static constexpr unsigned cSampleCount = 1024;  ///< the longest block, in samples

  SHMChannel() { clear(); }
  /// Zeroes all samples.
  void clear() noexcept LIPC_NONBLOCKING;

  float samples[cSampleCount];  ///< full scale is 1.0
};

static_assert(sizeof(SHMChannel) == 4096);

/// One slice: a block with its stamp and parameters; its samples lie behind the ring.
///
/// @ingroup take_part
struct SHMSliceBuffer {
  static constexpr std::size_t cIDCharacters = 64;  ///< as ClientID::cCharacters
  static constexpr unsigned cParameterCount = 172;  ///< with each block

  /// Zeroes everything but the ID's characters after the first and the padding.
  SHMSliceBuffer();
  /// Sets `channelCount` and `samplesOffset` (bytes), nothing else.
  void configure(unsigned short channels, int offset);
  /// Zeroes the samples of all `channelCount` channels. Trusts `channelCount` and `samplesOffset`:
  /// for a ring that this process laid out.
  void clearSamples() noexcept LIPC_NONBLOCKING;
  /// Zeroes the parameters, not `samplesOffset`.
  void clearParameters() noexcept LIPC_NONBLOCKING;
  /// Channel `c`, not checked against `channelCount`.
  SHMChannel* getChannel(unsigned short c) noexcept LIPC_NONBLOCKING;
  /// The same, to read.
  const SHMChannel* getChannel(unsigned short c) const noexcept LIPC_NONBLOCKING;
  /// The same address as samples.
  float* getChannelSamples(unsigned short c) noexcept LIPC_NONBLOCKING;
  /// The same, to read.
  const float* getChannelSamples(unsigned short c) const noexcept LIPC_NONBLOCKING;

  //                                   offset  size
  std::uint32_t clientType;           ///<     0     4  four-character code of the writer
  char clientID[cIDCharacters];       ///<     4    64  ID of the writer
  char terminator;                    ///<    68     1  always 0
  char padding0[3];                   ///<    69     3  nobody's
  std::int64_t timeStamp;             ///<    72     8  block's position in samples
  std::uint16_t channelCount;         ///<    80     2  channels laid out for the slice
  char padding1[2];                   ///<    82     2  nobody's
  std::uint32_t sampleCount;          ///<    84     4  samples per channel in this block
  std::uint8_t ready;                 ///<    88     1  1: the block's data may be read
  char padding2[3];                   ///<    89     3  nobody's
  float parameters[cParameterCount];  ///<    92   688  real-time parameters of the block
  std::int32_t samplesOffset;         ///<   780     4  bytes from this slice to its first channel
};

static_assert(sizeof(SHMSliceBuffer) == 784);
static_assert(offsetof(SHMSliceBuffer, clientType) == 0);
static_assert(offsetof(SHMSliceBuffer, clientID) == 4);
static_assert(offsetof(SHMSliceBuffer, terminator) == 68);
static_assert(offsetof(SHMSliceBuffer, timeStamp) == 72);
static_assert(offsetof(SHMSliceBuffer, channelCount) == 80);
static_assert(offsetof(SHMSliceBuffer, sampleCount) == 84);
static_assert(offsetof(SHMSliceBuffer, ready) == 88);
static_assert(offsetof(SHMSliceBuffer, parameters) == 92);
static_assert(offsetof(SHMSliceBuffer, samplesOffset) == 780);
static_assert(std::is_standard_layout_v<SHMSliceBuffer>);

/// One ring: the head of one whole segment.
///
/// @ingroup take_part
struct SHMSlices {
  static constexpr int cSliceCount = 6;  ///< slices of a ring

  /// `name` is the ring's; it is not stored.
  explicit SHMSlices(const char* name);

  /// Bytes of a segment for a ring of `channels` channels.
  static long long sizeOfStruct(unsigned short channels);
  /// Lays the sample area out for n channels and zeroes it. The segment must have at least
  /// sizeOfStruct(n) bytes.
  void allocateChannelCount(unsigned short n);
  /// The newest slice's index; a spoilt one is taken modulo six.
  int currentIndex() const noexcept LIPC_NONBLOCKING {
    const auto index = static_cast<std::uint32_t>(loadAcquire(currentSlice));
    return static_cast<int>(index < cSliceCount ? index : index % cSliceCount);
  }
  /// The slice at `i`, 0 to 5, not checked.
  SHMSliceBuffer* getSliceBuffer(int i) noexcept LIPC_NONBLOCKING { return &slices[i]; }
  /// The newest slice whose time stamp is t + 2, t or t - 2, or null. deliberate: exactly these
  /// three match, one sample off does not. A client's blocks are therefore of three samples or
  /// more.
  SHMSliceBuffer* getSliceWithTime(long long t) noexcept LIPC_NONBLOCKING;
  /// Zeroes the parameters and samples of all slices; keeps everything else. Trusts the slices as
  /// clearSamples does; MappedRing::clear does not.
  void clear() noexcept LIPC_NONBLOCKING;

  //                                     offset  size
  std::int32_t currentSlice;           ///<     0     4  newest slice, 0 to 5; written by the client
  std::uint16_t reserved;              ///<     4     2  0
  char padding[2];                     ///<     6     2  nobody's
  SHMSliceBuffer slices[cSliceCount];  ///<     8  4704  slice i at 8 + 784 * i
};

static_assert(sizeof(SHMSlices) == 4712);
static_assert(offsetof(SHMSlices, currentSlice) == 0);
static_assert(offsetof(SHMSlices, reserved) == 4);
static_assert(offsetof(SHMSlices, slices) == 8);
static_assert(std::is_standard_layout_v<SHMSlices>);
static_assert(std::is_trivially_destructible_v<SHMSlices>);

}  // namespace LIPC
