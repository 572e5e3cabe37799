// Jobs that measure, assign materials and colour, called as a user of the library calls them.
#include "TestFiles.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshJobs/CatalogFile.h>
#include <KetSDK/MeshJobs/ColorMapFile.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/QualityPlot.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::Mesh::AssignedMaterial;
using KetSDK::Mesh::MaterialsBy;
using Side = KetSDK::Mesh::QualityThreshold::Side;

Model ReadData(std::string const& name) {
    return ReadModel(KETSDK_DATA_DIR "/" + name, {}, {});
}

Image HeadCt(KetSDK::MeshVTK::LengthUnit unit = {}) {
    return ReadImage(KETSDK_DATA_DIR "/head_ct.nii.gz", unit, {});
}

MaterialsOptions Femur(MaterialsBy by, int bins = 0) {
    MaterialsOptions options;
    options.preset = "femur";
    options.by = by;
    options.bins = bins;
    return options;
}

std::filesystem::path TemporaryPath(std::string const& name) {
    return std::filesystem::path(testing::TempDir()) / ("jobs_" + name);
}

struct Refusal {
    std::function<void()> job;
    std::string line; // what stands in it
};
void ExpectRefusals(std::vector<Refusal> const& refusals) {
    for (Refusal const& refusal : refusals)
        try {
            refusal.job();
            ADD_FAILURE() << "not refused: " << refusal.line;
        } catch (Error const& e) {
            EXPECT_NE(std::string(e.what()).find(refusal.line), std::string::npos) << e.what();
        }
}

} // namespace

TEST(QualityJob, FiguresAreThoseOfTheValuesThatItKeeps) {
    Model model = ReadData("head_small_tet4.vtu");
    QualityOptions options;
    options.metrics = "Volume,ScaledJacobian,Volume";
    options.bad = {Side::Above, 0.5};
    options.worst = 3;
    options.keep_values = true;
    QualityResult const result = Quality(model, options, {});
    ASSERT_EQ(result.metrics.size(), 2u);
    ASSERT_EQ(result.values.size(), 3u); // with `bad`
    EXPECT_NEAR(result.metrics[0].statistics.mean * static_cast<double>(result.elements),
                model.mesh->GetVolume(), 1e-6);
    for (std::size_t i = 0; i < 2; ++i) {
        MetricReport const& report = result.metrics[i];
        SCOPED_TRACE(report.metric->name);
        auto const& values = std::get<std::vector<double>>(result.values[i].values);
        ASSERT_EQ(values.size(), result.elements);
        EXPECT_EQ(report.bad, std::ranges::count_if(values, [](double v) { return v > 0.5; }));
        EXPECT_EQ(report.statistics.min, std::ranges::min(values));
        EXPECT_EQ(report.statistics.max, std::ranges::max(values));
        EXPECT_EQ(static_cast<std::uint64_t>(
                      std::accumulate(report.bins.counts.begin(), report.bins.counts.end(), 0)) +
                      report.CountOutside(),
                  result.elements);
        ASSERT_EQ(report.worst.size(), 3u);
        std::vector<double> sorted = values;
        std::ranges::sort(sorted);
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_EQ(report.worst[k].value, sorted[k]);
            EXPECT_EQ(values[report.worst[k].element], sorted[k]);
        }
        SetArray(model.arrays, result.values[i]);
    }
    std::string const file = TemporaryPath("quality.kmesh").string();
    WriteModel(model, file, {}, {});
    Model const again = ReadModel(file, {}, {});
    MMeshArray const* const kept = FindArray(again.arrays, L"ScaledJacobian", MMeshArray::OnElements);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(*kept, result.values[1]);
    std::filesystem::remove(file);
}

TEST(QualityJob, RefusesInOneLine) {
    Model const model = ReadData("head_small_tet4.vtu");
    Model const boxes = ReadData("hex_matrix_fiber.vtu");
    auto const quality = [](Model const& of, std::string const& metrics, double width) {
        return [&of, metrics, width] {
            QualityOptions options;
            options.metrics = metrics;
            options.binning.width = width;
            Quality(of, options, {});
        };
    };
    QualityOptions no_bins;
    no_bins.binning.partitions = 0;
    ExpectRefusals({{quality(model, "Volum", 0.0), "near it are Volume, VolumeInRange"},
                    {quality(model, "JacobianDistortion", 0.0), "tet4.vtu: JacobianDistortion is a measure"},
                    {quality(model, "MinDihedralAngle", 1e-9), "--width 1e-09 makes 1.8e+11 bins"},
                    {quality(model, "Volume", 1e-9), "--width 1e-09 makes 6.62553e+11 bins of Volume"},
                    {quality(boxes, "Volume", 0.0), "hex_matrix_fiber.vtu: tetrahedra alone are needed"},
                    {[&no_bins] { CheckQualityOptions(no_bins); }, "1 to 10000 bins, not 0"},
                    {[] { OpenQualityPlot("a.png"); }, "a.png: histograms are drawn into .svg files only"}});
}

