// SPDX-License-Identifier: BSD-3-Clause
// Grey values of elements against VTK's probe, closed formulas, exact integer geometry and a real image.
#include "RealMeshes.h"
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/ImageFile.h>
#include <KetSDK/MeshVTK/ImageSampling.h>

#include <vtkCellData.h>

#include <vtkCharArray.h>
#include <vtkDoubleArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkProbeFilter.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace KetSDK::MeshVTK;

namespace {

using Point = std::array<double, 3>;

// An image of n voxels along each axis with centres at whole numbers, of type double.
vtkSmartPointer<vtkImageData> MakeImage(int n, std::function<double(double, double, double)> const& value) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(n, n, n);
    image->AllocateScalars(VTK_DOUBLE, 1);
    for (int k = 0; k < n; ++k)
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
                image->SetScalarComponentFromDouble(i, j, k, 0, value(i, j, k));
    return image;
}

std::vector<double> GreyValues(MMeshBase& mesh) {
    std::vector<double> values;
    for (MMeshElement const& e : mesh.Elements())
        values.push_back(mesh.GetElementMasks()->GetGreyValueMask()->GetValue(e));
    return values;
}

// The grey value of the only element.
double GreyValue(MMeshBase& mesh, vtkImageData& image, SamplingOptions const& options = {},
                 SamplingReport* report = nullptr) {
    SamplingReport const own = SampleImage(mesh, image, options, nullptr);
    if (report)
        *report = own;
    return GreyValues(mesh)[0];
}

void AddElementAt(MMeshBase& mesh, std::vector<Point> const& nodes) {
    std::vector<MMeshPoint*> points;
    for (Point const& p : nodes)
        points.push_back(mesh.AddPoint(static_cast<MLong>(std::lround(p[0] * 65536.0)),
                                       static_cast<MLong>(std::lround(p[1] * 65536.0)),
                                       static_cast<MLong>(std::lround(p[2] * 65536.0))));
    TestMeshes::AddElement(mesh, points);
}

std::unique_ptr<MMeshBase> MeshOf(std::vector<Point> const& nodes) {
    auto mesh = std::make_unique<MMeshBase>();
    AddElementAt(*mesh, nodes);
    return mesh;
}

// The unit tetrahedron times 16 with x stretched inside: x = t + 4 d t (1 - t) for the second barycentric
// coordinate t, in parts of 16. The curved element is known in closed form.
constexpr double Bulge = 0.1;
double Stretched(double t) {
    return t + 4.0 * Bulge * t * (1.0 - t);
}
std::unique_ptr<MMeshBase> StretchedTetrahedron(Point const& at) {
    std::vector<Point> nodes = {{0, 0, 0}, {16, 0, 0}, {0, 16, 0}, {0, 0, 16}};
    for (auto const& edge : MMeshElementDescriptor::descr_tet4_tet10_point) {
        Point mid;
        for (std::size_t i = 0; i < 3; ++i)
            mid[i] = (nodes[edge[0]][i] + nodes[edge[1]][i]) / 2.0;
        mid[0] += edge[0] == 1 || edge[1] == 1 ? 16.0 * Bulge : 0.0;
        nodes.push_back(mid);
    }
    for (Point& node : nodes)
        for (std::size_t i = 0; i < 3; ++i)
            node[i] += at[i];
    return MeshOf(nodes);
}

// The mean of f(x) over the stretched tetrahedron at the origin: slices across x, by Simpson's rule.
double MeanOverStretched(std::function<double(double)> const& f) {
    constexpr int steps = 2000;
    double sum = 0.0, volume = 0.0;
    for (int i = 0; i <= steps; ++i) {
        double const t = i / double{steps};
        double const weight = (i == 0 || i == steps ? 1.0
                               : i % 2              ? 4.0
                                                    : 2.0) *
                              (1.0 - t) * (1.0 - t) * (1.0 + 4.0 * Bulge * (1.0 - 2.0 * t));
        sum += weight * f(16.0 * Stretched(t));
        volume += weight;
    }
    return sum / volume;
}

