// SPDX-License-Identifier: BSD-3-Clause
// Compiled as C++17: vtkSMPTools.h of VTK 9.1 is not valid C++20.
#include "VtkThreads.h"

#include <vtkSMPTools.h>

#include <stdexcept>

void Bench::UseVtkThreads(int count) {
    if (!vtkSMPTools::SetBackend("TBB"))
        throw std::runtime_error("this VTK was built without oneTBB, so its filters use one core");
    vtkSMPTools::Initialize(count);
}