TEST(MaterialsJob, MassAndDensitiesFollowFromTheModelAfterwards) {
    for (auto const& [by, bins] : std::vector<std::pair<MaterialsBy, int>>{{MaterialsBy::Grey, 40},
                                                                           {MaterialsBy::Mask, 7},
                                                                           {MaterialsBy::Index, 0},
                                                                           {MaterialsBy::Single, 0}}) {
        SCOPED_TRACE(static_cast<int>(by));
        Model model = ReadData("head_small_tet4.vtu");
        MaterialsResult const result = Materials(model, HeadCt(), Femur(by, bins), {});
        MMeshBase& mesh = *model.mesh;
        MMaterialCatalog const& catalog = mesh.GetMaterialCatalog();
        EXPECT_EQ(catalog.NumberOfMaterials(), result.materials.size());
        struct Sums {
            double volume = 0.0, grey = 0.0;
            std::uint64_t elements = 0;
        };
        std::map<unsigned int, Sums> sums;
        double mass = 0.0;
        for (MMeshElement const& e : mesh.Elements()) {
            auto const id = static_cast<unsigned int>(mesh.GetElementMasks()->GetMaterialMask()->GetValue(e));
            double const volume = std::fabs(GetElementVolume(e));
            sums[id].volume += volume;
            sums[id].grey += mesh.GetElementMasks()->GetGreyValueMask()->GetValue(e);
            ++sums[id].elements;
            mass += volume * catalog.GetMaterialWithID(id)->GetDensity() / 1000.0;
        }
        EXPECT_NEAR(result.mass, mass, 1e-9 * mass);
        EXPECT_NEAR(result.volume, model.mesh->GetVolume(), 1e-6);
        ASSERT_EQ(sums.size(), result.materials.size());
        for (AssignedMaterial const& material : result.materials) {
            Sums const& of = sums.at(material.id);
            EXPECT_EQ(material.elements, of.elements);
            EXPECT_NEAR(material.volume, of.volume, 1e-9 * of.volume);
            bool const has_bins = bins > 0;
            double const grey =
                has_bins ? (material.low + material.high) / 2.0 : of.grey / static_cast<double>(of.elements);
            EXPECT_NEAR(material.density, std::max(0.131 + 0.001067 * grey, 0.01), 1e-9);
            EXPECT_NEAR(material.emodulus, 6850.0 * std::pow(material.density, 1.49), 1e-6);
        }
    }
}

TEST(MaterialsJob, WarnsAndRefusesInOneLine) {
    Model model = ReadData("head_small_tet4.vtu");
    Image const image = HeadCt();
    std::vector<std::string> warnings;
    Context context;
    context.warn = [&warnings](std::string const& message) { warnings.push_back(message); };
    MaterialsOptions heavy = Femur(MaterialsBy::Single);
    heavy.law = {100.0, 0.0, 1.0, 0.0, 1.0};
    Materials(model, image, heavy, context);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0], "densities go up to 100 g/cm3; is the law one for kg/m3?");

    auto const with = [&](std::function<void(MaterialsOptions&)> const& change) {
        return [&, change] {
            MaterialsOptions options = Femur(MaterialsBy::Grey, 5);
            change(options);
            Materials(model, image, options, {});
        };
    };
    ExpectRefusals(
        {{with([](auto& o) { o.preset = "skull"; }), "there are femur, tibia, vertebra"},
         {with([](auto& o) { o.preset = ""; }), "a law for densities is missing"},
         {with([](auto& o) { o.preset = "", o.law.emplace(); }), "a modulus is missing"},
         {with([](auto& o) {
              o.modulus = {-1.0, 1.0};
          }),
          "p must be above 0, not -1"},
         {with([](auto& o) {
              o.modulus = {1.0, 1e6};
          }),
          "it must be above 0 and finite"},
         {with([](auto& o) { o.poisson = 0.5; }), "is no Poisson's ratio"},
         {with([](auto& o) { o.least_density = 0.0; }), "the least density must be above 0"},
         {with([](auto& o) { o.bins = 0; }), "1 to 65535 bins, not 0"},
         {with([](auto& o) { o.bins = 50000; }), "it has 46924 elements, too few for 50000 bins"},
         {with([](auto& o) { o.sampling = KetSDK::MeshVTK::SamplingMode::Mean, o.order = 7; }),
          "head_ct.nii.gz: means are taken with an order from 1 to 6"},
         {[&] { Materials(model, HeadCt({0.001}), Femur(MaterialsBy::Single), {}); }, "lie outside it"},
         {[] { ReadImage("none.nii", {}, {}); }, "none.nii: "}});
}

