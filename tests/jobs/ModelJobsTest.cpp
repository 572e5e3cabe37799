// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Diff.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Explode.h>
#include <KetSDK/MeshJobs/Graph.h>
#include <KetSDK/MeshJobs/Group.h>
#include <KetSDK/MeshJobs/Grow.h>
#include <KetSDK/MeshJobs/Label.h>
#include <KetSDK/MeshJobs/Layers.h>
#include <KetSDK/MeshJobs/Match.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <KetSDK/MeshJobs/Merge.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/Orient.h>
#include <KetSDK/MeshJobs/Project.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/Remove.h>
#include <KetSDK/MeshJobs/Repair.h>
#include <KetSDK/MeshJobs/Solve.h>
#include <KetSDK/MeshJobs/Split.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/MeshJobs/detail/Limits.h>

#include <vtkCellData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkTypeInt64Array.h>
#include <vtkTypeUInt64Array.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>
#include <vtkXMLUnstructuredGridReader.h>
#include <vtkXMLUnstructuredGridWriter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

using namespace KetSDK::MeshJobs;

namespace {

std::string const DataFolder = KETSDK_DATA_DIR "/";

Model Load(std::string const& path) {
    return ReadModel(path, {}, {});
}

// n x n x n cubes of six tetrahedra each; those with x below `left` are in "left", the others in "right".
Model Cubes(int n, int left) {
    Model model;
    model.file = "cubes";
    model.mesh = std::make_unique<MMeshBase>();
    TestMeshes::FillWithCubes(*model.mesh, n);
    model.mesh->GetMainSubVolume()->SetName(L"left");
    MMeshSubVolume* const right = model.mesh->AddSubVolume();
    right->SetName(L"right");
    for (MMeshElement& e : model.mesh->Elements())
        if (std::any_of(e.GetNodes(), e.GetNodes() + 4,
                        [left](MMeshPoint const* p) { return p->x > left * TestMeshes::Unit; }))
            model.mesh->GetMainSubVolume()->MoveElement(e, right);
    return model;
}

MMVector<double, 3> CentroidOf(MMeshElement const& e) {
    MMVector<double, 3> sum{};
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        sum = sum + e.GetNode(i)->GetPosition();
    return sum / static_cast<double>(e.GetNodeCount());
}

// The boundary of a model and what lies between its sub-volumes, named after them as grouping needs it.
SurfaceModel SurfaceOf(Model const& model) {
    SurfaceModel surface;
    surface.file = "surface";
    surface.surfaces = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(model.mesh.get());
    extract.SetStl(surface.surfaces.get());
    extract.SetExtractInterfacesBetweenSubVolumes(true);
    EXPECT_TRUE(extract.Operate());
    for (MStlSurface& s : surface.surfaces->Surfaces())
        s.SetName(s.GetName() == L"Exterior Surface-0"   ? L"left-"
                  : s.GetName() == L"Exterior Surface-1" ? L"right-"
                                                         : L"left-right");
    return surface;
}

// The same of a model whose nodes were moved.
SurfaceModel SurfaceOf(Model model, void (*move)(MMeshPoint&)) {
    for (auto p = model.mesh->BeginPoint(); p != model.mesh->EndPoint(); ++p)
        move(*p);
    return SurfaceOf(model);
}

// A context that keeps its warnings.
struct Listening {
    std::vector<std::string> warnings;
    Context context{nullptr, 1, [this](std::string const& message) { warnings.push_back(message); }, {}};
};

// A file with an array of every kind: strings, numbers of 64 bits that need them, bytes, active attributes.
std::string FileOfAllKinds(std::filesystem::path const& folder) {
    vtkNew<vtkXMLUnstructuredGridReader> reader;
    reader->SetFileName((DataFolder + "hex_matrix_fiber.vtu").c_str());
    reader->Update();
    vtkUnstructuredGrid& grid = *reader->GetOutput();
    auto const add = [](vtkDataSetAttributes& arrays, vtkIdType count, auto array, char const* name,
                        auto const& value_of) {
        array->SetName(name);
        for (vtkIdType i = 0; i < count; ++i)
            array->InsertNextValue(value_of(i));
        arrays.AddArray(array);
    };
    vtkCellData& cells = *grid.GetCellData();
    vtkPointData& points = *grid.GetPointData();
    vtkIdType const cell_count = grid.GetNumberOfCells(), point_count = grid.GetNumberOfPoints();
    add(cells, cell_count, vtkSmartPointer<vtkStringArray>::New(), "words",
        [](vtkIdType i) { return i % 3 == 0 ? std::string() : "w\u00f6rter " + std::to_string(i); });
    add(cells, cell_count, vtkSmartPointer<vtkTypeUInt64Array>::New(), "huge", [](vtkIdType i) {
        return std::numeric_limits<std::uint64_t>::max() - static_cast<std::uint64_t>(i);
    });
    add(points, point_count, vtkSmartPointer<vtkTypeInt64Array>::New(), "low",
        [](vtkIdType i) { return std::numeric_limits<std::int64_t>::min() + i; });
    add(points, point_count, vtkSmartPointer<vtkUnsignedCharArray>::New(), "flags",
        [](vtkIdType i) { return static_cast<unsigned char>(i % 2); });
    cells.SetActiveScalars("huge");
    points.SetActiveScalars("low");
    std::string const path = folder / "kinds.vtu";
    vtkNew<vtkXMLUnstructuredGridWriter> writer;
    writer->SetFileName(path.c_str());
    writer->SetInputData(&grid);
    writer->Write();
    return path;
}

// Cancels at one of the times that it is asked, and from there on.
struct Patient : KetSDK::Common::IProgressDelegate {
    void Begin(std::string const&, bool) override {}
    void Advance(double) override {}
    void End() override {}
    bool IsCancelled() const override { return asked++ >= patience; }

