// SPDX-License-Identifier: BSD-3-Clause
// Compiled as C++17: vtkSMPTools.h of VTK 9.1 is not valid C++20.
#include "OneVtkThread.h"

#include <vtkSMPTools.h>

void Bench::UseOneVtkThread() {
    vtkSMPTools::Initialize(1);
}
