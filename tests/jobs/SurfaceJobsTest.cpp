// SPDX-License-Identifier: BSD-3-Clause
// The jobs that make surfaces and lines of a mesh, and those that tell where its elements are bad.
#include "OriginsWitness.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshJobs/Boundary.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Cut.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Explode.h>
#include <KetSDK/MeshJobs/Group.h>
#include <KetSDK/MeshJobs/Grow.h>
#include <KetSDK/MeshJobs/Info.h>
#include <KetSDK/MeshJobs/Iso.h>
#include <KetSDK/MeshJobs/Label.h>
#include <KetSDK/MeshJobs/Layers.h>
#include <KetSDK/MeshJobs/Match.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/MeshVTK/Text.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

using namespace KetSDK::MeshJobs;

namespace {

constexpr char const* Tet4 = "head_small_tet4.vtu";
constexpr char const* Tet10 = "head_small_tet10.vtu";
constexpr char const* Hexahedra = "hex_matrix_fiber.vtu";
constexpr char const* Wedges = "wedge_beam14.vtu";
constexpr char const* AllMeshes[] = {Tet4, Tet10, Hexahedra, Wedges};

Model Read(std::string const& name) {
    return ReadModel(KETSDK_DATA_DIR "/" + name, {}, {});
}

std::vector<std::int32_t> const& Numbers(SurfaceModel const& surface, wchar_t const* name,
                                         MMeshArray::Place place = MMeshArray::OnElements) {
    MMeshArray const* const array = FindArray(surface.arrays, name, place);
    if (!array)
        throw std::runtime_error("an array is missing");
    return std::get<std::vector<std::int32_t>>(array->values);
}

// What the arrays of a surface say, as origins.
MSurfaceOrigins OriginsIn(SurfaceModel const& surface) {
    MSurfaceOrigins origins;
    std::vector<std::int32_t> const& elements = Numbers(surface, L"element");
    std::vector<std::int32_t> const& faces = Numbers(surface, L"face");
    for (std::size_t i = 0; i < elements.size(); ++i)
        origins.triangles.push_back({elements[i] - 1, faces.at(i)});
    for (std::int32_t const node : Numbers(surface, L"node", MMeshArray::OnNodes))
        origins.points.push_back(node - 1);
    origins.surfaces.resize(surface.surfaces->NumberOfSurfaces());
    return origins;
}

std::string InFolder(MTemporaryDirectory const& folder, char const* name) {
    return (std::filesystem::path(folder.GetPath().GetPath()) / name).string();
}

// Writes a surface into a .vtp file and holds what stands there against the mesh.
void CheckFile(Model const& model, SurfaceModel const& surface) {
    MTemporaryDirectory const folder;
    std::string const path = InFolder(folder, "s.vtp");
    KetSDK::MeshVTK::OutputFile file = OpenSurfaceFile(path);
    WriteSurface(surface, file, {}, {});
    SurfaceModel const read = ReadSurface(path, {}, {});
    ASSERT_EQ(read.surfaces->NumberOfTriangles(), surface.surfaces->NumberOfTriangles());
    OriginsWitness::CheckSurface(*model.mesh, *read.surfaces, OriginsIn(read));
}

double SignedVolume(MStlBase const& stl) {
    double volume = 0.0;
    for (MStlTriangle const& t : stl.Triangles())
        volume += t.GetPoint(0)->GetPosition().Dot(
                      t.GetPoint(1)->GetPosition().Cross(t.GetPoint(2)->GetPosition())) /
                  6.0;
    return volume;
}

std::array<double, 3> MiddleOf(Model const& model) {
    auto const box = BoxOf(*model.mesh);
    return {0.5 * (box[0] + box[3]), 0.5 * (box[1] + box[4]), 0.5 * (box[2] + box[5])};
}

// The line of the error that a job ends with; empty when it ends well.
std::string ErrorOf(std::function<void()> const& job) {
    try {
        job();
    } catch (Error const& e) {
        return e.what();
    }
    return "";
}

// A context that keeps warnings.
struct Warned : Context {
    std::vector<std::string> messages;
    Warned() {
        warn = [this](std::string const& message) { messages.push_back(message); };
    }
};

} // namespace

