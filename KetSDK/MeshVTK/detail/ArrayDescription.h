// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <string_view>

class vtkAbstractArray;

namespace KetSDK::MeshVTK::Detail {

// What is known of one of VTK's arrays beside its values, as words of the type of an MMeshArray; see
// ArrayCoding.h.

// Adds a word to the type.
void AddWord(MMeshArray& array, std::wstring_view word);

// Adds the words for the array's components, its information and a name that is no UTF-8.
void DescribeArray(vtkAbstractArray& source, MMeshArray& array);
// Gives the array the name of the other one, and what its words tell. Words that are damaged or speak of
// entries that nobody knows are left out.
void ApplyDescription(MMeshArray const& array, vtkAbstractArray& target);

} // namespace KetSDK::MeshVTK::Detail
