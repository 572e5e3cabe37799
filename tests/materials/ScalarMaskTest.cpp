// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

template <typename M>
std::vector<M*> Walk(MMeshBase* mesh) {
    std::vector<M*> masks;
    for (auto it = MMeshMaskIterator<M>::Begin(mesh); it != MMeshMaskIterator<M>::End(mesh); it++)
        masks.push_back(it);
    return masks;
}

using Scalar = MMeshScalarMaskPoints;
using Named = MMeshNamedScalarMaskPoints;

} // namespace

TEST(ScalarMask, AreFoundByTheirKindWhileTheyLive) {
    MMeshBase mesh;
    EXPECT_TRUE(Walk<Scalar>(&mesh).empty());
    EXPECT_TRUE(Walk<Scalar>(nullptr).empty());
    mesh.GetPointMasks()->GetOriginalIDs();
    MDataMask<MMeshPoint, double> other;
    mesh.GetPointMasks()->RegisterMask(&other);

    auto first = std::make_unique<Scalar>(&mesh, 1.0);
    Named named(L"stress", L"Stress in MPa", &mesh, 2.0);
    Scalar last(&mesh, 3.0);
    EXPECT_EQ(Walk<Scalar>(&mesh), (std::vector<Scalar*>{first.get(), &named, &last}));
    EXPECT_EQ(Walk<Named>(&mesh), std::vector<Named*>{&named});
    first.reset();
    EXPECT_EQ(Walk<Scalar>(&mesh), (std::vector<Scalar*>{&named, &last}));

    auto it = MMeshMaskIterator<Named>::Begin(&mesh);
    EXPECT_EQ(it->GetID(), L"stress");
    EXPECT_EQ((*it).GetUserLabel(), L"Stress in MPa");
    EXPECT_EQ(it->GetMesh(), &mesh);
    ++it;
    EXPECT_EQ(static_cast<Named*>(it), nullptr);
    EXPECT_TRUE(++it == MMeshMaskIterator<Named>::End(&mesh));
}

TEST(ScalarMask, HoldsAValuePerNodeAndOutlivesItsMesh) {
    auto mesh = std::make_unique<MMeshBase>();
    TestMeshes::AddElementOfKind(*mesh, 4);
    Named mask(L"", L"", mesh.get(), 0.5);
    IScalarMask& field = mask;
    MMeshPoint const& p = *mesh->GetRandomPoint(2);
    EXPECT_EQ(mask.GetValue(p), 0.5);
    mask.SetValue(p, 4.0);
    EXPECT_EQ(field.GetValueAt(p.GetMaskIndex()), 4.0);
    field.SetValueAt(p.GetMaskIndex(), 5.0);
    EXPECT_EQ(mask.GetValue(p), 5.0);
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(mask.GetValue(*mesh->AddPoint(i, i, i)), 0.5);

    mesh.reset();
    EXPECT_EQ(field.GetValueAt(2), 5.0);
    field.SetValueAt(1'000'000, 1.0);
    EXPECT_EQ(field.GetValueAt(1'000'000), field.GetDefaultValue());
    EXPECT_EQ(Scalar(nullptr, 7.0).GetValueAt(0), 7.0);
}
