#pragma once

#include <string_view>

// The names of the tags of a mesh; shared by its writer and its reader. Internal.
namespace KetSDK::Mesh::Detail::MeshTags {

// A mesh and its blocks of numbers.
inline constexpr wchar_t const* Mesh = L"MeshBase";
inline constexpr wchar_t const* Points = L"Points";
inline constexpr wchar_t const* Elements = L"Elements";
inline constexpr wchar_t const* GreyValues = L"GreyValues";
inline constexpr wchar_t const* Materials = L"Materials";
inline constexpr wchar_t const* OriginalPointIDs = L"OriginalPointIDs";
inline constexpr wchar_t const* OriginalElementIDs = L"OriginalElementIDs";
inline constexpr wchar_t const* SubVolumes = L"SubVolumes";
inline constexpr wchar_t const* VolumeLists = L"VolumeLists";           // each: length, then volumes
inline constexpr wchar_t const* VolumeWeights = L"VolumeWeights";       // in the same order
inline constexpr wchar_t const* SurfaceTriangles = L"SurfaceTriangles"; // each: length, then faces
inline constexpr wchar_t const* Visibility = L"Visibility"; // how many are shown, then hidden, then shown ...
inline constexpr wchar_t const* Data = L"Data";
inline constexpr wchar_t const* Dim = L"Dim";
inline constexpr wchar_t const* DataType = L"DataType";
inline constexpr wchar_t const* Count = L"Count";
inline constexpr wchar_t const* Long = L"long";
inline constexpr wchar_t const* Int = L"int";
inline constexpr wchar_t const* Double = L"double";

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
