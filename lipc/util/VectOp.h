// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/util/Export.h"

namespace LIPC {

/// Arithmetic on blocks of samples: element-wise operations on arrays of 32-bit floats, and the
/// Euclidean norm. Everything is static; nothing allocates, locks or keeps state, so any thread may
/// call any of it, the audio thread included.
///
/// `n` is always an element count and may be 0. Arrays need no more alignment than a float has. An
/// output array may not overlap an input array, save in `move` and where an `io` is given as the
/// other operand too: add_I(v, v, n) doubles v.
/// Names: `_I` works in place, its last vector argument is both input and output; `_C` takes a
/// scalar constant as one operand; `_C_I` does both.
///
/// @ingroup vectors
struct LIPC_API VectOp {
  /// v[i] = 0
  static void zero(float* v, unsigned int n) noexcept;
  /// dst[i] = src[i]
  static void copy(const float* src, float* dst, unsigned int n) noexcept;

  /// Moves n floats from v[0] to v[4 * k]; source and destination may overlap.
  static void move(float* v, unsigned int k, unsigned int n) noexcept;

  /// out[i] = a[i] + b[i]
  static void add(const float* a, const float* b, float* out, unsigned int n) noexcept;
  /// io[i] += a[i]
  static void add_I(const float* a, float* io, unsigned int n) noexcept;
  /// out[i] = a[i] + c
  static void add_C(const float* a, float* out, float c, unsigned int n) noexcept;
  /// io[i] += c
  static void add_C_I(float* io, float c, unsigned int n) noexcept;

  /// out[i] = a[i] - b[i]
  static void subtract(const float* a, const float* b, float* out, unsigned int n) noexcept;
  /// io[i] -= a[i]
  static void subtract_I(const float* a, float* io, unsigned int n) noexcept;
  /// The pair (a[i], b[i]) becomes (a[i] + b[i], a[i] - b[i]).
  static void addSubtract_I(float* a, float* b, unsigned int n) noexcept;

  /// out[i] = a[i] * b[i]
  static void multiply(const float* a, const float* b, float* out, unsigned int n) noexcept;
  /// io[i] *= a[i]
  static void multiply_I(const float* a, float* io, unsigned int n) noexcept;
  /// out[i] = a[i] * c
  static void multiply_C(const float* a, float* out, float c, unsigned int n) noexcept;
  /// io[i] *= c
  static void multiply_C_I(float* io, float c, unsigned int n) noexcept;

  /// io[i] += a[i] * b[i]
  static void addProduct(const float* a, const float* b, float* io, unsigned int n) noexcept;
  /// io[i] += a[i] * c
  static void addProduct_C(const float* a, float* io, float c, unsigned int n) noexcept;

  /// The sum of a[i] * a[i], accumulated in single precision strictly in element order. 0 of
  /// no elements.
  static float norm_L2_Sqr(const float* a, unsigned int n) noexcept;
  /// The square root of norm_L2_Sqr.
  static float norm_L2(const float* a, unsigned int n) noexcept;
};

}  // namespace LIPC
