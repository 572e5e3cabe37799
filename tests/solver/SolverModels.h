// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Export.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/Solve.h>
#include <KetSDK/MeshSolver/Case.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// Small models for solvers.
namespace SolverModels {

namespace fs = std::filesystem;
using namespace KetSDK::MeshJobs;

inline constexpr double Modulus = 1000.0; // MPa
inline constexpr double Poisson = 0.3;
inline constexpr double Density = 2.0; // g/cm3

// Gives all elements one material.
inline void SetMaterial(Model& model, double modulus = Modulus) {
    MMeshMaterial material;
    material.SetID(1);
    material.SetEmodulus(modulus);
    material.SetPoisson(Poisson);
    material.SetDensity(Density);
    model.mesh->GetMaterialCatalog().AddMaterial(material);
    auto& mask = *model.mesh->GetElementMasks()->GetMaterialMask();
    for (MMeshElement const& e : model.mesh->Elements())
        mask.SetValue(e, 1);
}

// Where a node of the grid of a box is put, from its place in the box (0 to 1 each), in mm.
using Shape = std::function<std::array<double, 3>(double, double, double)>;
inline Shape Box(double x, double y, double z) {
    return [=](double u, double v, double w) { return std::array<double, 3>{u * x, v * y, w * z}; };
}

// nx x ny x nz blocks, each a hexahedron, two wedges or six tetrahedra (of ten nodes by conversion), in one
// sub-volume "Block", with one material.
inline Model MakeBlocks(unsigned int kind, int nx, int ny, int nz, Shape const& shape) {
    Model model;
    model.mesh = std::make_unique<MMeshBase>();
    MMeshBase& mesh = *model.mesh;
    mesh.GetMainSubVolume()->SetName(L"Block");
    std::vector<MMeshPoint*> nodes;
    auto const rounded = [](double x) { return static_cast<MLong>(std::lround(x * 65536.0)); };
    for (int z = 0; z <= nz; ++z)
        for (int y = 0; y <= ny; ++y)
            for (int x = 0; x <= nx; ++x) {
                auto const p = shape(double(x) / nx, double(y) / ny, double(z) / nz);
                nodes.push_back(mesh.AddPoint(rounded(p[0]), rounded(p[1]), rounded(p[2])));
            }
    auto const add = [&mesh](std::vector<MMeshPoint*> element) {
        mesh.AddElement(static_cast<char>(element.size()), element.data());
    };
    for (int z = 0; z < nz; ++z)
        for (int y = 0; y < ny; ++y)
            for (int x = 0; x < nx; ++x) {
                std::vector<MMeshPoint*> c;
                for (auto const& [i, k, l] : {std::array{0, 0, 0},
                                              {1, 0, 0},
                                              {1, 1, 0},
                                              {0, 1, 0},
                                              {0, 0, 1},
                                              {1, 0, 1},
                                              {1, 1, 1},
                                              {0, 1, 1}})
                    c.push_back(
                        nodes[static_cast<std::size_t>(((z + l) * (ny + 1) + y + k) * (nx + 1) + x + i)]);
                if (kind == 8)
                    add(c);
                else if (kind == 6)
                    for (auto const& [a, b] : {std::pair(1, 2), {2, 3}})
                        add({c[0], c[std::size_t(a)], c[std::size_t(b)], c[4], c[std::size_t(a) + 4],
                             c[std::size_t(b) + 4]});
                else // the table winds its tetrahedra against the element
                    for (auto const& t : MMeshElementDescriptor::descr_6tetra_point)
                        add({c[t[0]], c[t[1]], c[t[3]], c[t[2]]});
            }
    if (kind == 10)
        model = Convert(model, {ConvertOptions::Target::Tet10}, {}).model;
    SetMaterial(model);
    return model;
}

inline CaseFile CaseOf(std::string const& text) {
    return {"case.toml", KetSDK::MeshSolver::ReadCase(text)};
}

inline SolveOptions SolveWith(std::string const& text) {
    SolveOptions options;
    options.load_case = CaseOf(text);
    char const* const path = std::getenv("PATH");
    options.path = path ? path : "";
    return options;
}

inline std::vector<double> const& NodeArray(Model const& model, wchar_t const* name) {
    MMeshArray const* const array = FindArray(model.arrays, name, MMeshArray::OnNodes);
    EXPECT_NE(array, nullptr);
    static std::vector<double> const none;
    return array ? std::get<std::vector<double>>(array->values) : none;
}

struct Refusal {
    std::function<void()> job;
    std::string line; // what stands in it
};
inline void ExpectRefusals(std::vector<Refusal> const& refusals) {
    for (Refusal const& refusal : refusals)
        try {
            refusal.job();
            ADD_FAILURE() << "not refused: " << refusal.line;
        } catch (KetSDK::MeshJobs::Error const& e) {
            std::string const line = e.what();
            EXPECT_NE(line.find(refusal.line), std::string::npos) << line;
            EXPECT_EQ(line.find('\n'), std::string::npos) << line;
        }
}

// A folder of the test's own.
class Folder {
public:
    std::string operator/(std::string const& name) const { return (GetPath() / name).string(); }
    fs::path GetPath() const { return m_folder.GetPath().GetPath().string(); }

private:
    MTemporaryDirectory m_folder;
};

} // namespace SolverModels