    std::size_t patience = std::numeric_limits<std::size_t>::max();
    mutable std::size_t asked = 0;
};

// An image of 4 voxels along each side of `size` mm.
Image ImageOf(float size) {
    std::vector<float> voxels(64);
    std::iota(voxels.begin(), voxels.end(), 1.0F);
    double const step = size / 3.0;
    return MakeImage({.first = voxels.data(),
                      .size = {4, 4, 4},
                      .strides = {1, 4, 16},
                      .affine = {{{step, 0, 0, 0}, {0, step, 0, 0}, {0, 0, step, 0}}}},
                     {}, std::nullopt);
}

Model Composite() {
    Model model = Load(DataFolder + "hex_matrix_fiber.vtu");
    model.file = "hexahedra";
    return model;
}

// Quadratic ones, with a mid node that stands at the wrong place.
Model Bent() {
    Model model = std::move(Convert(Cubes(2, 1), {ConvertOptions::Target::Tet10}, {}).model);
    MMeshElement const& e = *model.mesh->GetElement(5);
    e.GetNode(7)->x = e.GetNode(3)->x + TestMeshes::Unit / 20;
    return model;
}

// Some elements the wrong way round.
Model Inverted() {
    Model model = Cubes(2, 1);
    for (std::uint64_t i = 0; i < 48; i += 5)
        model.mesh->GetElement(i)->SwapNodes(0, 1);
    return model;
}

// The last element is in "left", far from the others there.
Model Apart() {
    Model model = Cubes(4, 1);
    MMeshElement& e = *model.mesh->GetElement(model.mesh->Elements().GetNumElements() - 1);
    model.mesh->GetSubVolume(e)->MoveElement(e, model.mesh->GetMainSubVolume());
    return model;
}

// Runs a job on a model that is made for it, and cancels it at the time that it asks after so many times.
// Returns whether it got to its end.
bool Finish(std::function<void(Model&, Context const&)> const& job, Model& model, Patient& patient) {
    Context context;
    context.progress = {&patient, [](auto) {}};
    try {
        job(model, context);
    } catch (Cancelled const&) {
        return false;
    }
    return true;
}

} // namespace

