#include "codec/kernels/Kernels.h"

const contentcoding::Kernels& contentcoding::kernels() { return kScalarKernels; }