double Power(double grey, void const* exponent) {
    return std::pow(grey, *static_cast<int const*>(exponent));
}

// The mean of the n-th power of a linear function over a tetrahedron, from its values at the corners: the
// sum of all products of n of them, over how many there are.
double MeanOfPower(std::array<double, 4> const& corners, int n) {
    std::vector<double> sums(static_cast<std::size_t>(n) + 1);
    sums[0] = 1.0;
    for (double const corner : corners)
        for (std::size_t degree = 1; degree < sums.size(); ++degree)
            sums[degree] += corner * sums[degree - 1];
    return sums.back() * 6.0 / ((n + 1) * (n + 2) * (n + 3));
}

// Six times the signed volume, exact.
std::int64_t Volume(std::array<MMeshPoint, 4> const& p) {
    std::int64_t e[3][3];
    for (std::size_t i = 0; i < 3; ++i) {
        e[i][0] = p[i + 1].x - p[0].x;
        e[i][1] = p[i + 1].y - p[0].y;
        e[i][2] = p[i + 1].z - p[0].z;
    }
    return e[0][0] * (e[1][1] * e[2][2] - e[1][2] * e[2][1]) -
           e[0][1] * (e[1][0] * e[2][2] - e[1][2] * e[2][0]) +
           e[0][2] * (e[1][0] * e[2][1] - e[1][1] * e[2][0]);
}

// Whether a point is in a tetrahedron or on its surface, exactly.
bool IsInside(std::array<MMeshPoint, 4> const& corners, MMeshPoint const& point) {
    std::int64_t const whole = Volume(corners);
    for (std::size_t i = 0; i < 4; ++i) {
        auto part = corners;
        part[i] = point;
        if (whole == 0 || (Volume(part) != 0 && (Volume(part) > 0) != (whole > 0)))
            return false;
    }
    return true;
}

bool SameBits(std::vector<double> const& a, std::vector<double> const& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

} // namespace

namespace {

// What VTK's probe finds in the image at the centroids of the elements; not a number outside.
std::vector<double> Probe(MMeshBase const& mesh, vtkImageData& image) {
    vtkNew<vtkPoints> centroids;
    centroids->SetDataTypeToDouble();
    for (MMeshElement const& e : mesh.Elements()) {
        double c[3] = {0.0, 0.0, 0.0};
        for (unsigned int i = 0; i < 4; ++i) {
            c[0] += e.GetNode(i)->x / 4.0 / 65536.0;
            c[1] += e.GetNode(i)->y / 4.0 / 65536.0;
            c[2] += e.GetNode(i)->z / 4.0 / 65536.0;
        }
        centroids->InsertNextPoint(c);
    }
    vtkNew<vtkPolyData> points;
    points->SetPoints(centroids);
    vtkNew<vtkProbeFilter> probe;
    probe->SetInputData(points);
    probe->SetSourceData(&image);
    probe->ComputeToleranceOff(); // or else it reaches a little beyond the image
    probe->SetTolerance(0.0);
    probe->Update();
    vtkPointData& found = *probe->GetOutput()->GetPointData();
    auto* const valid = vtkCharArray::SafeDownCast(found.GetArray("vtkValidPointMask"));
    std::vector<double> values;
    for (vtkIdType i = 0; i < probe->GetOutput()->GetNumberOfPoints(); ++i)
        values.push_back(valid->GetValue(i) ? found.GetScalars()->GetComponent(i, 0) : std::nan(""));
    return values;
}

} // namespace

