// SPDX-License-Identifier: BSD-3-Clause
// Where the parts of new meshes and surfaces came from, on real meshes: geometry is the witness.
#include "OriginsWitness.h"
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>

#include <memory>

namespace OriginsTests {

using namespace OriginsWitness;

namespace {

template <typename Convert>
void RunConversion(Convert& convert, MMeshBase& source, MMeshBase& target) {
    MMeshOrigins origins;
    convert.SetMesh(&source);
    convert.SetOrigins(&origins);
    ASSERT_TRUE(convert.Operate());
    ASSERT_EQ(origins.elements.size(), target.Elements().GetNumElements());
    ASSERT_EQ(static_cast<MLong>(origins.nodes.size()), target.NumberOfPoints());
    CheckMesh(source, target, origins);
}

} // namespace

TEST(OriginsRealMesh, OfConvertedMeshes) {
    auto const linear = ReadMesh("head_small_tet4.vtu");
    MMeshBase quadratic;
    MMeshConvertTet4ToTet10Operator curve;
    curve.SetTet10Mesh(&quadratic);
    RunConversion(curve, *linear, quadratic);

    auto const curved = ReadMesh("head_small_tet10.vtu");
    for (bool const multiple : {false, true}) {
        MMeshBase straight;
        MMeshConvertTet10ToTet4Operator straighten;
        straighten.SetMultipleElements(multiple);
        straighten.SetTet4Mesh(&straight);
        RunConversion(straighten, *curved, straight);
    }
    auto const hexahedra = ReadMesh("hex_matrix_fiber.vtu");
    MMeshBase cut;
    MMeshConvertHex8ToTet4Operator five;
    five.SetTet4Mesh(&cut);
    RunConversion(five, *hexahedra, cut);
}

// What is taken out of a mesh and added again is joined with it at the nodes between both.
TEST(OriginsRealMesh, OfAMeshThatIsTakenApartAndPutTogether) {
    auto const whole = ReadMesh("head_small_tet4.vtu");
    MMeshSubVolume* const taken = whole->BeginSubVolume()[1].get();
    MMeshOrigins of_part, of_rest, of_first, of_second;
    std::unique_ptr<MMeshBase> const part(whole->GetSubVolumeAsMMeshBase(*taken, &of_part));
    CheckMesh(*whole, *part, of_part);
    MMeshOperatorRemoveSubVolume remove;
    remove.SetMesh(whole.get());
    remove.AddSubVolumeToRemove(taken);
    remove.SetOrigins(&of_rest);
    ASSERT_TRUE(remove.Operate());
    std::unique_ptr<MMeshBase> const rest(remove.GetNewMesh());
    CheckMesh(*whole, *rest, of_rest);

    MLong const elements = rest->NumberOfElements();
    MLong const nodes = rest->NumberOfPoints();
    MMeshMergeVolumesOperator merge(rest.get(), part.get());
    merge.SetOrigins(&of_first, &of_second);
    ASSERT_TRUE(merge.Operate());
    CheckMesh(*part, *rest, of_second, elements, nodes);
    EXPECT_EQ(static_cast<MLong>(of_second.joined_nodes),
              nodes + part->NumberOfPoints() - whole->NumberOfPoints());
    EXPECT_EQ(rest->NumberOfPoints(), whole->NumberOfPoints());
}

} // namespace OriginsTests