// What a .kmesh file gives is what was saved, value by value and byte by byte, and so is what a .vtu file
// gives after it.
TEST(ModelFile, ArraysTravelUnchanged) {
    MTemporaryDirectory const owner;
    std::filesystem::path const folder = owner.GetPath().GetPath();
    std::vector<std::string> paths = {FileOfAllKinds(folder)};
    for (auto const& entry : std::filesystem::directory_iterator(DataFolder))
        if (entry.path().extension() == ".vtu")
            paths.push_back(entry.path());
    ASSERT_GE(paths.size(), 5u);
    for (std::string const& path : paths) {
        SCOPED_TRACE(path);
        Model const read = Load(path);
        for (MMeshFile::Encoding const encoding : {MMeshFile::Binary, MMeshFile::Text}) {
            if (encoding == MMeshFile::Text && path != paths.front())
                continue; // takes long, and the first one has all kinds
            WriteModel(read, folder / "a.kmesh", {{}, encoding}, {});
            Model const saved = Load(folder / "a.kmesh");
            EXPECT_EQ(saved.arrays, read.arrays);
            EXPECT_EQ(Diff(read, saved, {}, {}).first_difference, std::nullopt);
            WriteModel(saved, folder / "b.kmesh", {{}, encoding}, {});
            EXPECT_EQ(Content(folder / "a.kmesh"), Content(folder / "b.kmesh"));
        }
        WriteModel(Load(folder / "b.kmesh"), folder / "c.vtu", {}, {});
        EXPECT_EQ(Load(folder / "c.vtu").arrays, read.arrays);
    }
    Model const kinds = Load(paths.front());
    MMeshArray const* const huge = FindArray(kinds.arrays, L"huge", MMeshArray::OnElements);
    ASSERT_NE(huge, nullptr);
    EXPECT_TRUE(HoldsHalves(*huge) && HasTypeWord(*huge, L"Scalars"));
}

// What was taken out of a head, and what was left, make the head again.
TEST(RemoveAndMerge, BringTheHeadBack) {
    Model const head = Load(DataFolder + "head_small_tet4.vtu");
    RemoveResult rest = Remove(head, {{"Label 1"}}, {});
    RemoveResult const removed = Remove(head, {{"Label 2", "Label 3"}}, {});
    EXPECT_EQ(rest.elements + removed.elements, static_cast<std::uint64_t>(head.mesh->NumberOfElements()));
    EXPECT_EQ(rest.removed_elements, removed.elements);
    ASSERT_EQ(rest.subvolumes.size(), 2u);
    EXPECT_EQ(rest.subvolumes[0].name, "Label 2");
    for (std::uint64_t i = 0; i < rest.elements; ++i) {
        auto const parent = static_cast<std::uint64_t>(rest.origins.elements[i]);
        ASSERT_EQ(CentroidOf(*rest.model.mesh->GetElement(i)), CentroidOf(*head.mesh->GetElement(parent)));
    }
    MMeshArray const* const labels = FindArray(rest.model.arrays, L"label", MMeshArray::OnElements);
    ASSERT_NE(labels, nullptr);
    EXPECT_EQ(std::ranges::count(ColumnOf(*labels, 0), 1.0), 0);

    std::uint64_t const nodes = rest.nodes + removed.nodes;
    MergeResult const merged = Merge(rest.model, removed.model, {});
    EXPECT_EQ(merged.elements, static_cast<std::uint64_t>(head.mesh->NumberOfElements()));
    EXPECT_EQ(merged.nodes, static_cast<std::uint64_t>(head.mesh->NumberOfPoints()));
    EXPECT_EQ(merged.joined_nodes, nodes - merged.nodes);
    EXPECT_NEAR(rest.model.mesh->GetVolume(), head.mesh->GetVolume(), 1e-6 * head.mesh->GetVolume());
    MMeshArray const* const all = FindArray(rest.model.arrays, L"label", MMeshArray::OnElements);
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(static_cast<std::uint64_t>(std::ranges::count(ColumnOf(*all, 0), 1.0)), removed.elements);
}

