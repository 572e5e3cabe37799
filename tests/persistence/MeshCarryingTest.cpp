// SPDX-License-Identifier: BSD-3-Clause
// Values of a mesh go to what was made of it.
#include "TestMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

namespace CarryingTests {

namespace {

using Doubles = std::vector<double>;
using Numbers = std::vector<std::int32_t>;

constexpr auto OnNodes = MMeshArray::OnNodes;
constexpr auto OnElements = MMeshArray::OnElements;
constexpr auto OnMesh = MMeshArray::OnMesh;

// The two numbers as which each of these stands.
Numbers Halves(std::vector<std::uint64_t> const& values) {
    Numbers halves;
    for (std::uint64_t const value : values)
        for (std::uint64_t const half : {value & 0xFFFFFFFF, value >> 32})
            halves.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(half)));
    return halves;
}

Numbers Strings(std::int32_t components, std::vector<std::string> const& strings) {
    Numbers bytes{components};
    for (std::string const& text : strings) {
        for (char const c : text)
            bytes.push_back(static_cast<unsigned char>(c));
        bytes.push_back(0);
    }
    return bytes;
}

std::uint64_t Bits(std::int64_t value) {
    return static_cast<std::uint64_t>(value);
}

// The second node, the middle between both, and one from nowhere; the second element twice.
MMeshOrigins const Origins{{1, 1}, {{1, 1}, {0, 1}, {}}, {}, 0};

MMeshArray Carry(MMeshArray const& array) {
    auto carried = CarryArrays({array}, Origins);
    EXPECT_EQ(carried.size(), 1u);
    return std::move(carried.at(0));
}

} // namespace

TEST(Carrying, OfArraysOnNodes) {
    std::int64_t const low = std::numeric_limits<std::int64_t>::min();
    std::uint64_t const high = std::numeric_limits<std::uint64_t>::max();
    constexpr float third = 1.0F / 3.0F;
    struct Case {
        MMeshArray given, expected;
    };
    Case const cases[] = {
        {{L"means", OnNodes, 2, L"float64", Doubles{1, 2, 4, 8}},
         {L"means", OnNodes, 2, L"float64", Doubles{4, 8, 2.5, 5, 0, 0}}},
        // The mean is a float again.
        {{L"floats", OnNodes, 1, L"float32 Scalars", Doubles{1e-9F, third}},
         {L"floats", OnNodes, 1, L"float32 Scalars",
          Doubles{third, static_cast<float>(0.5 * 1e-9F + 0.5 * third), 0}}},
        {{L"flags", OnNodes, 2, L"uint8", Numbers{1, 0, 0, 0}},
         {L"flags", OnNodes, 2, L"uint8", Numbers{0, 0, 0, 0, 0, 0}}},
        {{L"bits", OnNodes, 1, L"bit", Numbers{1, 1}}, {L"bits", OnNodes, 1, L"bit", Numbers{1, 1, 0}}},
        // The lower half alone says nothing of the order, nor do the bits of the sign.
        {{L"signed", OnNodes, 2, L"id halves component:0=a", Halves({Bits(-1), Bits(low)})},
         {L"signed", OnNodes, 2, L"id halves component:0=a", Halves({Bits(low), Bits(low), 0})}},
        {{L"unsigned", OnNodes, 2, L"uint64 halves", Halves({high, 0x1FFFFFFFF})},
         {L"unsigned", OnNodes, 2, L"uint64 halves", Halves({0x1FFFFFFFF, 0x1FFFFFFFF, 0})}},
        // What is left needs no halves.
        {{L"small", OnNodes, 4, L"int64 halves", Halves({high >> 1, 1, Bits(-5), 7})},
         {L"small", OnNodes, 2, L"int64", Numbers{-5, 7, -5, 1, 0, 0}}},
        {{L"words", OnMesh, 1, L"string points", Strings(2, {"b", "a", "\xC3\xA9", ""})},
         {L"words", OnMesh, 1, L"string points", Strings(2, {"\xC3\xA9", "", "b", "", "", ""})}},
        // Of the mesh as a whole.
        {{L"words", OnMesh, 1, L"string field", Strings(1, {"one"})},
         {L"words", OnMesh, 1, L"string field", Strings(1, {"one"})}},
        {{L"", OnMesh, 3, L"", Doubles{1, 2, 3}}, {L"", OnMesh, 3, L"", Doubles{1, 2, 3}}},
    };
    for (Case const& c : cases)
        EXPECT_EQ(Carry(c.given), c.expected) << std::string(c.given.type.begin(), c.given.type.end());
    MMeshArray const short_one{L"one row", OnNodes, 2, L"int64 halves", Halves({1})};
    EXPECT_THROW(CarryArrays({short_one}, Origins), std::invalid_argument);
}