TEST(SurfaceJobs, TrianglesInFilesLieOnTheFacesThatTheyName) {
    for (char const* const name : AllMeshes) {
        SCOPED_TRACE(name);
        Model const model = Read(name);
        SurfacesResult const surfaces = Surfaces(model, {true, SurfacesOptions::Names::Volumes}, {});
        CheckFile(model, surfaces.surfaces);
        EXPECT_EQ(std::ranges::count(Numbers(surfaces.surfaces, L"face"), 0), 0);
        EXPECT_EQ(std::ranges::count(Numbers(surfaces.surfaces, L"node", MMeshArray::OnNodes), 0), 0);
        for (auto const& [simplify, all_faces] : {std::pair(false, false), {true, false}, {false, true}}) {
            if (all_faces && std::string(name) == Tet10) // more than a million triangles
                continue;
            BoundaryResult const boundary = Boundary(model, {true, simplify, false, all_faces}, {});
            CheckFile(model, boundary.surface);
            auto const inside = std::ranges::count(Numbers(boundary.surface, L"face"), 0);
            bool const is_cut_up = all_faces && std::string(name) != Tet4;
            EXPECT_EQ(inside > 0, is_cut_up);
        }
        CutResult const cut = Cut(model, {{1.0, 0.2, 0.1}, MiddleOf(model)}, {});
        EXPECT_GT(cut.section.surfaces->NumberOfTriangles(), 0u);
        CheckFile(model, cut.section);
    }
    for (char const* const name : {Tet4, Tet10}) {
        Model const model = Read(name);
        CheckFile(model, Explode(model, {}, {}).surface);
    }
}

TEST(SurfaceJobs, EachFileOfSplitSurfacesHasItsOwnRows) {
    Model const model = Read(Tet4);
    SurfacesResult const result = Surfaces(model, {true, SurfacesOptions::Names::Ids}, {});
    MTemporaryDirectory const folder;
    std::vector<std::string> const files =
        WriteSurfaces(result.surfaces, InFolder(folder, "head.vtp"), {}, {});
    ASSERT_EQ(files.size(), result.reports.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        SurfaceModel const one = ReadSurface(files[i], {}, {});
        EXPECT_EQ(one.surfaces->NumberOfTriangles(), result.reports[i].triangles);
        OriginsWitness::CheckSurface(*model.mesh, *one.surfaces, OriginsIn(one));
    }
}

TEST(SurfaceJobs, SurfacesAreNamedAfterTheSubVolumesOfTheirElements) {
    Model const model = Read(Tet4);
    // Names with numbers, which the names of surfaces are made of as well.
    std::vector<std::wstring> const names = {L"9-7", L"Label 2", L"0"};
    for (std::size_t i = 0; i < names.size(); ++i)
        model.mesh->BeginSubVolume()[static_cast<std::ptrdiff_t>(i)]->SetName(names[i].c_str());
    SurfacesResult const result = Surfaces(model, {true, SurfacesOptions::Names::Volumes}, {});
    std::vector<std::int32_t> const& elements = Numbers(result.surfaces, L"element");
    std::size_t triangle = 0;
    double area = 0.0;
    for (SurfaceReport const& report : result.reports) {
        std::set<std::string> inside;
        for (std::uint64_t i = 0; i < report.triangles; ++i) {
            auto const element = static_cast<std::uint64_t>(elements[triangle++] - 1);
            inside.insert(KetSDK::MeshVTK::ToUtf8(
                model.mesh->GetSubVolume(*model.mesh->GetElement(element))->GetName()));
        }
        ASSERT_EQ(inside.size(), 1u);
        EXPECT_TRUE(report.name.starts_with(*inside.begin() + "-")) << report.name;
        area += report.area;
    }
    EXPECT_EQ(triangle, result.triangles);
    EXPECT_NEAR(area, Boundary(model, {true}, {}).area, 1e-9 * area);
}

