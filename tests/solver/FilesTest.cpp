// SPDX-License-Identifier: BSD-3-Clause
// Decks that are written and read, results, and case files.
#include "SolverModels.h"

#include "TestFiles.h"

#include <KetSDK/Mesh/persistence/MMeshArrayDifference.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/MeshJobs/Results.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/Text.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <utility>

namespace {

using namespace SolverModels;
using KetSDK::MeshSolver::MaterialsAs;
using Dialect = KetSDK::MeshSolver::DeckOptions::Dialect;

std::string const PlacesQuoted =
    "[place.'Top Face']\naxis = 'z+'\nwithin = 0\n[place.base]\naxis = 'z-'\nwithin = 0\n"
    "[[fix]]\nplace = 'base'\naxes = 'xyz'\n[[pressure]]\nplace = 'Top Face'\nvalue = 1\n";

ExportResult ExportTo(Model const& model, std::string const& path, ExportOptions const& options = {},
                      Context const& context = {}) {
    DeckFiles files = OpenDeckFiles(path, options);
    return Export(model, files, options, context);
}

// Two sub-volumes, two materials, and a node that no element uses.
Model MakeTwoParts(unsigned int kind, int nx = 3, int ny = 2, int nz = 2) {
    Model model = MakeBlocks(kind, nx, ny, nz, Box(1.1, -2.3e-3 * -1000, 3.7));
    MMeshSubVolume* const other = model.mesh->AddSubVolume();
    other->SetName(L"Kn\u00f6chel \u2013 2");
    MMeshMaterial second = *model.mesh->GetMaterialCatalog().GetMaterialWithID(1);
    second.SetID(17);
    second.SetEmodulus(1234.5678901234567);
    second.SetDensity(0.123456789);
    model.mesh->GetMaterialCatalog().AddMaterial(second);
    for (std::uint64_t i = 0; i < std::uint64_t(model.mesh->NumberOfElements()); i += 3) {
        model.mesh->GetMainSubVolume()->MoveElement(*model.mesh->GetElement(i), other);
        model.mesh->GetElementMasks()->GetMaterialMask()->SetValue(*model.mesh->GetElement(i), 17);
    }
    return model;
}

std::vector<std::string> Lines(std::string const& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

TEST(Deck, ComesBackEqualInEverythingThatItHolds) {
    Folder folder;
    for (unsigned int const kind : {4U, 10U, 8U, 6U}) {
        SCOPED_TRACE(kind);
        Model const model = MakeTwoParts(kind);
        ExportOptions options;
        options.load_case = CaseOf(PlacesQuoted);
        ExportResult const result = ExportTo(model, folder / "model.inp", options);
        Model const back = ReadModel(folder / "model.inp", {}, {});
        ASSERT_EQ(back.mesh->NumberOfPoints(), model.mesh->NumberOfPoints());
        ASSERT_EQ(back.mesh->NumberOfElements(), model.mesh->NumberOfElements());
        for (std::uint64_t i = 0; i < std::uint64_t(model.mesh->NumberOfPoints()); ++i)
            EXPECT_EQ(*back.mesh->GetRandomPoint(i), *model.mesh->GetRandomPoint(i));
        auto const material = [](Model const& m, MMeshElement const& e) {
            int const id = m.mesh->GetElementMasks()->GetMaterialMask()->GetValue(e);
            return *m.mesh->GetMaterialCatalog().GetMaterialWithID(unsigned(id));
        };
        for (std::uint64_t i = 0; i < std::uint64_t(model.mesh->NumberOfElements()); ++i) {
            MMeshElement const& a = *model.mesh->GetElement(i);
            MMeshElement const& b = *back.mesh->GetElement(i);
            for (unsigned int k = 0; k < kind; ++k)
                EXPECT_EQ(a.GetNode(k)->GetIndex(), b.GetNode(k)->GetIndex());
            EXPECT_EQ(material(model, a), material(back, b));
            EXPECT_EQ(model.mesh->GetSubVolume(a)->GetID(), back.mesh->GetSubVolume(b)->GetID());
            EXPECT_EQ(back.mesh->GetElementMasks()->GetOriginalIDs()->GetValue(b), int(i) + 1);
        }
        EXPECT_EQ(back.mesh->GetMainSubVolume()->GetName(), L"BLOCK");
        for (ExportResult::Set const& place : result.places) {
            MMeshArray const* const set =
                FindArray(back.arrays, KetSDK::MeshVTK::FromUtf8(place.deck), MMeshArray::OnNodes);
            ASSERT_NE(set, nullptr) << place.deck;
            auto const& values = std::get<std::vector<std::int32_t>>(set->values);
            EXPECT_EQ(std::uint64_t(std::ranges::count(values, 1)), place.nodes);
            EXPECT_EQ(place.nodes, kind == 10 ? 35U : 12U);
        }
    }
}

Context On(int threads) {
    Context context;
    context.threads = threads;
    return context;
}

// What reading a deck throws.
std::string FaultOf(std::string const& path, int threads) {
    try {
        ReadModel(path, {}, On(threads));
    } catch (std::exception const& e) {
        return e.what();
    }
    return "";
}

// Large enough for several pieces of each block. Lines are broken, apart and between comments in the second
// deck, which says the same.
TEST(Deck, IsTheSameOnAnyNumberOfThreads) {
    Folder folder;
    Model const model = MakeTwoParts(10, 15, 14, 13);
    ExportOptions options;
    options.load_case = CaseOf(PlacesQuoted);
    ExportTo(model, folder / "1.inp", options, On(1));
    std::string other;
    bool is_of_elements = false;
    for (std::size_t i = 0; std::string const& line : Lines(folder / "1.inp")) {
        if (line.front() == '*')
            is_of_elements = line.starts_with("*ELEMENT");
        std::size_t const comma = is_of_elements ? line.find(',', line.size() / 2) : std::string::npos;
        other += line.substr(0, comma);
        if (comma != std::string::npos)
            other += ",\r\n  +" + line.substr(comma + 2);
        other += ++i % 1009 == 0 ? "\n** 1, 2\n" : i % 101 == 0 ? "\r\n \n" : "\n";
    }
    Save(folder / "other.inp", other);
    Model const expected = ReadModel(folder / "1.inp", {}, On(1));
    for (int const threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(threads);
        ExportTo(model, folder / "n.inp", options, On(threads));
        EXPECT_TRUE(Content(folder / "n.inp") == Content(folder / "1.inp"));
        for (char const* const name : {"1.inp", "other.inp"}) {
            Model const back = ReadModel(folder / name, {}, On(threads));
            EXPECT_EQ(FindMeshDifference(*expected.mesh, *back.mesh), std::nullopt) << name;
            EXPECT_EQ(FindArrayDifference(expected.arrays, back.arrays), std::nullopt) << name;
        }
    }
}

// Of several faults in a deck the first counts, on any number of threads.
TEST(Deck, FaultsAreThoseOfTheFirstBadLine) {
    Folder folder;
    ExportTo(MakeTwoParts(4, 20, 19, 18), folder / "good.inp");
    std::vector<std::string> const good = Lines(folder / "good.inp");
    auto const line_of = [&good](std::string const& start) {
        auto const found =
            std::ranges::find_if(good, [&](auto const& line) { return line.starts_with(start); });
        return static_cast<std::size_t>(found - good.begin());
    };
    std::size_t const nodes = line_of("*NODE");
    std::size_t const elements = line_of("*ELEMENT");
    std::size_t const members = line_of("*ELSET");
    std::size_t const faces = line_of("*SURFACE");
    struct Bad {
        std::size_t line; // from 0
        std::string text;
        std::string message;
    };
    for (Bad const& bad :
         {Bad{nodes + 4000, "7, 1.0, 2.0", "a node needs a number from 1 on and three"},
          Bad{elements + 9000, "5, 6, 7x, 8, 9", "\"7x\" is no number of a node or element"},
          Bad{elements + 30000, "5, 6, 7, 8, 9, 10", "element 5 has 5 nodes and needs 4"},
          Bad{elements + 33333, std::string("1,\0", 3), " holds bytes that are no text"},
          Bad{members - 1, "1, 2, 3", "element 1 has 2 nodes and needs 4"},
          Bad{faces + 200, "NOBODY, S1", "the surface BLOCK_ names the element set NOBODY"}}) {
        std::vector<std::string> lines = good;
        lines[bad.line] = bad.text;
        for (std::size_t const behind : {bad.line + 3, bad.line + 2000})
            if (behind < faces)
                lines[behind] = "2147483648, -1";
        std::string text;
        for (std::string const& line : lines)
            text += line + '\n';
        Save(folder / "bad.inp", text);
        bool const shows_at_the_keyword = bad.line == members - 1;
        std::string const place = "line " + std::to_string(bad.line + 1 + shows_at_the_keyword);
        for (int const threads : {1, 2, 3, 8}) {
            std::string const fault = FaultOf(folder / "bad.inp", threads);
            EXPECT_NE(fault.find(place), std::string::npos)
                << fault << " on " << threads << ", not " << place;
            EXPECT_NE(fault.find(bad.message), std::string::npos) << fault << " on " << threads;
        }
    }
}

TEST(Deck, HasNamesNumbersAndLinesThatSolversTake) {
    Folder folder;
    Model model = MakeTwoParts(8);
    model.mesh->AddPoint(900 * 65536, 0, 0); // of no element
    ExportOptions options;
    options.load_case = CaseOf(PlacesQuoted);
    ExportResult const result = ExportTo(model, folder / "model.inp", options);
    EXPECT_EQ(result.nodes, 36U);
    std::map<std::string, std::string> renamed;
    for (auto const& [kind, name, deck] : result.names)
        renamed[name] = deck;
    EXPECT_EQ(renamed["Kn\u00f6chel \u2013 2"], "KN_CHEL___2");
    EXPECT_EQ(renamed["Top Face"], "TOP_FACE");
    EXPECT_EQ(renamed["Block-Kn\u00f6chel \u2013 2"], "BLOCK_KN_CHEL___2");
    std::map<std::string, int> surfaces;
    std::string surface;
    for (std::string const& line : Lines(folder / "model.inp")) {
        if (line.starts_with("*")) {
            surface = line.starts_with("*SURFACE, NAME=") ? line.substr(15, line.find(", TYPE") - 15) : "";
            continue;
        }
        surfaces[surface] += !surface.empty();
        std::stringstream words(line);
        int count = 0;
        for (std::string word; std::getline(words, word, ',') && !line.starts_with("volume"); ++count)
            EXPECT_LE(word.size() - (word.front() == ' '), 20U) << line;
        EXPECT_LE(count, 16) << line;
    }
    // As the surfaces of the model have them: two triangles a face.
    for (SurfaceReport const& report : Surfaces(model, {true, SurfacesOptions::Names::Volumes}, {}).reports) {
        std::string const deck = renamed[report.name];
        EXPECT_EQ(std::uint64_t(surfaces[deck]) * 2, report.triangles) << report.name;
    }
}

TEST(Deck, IsSplitAndNumberedOnRequest) {
    Folder folder;
    Model const model = MakeTwoParts(6);
    ExportOptions options;
    options.load_case = CaseOf(PlacesQuoted);
    options.split = true;
    options.dialect = Dialect::Abaqus;
    EXPECT_EQ(ExportTo(model, folder / "m.inp", options).files,
              (std::vector<std::string>{folder / "m.inp", folder / "m-case.inp"}));
    EXPECT_EQ(Content(folder / "m.inp").find("*STEP"), std::string::npos);
    EXPECT_TRUE(Content(folder / "m-case.inp").starts_with("*INCLUDE, INPUT=m.inp\n*STEP\n*STATIC\n"));
    EXPECT_EQ(ReadModel(folder / "m-case.inp", {}, {}).mesh->NumberOfElements(),
              model.mesh->NumberOfElements());
    auto& ids = *model.mesh->GetElementMasks()->GetOriginalIDs();
    auto& node_ids = *model.mesh->GetPointMasks()->GetOriginalIDs();
    for (std::uint64_t i = 0; i < std::uint64_t(model.mesh->NumberOfElements()); ++i)
        ids.SetValue(*model.mesh->GetElement(i), 5000 - int(i));
    for (std::uint64_t i = 0; i < std::uint64_t(model.mesh->NumberOfPoints()); ++i)
        node_ids.SetValue(*model.mesh->GetRandomPoint(i), 7 * int(i) + 3);
    options.original_ids = true;
    ExportTo(model, folder / "m.inp", options);
    Model const back = ReadModel(folder / "m.inp", {}, {});
    EXPECT_EQ(back.mesh->GetElementMasks()->GetOriginalIDs()->GetValue(*back.mesh->GetElement(2)), 4998);
    EXPECT_EQ(back.mesh->GetPointMasks()->GetOriginalIDs()->GetValue(*back.mesh->GetRandomPoint(2)), 17);
    ids.SetValue(*model.mesh->GetElement(1), 5000);
    ExpectRefusals({{[&] { ExportTo(model, folder / "m.inp", options); },
                     "two elements have the original identifier 5000"}});
}

std::string const Tetrahedra =
    "*NODE, NSET=ALL\n 10, 0, 0, 0\n 20, 1.0D+00, 0, 0\n 30, 0, +1., 0\n 40, 0, 0, 1\n"
    " 50, 1, 1, 1\n*element, type=c3d4h, elset=left\n7, 10, 20,\n 30, 40\n"
    "*ELEMENT, TYPE=C3D4, ELSET=Right\n8, 20, 50, 30, 40\n";

TEST(Deck, OfOtherProgramsIsRead) {
    Folder folder;
    std::string const byte_order_mark = "\xEF\xBB\xBF";
    Save(folder / "nodes.txt", byte_order_mark + "60, 5, 5, 5\n");
    Save(folder / "m.inp",
         byte_order_mark + "*HEADING\nfree text, with commas\n** a comment\n" + Tetrahedra +
             "*NODE\n*INCLUDE, INPUT=nodes.txt\n*ELSET, ELSET=BOTH, GENERATE\n7, 9, 1\n*ELSET, "
             "ELSET=again\nLEFT\n"
             "*NSET, NSET=corner\n10, 60\n*SURFACE, TYPE=ELEMENT, NAME=face\nleft, S1\n"
             "*ELEMENT, TYPE=S3, ELSET=SHELL\n9, 10, 20, 30\n"
             "*MATERIAL, NAME=bone\n*ELASTIC\n 17e3, .3\n*DENSITY\n 1.8e-9\n"
             "*SOLID SECTION, ELSET=RIGHT, MATERIAL=Bone\n1.,\n*SOLID SECTION, ELSET=LEFT, MATERIAL=Skin\n"
             "*STEP\n*BOUNDARY\nALL, 1\n*END STEP\n");
    std::vector<std::string> warnings;
    Context context;
    context.warn = [&warnings](std::string const& line) { warnings.push_back(line); };
    Model const model = ReadModel(folder / "m.inp", {}, context);
    EXPECT_EQ(warnings, (std::vector<std::string>{
                            (folder / "m.inp") +
                            ": not read: *STEP, elements of type S3, material Skin, which is not defined"}));
    EXPECT_EQ(model.mesh->NumberOfPoints(), 6);
    EXPECT_EQ(model.mesh->NumberOfSubVolumes(), 2U);
    EXPECT_EQ(model.mesh->GetMainSubVolume()->GetName(), L"left");
    MMeshMaterial const& bone = *model.mesh->GetMaterialCatalog().GetMaterialWithID(1);
    EXPECT_EQ(bone.GetDensity(), 1.8);
    auto const values = [&model](wchar_t const* name, MMeshArray::Place place) {
        MMeshArray const* const array = FindArray(model.arrays, name, place);
        return array ? std::get<std::vector<std::int32_t>>(array->values) : std::vector<std::int32_t>();
    };
    EXPECT_EQ(values(L"BOTH", MMeshArray::OnElements), (std::vector<std::int32_t>{1, 1}));
    EXPECT_EQ(values(L"again", MMeshArray::OnElements), (std::vector<std::int32_t>{1, 0}));
    EXPECT_EQ(values(L"face", MMeshArray::OnElements), (std::vector<std::int32_t>{1, 0}));
    EXPECT_EQ(values(L"face", MMeshArray::OnNodes), (std::vector<std::int32_t>{1, 1, 1, 0, 0, 0}));
    EXPECT_EQ(values(L"corner", MMeshArray::OnNodes), (std::vector<std::int32_t>{1, 0, 0, 0, 0, 1}));
}

std::vector<std::uint32_t> Members(std::vector<bool> const& is_member) {
    std::vector<std::uint32_t> members;
    for (std::size_t i = 0; i < is_member.size(); ++i)
        if (is_member[i])
            members.push_back(static_cast<std::uint32_t>(i));
    return members;
}

// Ten thousands of short lines each stand for all elements. What they repeat takes no memory.
TEST(Deck, RepeatsMembersInBoundedMemory) {
    constexpr int elements = 30000;
    constexpr int repetitions = 20000;
    std::ostringstream text;
    text << "*NODE\n1, 0, 0, 0\n2, 1, 0, 0\n3, 0, 1, 0\n4, 0, 0, 1\n*ELEMENT, TYPE=C3D4\n";
    for (int i = elements; i > 0; --i)
        text << 3 * i << ", 1, 2, 3, 4\n";
    std::mt19937 random(7);
    std::vector<bool> is_ranged(elements);
    text << "*ELSET, ELSET=RANGES, GENERATE\n";
    for (int k = 0; k < 40; ++k) {
        int const first = 1 + static_cast<int>(random() % (3U * elements));
        int const last = first + static_cast<int>(random() % 3000);
        int const step = 1 + static_cast<int>(random() % 9);
        text << first << ", " << last << ", " << step << "\n";
        for (int i = 0; i < elements; ++i)
            if (int const id = 3 * (elements - i); id >= first && id <= last && (id - first) % step == 0)
                is_ranged[static_cast<std::size_t>(i)] = true;
    }
    text << "*ELSET, ELSET=ALL, GENERATE\n";
    for (int k = 0; k < repetitions; ++k)
        text << 1 + k % 3 << ", " << 3 * elements + k << "\n";
    text << "*ELSET, ELSET=TOP\nLATER\nRANGES\nTOP\n*ELSET, ELSET=LATER\nTOP\n30\n"
            "*SURFACE, NAME=SKIN\n";
    for (int k = 0; k < repetitions; ++k)
        text << "ALL, S" << 1 + k % 2 << "\n";
    Folder folder;
    Save(folder / "m.inp", text.str());
    rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    KetSDK::MeshSolver::Deck const deck = KetSDK::MeshSolver::ReadDeck(folder / "m.inp", nullptr);
    rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 300 * 1024); // KB; they would be GB
    ASSERT_EQ(deck.element_sets.size(), 4U);
    EXPECT_EQ(deck.element_sets[0].members, Members(is_ranged));
    EXPECT_EQ(deck.element_sets[1].members, Members(std::vector<bool>(elements, true)));
    is_ranged[elements - 10] = true;
    EXPECT_EQ(deck.element_sets[2].members, Members(is_ranged));
    EXPECT_EQ(deck.element_sets[3].members, Members(is_ranged));
    EXPECT_EQ(deck.surfaces.at(0).faces.size(), 2U * elements);
    EXPECT_EQ(deck.surfaces.at(0).faces.back(), (KetSDK::MeshSolver::FaceOfElement{elements - 1, 2}));
}

TEST(Deck, ThatMakesNoMeshIsRefusedByName) {
    Folder folder;
    fs::create_directory(folder.GetPath() / "in");
    Save(folder / "outside.inp", "*NODE\n");
    Save(folder / "in/other.inp", "*INCLUDE, INPUT=m.inp\n");
    struct Case {
        std::string text;
        std::string line;
    };
    for (auto const& [text, line] : {
             Case{"*NODE\n1, 0, 0, 0\n", "defines no elements"},
             Case{Tetrahedra + "*ELEMENT, TYPE=C3D4\n8, 10, 20, 30, 40\n", "element 8 is defined twice"},
             Case{Tetrahedra + "*NODE\n10, 0, 0, 0\n", "node 10 is defined twice"},
             Case{Tetrahedra + "*ELEMENT, TYPE=C3D4\n9, 10, 20, 30, 99\n", "node 99, which is not defined"},
             Case{Tetrahedra + "*ELEMENT, TYPE=C3D4\n9, 10, 20, 30\n", "element 9 has 3 nodes and needs 4"},
             Case{Tetrahedra + "*ELEMENT, TYPE=C3D4\n9, 10, 20, 30, 40, 50\n", "element 9 has 5 nodes"},
             Case{Tetrahedra + "*NSET, NSET=A\n77\n", "the set A has node 77"},
             Case{Tetrahedra + "*ELSET, ELSET=A\nB\n", "names the set B"},
             Case{Tetrahedra + "*SURFACE, NAME=A\n7, S5\n", "which has 4 faces"},
             Case{Tetrahedra + "*NODE\n1, 2, x, 0\n", "a node needs a number"},
             Case{"*INSTANCE, NAME=I, PART=P\n", "*INSTANCE I"},
             Case{"*NODE, SYSTEM=C\n", "another system"},
             Case{Tetrahedra + "*NGEN\n10, 20, 5\n", "*NGEN makes or moves nodes"},
             Case{Tetrahedra + "*NMAP, NSET=NALL\n", "write them out"},
             Case{Tetrahedra + "*ELGEN\n7, 2\n", "write them out"},
             Case{"*INCLUDE, INPUT=none.inp\n", "none.inp, which is not there"},
             Case{"*INCLUDE, INPUT=../outside.inp\n", "outside its folder"},
             Case{"*INCLUDE, INPUT=other.inp\n", "it includes itself by m.inp"},
         }) {
        Save(folder / "in/m.inp", text);
        ExpectRefusals({{[&] { ReadModel(folder / "in/m.inp", {}, {}); }, line}});
    }
}

TEST(Febio, ModelHasBlocksMapsAndOutwardFaces) {
    Folder folder;
    Model const model = MakeTwoParts(10);
    ExportOptions options;
    options.load_case = CaseOf(PlacesQuoted + "[gravity]\nacceleration = [0, 0, -9810]\n");
    ExportTo(model, folder / "m.feb", options);
    std::string text = Content(folder / "m.feb");
    for (char const* const part :
         {"<febio_spec version=\"4.0\">", "<SolidDomain name=\"BLOCK\" mat=\"MATERIAL_1\"/>",
          "<Elements type=\"tet10\" name=\"KN_CHEL___2\">", "<E>1234.5678901234567</E>",
          "<bc name=\"BASE\" node_set=\"BASE\" type=\"zero displacement\">",
          "<pressure lc=\"1\">1</pressure>", "<force lc=\"1\">0,0,9810</force>", "<density>2e-9</density>"})
        EXPECT_NE(text.find(part), std::string::npos) << part;
    // The first face of the top winds so that its normal points up.
    std::size_t const at = text.find("<tri6 id=\"1\">", text.find("<Surface name=\"TOP_FACE\">")) + 13;
    std::stringstream numbers(text.substr(at, text.find('<', at) - at));
    std::vector<MMVector<double, 3>> corner;
    for (std::string number; std::getline(numbers, number, ',');)
        corner.push_back(model.mesh->GetRandomPoint(std::stoul(number) - 1)->GetPosition());
    ASSERT_EQ(corner.size(), 6U);
    EXPECT_GT((corner[1] - corner[0]).Cross(corner[2] - corner[0])[2], 0.0);
    EXPECT_EQ(corner[3], (corner[0] + corner[1]) * 0.5);
    EXPECT_EQ(corner[5], (corner[2] + corner[0]) * 0.5);
    options.materials = MaterialsAs::Elements;
    ExportTo(model, folder / "m.feb", options);
    text = Content(folder / "m.feb");
    EXPECT_NE(text.find("<E type=\"map\">BLOCK_E</E>"), std::string::npos);
    EXPECT_NE(text.find("<ElementData name=\"KN_CHEL___2_E\" elem_set=\"KN_CHEL___2\" data_type=\"scalar\">"),
              std::string::npos);
    EXPECT_NE(text.find("<e lid=\"1\">1234.5678901234567</e>"), std::string::npos);
    options.materials = MaterialsAs::Nodes;
    ExpectRefusals({{[&] { ExportTo(model, folder / "m.feb", options); }, "written to .inp only"}});
}

// Numbers of nodes rise, and nothing but sets of the case and surfaces has a name that these could have.
TEST(Febio, NumbersNodesInAscendingOrder) {
    Folder folder;
    Model const model = MakeTwoParts(10);
    MLong const nodes = model.mesh->NumberOfPoints();
    for (MLong i = 0; i < nodes; ++i)
        model.mesh->GetPointMasks()->GetOriginalIDs()->SetValue(
            *model.mesh->GetRandomPoint(static_cast<std::uint64_t>(i)), 2 * (nodes - i));
    int id = 0;
    for (MMeshElement const& e : model.mesh->Elements())
        model.mesh->GetElementMasks()->GetOriginalIDs()->SetValue(e, ++id);
    ExportOptions options;
    options.original_ids = true;
    ExportTo(model, folder / "m.feb", options);
    int last = 0;
    for (std::string const& line : Lines(folder / "m.feb")) {
        std::size_t const at = line.find("<node id=\"");
        if (at == std::string::npos)
            continue;
        int const number = std::stoi(line.substr(at + 10));
        EXPECT_GT(number, last);
        last = number;
        // Node i of the mesh has number 2 (nodes - i); its position is that of the file.
        auto const p =
            model.mesh->GetRandomPoint(static_cast<std::uint64_t>(nodes - number / 2))->GetPosition();
        EXPECT_EQ(std::stod(line.substr(line.find('>') + 1)), p[0]);
    }
    EXPECT_EQ(last, 2 * nodes);
    EXPECT_NE(Content(folder / "m.feb").find("<Nodes>"), std::string::npos);
}

TEST(Results, AreRefusedWhenCutOffOrOfAnotherMesh) {
    Folder folder;
    Model model = MakeBlocks(8, 1, 1, 1, Box(1, 2, 3));
    SolveOptions options =
        SolveWith("[place.base]\naxis = 'z-'\nwithin = 0\n[[fix]]\nplace = 'base'\naxes = 'xyz'\n"
                  "[gravity]\nacceleration = [0, 0, -9810]\n");
    options.keep = folder / "run";
    Solve(model, options, {});
    std::string const text = Content(options.keep + "/model.frd");
    auto const read = [&](std::string const& content, unsigned int nx, std::optional<int> step = {}) {
        Save(folder / "r.frd", content);
        return [&folder, nx, step] {
            Model other = MakeBlocks(8, int(nx), 1, 1, Box(1, 2, 3));
            Results(other, folder / "r.frd", {step}, {});
        };
    };
    std::size_t const end = text.rfind("9999") + 4;
    for (std::size_t size = 1; size < end; size += size < 1200 ? 1 : 17) {
        auto const cut = read(text.substr(0, size), 1);
        EXPECT_THROW(cut(), Error) << size;
    }
    read(text, 1)();
    ExpectRefusals(
        {{read(text, 2), "lies elsewhere in the mesh"}, {read(text, 1, 4), "no step 4; the last is step 1"}});
    std::string broken = text;
    broken.replace(broken.find("DISP") + 400, 12, "         NaN");
    ExpectRefusals({{read(broken, 1), "is no finite number"}});
}

// A column of the values that CalculiX prints, and those that it prints only for a model that is far off.
std::string ValueColumn(std::size_t node, std::size_t component) {
    static constexpr char const* rare[] = {" 1.00000-101", "-0.00000E+00", " 9.99999E+22", "-1.23456E-18",
                                           " 4.94066-324", "  1.5D+00   ", "+7.00000E+00"};
    if (node % 1000 < std::size(rare))
        return rare[node % 1000];
    std::array<char, 32> text;
    auto const digits = static_cast<double>(100000 + node * 7919 % 900000) / 1e5;
    std::snprintf(text.data(), text.size(), "%12.5E", (component % 2 ? -digits : digits) * 1e-3);
    return text.data();
}

// The value of a column by the C library.
double ValueOf(std::string column) {
    std::ranges::replace(column, 'D', 'E');
    std::size_t const sign = column.find_last_of("+-");
    if (sign > 1 && column[sign - 1] != 'E')
        column.insert(sign, "E");
    return std::strtod(column.c_str(), nullptr);
}

struct FrdLines {
    std::vector<std::string> lines;
    std::map<std::string, std::size_t> first_row; // by block: the index of its first row

