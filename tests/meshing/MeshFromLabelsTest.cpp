// SPDX-License-Identifier: BSD-3-Clause
// Meshes of label images: the smallest angle, closed interfaces and volumes hold for whatever the labels are.
#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/meshing/MMeshFromLabelsOperator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>
#include <random>
#include <vector>

namespace {

using Vector = MMVector<double, 3>;
using LabelAt = std::function<int(Vector const& place)>; // by voxels

MLabelImage ImageOf(std::array<std::int64_t, 3> const& size, LabelAt const& label_at) {
    MLabelImage image;
    image.size = size;
    for (std::int64_t k = 0; k < size[2]; ++k)
        for (std::int64_t j = 0; j < size[1]; ++j)
            for (std::int64_t i = 0; i < size[0]; ++i)
                image.labels.push_back(label_at({double(i), double(j), double(k)}));
    return image;
}

double Radius(Vector const& place, double centre) {
    return (place - Vector{centre + 0.1, centre - 0.2, centre}).Length();
}

MLabelImage Ball(double radius, double spacing = 1.0) {
    std::int64_t const n = static_cast<std::int64_t>(2.0 * radius / spacing) + 5;
    MLabelImage image = ImageOf({n, n, n}, [&](Vector const& p) {
        return spacing * Radius(p, 0.5 * static_cast<double>(n - 1)) < radius ? 1 : 0;
    });
    image.spacing = {spacing, spacing, spacing};
    return image;
}

// Turned about (1, 1, 1) and mirrored.
std::array<std::array<double, 3>, 3> Turned() {
    double const a = (1.0 + 2.0 * std::cos(0.5)) / 3.0;
    double const b = (1.0 - std::cos(0.5)) / 3.0, c = std::sin(0.5) / std::sqrt(3.0);
    return {{{a, b - c, -(b + c)}, {b + c, a, -(b - c)}, {b - c, b + c, -a}}};
}

struct Made {
    MMeshBase mesh;
    std::vector<MMeshLabelReport> reports;
    double smallest_dihedral = 0.0;
};

void Make(MLabelImage const& image, MMeshFromLabelsSettings const& settings, Made& made) {
    MMeshFromLabelsOperator operation;
    operation.SetMesh(&made.mesh);
    operation.SetImage(&image);
    operation.SetMeshingSettings(settings);
    ASSERT_EQ(operation.FindFault(), "");
    ASSERT_TRUE(operation.Operate());
    made.reports = operation.GetReports();
    made.smallest_dihedral = operation.GetSmallestDihedral();
}

MMeshFromLabelsSettings Size(double size, double largest = 0.0, double dihedral = 10.0) {
    MMeshFromLabelsSettings settings;
    settings.size = size;
    settings.largest_size = std::max(size, largest);
    settings.smallest_dihedral = dihedral;
    return settings;
}

using Face = std::array<MLong, 3>;

// The sub-volumes on both sides of each face; -1 outside.
std::map<Face, std::vector<int>> SidesOf(MMeshBase const& mesh) {
    std::map<Face, std::vector<int>> sides;
    for (MMeshElement const& e : mesh.Elements())
        for (unsigned int apart = 0; apart < 4; ++apart) {
            Face face;
            for (unsigned int k = 0, n = 0; k < 4; ++k)
                if (k != apart)
                    face[n++] = e.GetNode(k)->GetIndex();
            std::ranges::sort(face);
            sides[face].push_back(mesh.GetSubVolume(e)->GetID());
        }
    for (auto& [face, both] : sides) {
        EXPECT_LE(both.size(), 2u) << "a face belongs to two elements at most";
        both.resize(2, -1);
    }
    return sides;
}

// The boundary of every sub-volume, and of all together, is closed and two-manifold: each edge lies in two of
// its triangles, and those at a node follow one another around it.
void ExpectManifold(MMeshBase const& mesh) {
    auto const sides = SidesOf(mesh);
    for (int label = -1; label < static_cast<int>(mesh.NumberOfSubVolumes()); ++label) {
        std::map<std::array<MLong, 2>, int> edges;
        std::map<MLong, std::map<MLong, std::vector<MLong>>> around;
        for (auto const& [face, both] : sides) {
            if ((both[0] == label) == (both[1] == label))
                continue;
            for (std::size_t k = 0; k < 3; ++k) {
                MLong const a = face[k], b = face[(k + 1) % 3], c = face[(k + 2) % 3];
                ++edges[{std::min(a, b), std::max(a, b)}];
                around[a][b].push_back(c);
                around[a][c].push_back(b);
            }
        }
        auto const wrong = std::ranges::count_if(edges, [](auto const& edge) { return edge.second != 2; });
        ASSERT_EQ(wrong, 0) << "edges of the boundary of " << label;
        for (auto const& [node, links] : around) {
            MLong previous = -1, at = links.begin()->first;
            std::size_t length = 0;
            do {
                auto const& next = links.at(at);
                MLong const to = next[0] == previous ? next[1] : next[0];
                previous = at;
                at = to;
                ++length;
            } while (at != links.begin()->first && length <= links.size());
            ASSERT_EQ(length, links.size()) << "surfaces of " << label << " touch at a node";
        }
    }
}

void ExpectAngles(MMeshBase& mesh, double limit) {
    MMeshQualityAnalysisOperator analysis;
    analysis.SetMesh(&mesh);
    analysis.SetCurrentMetric(MMeshQualityAnalysisOperator::MinDihedralAngle);
    ASSERT_TRUE(analysis.Operate());
    for (MMeshElement const& e : mesh.Elements())
        ASSERT_GE(analysis.GetQualityMask()->GetValue(e), limit);
}

struct Case {
    char const* name;
    MLabelImage image;
    MMeshFromLabelsSettings settings;
    double tolerance; // of the volume of each label against that of its voxels
};

std::vector<Case> Cases() {
    std::mt19937 random(3);
    std::vector<Case> cases;
    auto const add = [&](char const* name, MLabelImage const& image, MMeshFromLabelsSettings const& settings,
                         double tolerance) {
        cases.push_back({name, image, settings, tolerance});
    };
    add("ball", Ball(10.0), Size(2.0), 0.01);
    add("graded ball", Ball(14.0), Size(2.0, 8.0), 0.01);
    add("sharper angles", Ball(10.0), Size(2.0, 2.0, 25.0), 0.05);
    add("balls in balls",
        ImageOf({36, 36, 36},
                [](Vector const& p) {
                    double const r = Radius(p, 17.5);
                    return r < 7.0 ? 3 : r < 12.0 ? 1 : r < 16.0 ? 2 : 0;
                }),
        Size(2.0, 4.0), 0.01);
    add("three labels that touch",
        ImageOf({27, 27, 27},
                [](Vector const& p) {
                    return Radius(p, 13.0) > 11.0 ? 0 : p[0] > 13.0 ? 1 : p[1] > 12.0 ? 5 : 9;
                }),
        Size(2.0, 4.0), 0.015);
    add("up to the border", ImageOf({16, 12, 10}, [](Vector const& p) { return p[0] < 7.0 ? 1 : 2; }),
        Size(1.0, 4.0), 0.015);
    add("one voxel",
        ImageOf({5, 5, 5},
                [](Vector const& p) {
                    return p == Vector{2.0, 2.0, 2.0} ? 7 : 0;
                }),
        Size(0.5), 0.85);
    auto checks = [](Vector const& p) {
        return 1 + (int(p[0] / 3.0) + int(p[1] / 3.0) + int(p[2] / 3.0)) % 2;
    };
    add("cubes that meet at edges", ImageOf({12, 12, 12}, [=](Vector const& p) { return checks(p) - 1; }),
        Size(1.0), 0.3);
    add("cubes of two labels", ImageOf({12, 12, 12}, checks), Size(1.0, 2.0), 0.3);
    add("voxels at random", ImageOf({9, 9, 9}, [&](Vector const&) { return int(random() % 4); }), Size(0.8),
        1.0);
    add("thin shell",
        ImageOf({30, 30, 30},
                [](Vector const& p) { return std::fabs(Radius(p, 14.5) - 11.0) < 1.0 ? 1 : 0; }),
        Size(2.0), 0.15);
    MLabelImage turned = ImageOf({24, 24, 14}, [](Vector const& p) {
        Vector const q{(p[0] - 11.5) / 10.0, (p[1] - 11.4) / 9.0, (p[2] - 6.6) / 5.0};
        return q.Length() > 1.0 ? 0 : q[2] > 0.1 ? 4 : -3;
    });
    turned.spacing = {0.8, 0.9, 2.0};
    turned.origin = {-40.0, 17.0, 1000.0};
    turned.direction = Turned();
    add("turned, mirrored, anisotropic", turned, Size(1.6, 3.2), 0.02);
    return cases;
}

} // namespace