TEST(Carrying, OfArraysOnElements) {
    MMeshArray const labels{L"label", OnElements, 1, L"int16", Numbers{5, 6, 7}};
    MMeshArray const names{L"name", OnMesh, 1, L"string cells", Strings(1, {"a", "b", "c"})};
    MMeshArray const heights{L"height", OnNodes, 1, L"float64", Doubles{1, 2}};
    EXPECT_EQ(std::get<Numbers>(Carry(labels).values), (Numbers{6, 6}));
    EXPECT_EQ(std::get<Numbers>(Carry(names).values), Strings(1, {"b", "b"}));
    MSurfaceOrigins surface;
    surface.triangles = {{2, 1}, {0, 3}, {2, 0}, {}};
    auto const on_triangles = CarryArrays({labels, names, heights}, surface);
    ASSERT_EQ(on_triangles.size(), 2u);
    EXPECT_EQ(std::get<Numbers>(on_triangles[0].values), (Numbers{7, 5, 7, 0}));
    EXPECT_EQ(std::get<Numbers>(on_triangles[1].values), Strings(1, {"c", "a", "c", ""}));
}

TEST(Carrying, OfArraysOfTwoMeshes) {
    MMeshOrigins const of_first{{0}, {{0, 0}}, {}, 0};
    MMeshOrigins const of_second{{1, 0}, {{1, 1}}, {}, 0};
    auto const on_nodes = [](wchar_t const* name, wchar_t const* type, auto values,
                             std::uint32_t components = 1) {
        return MMeshArray{name, OnNodes, components, type, std::move(values)};
    };
    std::vector<MMeshArray> const first = {
        on_nodes(L"same", L"uint8 Scalars", Numbers{1}),
        on_nodes(L"types", L"uint8 component:0=a", Numbers{1}),
        on_nodes(L"kinds", L"int32", Numbers{7}),
        on_nodes(L"floats", L"float32", Doubles{0.5}),
        on_nodes(L"wide", L"int64", Numbers{-1}),
        on_nodes(L"only here", L"int32", Numbers{1}),
        on_nodes(L"place", L"int32", Numbers{1}),
        on_nodes(L"shape", L"int32", Numbers{1, 2}, 2),
        on_nodes(L"", L"int32", Numbers{1}),
        on_nodes(L"text", L"int32", Numbers{1}),
        {L"place", OnMesh, 1, L"string cells", Strings(1, {"x"})},
        {L"about", OnMesh, 1, L"string field", Strings(1, {"first"})},
    };
    std::vector<MMeshArray> const second = {
        {L"place", OnMesh, 1, L"string cells", Strings(1, {"y", "z"})},
        {L"about", OnMesh, 1, L"string field", Strings(1, {"second"})},
        {L"place", OnElements, 1, L"int32", Numbers{1, 2}},
        {L"text", OnMesh, 1, L"string points", Strings(1, {"a", "b"})},
        on_nodes(L"", L"int32", Numbers{1, 2}),
        on_nodes(L"shape", L"int32", Numbers{1, 2}),
        on_nodes(L"wide", L"int64 halves", Halves({0, std::uint64_t{1} << 40}), 2),
        on_nodes(L"floats", L"float64", Doubles{1, 2}),
        on_nodes(L"kinds", L"int32", Doubles{1, 2.5}),
        on_nodes(L"types", L"int32", Numbers{1, 300}),
        on_nodes(L"same", L"uint8", Numbers{3, 4}),
    };
    std::array const parents{MParentArrays{&first, &of_first}, MParentArrays{&second, &of_second}};
    std::vector<MMeshArray> const expected = {
        on_nodes(L"same", L"uint8 Scalars", Numbers{1, 4}),
        on_nodes(L"types", L"float64 component:0=a", Doubles{1, 300}),
        on_nodes(L"kinds", L"float64", Doubles{7, 2.5}),
        on_nodes(L"floats", L"float64", Doubles{0.5, 2}),
        on_nodes(L"wide", L"int64 halves", Halves({Bits(-1), std::uint64_t{1} << 40}), 2),
        {L"place", OnMesh, 1, L"string cells", Strings(1, {"x", "z", "y"})},
        {L"about", OnMesh, 1, L"string field", Strings(1, {"first"})},
    };
    EXPECT_EQ(CarryArrays(parents), expected);
}