// The image is turned, off the origin, and covers a part of the mesh only.
TEST(ImageSampling, CentroidsAreWhatVtksProbeFinds) {
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    auto const image = vtkSmartPointer<vtkImageData>::New();
    image->SetExtent(-3, 40, 2, 60, 0, 50);
    image->SetSpacing(3.1, 2.3, 2.9);
    image->SetOrigin(60.0, 40.0, 12.0);
    image->SetDirectionMatrix(0.96, -0.28, 0.0, 0.28, 0.96, 0.0, 0.0, 0.0, 1.0);
    image->AllocateScalars(VTK_DOUBLE, 1);
    std::mt19937 random(11);
    std::uniform_real_distribution<double> hounsfield(-1000.0, 3000.0);
    for (vtkIdType i = 0; i < image->GetNumberOfPoints(); ++i)
        image->GetPointData()->GetScalars()->SetComponent(i, 0, hounsfield(random));

    std::vector<double> const probed = Probe(*mesh, *image);
    SamplingReport const report = SampleImage(*mesh, *image, {.outside_value = -5000.0}, nullptr);
    std::vector<double> const values = GreyValues(*mesh);
    std::uint64_t outside = 0;
    double sum = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const inside = !std::isnan(probed[i]);
        outside += !inside;
        sum += inside ? values[i] : 0.0;
        ASSERT_NEAR(values[i], inside ? probed[i] : -5000.0, 1e-8) << i;
    }
    EXPECT_GT(outside, 1000u);
    EXPECT_EQ(report.outside, outside);
    EXPECT_EQ(report.elements, values.size());
    EXPECT_NEAR(report.mean, sum / static_cast<double>(values.size() - outside), 1e-9);
    EXPECT_GT(report.smallest, -1000.0);
    EXPECT_TRUE(mesh->HasGreyValues());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(report.image_box[i], image->GetBounds()[2 * i], 1e-9);
        EXPECT_NEAR(report.image_box[i + 3], image->GetBounds()[2 * i + 1], 1e-9);
    }
}

TEST(ImageSampling, CentroidsInTheRealImageAreWhatVtksProbeFinds) {
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    auto const image = ReadImageFile(DataFile("head_ct.nii.gz"), nullptr);
    EXPECT_EQ(SampleImage(*mesh, *image, {}, nullptr).outside, 0u);
    vtkNew<vtkDoubleArray> voxels; // the probe's values have the type of the image's
    voxels->DeepCopy(image->GetPointData()->GetScalars());
    image->GetPointData()->SetScalars(voxels);
    std::vector<double> const probed = Probe(*mesh, *image);
    std::vector<double> const values = GreyValues(*mesh);
    for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_NEAR(values[i], probed[i], 1e-8) << i;
}

// Powers of linear functions make up all polynomials.
TEST(ImageSampling, MeansOverTetrahedraAreExactUpToTheOrder) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> place(0.5, 18.5), slope(-0.1, 0.1);
    for (int run = 0; run < 60; ++run) {
        double const a = slope(random), b = slope(random), c = slope(random);
        auto const linear = [&](double x, double y, double z) { return 1.0 + a * x + b * y + c * z; };
        auto const image = MakeImage(20, linear);
        std::vector<Point> nodes(4);
        std::array<double, 4> corners;
        for (Point& node : nodes)
            node = {place(random), place(random), place(random)};
        auto const mesh = MeshOf(nodes);
        for (unsigned int i = 0; i < 4; ++i) {
            MMeshPoint const& p = *mesh->GetElement(0)->GetNode(i);
            corners[i] = linear(p.x / 65536.0, p.y / 65536.0, p.z / 65536.0);
        }
        for (int order = 1; order <= 6; ++order) {
            std::vector<double> means;
            SamplingOptions const options{
                .mode = SamplingMode::Mean, .order = order, .law = {Power, &order}, .law_values = &means};
            EXPECT_NEAR(GreyValue(*mesh, *image, options), MeanOfPower(corners, 1), 1e-12);
            double const exact = MeanOfPower(corners, order);
            EXPECT_NEAR(means[0], exact, 1e-11 * (1.0 + std::fabs(exact))) << "order " << order;
        }
    }
}