TEST(MeshFromLabels, AnglesInterfacesAndVolumesHoldForWhateverTheLabelsAre) {
    for (Case const& c : Cases()) {
        SCOPED_TRACE(c.name);
        Made made;
        ASSERT_NO_FATAL_FAILURE(Make(c.image, c.settings, made));
        ASSERT_GT(made.mesh.NumberOfElements(), 0);
        ExpectAngles(made.mesh, c.settings.smallest_dihedral);
        EXPECT_GE(made.smallest_dihedral, c.settings.smallest_dihedral);
        ExpectManifold(made.mesh);
        double const voxel = c.image.spacing[0] * c.image.spacing[1] * c.image.spacing[2];
        std::size_t number = 0;
        for (MMeshLabelReport const& report : made.reports) {
            SCOPED_TRACE(report.label);
            double const voxels = voxel * double(std::ranges::count(c.image.labels, report.label));
            EXPECT_DOUBLE_EQ(report.voxel_volume, voxels);
            EXPECT_NEAR(report.volume / voxels, 1.0, c.tolerance);
            if (report.elements == 0)
                continue;
            MMeshSubVolume const& sub_volume =
                *made.mesh.BeginSubVolume()[static_cast<std::ptrdiff_t>(number++)];
            EXPECT_EQ(sub_volume.GetName(), L"Label " + std::to_wstring(report.label));
            EXPECT_EQ(sub_volume.GetNbElements(), report.elements);
            EXPECT_NEAR(sub_volume.GetVolume(), report.volume, 1e-6 * voxels);
        }
        EXPECT_EQ(number, made.mesh.NumberOfSubVolumes());
    }
}

