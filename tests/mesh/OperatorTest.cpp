#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <gtest/gtest.h>

namespace {

struct CountingSettings : MMeshOperatorSettings {
    int limit = 0;
};

// Refuses meshes with more elements than its settings allow.
class CountingOperator : public MMeshOperator {
public:
    bool Operate() override {
        auto const* const settings = dynamic_cast<CountingSettings const*>(GetSettings());
        return GetMesh() && settings && GetMesh()->NumberOfElements() <= settings->limit;
    }
};

} // namespace

TEST(Operator, BorrowsMeshAndSettingsAndIsCopiedWithThem) {
    CountingOperator original;
    EXPECT_EQ(original.GetMesh(), nullptr);
    EXPECT_EQ(original.GetSettings(), nullptr);
    EXPECT_EQ(static_cast<CountingOperator const&>(original).GetSettings(), nullptr);
    original.ClearOperator();
    EXPECT_FALSE(original.Operate());

    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    CountingSettings settings;
    MMeshOperatorSettings of_another_operator;
    original.SetMesh(&mesh);
    original.SetSettings(&of_another_operator);
    EXPECT_FALSE(original.Operate());
    original.SetSettings(&settings);
    {
        CountingOperator copy(original);
        settings.limit = 1;
        EXPECT_TRUE(copy.Operate());
    }
    EXPECT_EQ(original.GetMesh()->NumberOfElements(), 1) << "the copy took nothing with it";
    EXPECT_TRUE(original.Operate());
}