TEST(Convert, CutsHexahedraAndCurvesTetrahedra) {
    Model const hexahedra = Load(DataFolder + "hex_matrix_fiber.vtu");
    Listening listening;
    ConvertResult const cut = Convert(hexahedra, {ConvertOptions::Target::Tet4}, listening.context);
    EXPECT_GE(cut.after.elements, 5 * cut.before.elements);
    EXPECT_LE(cut.after.elements, 6 * cut.before.elements);
    EXPECT_NEAR(cut.after.volume, cut.before.volume, 1e-6 * cut.before.volume);
    ASSERT_TRUE(cut.cut);
    EXPECT_GT(cut.cut->interior_faces, 0u);
    EXPECT_EQ(cut.cut->nonmatching_faces, 0u);
    EXPECT_TRUE(listening.warnings.empty());
    std::vector<double> volumes(static_cast<std::size_t>(cut.before.elements), 0.0);
    for (std::uint64_t i = 0; i < cut.after.elements; ++i)
        volumes[static_cast<std::size_t>(cut.origins.elements[i])] +=
            GetElementVolume(*cut.model.mesh->GetElement(i));
    for (std::uint64_t i = 0; i < cut.before.elements; ++i)
        EXPECT_NEAR(volumes[i], GetElementVolume(*hexahedra.mesh->GetElement(i)), 1e-9 + 0.01 * volumes[i]);

    // An array and a field whose values are the x of the nodes are so again at the new nodes.
    Model head = Load(DataFolder + "head_small_tet4.vtu");
    head.fields.push_back(
        std::make_unique<MMeshNamedScalarMaskPoints>(L"field", L"Field", head.mesh.get(), 0.0));
    MMeshArray array{L"array", MMeshArray::OnNodes, 1, L"float64", std::vector<double>()};
    for (auto node = head.mesh->BeginPoint(); node != head.mesh->EndPoint(); ++node) {
        std::get<0>(array.values).push_back(node->GetPosition()[0]);
        static_cast<MDataMask<MMeshPoint, double>&>(*head.fields[0]).SetValue(*node, node->GetPosition()[0]);
    }
    SetArray(head.arrays, array);
    ConvertResult const curved = Convert(head, {ConvertOptions::Target::Tet10}, {});
    EXPECT_EQ(curved.after.elements, curved.before.elements);
    for (wchar_t const* const name : {L"array", L"field"}) {
        MMeshArray const* const carried = FindArray(curved.model.arrays, name, MMeshArray::OnNodes);
        ASSERT_NE(carried, nullptr);
        std::vector<double> const values = ColumnOf(*carried, 0);
        for (std::size_t i = 0; i < values.size(); ++i)
            ASSERT_NEAR(values[i], curved.model.mesh->GetRandomPoint(i)->GetPosition()[0], 1.0 / 65536);
    }
    ConvertResult const split = Convert(curved.model, {ConvertOptions::Target::Tet4Split}, {});
    EXPECT_EQ(split.after.elements, 8 * curved.after.elements);
    EXPECT_EQ(split.after.nodes, curved.after.nodes);
}

TEST(Limits, TellBeforehandWhatCannotBeNumbered) {
    struct Forecast {
        KindCount kind;
        bool split;
        std::uint64_t tetrahedra;
        bool refused;
    };
    for (Forecast const& f : {Forecast{{"tet10", 10, 268435455}, true, 2147483640, false},
                              Forecast{{"tet10", 10, 268435456}, true, 2147483648, true},
                              Forecast{{"tet10", 10, 268435456}, false, 268435456, false},
                              Forecast{{"hex8", 8, 429496730}, false, 2147483650, true},
                              Forecast{{"wedge6", 6, 715827882}, true, 2147483646, false},
                              Forecast{{"tet4", 4, 2147483647}, true, 2147483647, false}}) {
        SCOPED_TRACE(f.kind.name);
        EXPECT_EQ(Detail::LeastTetrahedra({f.kind}, f.split), f.tetrahedra);
        EXPECT_EQ(Detail::WhyTooMany(f.tetrahedra, "elements").empty(), !f.refused);
    }
    EXPECT_EQ(
        Detail::WhyTooMany(3000000000, "triangles"),
        "this would make 3000000000 triangles or more, beyond the 2147483647 that can be numbered; fewer "
        "elements are needed");
}

