#include "lipc/util/KernelLoops.h"

namespace LIPC {

const Kernels cPlainKernels = cKernels;

}  // namespace LIPC