    void AddBlock(std::string const& name, std::vector<std::string> const& head, std::size_t rows,
                  std::function<std::string(std::size_t)> const& row) {
        lines.insert(lines.end(), head.begin(), head.end());
        first_row[name] = lines.size();
        for (std::size_t i = 0; i < rows; ++i)
            lines.push_back(row(i));
        lines.emplace_back(" -3");
    }
    std::string Text() const {
        std::string text;
        for (std::string const& line : lines)
            text += line + '\n';
        return text;
    }
};

std::string NodeRow(std::size_t node) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), " -1%10zu", node + 1);
    return text.data();
}

// Large enough for several pieces of each block. A node comes twice, far apart: the last time counts.
FrdLines ResultsOf(Model const& model) {
    FrdLines file;
    std::string const format = std::string(72, ' ') + "1";
    std::size_t const nodes = static_cast<std::size_t>(model.mesh->NumberOfPoints());
    auto const head_of = [&format](std::string key) { return key + format.substr(key.size()) + " "; };
    file.AddBlock("nodes", {"    1C", " " + head_of("   2C")}, nodes, [&](std::size_t i) {
        std::string row = NodeRow(i);
        auto const p = model.mesh->GetRandomPoint(i)->GetPosition();
        for (unsigned int k = 0; k < 3; ++k) {
            std::array<char, 16> text;
            std::snprintf(text.data(), text.size(), "%12.5E", p[k]);
            row += text.data();
        }
        return row;
    });
    file.AddBlock("elements", {" " + head_of("   3C")}, nodes,
                  [](std::size_t i) { return " -2" + std::to_string(i); });
    for (auto const& [name, components] : {std::pair{"DISP", 3U}, {"ERROR", 2U}, {"STRESS", 6U}})
        file.AddBlock(name,
                      {" " + head_of(" 100CL  101 1.000000000"), std::string(" -4  ") + name, " -5  D1"},
                      nodes + 1, [&, components = components](std::size_t i) {
                          std::string row = NodeRow(i == nodes ? 7 : i);
                          for (std::size_t k = 0; k < components; ++k)
                              row += ValueColumn(i, k);
                          return row;
                      });
    file.lines.emplace_back(" 9999");
    return file;
}

