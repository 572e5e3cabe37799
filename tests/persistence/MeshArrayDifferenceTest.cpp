// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshArrayDifference.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Whole = std::vector<std::int32_t>;
using Doubles = std::vector<double>;

MMeshArray Array(std::uint32_t components, wchar_t const* type, auto values,
                 MMeshArray::Place place = MMeshArray::OnElements) {
    return {L"a", place, components, type, std::move(values)};
}

double OtherNaN() {
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(std::nan("")) | 1);
}

TEST(MeshArrayDifference, NamesTheFirstDifference) {
    struct Case {
        MMeshArray a;
        MMeshArray b;
        char const* found;
    };
    for (auto const& [a, b, found] : std::vector<Case>{
             {Array(1, L"float64", Doubles{1, 0.1}), Array(1, L"float64", Doubles{1, 0.25}),
              "element 1: the cell array \"a\" has 0.1 and 0.25"},
             {Array(3, L"float32", Doubles{0, 0, 0, 0, 0.5, 0}),
              Array(3, L"float32", Doubles{0, 0, 0, 0, 0.1f, 0}),
              "element 1: the cell array \"a\" has as component 1 0.5 and 0.1"},
             {Array(1, L"float64", Doubles{0.0}, MMeshArray::OnNodes),
              Array(1, L"float64", Doubles{-0.0}, MMeshArray::OnNodes),
              "node 0: the point array \"a\" has 0 and -0"},
             {Array(1, L"float64", Doubles{std::nan("")}), Array(1, L"float64", Doubles{OtherNaN()}),
              "element 0: the cell array \"a\" has nan and nan with other bits"},
             // Whole numbers, in halves where one of them needs it.
             {Array(1, L"int64", Whole{7, -1}), Array(2, L"int64 halves", Whole{7, 0, -1, 0}),
              "element 1: the cell array \"a\" has -1 and 4294967295"},
             {Array(2, L"uint64 halves", Whole{-1, -1}), Array(1, L"uint64", Whole{1}),
              "element 0: the cell array \"a\" has 18446744073709551615 and 1"},
             {Array(1, L"uint8", Whole{65}), Array(1, L"uint8", Whole{66}),
              "element 0: the cell array \"a\" has 65 and 66"},
             // Types and shapes.
             {Array(1, L"uint8 Scalars", Whole{1}), Array(1, L"float32", Doubles{1}),
              "the cell array \"a\" holds values of type unsigned char and float"},
             {Array(2, L"int32", Whole{1, 2}), Array(1, L"int32", Whole{1, 2}),
              "the cell array \"a\" has 2 and 1 components"},
             {Array(2, L"int64 halves", Whole{1, 2}, MMeshArray::OnMesh),
              Array(1, L"int64", Whole{1, 2}, MMeshArray::OnMesh),
              "the field array \"a\" has 1 and 2 values"},
             // Strings lie with the mesh, wherever they belong: "x", "" and "x", "y".
             {Array(1, L"string cells", Whole{1, 'x', 0, 0}, MMeshArray::OnMesh),
              Array(1, L"string cells", Whole{1, 'x', 0, 'y', 0}, MMeshArray::OnMesh),
              "element 1: the cell array \"a\" has \"\" and \"y\""},
             {Array(1, L"string cells", Whole{1, 0}, MMeshArray::OnMesh),
              Array(1, L"string points", Whole{1, 0}, MMeshArray::OnMesh),
              "the cell array \"a\" is in the first file only"},
         })
        EXPECT_EQ(FindArrayDifference({a}, {b}), found);
}

TEST(MeshArrayDifference, LooksAtCellsFirstAndNotAtOrder) {
    MMeshArray const cells = {L"c", MMeshArray::OnElements, 1, L"int32", Whole{1}};
    MMeshArray const nodes = {L"n", MMeshArray::OnNodes, 1, L"int32", Whole{1}};
    MMeshArray const nameless = {L"", MMeshArray::OnElements, 1, L"int32", Whole{1}};
    EXPECT_EQ(FindArrayDifference({nodes, cells}, {cells, nodes, nameless}), std::nullopt);
    EXPECT_EQ(FindArrayDifference({nodes}, {cells}), "the cell array \"c\" is in the second file only");
    EXPECT_EQ(FindArrayDifference({nodes, cells}, {cells}),
              "the point array \"n\" is in the first file only");
    // Where the values came from is another type; what VTK's active array they were is not.
    EXPECT_EQ(
        FindArrayDifference({Array(1, L"int64", Whole{1})}, {Array(2, L"int64 halves Scalars", Whole{1, 0})}),
        std::nullopt);
}

} // namespace
