// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>

#include <KetSDK/Math/MathCore/MMTransform.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/ImageVoxels.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshVTK/Frames.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

using Mesh::CoordinateFrame;
using Mesh::FrameWord;
using Frame = std::optional<CoordinateFrame>;

namespace {

// Turned inputs fit clearly better when so much more of the mesh lies inside the image, or when the boxes lie
// nearer by so much of the mesh's size.
constexpr double ClearlyBetter = 0.1;

bool AreDifferent(Frame a, Frame b) {
    return a && b && *a != *b;
}

bool NeedsLook(Model const& model, Frame other) {
    return !(model.frame && other) && !model.frame_is_given;
}

void Tell(Context const& context, std::string const& file, CoordinateFrame from) {
    if (context.turned)
        context.turned({file, from, OtherFrame(from)});
}

std::string Says(Frame frame) {
    return frame ? std::string("is in ") + FrameWord(*frame) : "says no frame of coordinates";
}

// --- Boxes -------------------------------------------------------------------------------------------

using Box = std::array<double, 6>; // lower, then upper corner

Box BoxOfPoints(MStlBase const& stl) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    Box box = {infinity, infinity, infinity, -infinity, -infinity, -infinity};
    for (MStlPoint const& point : stl.Points()) {
        MMVector<double, 3> const position = point.GetPosition();
        for (std::size_t i = 0; i < 3; ++i) {
            box[i] = std::min(box[i], position[i]);
            box[i + 3] = std::max(box[i + 3], position[i]);
        }
    }
    return box;
}

Box Turned(Box const& box) {
    return {-box[3], -box[4], box[2], -box[0], -box[1], box[5]};
}

double DistanceBetween(Box const& a, Box const& b) {
    double squares = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        double const gap = std::max({0.0, a[i] - b[i + 3], b[i] - a[i + 3]});
        squares += gap * gap;
    }
    return std::sqrt(squares);
}

double SizeOf(Box const& box) {
    return std::hypot(box[3] - box[0], box[4] - box[1], box[5] - box[2]);
}

// --- Looks -------------------------------------------------------------------------------------------

void LookAt(Model const& model, Image const& image) {
    auto const share = [&](vtkImageData& data) {
        return MeshVTK::ShareInside(*model.mesh, data, image.unit);
    };
    double const as_it_is = share(*image.voxels->data);
    double const turned = share(*MeshVTK::TurnImage(*image.voxels->data));
    if (turned <= as_it_is + ClearlyBetter)
        return;
    auto const percent = [](double part) { return FormatGeneral(100.0 * part, 3) + " %"; };
    throw FileError(model.file, "it " + Says(model.frame) + ", and " + NameOf(image) + " " +
                                    Says(image.frame) + ": " + percent(as_it_is) +
                                    " of its nodes lie inside the image as they are, but " + percent(turned) +
                                    " with x and y turned; say its frame with --frame RAS or --frame LPS");
}

void LookAt(Model const& model, SurfaceModel const& surface) {
    if (surface.surfaces->NumberOfPoints() == 0)
        return;
    Box const mesh = BoxOf(*model.mesh);
    Box const box = BoxOfPoints(*surface.surfaces);
    double const as_it_is = DistanceBetween(mesh, box);
    double const turned = DistanceBetween(mesh, Turned(box));
    if (as_it_is <= turned + ClearlyBetter * SizeOf(mesh))
        return;
    throw FileError(surface.file,
                    "it " + Says(surface.frame) + ", and " + NameOf(model) + " " + Says(model.frame) +
                        ": they lie " + FormatGeneral(as_it_is, 3) + " mm apart as they are, but " +
                        FormatGeneral(turned, 3) +
                        " mm with x and y turned; say their frames with --frame and --surface-frame");
}

// --- Turning -----------------------------------------------------------------------------------------

[[noreturn]] void RefuseLimit(std::string const& file) {
    throw FileError(file, "it cannot be turned into another frame: it reaches the limit of coordinates, "
                          "-32768 mm");
}