TEST(Results, AreTheSameOnAnyNumberOfThreads) {
    Folder folder;
    Model const model = MakeBlocks(8, 20, 21, 22, Box(1, 2, 3));
    Save(folder / "r.frd", ResultsOf(model).Text());
    std::size_t const nodes = static_cast<std::size_t>(model.mesh->NumberOfPoints());
    for (int const threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(threads);
        Model other = MakeBlocks(8, 20, 21, 22, Box(1, 2, 3));
        Results(other, folder / "r.frd", {}, On(threads));
        for (auto const& [name, components] : {std::pair{L"displacement", 3U}, {L"stress", 6U}}) {
            MMeshArray const* const array = FindArray(other.arrays, name, MMeshArray::OnNodes);
            ASSERT_NE(array, nullptr);
            auto const& values = std::get<std::vector<double>>(array->values);
            ASSERT_EQ(values.size(), nodes * components);
            std::size_t wrong = 0;
            for (std::size_t i = 0; i < values.size(); ++i) {
                std::size_t const node = i / components == 7 ? nodes : i / components;
                double const expected = ValueOf(ValueColumn(node, i % components));
                wrong += values[i] != expected || std::signbit(values[i]) != std::signbit(expected);
            }
            EXPECT_EQ(wrong, 0U);
        }
    }
}

