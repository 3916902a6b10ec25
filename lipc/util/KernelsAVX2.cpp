// SPDX-License-Identifier: BSL-1.0

// Compiled with -mavx2 where the compiler has it.
#include "lipc/util/Kernels.h"

namespace LIPC {
extern const Kernels* const cCompiledAVX2;
}  // namespace LIPC

#ifdef __AVX2__
#include "lipc/util/KernelLoops.h"

namespace LIPC {
const Kernels* const cCompiledAVX2 = &cKernels;
}  // namespace LIPC
#else
namespace LIPC {
const Kernels* const cCompiledAVX2 = nullptr;
}  // namespace LIPC
#endif