TEST(LabelMatchAndGroup, BringSubVolumesBackThroughTheirSurfaces) {
    Model model = Cubes(3, 1);
    SurfaceModel const surface = SurfaceOf(model);
    Listening listening;
    MatchResult const match = Match(model, surface, {}, listening.context);
    EXPECT_EQ(match.elements, 162u);
    EXPECT_EQ(match.counts.boundary.with_triangle, 6u * 9 * 2);
    EXPECT_EQ(match.counts.interfaces.with_triangle, 9u * 2);
    EXPECT_EQ(match.counts.with_face, surface.surfaces->NumberOfTriangles());
    EXPECT_EQ(match.counts.GetMismatches(), 0u);

    EXPECT_EQ(Label(model, nullptr, {}, listening.context).subvolumes.size(), 1u);
    LabelResult const labelled = Label(model, &surface, {}, listening.context);
    ASSERT_EQ(labelled.subvolumes.size(), 2u);
    EXPECT_NEAR(labelled.subvolumes[0].volume, 9.0, 1e-9);
    GroupResult const grouped = Group(model, surface, {}, listening.context);
    ASSERT_EQ(grouped.subvolumes.size(), 2u);
    EXPECT_EQ(grouped.groups_of, 2u);
    EXPECT_EQ(grouped.subvolumes[0].name, "Volume left");
    EXPECT_NEAR(grouped.subvolumes[1].volume, 18.0, 1e-9);
    EXPECT_TRUE(listening.warnings.empty());
    EXPECT_EQ(model.mesh->GetCorrespondenceMapper(), nullptr); // it would outlive the surface

    // A tolerance beyond the triangles, and a surface elsewhere.
    SurfaceModel const elsewhere =
        SurfaceOf(Cubes(3, 1), [](MMeshPoint& p) { p.x += 1000 * TestMeshes::Unit; });
    EXPECT_EQ(Match(model, elsewhere, {2.0}, listening.context).counts.with_face, 0u);
    ASSERT_EQ(listening.warnings.size(), 2u);
    EXPECT_TRUE(listening.warnings[0].starts_with("the tolerance of 2 mm is larger than the triangles of "
                                                  "surface, which measure 0.707 mm"));
    EXPECT_TRUE(listening.warnings[1].starts_with("surface: no triangle of this surface lies within 2 mm"));
}

TEST(ModelJobs, LeaveTheModelAsItWasWhenCancelled) {
    Model model = Cubes(6, 2);
    SurfaceModel const surface = SurfaceOf(model);
    // All but those that say in their headers that they mark faces or visibility.
    std::function<void(Context const&)> const jobs[] = {
        [&](Context const& c) { Convert(model, {ConvertOptions::Target::Tet10}, c); },
        [&](Context const& c) { Match(model, surface, {}, c); },
        [&](Context const& c) { Label(model, &surface, {}, c); },
        [&](Context const& c) { Group(model, surface, {}, c); },
        [&](Context const& c) { Project(model, surface, {1.0}, c); },
        [&](Context const& c) { Surfaces(model, {}, c); },
        [&](Context const& c) { Explode(model, {}, c); },
        [&](Context const& c) { Graph(model, {}, c); },
        [&](Context const& c) { Layers(model, {}, c); },
        [&](Context const& c) { Grow(model, std::nullopt, {}, c); },
        [&](Context const& c) { Quality(model, {}, c); },
    };
    // Cancelled in the first phase, or from the beginning where a job has none.
    struct Patience : RecordingDelegate {
        using RecordingDelegate::RecordingDelegate;
        bool IsCancelled() const override { return m_fractions.empty() || RecordingDelegate::IsCancelled(); }
    };
    for (auto const& job : jobs) {
        Context context;
        context.progress = std::make_shared<Patience>(0.0);
        EXPECT_THROW(job(context), Cancelled);
    }
    EXPECT_EQ(Diff(model, Cubes(6, 2), {}, {}).first_difference, std::nullopt);
}

