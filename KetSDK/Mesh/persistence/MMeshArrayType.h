// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What the numbers of an array stand for, as its type tells: words with one space between them. The first is
// the type that the values had where they came from ("uint8", "float64"). Two more change what the numbers
// mean; every other word is that of whoever wrote the array.
// - "halves": whole numbers beyond 32 bits. Each stands as two components, the lower half first.
// - "string": text, as the number of components of a row and then the bytes of the strings, each with a 0
//   behind it. Such an array lies with the mesh as a whole; the word "points", "cells" or "field" says where
//   its strings belong.

inline constexpr wchar_t const* MMeshArrayHalves = L"halves";
inline constexpr wchar_t const* MMeshArrayString = L"string";
// The word for where strings belong.
KETSDK_MESH_API wchar_t const* PlaceWord(MMeshArray::Place place) noexcept;

// The words of the type; at least one, which may be empty.
KETSDK_MESH_API std::vector<std::wstring> WordsOfType(MMeshArray const& array);
// Whether the word is among them.
KETSDK_MESH_API bool HasTypeWord(MMeshArray const& array, std::wstring_view word);

// Whether the values are strings.
KETSDK_MESH_API bool HoldsStrings(MMeshArray const& array);
// Whether the values are whole numbers in two halves.
KETSDK_MESH_API bool HoldsHalves(MMeshArray const& array);
// An array of strings in UTF-8, one in a row, that belongs to the mesh as a whole, and the strings of one.
KETSDK_MESH_API MMeshArray MakeStringArray(std::wstring const& name, std::vector<std::string> const& strings);
KETSDK_MESH_API std::vector<std::string> StringsOf(MMeshArray const& array);
// Where the values belong: what the array says, but for strings.
KETSDK_MESH_API MMeshArray::Place PlaceOfValues(MMeshArray const& array);

// How many values a row has, the values of one node or element; 1 at least.
KETSDK_MESH_API std::uint32_t ValuesPerRow(MMeshArray const& array);
// How many rows there are.
KETSDK_MESH_API std::size_t NumberOfRows(MMeshArray const& array);
// One value of each row of an array of numbers, as doubles. Throws std::invalid_argument for strings and
// when the rows have no value with that index.
KETSDK_MESH_API std::vector<double> ColumnOf(MMeshArray const& array, std::uint32_t index);