// Curved interfaces, of which a small ball has the most, lose no volume to flat triangles.
TEST(MeshFromLabels, AtTwiceTheVoxelsVolumesAreThoseOfTheVoxels) {
    for (double const radius : {7.0, 9.0, 13.0, 20.0}) {
        double const core = radius > 10.0 ? radius - 6.0 : 0.0;
        SCOPED_TRACE(radius);
        MLabelImage const image = ImageOf({46, 46, 46}, [=](Vector const& p) {
            double const r = Radius(p, 22.5);
            return r < core ? 2 : r < radius ? 1 : 0;
        });
        Made made;
        ASSERT_NO_FATAL_FAILURE(Make(image, Size(2.0, 8.0), made));
        for (MMeshLabelReport const& report : made.reports)
            EXPECT_NEAR(report.volume / report.voxel_volume, 1.0, 0.01) << report.label;
    }
}

// The ball is the same, voxels and elements become smaller: volume and surface come to those of the ball with
// the square of their size.
TEST(MeshFromLabels, ErrorsFallWithTheSize) {
    std::vector<double> volumes, places;
    for (double const spacing : {1.0, 0.5}) {
        Made made;
        MLabelImage const image = Ball(9.0, spacing);
        ASSERT_NO_FATAL_FAILURE(Make(image, Size(2.0 * spacing, 8.0 * spacing), made));
        EXPECT_LT(made.reports[0].mean_distance, 0.25 * spacing);
        double const middle = 0.5 * static_cast<double>(image.size[0] - 1);
        Vector const centre = Vector{middle + 0.1, middle - 0.2, middle} * spacing;
        double sum = 0.0, count = 0.0;
        for (auto const& [face, both] : SidesOf(made.mesh))
            for (std::size_t k = 0; both[1] < 0 && k < 3; ++k) {
                double const r =
                    (made.mesh.GetRandomPoint(static_cast<std::uint64_t>(face[k]))->GetPosition() - centre)
                        .Length();
                sum += (r - 9.0) * (r - 9.0);
                count += 1.0;
            }
        places.push_back(std::sqrt(sum / count));
        volumes.push_back(std::fabs(made.reports[0].volume / (4.0 / 3.0 * std::numbers::pi * 729.0) - 1.0));
    }
    EXPECT_LT(volumes[0], 0.015);
    EXPECT_LT(volumes[1], 0.4 * volumes[0] + 1e-3);
    EXPECT_LT(places[0], 0.25);
    EXPECT_LT(places[1], 0.6 * places[0]);
}

