// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <memory>
#include <optional>

namespace KetSDK::MeshJobs::Detail {

// What jobs with two inputs do before anything else: the second input is taken in the frame of the first.
// Where both say a frame and these differ, the second one is turned, and the context is told. Where one says
// none, they are taken as they are. Unless the caller said the frame of the model, a look decides whether
// they would fit clearly better if they were turned. Then FileError names --frame.

// The image in the frame of the model. The look is at the share of the nodes that lie inside.
Image InFrameOf(Model const& model, Image const& image, Context const& context);
// The surface in the frame of the model; nothing when it can be taken as it is. The look is at the distance
// between the boxes. The copy has no arrays.
std::optional<SurfaceModel> InFrameOf(Model const& model, SurfaceModel const& surface,
                                      Context const& context);
// The same in place.
void TurnToFrameOf(Model const& model, SurfaceModel& surface, Context const& context);

// A second model in the frame of the first for as long as this lives; then it is again as it was, exactly.
// There is no look: two meshes may lie side by side. Warns when only one says a frame.
class SecondInFrameOfFirst {
public:
    SecondInFrameOfFirst(Model const& first, Model const& second, Context const& context);
    SecondInFrameOfFirst(SecondInFrameOfFirst const&) = delete;
    SecondInFrameOfFirst& operator=(SecondInFrameOfFirst const&) = delete;
    ~SecondInFrameOfFirst();

private:
    MMeshBase* m_turned = nullptr;
};

// Turns nodes or points into the other frame, exactly. Throws FileError when one lies at the limit of the
// coordinates, where there is no number with the other sign.
void TurnMesh(Model const& model);
std::unique_ptr<MStlBase> TurnedCopy(SurfaceModel const& surface);

} // namespace KetSDK::MeshJobs::Detail
