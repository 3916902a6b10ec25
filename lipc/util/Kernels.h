// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>

namespace LIPC {

/// The loops behind VectOp and the meters, as one table of functions. There are several, compiled
/// from one text (KernelLoops.h) for processors that can do more and more. All give the same bits;
/// only where two different NaNs meet, either may be the result. None allocates or locks; `n`
/// counts samples and may be 0 unless said otherwise.
///
/// `out` may be one of the inputs; that is how the operations in place are made.
struct Kernels {
  using Binary = void (*)(const float* a, const float* b, float* out, unsigned int n);
  using Constant = void (*)(const float* a, float c, float* out, unsigned int n);

  Binary add;                                               ///< out = a + b
  Constant addConstant;                                     ///< out = a + c
  Binary subtract;                                          ///< out = a - b
  Binary multiply;                                          ///< out = a * b
  Constant scale;                                           ///< out = a * c
  Binary addProduct;                                        ///< out = out + a * b
  Constant addScaled;                                       ///< out = out + a * c
  void (*addSubtract)(float* a, float* b, unsigned int n);  ///< a, b = a + b, a - b

  using Meter = void (*)(const float* const* channels, unsigned int numChannels, unsigned int n,
                         float* out);
  /// Of each channel the sum of its squares, added in single precision and sample order.
  Meter sumSquares;
  /// Of each channel, of n > 0 samples, the larger magnitude of the smallest and the largest. A NaN
  /// counts only as the first one, and is then the result.
  Meter largestMagnitudes;
};

/// For every x86-64 processor, and for any other that this is compiled for.
extern const Kernels cPlainKernels;
/// Null where the processor has no AVX2, or this was compiled without it.
const Kernels* avx2Kernels() noexcept;
/// The same for AVX-512; null also on the older processors that slow down for it.
const Kernels* avx512Kernels() noexcept;

/// The table in use. It is the plain one until this library's own initialisers have run, so that
/// those of others may call all of it.
extern std::atomic<const Kernels*> sKernels;

inline const Kernels& kernels() noexcept {
  return *sKernels.load(std::memory_order_relaxed);
}

}  // namespace LIPC
