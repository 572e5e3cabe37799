// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/detail/ArrayRoom.h>

#include <vtkSmartPointer.h>

class vtkAbstractArray;

namespace KetSDK::MeshVTK::Detail {

// One array of VTK as an array beside a mesh, and back. That is name, type, values to the last bit (those of
// a NaN too), the names of components and the array's information, as far as VTK's files hold it. Words of
// the type (MMeshArrayType.h) keep what an MMeshArray has no member for:
// - "component:K=NAME": the name of component K, from 0
// - "name=NAME": the name, where it is no UTF-8
// - "key:LOCATION:NAME:KIND=VALUE,VALUE": an entry of the information
// - "range", "finite_range": that the information has the range of the lengths of the rows
// Characters other than letters, digits, "-", "." and "_" stand in them as "%" and two hexadecimal digits.

// Throws Error for an array that holds neither numbers nor strings. Strings go to the mesh as a whole, with a
// word for the place.
MMeshArray ArrayFromVtk(vtkAbstractArray& source, MMeshArray::Place place);

// Throws Error for an array whose values do not make rows. An array that somebody else wrote becomes one of
// doubles or 32-bit integers. A long one lies in the room. On several threads when parallel.
vtkSmartPointer<vtkAbstractArray> ArrayToVtk(MMeshArray const& array, ArrayRoom& room, bool parallel);

} // namespace KetSDK::MeshVTK::Detail