// Of several faults in a file the first counts, on any number of threads.
TEST(Results, FaultsAreThoseOfTheFirstBadLine) {
    Folder folder;
    Model model = MakeBlocks(8, 20, 21, 22, Box(1, 2, 3));
    FrdLines const good = ResultsOf(model);
    struct Bad {
        char const* block;
        std::size_t row;
        std::string text;
        std::string message;
    };
    for (Bad const& bad :
         {Bad{"nodes", 4000, " -1         x 1.00000E+00 1.00000E+00 1.00000E+00",
              "there is no number of a node"},
          Bad{"nodes", 9000, NodeRow(1000000), "node 1000001 is not in the mesh, which has 10626 nodes"},
          Bad{"nodes", 10000, NodeRow(10000) + " 1.00000E+04 0.00000E+00 0.00000E+00",
              "node 10001 lies elsewhere in the mesh"},
          Bad{"elements", 5000, std::string(" -2\0", 4), " holds bytes that are no text"},
          Bad{"DISP", 6001, NodeRow(6001) + " 1.00000E+00         NaN 1.00000E+00",
              "\"NaN\" is no finite number"},
          Bad{"ERROR", 7777, " 7", "a line of a block does not begin with -1 to -5"},
          Bad{"STRESS", 3, NodeRow(3), "\"\" is no finite number"}}) {
        FrdLines file = good;
        std::size_t const line = file.first_row[bad.block] + bad.row;
        file.lines[line] = bad.text;
        for (std::size_t const behind : {line + 2, line + 300, line + 1500})
            file.lines[behind] = " -9";
        Save(folder / "bad.frd", file.Text());
        for (int const threads : {1, 2, 3, 8}) {
            SCOPED_TRACE(bad.message + " on " + std::to_string(threads));
            std::string fault;
            try {
                Results(model, folder / "bad.frd", {}, On(threads));
            } catch (std::exception const& e) {
                fault = e.what();
            }
            EXPECT_NE(fault.find("line " + std::to_string(line + 1)), std::string::npos) << fault;
            EXPECT_NE(fault.find(bad.message), std::string::npos) << fault;
        }
    }
}