// Hexahedra and wedges are averaged over all their tetrahedra; over a box or a prism means are known.
TEST(ImageSampling, MeansOverHexahedraAndWedges) {
    int order = 4;
    std::vector<double> means;
    SamplingOptions const options{
        .mode = SamplingMode::Mean, .order = order, .law = {Power, &order}, .law_values = &means};
    auto const along_z = MakeImage(9, [](double, double, double z) { return z; });
    auto const along_x = MakeImage(9, [](double x, double, double) { return x; });
    for (unsigned char const kind : std::initializer_list<unsigned char>{8, 6}) {
        MMeshBase mesh;
        TestMeshes::AddElementOfKind(mesh, kind); // 6 along each axis
        EXPECT_NEAR(GreyValue(mesh, *along_z, options), 3.0, 1e-12);
        EXPECT_NEAR(means[0], 6.0 * 6.0 * 6.0 * 6.0 / 5.0, 1e-9);
        // x lies evenly in a box; in a prism there is less and less of it towards the edge.
        EXPECT_NEAR(GreyValue(mesh, *along_x, options), kind == 8 ? 3.0 : 2.0, 1e-12);
        EXPECT_NEAR(means[0], kind == 8 ? 1296.0 / 5.0 : 1296.0 / 15.0, 1e-9);
    }
}

TEST(ImageSampling, MeansOverCurvedElementsAreOverTheCurvedVolume) {
    auto const mesh = StretchedTetrahedron({0, 0, 0});
    auto const image = MakeImage(20, [](double x, double, double) { return x; });
    double const exact = MeanOverStretched([](double x) { return x; });
    EXPECT_GT(std::fabs(exact - 4.0), 0.5); // the mean over the straight one
    // A linear function times the determinant is of degree 5. Its cube is not within any rule's reach.
    int cube = 3;
    double const exact_cube = MeanOverStretched([](double x) { return x * x * x; });
    double previous = std::numeric_limits<double>::infinity();
    for (int const order : {1, 2, 3, 5, 6}) {
        std::vector<double> means;
        SamplingOptions const options{
            .mode = SamplingMode::Mean, .order = order, .law = {Power, &cube}, .law_values = &means};
        double const error = std::fabs(GreyValue(*mesh, *image, options) - exact);
        EXPECT_LT(error, order >= 5 ? 1e-4 : 1.5) << order; // nodes are rounded
        double const error_of_cube = std::fabs(means[0] - exact_cube) / exact_cube;
        EXPECT_LT(error_of_cube, previous) << order;
        previous = error_of_cube;
    }
    EXPECT_LT(previous, 0.01);
}

// Corners at whole places, where many voxel centres lie on faces, edges and corners: these count.
TEST(ImageSampling, VoxelsAreThoseInTheElementAndOnItsFaces) {
    std::mt19937 random(21);
    std::uniform_int_distribution<MLong> place(0, 11), hounsfield(-1000, 3000);
    std::array<double, 1728> voxels;
    for (double& voxel : voxels)
        voxel = hounsfield(random);
    auto const voxel_at = [&](double x, double y, double z) {
        return voxels[static_cast<std::size_t>(x + 12.0 * y + 144.0 * z)];
    };
    auto const image = MakeImage(12, voxel_at);
    for (int run = 0; run < 400; ++run) {
        unsigned char const kind = run % 4 == 3 ? 8 : run % 4 == 2 ? 6 : 4;
        MMeshBase mesh;
        std::vector<TestMeshes::Coordinates> nodes(kind);
        for (auto& node : nodes)
            node = {place(random), place(random), place(random)};
        MMeshElement const& e = *TestMeshes::AddElement(mesh, TestMeshes::AddNodes(mesh, nodes));
        double sum = 0.0;
        int count = 0;
        for (MLong n = 0; n < 1728; ++n) {
            MMeshPoint const voxel(n % 12, n / 12 % 12, n / 144);
            bool inside = false;
            for (unsigned char t = 0; t < MMeshElementDescriptor::GetNumTetraOfElement(kind); ++t) {
                std::array<MMeshPoint, 4> corners;
                for (unsigned char v = 0; v < 4; ++v) {
                    auto const& node = nodes[MMeshElementDescriptor::GetOffsetForTetra(kind, t, v)];
                    corners[v] = MMeshPoint(node[0], node[1], node[2]);
                }
                inside |= IsInside(corners, voxel);
            }
            sum += inside ? voxel_at(voxel.x, voxel.y, voxel.z) : 0.0;
            count += inside;
        }
        SamplingReport report;
        double const value = GreyValue(mesh, *image, {.mode = SamplingMode::Voxels}, &report);
        EXPECT_EQ(report.fallbacks, count == 0 ? 1u : 0u) << run;
        if (count == 0)
            continue;
        ASSERT_NEAR(value, sum / count, 1e-9) << "run " << run << ", " << int{e.GetNodeCount()} << " nodes";
    }
}

