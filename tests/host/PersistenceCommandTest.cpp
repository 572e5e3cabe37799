// SPDX-License-Identifier: BSD-3-Clause
#include "KetmeshProgram.h"

#include "TestMeshes.h"
#include "persistence/FullMesh.h"

#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <sys/resource.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace {

TEST_F(Ketmesh, CommandsKeepWhatOnlyMeshFilesHold) {
    FullMesh full;
    ASSERT_TRUE(MMeshFile::Save(*full.mesh, {}, Path("full.kmesh"), MMeshFile::Binary, nullptr));
    EXPECT_EQ(Run({"layers", Path("full.kmesh"), "-o", Path("layers.kmesh")}).status, 0);
    MMeshFile::Content const content = MMeshFile::Load(Path("layers.kmesh"), nullptr);
    EXPECT_EQ(FindMeshDifference(*full.mesh, *content.mesh), std::nullopt);
    ASSERT_EQ(content.arrays.size(), 1u);
    EXPECT_EQ(content.arrays[0].name, L"layer");

    // What is different, and what is not because files of VTK cannot hold it.
    EXPECT_EQ(Run({"save", Path("full.kmesh"), "-o", Path("full.vtu")}).status, 0);
    EXPECT_EQ(Run({"save", Path("layers.kmesh"), "-o", Path("layers.vtk")}).status, 0);
    Json const equal = RunJson({"diff", Path("full.kmesh"), Path("full.vtu")});
    EXPECT_EQ(equal["equal"], true);
    EXPECT_EQ(equal["left_out"], "element 1: its volume list is 65535 by 0.1 and empty");
    std::string const only = "the cell array \"layer\" is in the second file only";
    for (auto const& [a, b] : {std::pair{"full.kmesh", "layers.kmesh"},
                               {"full.vtu", "layers.kmesh"},
                               {"full.kmesh", "layers.vtk"}}) {
        Result const result = Run({"diff", Path(a), Path(b), "--json"});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(Json::parse(result.out)["first_difference"], only);
        EXPECT_EQ(Run({"diff", Path(a), Path(b)}).out,
                  Path(a) + " and " + Path(b) + " differ: " + only + '\n');
    }
    // Labels become the sub-volumes, and the unit is that of other files only.
    // info doubts a mesh as odd as this one.
    auto const told = [this](std::vector<std::string> arguments) {
        arguments.push_back("--json");
        return Json::parse(Run(arguments).out, nullptr, false);
    };
    Json const info = told({"info", Path("full.kmesh"), "--labels", "original_id", "--unit", "m"});
    EXPECT_EQ(info["subvolumes"].size(), 4u);
    EXPECT_EQ(info["subvolumes"][0]["name"], "Label 97");
    EXPECT_EQ(info["box"], told({"info", Path("full.vtu")})["box"]);
}

TEST_F(Ketmesh, BadMeshFilesEndInOneLine) {
    std::string const beam = Data + "wedge_beam14.vtu";
    ASSERT_EQ(Run({"save", beam, "-o", Path("good.kmesh")}).status, 0);
    std::string const good = Content(Path("good.kmesh"));
    std::string changed = good;
    changed[good.size() / 2] ^= 1;
    Save(Path("changed.kmesh"), changed);
    Save(Path("cut.kmesh"), good.substr(0, good.size() - 1));
    Save(Path("other.kmesh"), Content(beam));
    Save(Path("empty.kmesh"), "");
    MMeshBase nothing;
    ASSERT_TRUE(MMeshFile::Save(nothing, {}, Path("nothing.kmesh"), MMeshFile::Text, nullptr));
    MMeshBase astray; // whole, but of a content that no command may trust
    MMeshElement const& lost = *TestMeshes::AddElementOfKind(astray, 4);
    MMeshArray const wide{L"wide", MMeshArray::OnMesh, 2147483647, L"float64", std::vector<double>()};
    ASSERT_TRUE(MMeshFile::Save(astray, {wide}, Path("wide.kmesh"), MMeshFile::Binary, nullptr));
    astray.GetElementMasks()->GetSubvolumeMask()->SetValue(lost, 7);
    ASSERT_TRUE(MMeshFile::Save(astray, {}, Path("astray.kmesh"), MMeshFile::Binary, nullptr));
    MMeshBase miscounted; // as one that a program leaves that counts elements itself
    MMeshElement& twice = *TestMeshes::AddElementOfKind(miscounted, 4);
    MMeshSubVolume& bone = *miscounted.AddSubVolume();
    bone.SetName(L"Bone");
    miscounted.GetMainSubVolume()->MoveElement(twice, &bone);
    bone.IncludeElement(twice);
    for (auto const& [file, encoding] :
         {std::pair("miscounted.kmesh", MMeshFile::Binary), {"text.kmesh", MMeshFile::Text}})
        ASSERT_TRUE(MMeshFile::Save(miscounted, {}, Path(file), encoding, nullptr));
    std::string const miscount = "sub-volume 1 (Bone) is said to have 2 elements, but 1 has its number";
    struct Case {
        std::string file;
        std::string reason;
    };
    for (Case const& c : std::vector<Case>{{"changed.kmesh", "checksum"},
                                           {"cut.kmesh", "checksum"},
                                           {"other.kmesh", "no mesh file"},
                                           {"empty.kmesh", "empty"},
                                           {"nothing.kmesh", "no elements"},
                                           {"wide.kmesh", "announces 2147483647 components"},
                                           {"astray.kmesh", "element 0 is in sub-volume 7, but there are 1"},
                                           {"miscounted.kmesh", miscount},
                                           {"text.kmesh", miscount},
                                           {"none.kmesh", "no such file"}})
        for (std::string const command : {"info", "save", "diff"}) {
            std::vector<std::string> arguments = {command, Path(c.file)};
            if (command == "save")
                arguments.insert(arguments.end(), {"-o", Path("out/out.vtu")});
            if (command == "diff")
                arguments.insert(arguments.begin() + 1, beam);
            ExpectRefused(arguments, Path(c.file) + ": ");
            ExpectRefused(arguments, c.reason);
        }
    ExpectRefused({"save", beam, "-o", Path("out/a.vtu"), "--text"}, "only .kmesh files are written as text");
    ExpectRefused({"save", beam, "-o", Path("out/a.stl")}, ".kmesh, .vtu and .vtk");
    ExpectRefused({"diff", beam}, "other");
    ExpectRefused({"info", Path("good.kmesh"), "--labels", "none"}, "\"none\"");
}

TEST_F(Ketmesh, FullDiskLeavesTheOldFile) {
    Save(Path("out/old.kmesh"), "old");
    for (bool const text : {false, true}) {
        rlimit const unlimited = {RLIM_INFINITY, RLIM_INFINITY};
        rlimit const small = {100000, RLIM_INFINITY};
        std::vector<std::string> arguments = {"save", Head, "-o", Path("out/old.kmesh")};
        if (text)
            arguments.push_back("--text");
        ::setrlimit(RLIMIT_FSIZE, &small); // the child inherits it
        pid_t const child = Start(arguments);
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        Result const result = Finish(child);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err,
                  "ketmesh: " + Path("out/old.kmesh") + ": it cannot be written: the disk is full or gone\n");
        EXPECT_EQ(Outputs(), std::vector<std::string>{"old.kmesh"});
        EXPECT_EQ(Content(Path("out/old.kmesh")), "old");
    }
}

} // namespace
