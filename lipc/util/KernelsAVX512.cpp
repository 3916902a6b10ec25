// SPDX-License-Identifier: BSL-1.0

// Compiled with -mavx512f where the compiler has it.
#include "lipc/util/Kernels.h"

namespace LIPC {
extern const Kernels* const cCompiledAVX512;
}  // namespace LIPC

#ifdef __AVX512F__
#include "lipc/util/KernelLoops.h"

namespace LIPC {
const Kernels* const cCompiledAVX512 = &cKernels;
}  // namespace LIPC
#else
namespace LIPC {
const Kernels* const cCompiledAVX512 = nullptr;
}  // namespace LIPC
#endif
