// SPDX-License-Identifier: BSD-3-Clause
#pragma once

class vtkDataSet;

// VTK writes the names of arrays and their components as they are. What a format cannot hold would make a
// file that nobody can read, or one in which the arrays have other names.
namespace KetSDK::MeshVTK::Detail {

// Escapes the names of the arrays of points, cells and the data set for XML; readers turn them back. Arrays
// with such a name are replaced by others that share the values. Throws Error for an empty name, and for one
// with what is no character in XML.
void EscapeNamesForXml(vtkDataSet& data);

// Throws Error for a name that is empty or longer than VTK reads from a .vtk file.
void CheckNamesForLegacyFile(vtkDataSet& data);

} // namespace KetSDK::MeshVTK::Detail
