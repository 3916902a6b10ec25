// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/KernelLoops.h"

namespace LIPC {

const Kernels cPlainKernels = cKernels;

}  // namespace LIPC