TEST(MaterialsJob, CanBeCancelled) {
    Model model = ReadData("head_small_tet4.vtu");
    Image const image = HeadCt();
    Context context;
    context.progress = std::make_shared<RecordingDelegate>(0.5);
    EXPECT_THROW(Quality(model, {}, context), Cancelled);
    context.progress = std::make_shared<RecordingDelegate>(0.5);
    EXPECT_THROW(Materials(model, image, Femur(MaterialsBy::Grey, 5), context), Cancelled);
    EXPECT_EQ(model.mesh->GetMaterialCatalog().NumberOfMaterials(), 0u);
}

TEST(ColorsJob, IntervalsMeetAndAreWritten) {
    Model model = ReadData("head_small_tet4.vtu");
    Materials(model, HeadCt(), Femur(MaterialsBy::Grey, 5), {});
    ColorsOptions options;
    options.bins = 8;
    options.from = 0.0;
    options.to = 1000.0;
    ColorsResult const colors = Colors(model, options, {});
    ASSERT_EQ(colors.intervals.size(), 8u);
    EXPECT_GE(colors.intervals.front().low, 0.0);
    EXPECT_LT(colors.intervals.back().high, 1000.0);
    for (std::size_t i = 1; i < 8; ++i) {
        EXPECT_EQ(colors.intervals[i].low, colors.intervals[i - 1].high);
        EXPECT_NEAR(colors.intervals[i].high - colors.intervals[i].low,
                    colors.intervals[0].high - colors.intervals[0].low, 1e-9);
    }
    ColorsResult const given = ColorsOfIntervals({0.0, 4096.0});
    EXPECT_EQ(given.intervals[1].high, 8192.0);
    EXPECT_EQ(given.intervals[1].color, ColorsOfIntervals({4096.0}).intervals[0].color);

    for (char const* const ending : {".json", ".xml"}) {
        std::string const file = TemporaryPath(std::string("colors") + ending).string();
        WriteColorMap(given, "two", file);
        EXPECT_NE(Content(file).find("two"), std::string::npos);
        std::filesystem::remove(file);
    }
    std::string const catalog = TemporaryPath("c.materials.xml").string();
    EXPECT_EQ(CatalogFileName("/a.b/model.vtu"), "/a.b/model.materials.xml");
    {
        KetSDK::MeshVTK::OutputFile file = OpenCatalogFile(catalog);
        WriteCatalog(model.mesh->GetMaterialCatalog(), file);
    }
    EXPECT_FALSE(std::filesystem::exists(catalog)) << "appears without being committed";
    WriteCatalog(model.mesh->GetMaterialCatalog(), catalog);
    EXPECT_TRUE(std::filesystem::remove(catalog));

    model.mesh->SetGreyValuesFlag(false);
    ColorsOptions far;
    far.from = 9000.0;
    ExpectRefusals({{[&] { Colors(model, {}, {}); }, "tet4.vtu: it has no cell array grey"},
                    {[&] {
                         model.mesh->SetGreyValuesFlag(true);
                         Colors(model, far, {});
                     },
                     "no element has a grey value from 9000 up to"},
                    {[] {
                         ColorsOfIntervals({1.0, 3.0, 2.0});
                     },
                     "--intervals: 1,3,2 does not ascend"},
                    {[] { ColorsOfIntervals({}); }, "no intervals"},
                    {[] { OpenColorMapFile("a.txt"); }, "a.txt: colours are written to .json or .xml files"},
                    {[] { OpenCatalogFile("a.vtu"); }, "a.vtu: catalogs of materials are written"}});
}