TEST(SurfaceJobs, TheBoundaryHasTheColoursOfTheMaterials) {
    Model const model = Read(Hexahedra);
    EXPECT_NE(ErrorOf([&] {
                  Boundary(model, {false, false, true}, {});
              }).find("no materials"),
              std::string::npos);
    std::map<int, unsigned int> const color_of = {{1, 0x102030}, {2, 0xA0B0C0}};
    for (auto const& [id, color] : color_of) {
        MMeshMaterial material;
        material.SetID(static_cast<unsigned int>(id));
        material.SetColor(color);
        model.mesh->GetMaterialCatalog().AddMaterial(material);
    }
    auto& ids = *model.mesh->GetElementMasks()->GetMaterialMask();
    int next = 0;
    for (MMeshElement const& e : model.mesh->Elements())
        ids.SetValue(e, 1 + next++ % 3); // there is no third material
    BoundaryResult const result = Boundary(model, {false, false, true}, {});
    std::vector<std::int32_t> const& elements = Numbers(result.surface, L"element");
    std::vector<std::int32_t> const& channels = Numbers(result.surface, L"color");
    ASSERT_EQ(channels.size(), 3 * elements.size());
    std::set<int> seen;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        int const id = ids.GetValue(*model.mesh->GetElement(static_cast<std::uint64_t>(elements[i] - 1)));
        seen.insert(id);
        auto const color = color_of.contains(id) ? color_of.at(id) : 0xFFFFFFu;
        for (unsigned int k = 0; k < 3; ++k)
            ASSERT_EQ(channels[3 * i + k], static_cast<std::int32_t>(color >> (16 - 8 * k) & 0xFF));
    }
    EXPECT_EQ(seen.size(), 3u);
}

TEST(SurfaceJobs, ExplodedElementsKeepTheirValuesAndShareOfVolume) {
    Model model = Read(Tet4);
    std::vector<std::int32_t> some;
    double volume = 0.0;
    for (MMeshElement const& e : model.mesh->Elements()) {
        some.push_back(some.size() % 7 == 0 ? static_cast<std::int32_t>(some.size()) - 5 : 0);
        if (some.back() != 0)
            volume += GetElementVolume(e);
    }
    auto const taken = some.size() - static_cast<std::size_t>(std::ranges::count(some, 0));
    SetArray(model.arrays, {L"some", MMeshArray::OnElements, 1, L"int32", some});
    ExplodeResult const result = Explode(model, {0.25, "some"}, {});
    EXPECT_EQ(result.elements_taken, taken);
    EXPECT_EQ(result.triangles, 4 * taken);
    EXPECT_NEAR(SignedVolume(*result.surface.surfaces), result.volume_factor * volume, 1e-5 * volume);
    std::vector<std::int32_t> const& elements = Numbers(result.surface, L"element");
    std::vector<std::int32_t> const& values = Numbers(result.surface, L"some");
    std::vector<std::int32_t> const& sub_volumes = Numbers(result.surface, L"subvolume");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        ASSERT_EQ(values[i], some[static_cast<std::size_t>(elements[i] - 1)]);
        MMeshElement const& e = *model.mesh->GetElement(static_cast<std::uint64_t>(elements[i] - 1));
        ASSERT_EQ(sub_volumes[i], model.mesh->GetSubVolume(e)->GetID());
    }
}

TEST(SurfaceJobs, AnIsosurfaceOfHeightsIsAPlane) {
    for (char const* const name : {Tet4, Tet10}) {
        SCOPED_TRACE(name);
        Model model = Read(name);
        std::vector<double> heights;
        for (auto node = model.mesh->BeginPoint(); node != model.mesh->EndPoint(); ++node) {
            MMVector<double, 3> const p = node->GetPosition();
            heights.insert(heights.end(), {std::numeric_limits<double>::quiet_NaN(), p[2]});
        }
        SetArray(model.arrays, {L"heights", MMeshArray::OnNodes, 2, L"float64", heights});
        double const level = MiddleOf(model)[2] + 0.123;
        Warned context;
        IsoResult const result = Iso(model, {"heights", 1, level}, context);
        EXPECT_FALSE(result.from_elements);
        for (MStlPoint const& p : result.surface.surfaces->Points())
            ASSERT_NEAR(p.GetPosition()[2], level, 1e-4);
        double const area = Cut(model, {{0.0, 0.0, 1.0}, {0.0, 0.0, level}}, {}).area;
        EXPECT_NEAR(result.area, area, (std::string(name) == Tet4 ? 1e-5 : 1e-2) * area);
        EXPECT_EQ(context.messages.size(), std::string(name) == Tet4 ? 0u : 1u);
        EXPECT_NE(ErrorOf([&] {
                      Iso(model, {"heights", {}, level}, {});
                  }).find("2 components"),
                  std::string::npos);
    }
}