TEST(ImageSampling, VoxelsInCurvedElements) {
    // Off the voxel centres, so that none is on a face.
    Point const at = {0.3, 0.41, 0.27};
    auto const mesh = StretchedTetrahedron(at);
    double sum = 0.0;
    int count = 0;
    auto const image = MakeImage(24, [&](double x, double y, double z) {
        // The barycentric coordinates, of which the second solves a quadratic equation.
        double const X = (x - at[0]) / 16.0, b = (y - at[1]) / 16.0, c = (z - at[2]) / 16.0;
        double const p = 1.0 + 4.0 * Bulge;
        double const root = p * p - 16.0 * Bulge * X;
        double const t = root < 0.0 ? 2.0 : (p - std::sqrt(root)) / (8.0 * Bulge);
        double const value = 7.0 * x - y * z;
        if (t >= 0.0 && b >= 0.0 && c >= 0.0 && t + b + c <= 1.0) {
            sum += value;
            ++count;
        }
        return value;
    });
    ASSERT_GT(count, 500);
    EXPECT_NEAR(GreyValue(*mesh, *image, {.mode = SamplingMode::Voxels}), sum / count, 1e-9);
}

TEST(ImageSampling, PartsBeyondTheImageAndVoxelsThatAreNoNumbersAreLeftOut) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    auto const constant = MakeImage(8, [](double, double, double) { return 3.0; });
    auto const half = MakeImage(8, [](double x, double, double) { return x < 4.0 ? 3.0 : nan; });
    auto const none = MakeImage(8, [](double, double, double) { return nan; });
    for (auto const mode : {SamplingMode::Centroid, SamplingMode::Mean, SamplingMode::Voxels})
        for (unsigned char const kind : std::initializer_list<unsigned char>{4, 10}) {
            SamplingOptions const options{.mode = mode, .order = 3, .outside_value = -1.0};
            MMeshBase mesh; // 6 along each axis from the corner at -1
            std::vector<MMeshPoint*> nodes;
            for (auto const& p : TestMeshes::Corners(kind))
                nodes.push_back(mesh.AddPoint((p[0] - 1) * 65536, p[1] * 65536, p[2] * 65536));
            TestMeshes::AddElement(mesh, nodes);
            SamplingReport report;
            EXPECT_NEAR(GreyValue(mesh, *constant, options, &report), 3.0, 1e-12);
            EXPECT_EQ(report.outside + report.fallbacks, 0u);
            EXPECT_NEAR(GreyValue(mesh, *half, options), 3.0, 1e-12);
            EXPECT_EQ(GreyValue(mesh, *none, options, &report), -1.0);
            EXPECT_EQ(report.not_finite, 1u);
            EXPECT_TRUE(std::isnan(report.mean));
            // The same image in metres is a thousand times as large; the centroid is out of a moved one.
            constant->SetSpacing(1e-3, 1e-3, 1e-3);
            EXPECT_NEAR(GreyValue(mesh, *constant, {.unit = {1000.0}, .mode = mode}), 3.0, 1e-12);
            constant->SetSpacing(1.0, 1.0, 1.0);
            constant->SetOrigin(0.6, 0.0, 0.0);
            EXPECT_EQ(GreyValue(mesh, *constant, options, &report), -1.0);
            EXPECT_EQ(report.outside_volume, 1.0);
            constant->SetOrigin(0.0, 0.0, 0.0);
        }
}

