// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Kernels.h"

#ifdef __x86_64__
#include <cpuid.h>
#endif

namespace LIPC {

extern const Kernels* const cCompiledAVX2;    // KernelsAVX2.cpp; null where it has none
extern const Kernels* const cCompiledAVX512;  // KernelsAVX512.cpp; the same

namespace {

struct Processor {
  bool hasAVX2 = false;
  bool hasAVX512 = false;  // and does not slow down for it
};

// Asks the processor itself: the compilers' own question needs a run-time library that not every
// toolchain for macOS brings.
Processor askProcessor() noexcept {
  Processor processor;
#ifdef __x86_64__
  unsigned int a = 0, b = 0, c = 0, d = 0;
  constexpr unsigned int cSystemSavesAVX = bit_OSXSAVE | bit_AVX;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & cSystemSavesAVX) != cSystemSavesAVX)
    return processor;
  unsigned int saved = 0, high = 0;
  __asm__("xgetbv" : "=a"(saved), "=d"(high) : "c"(0));
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0) return processor;
  constexpr unsigned int cAVXState = 0x06, cAVX512State = 0xe6;
  processor.hasAVX2 = (saved & cAVXState) == cAVXState && (b & bit_AVX2) != 0;
  // VBMI2 came with the processors that keep their clock in AVX-512.
  processor.hasAVX512 = (saved & cAVX512State) == cAVX512State && processor.hasAVX2 &&
                        (b & bit_AVX512F) != 0 && (c & bit_AVX512VBMI2) != 0;
#endif
  return processor;
}

}  // namespace

const Kernels* avx2Kernels() noexcept {
  return askProcessor().hasAVX2 ? cCompiledAVX2 : nullptr;
}

const Kernels* avx512Kernels() noexcept {
  return askProcessor().hasAVX512 ? cCompiledAVX512 : nullptr;
}

constinit std::atomic<const Kernels*> sKernels{&cPlainKernels};

namespace {

[[maybe_unused]] const bool sIsChosen = [] {
  const Kernels* best = avx512Kernels();
  if (best == nullptr) best = avx2Kernels();
  if (best != nullptr) sKernels.store(best, std::memory_order_relaxed);
  return true;
}();

}  // namespace
}  // namespace LIPC