// Of a lattice that is fine everywhere a large ball has six times as many, with the same surface.
TEST(MeshFromLabels, GradingSavesWhatNoInterfaceNeeds) {
    MLabelImage const image = Ball(45.0);
    MMeshFromLabelsSettings settings = Size(1.0, 8.0);
    settings.rounds = 0;
    Made made;
    ASSERT_NO_FATAL_FAILURE(Make(image, settings, made));
    double const uniform = 12.0 * made.reports[0].voxel_volume;
    EXPECT_LT(made.mesh.NumberOfElements(), uniform / 5.5);
    // A triangle of the lattice's planes takes 0.35 to 0.5 of a cube's face; half as many nodes.
    EXPECT_GT(double(made.reports[0].interface_nodes), 4.0 * std::numbers::pi * 45.0 * 45.0 * 2.0);
}

TEST(MeshFromLabels, WhatIsTooThinIsReported) {
    // A sheet of one voxel beside a block.
    MLabelImage const image = ImageOf({30, 30, 30}, [](Vector const& p) {
        bool const inside =
            std::ranges::all_of(std::array{p[0], p[1], p[2]}, [](double x) { return x > 2 && x < 27; });
        return !inside ? 0 : p[2] == 20.0 ? 2 : p[2] < 15.0 ? 1 : 0;
    });
    Made made;
    ASSERT_NO_FATAL_FAILURE(Make(image, Size(6.0), made));
    EXPECT_LT(made.reports[1].thickness, 6.0);
    EXPECT_GT(made.reports[0].thickness, 6.0);
    EXPECT_EQ(made.reports[0].lost_volume, 0.0);
    EXPECT_TRUE(made.reports[1].lost_volume > 0.0 ||
                made.reports[1].volume > 0.5 * made.reports[1].voxel_volume);
}

TEST(MeshFromLabels, NamesWhatIsWrongAndLeavesTheMeshAlone) {
    MLabelImage const good = Ball(4.0);
    struct Fault {
        char const* words;
        std::function<void(MLabelImage&, MMeshFromLabelsSettings&)> make;
    };
    Fault const faults[] = {
        {"no labels", [](auto& image, auto&) { std::ranges::fill(image.labels, 0); }},
        {"there is no label 3",
         [](auto&, auto& settings) {
             settings.labels = {1, 3};
         }},
        {"ascending",
         [](auto&, auto& settings) {
             settings.labels = {1, 1};
         }},
        {"not 0", [](auto&, auto& settings) { settings.labels = {0}; }},
        {"another number", [](auto& image, auto&) { image.labels.pop_back(); }},
        {"no size", [](auto& image, auto&) { image.spacing[1] = 0.0; }},
        {"perpendicular", [](auto& image, auto&) { image.direction[0][1] = 0.2; }},
        {"size must be", [](auto&, auto& settings) { settings.size = 0.001; }},
        {"size must be", [](auto&, auto& settings) { settings.size = std::nan(""); }},
        {"shortest edge", [](auto& image, auto&) { image.spacing[2] = 0.0009; }},
        {"largest size", [](auto&, auto& settings) { settings.largest_size = 0.5; }},
        {"too far away", [](auto& image, auto&) { image.origin[2] = 40000.0; }},
        {"between 0 and 30", [](auto&, auto& settings) { settings.smallest_dihedral = 31.0; }},
        {"20 voxels", [](auto&, auto& settings) { settings.smoothing = 21.0; }},
    };
    for (Fault const& fault : faults) {
        MLabelImage image = good;
        MMeshFromLabelsSettings settings = Size(1.0);
        fault.make(image, settings);
        MMeshBase mesh;
        mesh.AddPoint(1, 2, 3);
        MMeshFromLabelsOperator operation;
        operation.SetMesh(&mesh);
        operation.SetImage(&image);
        operation.SetMeshingSettings(settings);
        EXPECT_NE(operation.FindFault().find(fault.words), std::string::npos) << operation.FindFault();
        EXPECT_FALSE(operation.Operate());
        EXPECT_EQ(mesh.NumberOfPoints(), 1);
    }
}

TEST(MeshFromLabels, ForecastsWhatItMakes) {
    for (double const largest : {1.0, 8.0}) {
        MLabelImage const image = Ball(12.0);
        Made made;
        ASSERT_NO_FATAL_FAILURE(Make(image, Size(1.0, largest), made));
        MMeshFromLabelsOperator operation;
        operation.SetImage(&image);
        operation.SetMeshingSettings(Size(1.0, largest));
        EXPECT_NEAR(operation.Predict(1.0).elements / made.mesh.NumberOfElements(), 1.0, 0.25);
    }
}