TEST(ImageSampling, ValuesDoNotDependOnThreadsOrCancelledRunsOrTasksAround) {
    auto const image = ReadImageFile(DataFile("head_ct.nii.gz"), nullptr);
    for (char const* const name : {"head_small_tet4.vtu", "head_small_tet10.vtu"})
        for (auto const mode : {SamplingMode::Centroid, SamplingMode::Mean, SamplingMode::Voxels}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(static_cast<int>(mode)));
            auto const mesh = ReadMesh(name);
            std::vector<double> const before = GreyValues(*mesh);
            int square = 2;
            std::vector<double> law_values(1, 7.0);
            SamplingOptions options{.mode = mode, .law = {Power, &square}, .law_values = &law_values};
            for (bool const parallel : {false, true}) {
                options.parallel = parallel;
                auto const progress = std::make_shared<RecordingDelegate>(0.7);
                EXPECT_THROW(SampleImage(*mesh, *image, options, progress), Cancelled);
                EXPECT_TRUE(SameBits(GreyValues(*mesh), before));
                EXPECT_EQ(law_values.size(), 1u);
            }
            options.parallel = false;
            SamplingReport const expected = SampleImage(*mesh, *image, options, nullptr);
            std::vector<double> const grey = GreyValues(*mesh);
            std::vector<double> const law = law_values;
            options.parallel = true;
            for (std::size_t const threads : {1u, 2u, 4u}) {
                tbb::global_control const limit(tbb::global_control::max_allowed_parallelism, threads);
                auto const sample_again = [&] {
                    for (MMeshElement const& e : mesh->Elements())
                        mesh->GetElementMasks()->GetGreyValueMask()->SetValue(e, 7.0);
                    SamplingReport const report = SampleImage(*mesh, *image, options, nullptr);
                    EXPECT_TRUE(SameBits(GreyValues(*mesh), grey));
                    EXPECT_TRUE(SameBits(law_values, law));
                    EXPECT_TRUE(SameBits({report.mean, report.outside_volume},
                                         {expected.mean, expected.outside_volume}));
                };
                tbb::task_arena(static_cast<int>(threads)).execute([&] {
                    tbb::task_group_context outer;
                    tbb::parallel_for(
                        0, 1,
                        [&](int) {
                            outer.cancel_group_execution();
                            sample_again();
                        },
                        outer);
                });
            }
        }
}