TEST(SurfaceJobs, ALayerTouchesTheOneBefore) {
    Model model = Read(Tet4);
    LayersResult const result = Layers(model, {3}, {});
    auto const& layers = std::get<std::vector<std::int32_t>>(
        FindArray(model.arrays, L"layer", MMeshArray::OnElements)->values);
    constexpr std::int32_t none = 4; // behind the last layer
    std::vector<std::int32_t> first(static_cast<std::size_t>(model.mesh->NumberOfPoints()), none);
    auto const lowest_at = [&](MMeshElement const& e) {
        std::int32_t lowest = none;
        for (unsigned int i = 0; i < 4; ++i)
            lowest = std::min(lowest, first[static_cast<std::size_t>(e.GetNode(i)->GetIndex())]);
        return lowest;
    };
    // Of each node the layer that the elements around it are in by the boundary alone.
    SurfacesResult const exterior = Surfaces(model, {}, {});
    for (std::int32_t const node : Numbers(exterior.surfaces, L"node", MMeshArray::OnNodes))
        first[static_cast<std::size_t>(node - 1)] = 1;
    std::vector<std::int32_t> expected(layers.size(), 0);
    for (std::int32_t layer = 1; layer < none; ++layer) {
        std::vector<std::size_t> reached;
        for (std::size_t i = 0; i < layers.size(); ++i)
            if (expected[i] == 0 && lowest_at(*model.mesh->GetElement(i)) == layer)
                reached.push_back(i);
        for (std::size_t const i : reached) {
            expected[i] = layer;
            for (unsigned int k = 0; k < 4; ++k) {
                auto& at = first[static_cast<std::size_t>(model.mesh->GetElement(i)->GetNode(k)->GetIndex())];
                at = std::min(at, layer + 1);
            }
        }
    }
    EXPECT_EQ(layers, expected);
    ASSERT_EQ(result.layers.size(), 3u);
    double volume = result.inside.volume;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(result.layers[i].elements,
                  static_cast<std::uint64_t>(std::ranges::count(layers, static_cast<std::int32_t>(i) + 1)));
        volume += result.layers[i].volume;
    }
    EXPECT_EQ(result.elements_in_layers + result.inside.elements, result.elements);
    EXPECT_NEAR(volume, model.mesh->GetVolume(), 1e-9 * volume);
}

TEST(SurfaceJobs, MarkedTrianglesAreThoseOfBadElements) {
    Model const model = Read(Tet4);
    GrowOptions options;
    options.threshold.value = 0.3;
    GrowResult const result = Grow(model, std::nullopt, options, {});
    SurfacesResult const exterior = Surfaces(model, {}, {}); // in the same order
    MMeshQualityAnalysisOperator analysis;
    analysis.SetMesh(model.mesh.get());
    analysis.SetCurrentMetric(MMeshQualityAnalysisOperator::ScaledJacobian);
    ASSERT_TRUE(analysis.Operate());
    std::vector<std::int32_t> expected;
    for (std::int32_t const element : Numbers(exterior.surfaces, L"element")) {
        MMeshElement const& e = *model.mesh->GetElement(static_cast<std::uint64_t>(element - 1));
        expected.push_back(analysis.GetQualityMask()->GetValue(e) < 0.3);
    }
    EXPECT_EQ(Numbers(result.surface, L"bad"), expected);
    EXPECT_EQ(result.marked, static_cast<std::uint64_t>(std::ranges::count(expected, 1)));
    EXPECT_GT(result.marked, 0u);
    EXPECT_EQ(result.on_mesh, result.triangles);

    // A surface that lies elsewhere.
    SurfaceModel away;
    away.surfaces = std::make_unique<MStlBase>();
    away.surfaces->AddTriangle(away.surfaces->AddPoint(0, 0, 0, false),
                               away.surfaces->AddPoint(9, 0, 0, false),
                               away.surfaces->AddPoint(0, 9, 0, false), nullptr);
    Warned context;
    EXPECT_EQ(Grow(model, std::move(away), options, context).on_mesh, 0u);
    EXPECT_EQ(context.messages.size(), 1u);
}