TEST(Carrying, OfMasks) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    TestMeshes::AddElementOfKind(mesh, 4);
    MMeshMaterial material;
    material.SetID(3);
    mesh.GetMaterialCatalog().AddMaterial(material);
    mesh.SetGreyValuesFlag(true);
    mesh.GetElementMasks()->GetGreyValueMask()->SetValue(*mesh.GetElement(1), 1.5);
    mesh.GetElementMasks()->GetMaterialMask()->SetValue(*mesh.GetElement(1), 3);
    mesh.GetPointMasks()->GetOriginalIDs()->SetValue(*mesh.GetRandomPoint(1), 70);
    // The second element comes first.
    mesh.AddSubVolume();
    mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(0), mesh.BeginSubVolume()[1].get());
    MMeshConvertTet4ToTet10Operator convert;
    MMeshOrigins origins;
    convert.SetMesh(&mesh);
    convert.SetOrigins(&origins);
    ASSERT_TRUE(convert.Operate());
    std::unique_ptr<MMeshBase> const target(convert.GetTet10Mesh());
    CarryMasks(mesh, origins, *target);
    MMeshElementMaskContainer& masks = *target->GetElementMasks();
    EXPECT_TRUE(target->HasGreyValues());
    EXPECT_EQ(target->GetMaterialCatalog().NumberOfMaterials(), 1u);
    EXPECT_EQ(masks.GetGreyValueMask()->GetValue(*target->GetElement(0)), 1.5);
    EXPECT_EQ(masks.GetGreyValueMask()->GetValue(*target->GetElement(1)), 0.0);
    EXPECT_EQ(masks.GetMaterialMask()->GetValue(*target->GetElement(0)), 3);
    EXPECT_FALSE(masks.HasOriginalIDs());
    // Nodes at one position are one: that of the second element, which has no identifier.
    EXPECT_EQ(origins.nodes[1], (MMeshOrigins::Node{5, 5}));
    EXPECT_EQ(target->GetPointMasks()->GetOriginalIDs()->GetValue(*target->GetRandomPoint(1)), -1);
    mesh.GetPointMasks()->GetOriginalIDs()->SetValue(*mesh.GetRandomPoint(5), 75);
    CarryMasks(mesh, origins, *target);
    EXPECT_EQ(target->GetPointMasks()->GetOriginalIDs()->GetValue(*target->GetRandomPoint(1)), 75);
    EXPECT_EQ(target->GetPointMasks()->GetOriginalIDs()->GetValue(*target->GetRandomPoint(4)), -1);
}

} // namespace CarryingTests