bool IsAtLimit(MLong x, MLong y) {
    return std::min(x, y) == std::numeric_limits<MLong>::min();
}

void TurnNodes(MMeshBase& mesh) {
    mesh.Transform(MMTransform(MMTransformMatrix::Scaling({-1.0, -1.0, 1.0})));
}

} // namespace

void TurnMesh(Model const& model) {
    for (MLong i = 0; i < model.mesh->NumberOfPoints(); ++i) {
        MMeshPoint const& p = *model.mesh->GetRandomPoint(static_cast<std::uint64_t>(i));
        if (IsAtLimit(p.x, p.y))
            RefuseLimit(model.file);
    }
    TurnNodes(*model.mesh);
}

std::unique_ptr<MStlBase> TurnedCopy(SurfaceModel const& surface) {
    MStlBase const& source = *surface.surfaces;
    auto copy = std::make_unique<MStlBase>();
    copy->SetKeepNeighbourInfo(source.GetKeepNeighbourInfo());
    for (MStlPoint const& p : source.Points()) {
        if (IsAtLimit(p.GetX(), p.GetY()))
            RefuseLimit(surface.file);
        copy->AddPoint(-p.GetX(), -p.GetY(), p.GetZ(), true);
    }
    for (MStlSurface const& named : source.Surfaces())
        copy->AddSurface(nullptr)->SetName(named.GetName().c_str());
    auto const point = [&copy](MStlPoint const* p) {
        return copy->GetPoint(static_cast<std::uint64_t>(p->GetIndex()));
    };
    for (MStlTriangle const& t : source.Triangles()) {
        MStlTriangle* const triangle =
            copy->AddTriangle(point(t.GetPoint(0)), point(t.GetPoint(1)), point(t.GetPoint(2)),
                              copy->GetSurface(static_cast<std::uint64_t>(t.GetSurface()->GetIndex())));
        triangle->SetColor(t.GetColor());
    }
    return copy;
}

Image InFrameOf(Model const& model, Image const& image, Context const& context) {
    return ForFile(image.file, [&] {
        if (NeedsLook(model, image.frame))
            LookAt(model, image);
        if (!AreDifferent(model.frame, image.frame))
            return image;
        Image turned = image;
        auto voxels = std::make_shared<Image::Voxels>();
        voxels->data = MeshVTK::TurnImage(*image.voxels->data);
        turned.voxels = std::move(voxels);
        turned.frame = model.frame;
        Tell(context, image.file, *image.frame);
        return turned;
    });
}

std::optional<SurfaceModel> InFrameOf(Model const& model, SurfaceModel const& surface,
                                      Context const& context) {
    if (NeedsLook(model, surface.frame))
        LookAt(model, surface);
    if (!AreDifferent(model.frame, surface.frame))
        return std::nullopt;
    SurfaceModel turned;
    turned.file = surface.file;
    turned.surfaces = TurnedCopy(surface);
    turned.frame = model.frame;
    Tell(context, surface.file, *surface.frame);
    return turned;
}

void TurnToFrameOf(Model const& model, SurfaceModel& surface, Context const& context) {
    if (std::optional<SurfaceModel> turned = InFrameOf(model, surface, context)) {
        surface.surfaces = std::move(turned->surfaces);
        surface.frame = turned->frame;
    }
}

SecondInFrameOfFirst::SecondInFrameOfFirst(Model const& first, Model const& second, Context const& context) {
    if (first.frame.has_value() != second.frame.has_value())
        context.Warn(NameOf(first) + " " + Says(first.frame) + ", " + NameOf(second) + " " +
                     Says(second.frame) + "; they are taken as they are (--frame, ketmesh frame)");
    if (!AreDifferent(first.frame, second.frame))
        return;
    TurnMesh(second);
    m_turned = second.mesh.get();
    Tell(context, second.file, *second.frame);
}

SecondInFrameOfFirst::~SecondInFrameOfFirst() {
    if (m_turned)
        TurnNodes(*m_turned);
}

} // namespace KetSDK::MeshJobs::Detail
