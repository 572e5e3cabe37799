// SPDX-License-Identifier: BSD-3-Clause
// Checking and repairing quadratic elements, layers, and what bad elements mark on a surface.
#include "Jobs.h"

#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>
#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <memory>

namespace Bench {
namespace {

template <typename Operator>
std::unique_ptr<Operator> Run(Case& c) {
    auto job = std::make_unique<Operator>();
    job->SetMesh(&c.Mesh());
    job->SetParallel(IsParallel());
    job->Operate();
    return job;
}

// One element in a hundred is bad.
struct Growth {
    explicit Growth(Case& c) {
        MMeshExtractStlSurfaceOperator extract;
        extract.SetMesh(&c.Mesh());
        extract.SetStl(&surface);
        extract.SetParallel(IsParallel());
        extract.Operate();
        c.Mesh().GetElementMasks()->RegisterMask(&bad);
        for (std::uint64_t i = 0; i < c.Mesh().Elements().GetNumElements(); i += 100)
            bad.SetValue(*c.Mesh().GetElement(i), true);
    }

    MStlBase surface;
    MDataMaskBits<MMeshElement> bad;
};

void AddGrowth(Recipe const& recipe) {
    auto const inputs = std::make_shared<std::unique_ptr<Growth>>();
    AddWay(
        recipe, "grow_2_rings", Ours, [inputs](Case& c) { *inputs = std::make_unique<Growth>(c); },
        [inputs](Case& c) {
            auto job = std::make_unique<MMeshGrowBadTetsOperator>();
            job->SetMesh(&c.Mesh());
            job->SetStlMesh(&(*inputs)->surface);
            job->SetBadMask(&(*inputs)->bad);
            job->SetGrowLevel(2);
            job->SetParallel(IsParallel());
            job->Operate();
            inputs->reset();
            return job;
        },
        NoAnswer);
}

} // namespace

void AddRepairJobs(Recipe const& recipe) {
    AddWay(recipe, "consistency_check", Ours, NothingToPrepare, Run<MMeshTet10ConsistencyCheckOperator>,
           NoAnswer);
    AddWay(recipe, "one_layer", Ours, NothingToPrepare, Run<MMeshOperatorLayers>, NoAnswer);
    if (!recipe.curved) {
        AddGrowth(recipe);
        return;
    }
    AddWay(
        recipe, "correct_jacobians", Ours,
        [](Case& c) {
            c.ForgetMesh();
            c.Mesh();
        },
        Run<MMeshJacobianCorrectorOperator>, NoAnswer);
    AddWay(recipe, "correct_jacobians_again", Ours, Run<MMeshJacobianCorrectorOperator>,
           Run<MMeshJacobianCorrectorOperator>, NoAnswer);
}

} // namespace Bench