TEST(ModelJobs, ChangeAllOrNothingWheneverTheyAreCancelled) {
    SurfaceModel const surface = SurfaceOf(Cubes(4, 2));
    SurfaceModel const named = Surfaces(Cubes(4, 2), {true, SurfacesOptions::Names::Volumes}, {}).surfaces;
    SurfaceModel const raised = SurfaceOf(Cubes(4, 1), [](MMeshPoint& p) { p.z += p.z / 50; });
    Image const image = ImageOf(4.0F);
    MaterialsOptions materials;
    materials.preset = "femur";
    materials.bins = 5;
    auto const cubes = [] { return Cubes(4, 1); };
    struct {
        char const* name;
        Model (*make)();
        std::function<void(Model&, Context const&)> run;
    } const jobs[] = {
        {"label", cubes, [&](Model& m, Context const& c) { Label(m, &surface, {}, c); }},
        {"label hexahedra", Composite, [](Model& m, Context const& c) { Label(m, nullptr, {}, c); }},
        {"group", cubes, [&](Model& m, Context const& c) { Group(m, surface, {}, c); }},
        {"group with names", cubes, [&](Model& m, Context const& c) { Group(m, named, {}, c); }},
        {"split", Apart, [](Model& m, Context const& c) { Split(m, {}, c); }},
        {"merge", cubes, [](Model& m, Context const& c) { Merge(m, Cubes(5, 2), c); }},
        {"project", cubes, [&](Model& m, Context const& c) { Project(m, raised, {1.0}, c); }},
        {"repair", Bent, [](Model& m, Context const& c) { Repair(m, {}, c); }},
        {"orient", Inverted, [](Model& m, Context const& c) { Orient(m, c); }},
        {"layers", cubes, [](Model& m, Context const& c) { Layers(m, {}, c); }},
        {"materials", cubes, [&](Model& m, Context const& c) { Materials(m, image, materials, c); }},
    };
    for (auto const& [name, make, run] : jobs) {
        SCOPED_TRACE(name);
        Model const before = make();
        Model finished = make();
        Patient patient;
        ASSERT_TRUE(Finish(run, finished, patient));
        EXPECT_NE(Diff(finished, before, {}, {}).first_difference, std::nullopt);
        std::size_t const all = patient.asked;
        for (std::size_t i = 0; i <= all; ++i) {
            if (i % (all / 16 + 1) != 0 && i + 4 < all)
                continue;
            Model model = make();
            Patient impatient;
            impatient.patience = i;
            bool const is_done = Finish(run, model, impatient);
            EXPECT_EQ(Diff(model, is_done ? finished : before, {}, {}).first_difference, std::nullopt)
                << "cancelled when asked for the " << i << "th of " << all << " times";
        }
    }
}

TEST(Solve, KeepsNothingWhereFilesOfOthersAre) {
    MTemporaryDirectory const owner;
    std::filesystem::path const folder = owner.GetPath().GetPath();
    SolveOptions options;
    options.keep = folder;
    options.path = "/nowhere"; // no solver
    Model model = Cubes(2, 1);
    auto const fault = [&] {
        try {
            Solve(model, options, {});
        } catch (Error const& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    std::string const refusal = options.keep + ": its file model.frd is of no earlier run";
    EXPECT_EQ(fault().find(refusal), std::string::npos);
    std::ofstream(folder / "model.frd") << "values";
    EXPECT_TRUE(fault().starts_with(refusal));
    // Those of a run.
    std::ofstream(folder / "model.inp") << "*HEADING\nvolume mesh; mm, N, MPa, tonne, s\n";
    EXPECT_NE(fault().find(" model.inp is of no earlier run"), std::string::npos);
    std::ofstream(folder / "model.log") << "said";
    EXPECT_EQ(fault().find("earlier run"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(folder / "model.frd"));
}

// A .kmesh file and a .vtu file are equal when writing the one to a file like the other would give that.
TEST(Diff, AllowsForWhatOnlyMeshFilesHold) {
    MTemporaryDirectory const owner;
    std::filesystem::path const folder = owner.GetPath().GetPath();
    Model model = Cubes(2, 1);
    model.mesh->GetElementMasks()->GetVisibleMask()->SetValue(*model.mesh->GetElement(3), false);
    WriteModel(model, folder / "a.kmesh", {}, {});
    WriteModel(model, folder / "a.vtu", {}, {});
    Model const saved = Load(folder / "a.kmesh"), exported = Load(folder / "a.vtu");
    DiffResult const equal = Diff(saved, exported, {}, {});
    EXPECT_TRUE(equal.AreEqual());
    EXPECT_TRUE(equal.left_out);
    Model in_memory = Cubes(2, 1);
    in_memory.file.clear();
    EXPECT_FALSE(Diff(saved, in_memory, {}, {}).AreEqual()); // nothing is left out of it

    model.mesh->GetRandomPoint(0)->x += 1;
    WriteModel(model, folder / "b.vtu", {}, {});
    DiffResult const moved = Diff(saved, Load(folder / "b.vtu"), {}, {});
    ASSERT_TRUE(moved.first_difference);
    EXPECT_TRUE(moved.first_difference->starts_with("node 0: x is 0 mm and ")) << *moved.first_difference;
    EXPECT_FALSE(moved.left_out);
}
