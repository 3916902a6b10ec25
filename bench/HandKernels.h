// SPDX-License-Identifier: BSL-1.0
#pragma once

/// What an application would write itself instead of calling VectOp and the meters: plain loops, of
/// which the compiler makes AVX2, or AVX2 by hand where it does not. Only for processors that have
/// it.
namespace bench::hand {

using Vectors = void (*)(const float* a, const float* b, float* io, unsigned n);

void copy(const float* a, const float* b, float* io, unsigned n);
void zero(const float* a, const float* b, float* io, unsigned n);
void add(const float* a, const float* b, float* io, unsigned n);
void addInPlace(const float* a, const float* b, float* io, unsigned n);
void addConstant(const float* a, const float* b, float* io, unsigned n);
void addConstantInPlace(const float* a, const float* b, float* io, unsigned n);
void subtract(const float* a, const float* b, float* io, unsigned n);
void subtractInPlace(const float* a, const float* b, float* io, unsigned n);
void multiply(const float* a, const float* b, float* io, unsigned n);
void multiplyInPlace(const float* a, const float* b, float* io, unsigned n);
void multiplyConstant(const float* a, const float* b, float* io, unsigned n);
void multiplyConstantInPlace(const float* a, const float* b, float* io, unsigned n);
void addProduct(const float* a, const float* b, float* io, unsigned n);
void addProductConstant(const float* a, const float* b, float* io, unsigned n);
/// The pair (a, io), in place.
void addSubtract(float* a, float* io, unsigned n);

/// Four sums side by side; a multiple of four channels.
void rms(const float* const* channels, unsigned numChannels, unsigned n, float* out);
/// AVX2; a multiple of 32 samples, none of them a NaN.
void peak(const float* const* channels, unsigned numChannels, unsigned n, float* out);

/// What the operations with a constant take.
inline constexpr float cConstant = 0.5F;

}  // namespace bench::hand