TEST(Surfaces, CurvedOnesEncloseTheVolumeOfCurvedElements) {
    Model const model = Read(Tet10);
    double const volume = Info(model, {}).volume;
    SurfacesResult const flat = Surfaces(model, {}, {});
    SurfacesResult const curved = Surfaces(model, {.curved = true}, {});
    EXPECT_EQ(flat.taken_by_corners, static_cast<std::uint64_t>(model.mesh->NumberOfElements()));
    EXPECT_EQ(curved.taken_by_corners, 0u);
    EXPECT_EQ(curved.triangles, 4 * flat.triangles);
    auto const error = [volume](SurfacesResult const& result) {
        return std::fabs(SignedVolume(*result.surfaces.surfaces) - volume);
    };
    EXPECT_LT(error(curved), 0.3 * error(flat));
    EXPECT_LT(error(curved), 1e-3 * volume);

    // Faces count by their corners when triangles are matched with them, and all that do so say so.
    Model regions = Read(Tet10);
    Warned context;
    LabelResult const label = Label(regions, &curved.surfaces, {}, context);
    ASSERT_EQ(context.messages.size(), 1u);
    EXPECT_NE(context.messages[0].find("of its " + std::to_string(curved.triangles) + " triangles"),
              std::string::npos);
    Label(regions, &flat.surfaces, {}, context);
    EXPECT_EQ(context.messages.size(), 1u) << context.messages.back();
    for (std::uint64_t const count :
         {label.taken_by_corners, Match(model, flat.surfaces, {}, {}).taken_by_corners,
          Group(regions, flat.surfaces, {}, {}).taken_by_corners,
          Grow(model, std::nullopt, {}, {}).taken_by_corners, Convert(model, {}, {}).taken_by_corners})
        EXPECT_EQ(count, flat.taken_by_corners);
    EXPECT_EQ(Convert(model, {ConvertOptions::Target::Tet4Split}, {}).taken_by_corners, 0u);
}

// The operators behind these jobs know tetrahedra: hexahedra and wedges go through their conforming cut.
TEST(SurfaceJobs, TakeHexahedraAndWedgesWholeAgain) {
    for (char const* const name : {Hexahedra, Wedges}) {
        SCOPED_TRACE(name);
        Model model = Read(name);
        auto const elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
        SurfacesResult const outside = Surfaces(model, {}, {});
        double area = 0.0;
        for (SurfaceReport const& report : outside.reports)
            area += report.area;

        BoundaryResult const boundary = Boundary(model, {}, {});
        EXPECT_EQ(boundary.solids.elements, elements);
        EXPECT_GT(boundary.solids.tetrahedra, 2 * elements);
        EXPECT_EQ(boundary.elements, elements);
        EXPECT_EQ(boundary.triangles, outside.triangles);
        EXPECT_EQ(boundary.boundary_nodes, boundary.surface.surfaces->NumberOfPoints());
        EXPECT_NEAR(boundary.area, area, 1e-6 * area);
        EXPECT_TRUE(boundary.closed);
        EXPECT_NEAR(SignedVolume(*boundary.surface.surfaces), Info(model, {}).volume, 1e-6 * area);
        CheckFile(model, boundary.surface);
        for (std::int32_t const face : Numbers(boundary.surface, L"face"))
            EXPECT_GT(face, 0);

        // The surface halves faces in its own way, and a file of it is rounded to floats.
        SurfacesResult const all = Surfaces(model, {.interfaces = true}, {});
        MTemporaryDirectory const folder;
        std::string const path = InFolder(folder, "s.stl");
        KetSDK::MeshVTK::OutputFile file = OpenSurfaceFile(path);
        WriteSurface(all.surfaces, file, {}, {});
        SurfaceModel const rounded = ReadSurface(path, {}, {});
        MatchResult const match = Match(model, rounded, {}, {});
        EXPECT_EQ(match.solids.elements, elements);
        EXPECT_EQ(match.counts.GetMismatches(), 0u);
        EXPECT_EQ(match.counts.with_face, all.triangles);
        EXPECT_EQ(match.counts.boundary.with_triangle + match.counts.interfaces.with_triangle, all.triangles);

        std::vector<SubVolumeReport> const before = ReportSubVolumes(*model.mesh);
        LabelResult const label = Label(model, &rounded, {}, {});
        EXPECT_EQ(label.solids.elements, elements);
        ASSERT_EQ(label.subvolumes.size(), before.size());
        for (std::size_t i = 0; i < before.size(); ++i) {
            EXPECT_EQ(label.subvolumes[i].elements, before[i].elements);
            EXPECT_NEAR(label.subvolumes[i].volume, before[i].volume, 1e-9);
        }
        EXPECT_EQ(Label(model, nullptr, {}, {}).subvolumes.size(), 1u);
        EXPECT_EQ(CountSolids(*model.mesh), elements);
    }
}

