// SPDX-License-Identifier: BSD-3-Clause
// From an image of labels to a mesh that the other commands take.
#include "KetmeshProgram.h"

#include <string>
#include <utility>
#include <vector>

namespace {

template <typename T>
std::string ImageOf(char const* type, char const* size, std::vector<T> const& voxels) {
    std::string text =
        std::string("ObjectType = Image\nNDims = 3\nBinaryData = True\nBinaryDataByteOrderMSB = False\n") +
        "DimSize = " + size + "\nElementSpacing = 2 2 2\nOffset = 0 0 0\nElementType = " + type +
        "\nElementDataFile = LOCAL\n";
    text.append(reinterpret_cast<char const*>(voxels.data()), voxels.size() * sizeof(T));
    return text;
}

// A .mha image of 4 x 4 x 4 voxels, all outside but one.
template <typename T>
std::string SmallImage(char const* type, T value) {
    std::vector<T> voxels(64);
    voxels[21] = value;
    return ImageOf(type, "4 4 4", voxels);
}

} // namespace

TEST_F(Ketmesh, MakesAMeshOfTheRealHeadThatOtherCommandsTake) {
    std::string const labels = Data + "head_labels.nii.gz", mesh = Path("mesh.vtu"),
                      again = Path("again.vtu");
    Result const result = Run({"mesh", labels, "--size", "8", "--threads", "2", "-o", mesh, "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    Json const report = Json::parse(result.out);
    EXPECT_GE(report["min_dihedral"].get<double>(), 10.0);
    ASSERT_EQ(report["labels"].size(), 3u);
    double const voxels[] = {202908, 108256, 271314};
    for (std::size_t i = 0; i < 3; ++i) {
        Json const& label = report["labels"][i];
        EXPECT_EQ(label["label"], i + 1);
        EXPECT_NEAR(label["voxel_volume"].get<double>(), voxels[i] * 1.9140624 * 1.9140624 * 1.5, 1.0);
        EXPECT_NEAR(label["volume"].get<double>() / label["voxel_volume"].get<double>(), 1.0, 0.1);
        EXPECT_LT(label["distance"]["mean"].get<double>(), 1.0);
        EXPECT_EQ(report["subvolumes"][i]["name"], "Label " + std::to_string(i + 1));
    }
    EXPECT_FALSE(report["warnings"].empty()) << "bone is thinner than 8 mm";
    Json const coarse = Json::parse(Run({"mesh", labels, "--size", "150", "-o", again, "--json"}).out);
    EXPECT_TRUE(coarse["warnings"][0].get<std::string>().ends_with(
        "; its elements have 2.89e+05 of its 1.12e+06 mm3"))
        << coarse["warnings"];
    Json const checked = RunJson({"check", mesh});
    for (char const* const fault : {"wrong_orientation", "zero_volume"})
        EXPECT_EQ(checked[fault], 0) << fault;
    Json const info = RunJson({"info", mesh});
    EXPECT_EQ(info["elements"], report["elements"]);
    EXPECT_EQ(info["nodes"], report["nodes"]);
    Json const quality = RunJson({"quality", mesh, "--metric", "MinDihedralAngle"});
    double const smallest = quality["metrics"]["MinDihedralAngle"]["min"];
    EXPECT_NEAR(smallest, report["min_dihedral"].get<double>(), 1e-9);
    EXPECT_GE(smallest, 10.0);
    auto const is_closed = [this](std::string const& of) {
        return RunJson({"boundary", of, "-o", Path("skin.vtp")})["closed"].get<bool>();
    };
    EXPECT_TRUE(is_closed(mesh));
    std::string const one = Path("one.vtu");
    for (auto const& [a, b] :
         {std::pair("Label 1", "Label 2"), {"Label 1", "Label 3"}, {"Label 2", "Label 3"}}) {
        RunJson({"remove", mesh, "--name", a, "--name", b, "-o", one});
        EXPECT_TRUE(is_closed(one)) << a << ", " << b;
    }
    Run({"mesh", labels, "--size", "8", "--threads", "1", "-o", again});
    EXPECT_EQ(Content(mesh), Content(again)) << "on any number of threads";
}

TEST_F(Ketmesh, MeshesAnAtlasOfMoreLabelsThanAnImageOfGreyValuesMayHave) {
    std::vector<short> voxels;
    for (int x = 0; x < 1100; ++x)
        voxels.insert(voxels.end(), 2 * 2 * 2, static_cast<short>(1 + x));
    Save(Path("atlas.mha"), ImageOf("MET_SHORT", "2 2 2200", voxels));
    Json const report = Json::parse(
        Run({"mesh", Path("atlas.mha"), "--size", "4", "--rounds", "0", "-o", Path("atlas.vtu"), "--json"})
            .out);
    EXPECT_EQ(report["labels"].size(), 1100u);
    EXPECT_EQ(report["warnings"].size(), 21u) << "labels too thin for the size";
    EXPECT_NE(report["warnings"][20].get<std::string>().find("1080 more labels"), std::string::npos);
}

TEST_F(Ketmesh, RefusesWhatNoMeshCanBeMadeOf) {
    Save(Path("none.mha"), SmallImage<short>("MET_SHORT", 0));
    Save(Path("half.mha"), SmallImage<float>("MET_FLOAT", 1.5F));
    Save(Path("whole.mha"), SmallImage<float>("MET_FLOAT", 3.0F));
    std::string const out = Path("out/mesh.vtu"), head = Data + "head_labels.nii.gz";
    struct Row {
        std::vector<std::string> words;
        char const* reason;
    };
    Row const rows[] = {
        {{Path("none.mha"), "--size", "1"}, "there are no labels"},
        {{Path("half.mha"), "--size", "1"}, "labels are whole numbers"},
        {{head, "--size", "0.05"}, "mm fits"},
        {{head, "--size", "4", "--labels", "9"}, "there is no label 9"},
        {{head, "--size", "4", "--labels", "1.5"}, "whole numbers"},
        {{head, "--size", "-1"}, "--size"},
        {{head, "--size", "4", "--max-size", "3"}, "largest size"},
        {{head, "--size", "4", "--min-dihedral", "40"}, "--min-dihedral"},
        {{head, "--size", "200"}, "no label is thick enough"},
    };
    for (Row const& row : rows) {
        std::vector<std::string> words = {"mesh", "-o", out};
        words.insert(words.end(), row.words.begin(), row.words.end());
        Result const result = Run(words);
        EXPECT_EQ(result.status, 1) << row.reason;
        EXPECT_NE(result.err.find(row.reason), std::string::npos) << result.err;
        EXPECT_TRUE(Outputs().empty());
    }
    Json const report = Json::parse(Run({"mesh", Path("whole.mha"), "--size", "1", "-o", out, "--json"}).out);
    EXPECT_EQ(report["labels"][0]["label"], 3);
}
