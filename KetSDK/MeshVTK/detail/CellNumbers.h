// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkCellArray.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>

#include <cstddef>
#include <span>

namespace KetSDK::MeshVTK::Detail {

// Calls use(offsets, points) with the numbers of a cell array as they lie in memory, which are of one of two
// types: VTK's own ways to a single cell take longer than what is done with it.
template <typename Use>
auto WithNumbersOf(vtkCellArray& cells, Use const& use) {
    auto const numbers = [](auto* array) {
        return std::span(array->GetPointer(0), static_cast<std::size_t>(array->GetNumberOfValues()));
    };
    return cells.IsStorage64Bit()
               ? use(numbers(cells.GetOffsetsArray64()), numbers(cells.GetConnectivityArray64()))
               : use(numbers(cells.GetOffsetsArray32()), numbers(cells.GetConnectivityArray32()));
}

} // namespace KetSDK::MeshVTK::Detail