// Elements of all kinds and sizes that lie about in and around an image, between which voxels are fetched
// ahead, against each of them in a mesh of its own.
TEST(ImageSampling, ValuesDoNotDependOnOtherElements) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    std::mt19937 random(17);
    std::uniform_real_distribution<double> place(-3.0, 22.0), size(0.05, 2.0), hounsfield(-1000.0, 3000.0);
    auto const image = MakeImage(20, [&](double, double, double) {
        double const value = hounsfield(random);
        return value > 2700.0 ? nan : value;
    });
    MMeshBase mesh;
    std::vector<std::unique_ptr<MMeshBase>> alone;
    for (int i = 0; i < 600; ++i) {
        double const at[] = {place(random), place(random), place(random)}, scale = size(random);
        std::vector<Point> nodes;
        for (auto const& p : TestMeshes::Corners(std::array<unsigned char, 4>{4, 6, 8, 10}[random() % 4]))
            nodes.push_back({at[0] + scale * static_cast<double>(p[0]),
                             at[1] + scale * static_cast<double>(p[1]),
                             at[2] + scale * static_cast<double>(p[2])});
        AddElementAt(mesh, nodes);
        alone.push_back(MeshOf(nodes));
    }
    int square = 2;
    std::vector<double> law_together, law_alone;
    for (auto const mode : {SamplingMode::Centroid, SamplingMode::Mean, SamplingMode::Voxels}) {
        SamplingOptions options{.mode = mode, .order = 4, .outside_value = -1.0, .law = {Power, &square}};
        options.law_values = &law_together;
        SamplingReport const report = SampleImage(mesh, *image, options, nullptr);
        std::vector<double> const grey = GreyValues(mesh);
        options.law_values = &law_alone;
        SamplingReport sum, one;
        for (std::size_t i = 0; i < alone.size(); ++i) {
            ASSERT_TRUE(SameBits({GreyValue(*alone[i], *image, options, &one)}, {grey[i]})) << i;
            ASSERT_TRUE(SameBits(law_alone, {law_together[i]})) << i;
            sum.outside += one.outside;
            sum.fallbacks += one.fallbacks;
            sum.not_finite += one.not_finite;
        }
        EXPECT_GT(sum.outside, 50u);
        EXPECT_EQ(report.outside, sum.outside);
        EXPECT_EQ(report.fallbacks, sum.fallbacks);
        EXPECT_EQ(report.not_finite, sum.not_finite);
    }
}

// The thinned-out image lies where the whole one lay from which the values in the file came.
TEST(ImageSampling, RealImagesLieWhereTheirMeshesAre) {
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    std::vector<double> const full = GreyValues(*mesh);
    auto const image = ReadImageFile(DataFile("head_ct.nii.gz"), nullptr);
    auto const difference = [&] {
        SampleImage(*mesh, *image, {}, nullptr);
        std::vector<double> const thin = GreyValues(*mesh);
        double sum = 0.0;
        for (std::size_t i = 0; i < full.size(); ++i)
            sum += std::fabs(thin[i] - full[i]) / static_cast<double>(full.size());
        return sum;
    };
    EXPECT_EQ(SampleImage(*mesh, *image, {}, nullptr).outside, 0u);
    double const here = difference();
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double origin[3];
        image->GetOrigin(origin);
        origin[axis] += 0.9;
        image->SetOrigin(origin);
        EXPECT_GT(difference(), 1.5 * here);
        origin[axis] -= 0.9;
        image->SetOrigin(origin);
    }
}

TEST(ImageSampling, WhatCannotBeSampledIsRefused) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    auto const refused = [&](vtkImageData& image, SamplingOptions const& options = {}) {
        EXPECT_THROW(SampleImage(mesh, image, options, nullptr), Error);
        EXPECT_FALSE(mesh.GetElementMasks()->HasGreyValueMask());
    };
    auto const image = MakeImage(8, [](double, double, double) { return 3.0; });
    refused(*image, {.mode = SamplingMode::Mean, .order = 7});
    refused(*image, {.mode = SamplingMode::Mean, .order = 0});
    refused(*MakeImage(1, [](double, double, double) { return 3.0; }));
    refused(*vtkSmartPointer<vtkImageData>::New());
    image->SetSpacing(1.0, 0.0, 1.0);
    refused(*image);
    image->SetSpacing(1.0, 1.0, 1.0);
    image->AllocateScalars(VTK_SHORT, 2);
    refused(*image);
    image->AllocateScalars(VTK_SHORT, 1);
    for (int i = 0; i < 1000; ++i)
        TestMeshes::AddElementOfKind(mesh, 4);
    TestMeshes::AddElement(
        mesh, TestMeshes::AddNodes(mesh, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}}));
    for (auto const mode : {SamplingMode::Centroid, SamplingMode::Mean, SamplingMode::Voxels})
        refused(*image, {.mode = mode, .parallel = true});
}