TEST(SurfaceJobs, CutHexahedraForIsosurfaces) {
    Model model = Read(Hexahedra);
    std::vector<double> x;
    for (auto node = model.mesh->BeginPoint(); node != model.mesh->EndPoint(); ++node)
        x.push_back(node->GetPosition()[0]);
    auto const box = BoxOf(*model.mesh);
    SetArray(model.arrays, {L"x", MMeshArray::OnNodes, 1, L"float64", std::move(x)});
    double const section = (box[4] - box[1]) * (box[5] - box[2]);
    for (double const share : {0.13, 0.5, 0.77}) {
        IsoResult const iso = Iso(model, {"x", {}, box[0] + share * (box[3] - box[0])}, {});
        EXPECT_NEAR(iso.area, section, 1e-4 * section);
        EXPECT_EQ(iso.solids.elements, 1952u);
    }
}

TEST(Surfaces, KeepTheirNamesInStlFilesInText) {
    Model const model = Read(Tet4);
    SurfacesOptions options;
    options.interfaces = true;
    options.names = SurfacesOptions::Names::Volumes;
    SurfacesResult result = Surfaces(model, options, {});
    result.surfaces.frame = KetSDK::Mesh::CoordinateFrame::LPS;
    ASSERT_GT(result.reports.size(), 2u);
    MTemporaryDirectory const folder;
    for (bool const text : {true, false}) {
        std::string const path = InFolder(folder, text ? "text.stl" : "binary.stl");
        Warned context;
        KetSDK::MeshVTK::OutputFile file = OpenSurfaceFile(path);
        WriteSurface(result.surfaces, file, {{}, false, text}, context);
        EXPECT_EQ(context.messages.size(), text ? 0u : 1u);
        SurfaceModel const read = ReadSurface(path, {}, {});
        EXPECT_EQ(read.frame, result.surfaces.frame);
        ASSERT_EQ(read.surfaces->NumberOfSurfaces(), text ? result.reports.size() : 1u);
        if (!text)
            continue;
        std::vector<SurfaceReport> const reports = ReportSurfaces(*read.surfaces);
        for (std::size_t i = 0; i < reports.size(); ++i) {
            EXPECT_EQ(reports[i].name, result.reports[i].name);
            EXPECT_EQ(reports[i].triangles, result.reports[i].triangles);
            EXPECT_EQ(reports[i].area, result.reports[i].area);
            EXPECT_EQ(reports[i].closed, result.reports[i].closed);
        }
    }
    KetSDK::MeshVTK::OutputFile file = OpenSurfaceFile(InFolder(folder, "s.ply"));
    EXPECT_NE(ErrorOf([&] { WriteSurface(result.surfaces, file, {{}, false, true}, {}); }), "");
}