TEST(CaseFile, SaysInWhichLineItIsWrong) {
    std::string const place = "[place.a]\naxis = 'z-'\nwithin = 1\n";
    struct Row {
        std::string text;
        std::string line;
    };
    for (auto const& [text, line] : {
             Row{"", "the case is empty"},
             Row{std::string("PK\0\1", 4), "it is no text; cases are written in TOML"},
             Row{"[place.a]\n", "line 1: [place.a] names nothing"},
             Row{"[place.a]\nwhithin = 1\n", "line 2: unknown key \"whithin\" in [place.a]; known are axis"},
             Row{"[place.a]\naxis = 'z'\nwithin = 1\n", "line 2: axis must be one of x-, x+"},
             Row{"[place.a]\naxis = 'z-'\n", "needs within"},
             Row{"[place.a]\nwithin = 1\n", "needs axis"},
             Row{"[place.a]\nangle = 1\n", "needs normal"},
             Row{"[place.a]\nnormal = [0, 0, 0]\n", "must not be zero"},
             Row{"[place.a]\nbox = [1, 0, 0, 0, 1, 1]\n", "xmin, ymin"},
             Row{"[place.a]\nsphere = [1, 0, 0, 0]\n", "radius"},
             Row{"[place.a]\nsphere = [1, 0, 0, nan]\n", "finite"},
             Row{place + "[[fix]]\nplace = 'b'\naxes = 'x'\n", "line 5: [[fix]] is for the place \"b\""},
             Row{place + "[[fix]]\nplace = 'a'\naxes = 'xw'\n", "axes must be letters"},
             Row{place + "[fix]\nplace = 'a'\naxes = 'x'\n", "double brackets"},
             Row{place + "[[displace]]\nplace = 'a'\nby = {}\n", "moves nothing"},
             Row{place + "[[displace]]\nplace = 'a'\nby = [1, 2]\n", "list of 3 numbers"},
             Row{place + "[[force]]\nplace = 'a'\n", "needs total"},
             Row{place + "[[pressure]]\nplace = 'a'\nvalue = '1'\n", "value must be a finite number"},
             Row{place + "[gravity]\n", "needs acceleration"},
             Row{place + "[load]\n", "unknown key \"load\" in the case"},
             Row{"[place.a\n", "line 1: "},
         })
        try {
            KetSDK::MeshSolver::ReadCase(text);
            ADD_FAILURE() << line;
        } catch (KetSDK::MeshSolver::CaseError const& e) {
            EXPECT_NE(std::string(e.what()).find(line), std::string::npos) << e.what();
        }
}

} // namespace
