// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string_view>

// The names of the tags of a mesh, but for the blocks of its built-in masks, which the table of these names;
// shared by the writer and the reader. Internal.
namespace KetSDK::Mesh::Detail::MeshTags {

// A mesh and its blocks of numbers.
inline constexpr wchar_t const* Mesh = L"MeshBase";
inline constexpr wchar_t const* Points = L"Points";
inline constexpr wchar_t const* Elements = L"Elements";
inline constexpr wchar_t const* VolumeWeights = L"VolumeWeights"; // in the order of the lists
inline constexpr wchar_t const* Data = L"Data";
inline constexpr wchar_t const* Dim = L"Dim";
inline constexpr wchar_t const* DataType = L"DataType";
inline constexpr wchar_t const* Count = L"Count";

// The list of the sub-volumes.
inline constexpr wchar_t const* SubVolumeList = L"SubVolumeList";
inline constexpr wchar_t const* SubVolume = L"SubVolume";
inline constexpr wchar_t const* Name = L"Name";
inline constexpr wchar_t const* Number = L"Number";
inline constexpr wchar_t const* MaterialNumber = L"MaterialNumber";
inline constexpr wchar_t const* ElementCount = L"ElementCount";

inline constexpr wchar_t const* MaterialCatalog = L"MaterialCatalog";
inline constexpr wchar_t const* HasGreyValues = L"HasGreyValues";
inline constexpr wchar_t const* HasVolumeIndexValues = L"HasVolumeIndexValues";
inline constexpr wchar_t const* MeshType = L"MeshType";
inline constexpr wchar_t const* MeshState = L"MeshState";

// A named scalar field; its values, one a node, come last.
inline constexpr wchar_t const* ScalarField = L"ScalarField";
inline constexpr wchar_t const* ID = L"ID";
inline constexpr wchar_t const* Label = L"Label";
inline constexpr wchar_t const* Default = L"Default";

} // namespace KetSDK::Mesh::Detail::MeshTags
