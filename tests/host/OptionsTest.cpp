// SPDX-License-Identifier: BSD-3-Clause
// Every command and every option of it, as the program itself lists them, is used with success, and can be
// cancelled at every stage of its work.
#include "DicomElements.h"
#include "KetmeshProgram.h"

#include <vtkDoubleArray.h>
#include <vtkPointData.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <sstream>

namespace {

// The runs of each command, without the options that all of them have. tet4.vtu and tet10.vtu are made of the
// hexahedra; every run writes out.* into a folder of its own.
std::map<std::string, std::vector<std::string>> const Runs = {
    {"mesh",
     {"LABELS -o out.vtu --size 12 --max-size 20 --labels 1,2 --min-dihedral 12 --smooth 1 --rounds 2 "
      "--image-unit mm --unit mm"}},
    {"info", {"tet4.vtu"}},
    {"save", {"tet4.vtu -o out.kmesh --text"}},
    {"diff", {"tet4.vtu tet4.vtu --tolerance 0.1"}},
    {"surfaces",
     {"tet4.vtu -o out.stl --interfaces --curved --names volumes --split-surfaces",
      "tet4.vtu -o out.stl --ascii"}},
    {"iso", {"tet4.vtu --field label --component 0 --level 1.5 -o out.vtp"}},
    {"boundary",
     {"model.vtu -o out.vtp --interfaces --simplify --colors", "tet4.vtu -o out.vtp --all-faces"}},
    {"explode", {"tet4.vtu --shrink 0.2 --select label -o out.vtp"}},
    {"graph", {"tet4.vtu --all-edges -o out.vtp"}},
    {"quality",
     {"tet4.vtu --metric Volume --below -1 --fail-on 0 --partitions 5 --plot out.svg --worst 3 -o out.vtu",
      "tet4.vtu --metric EdgeMaxMin --above 1e9 --width 0.5 --max-bound 10 --histograms",
      "tet4.vtu --limits abaqus --limit Volume>=0", "--list --markdown", "--list-limits"}},
    {"check", {"tet10.vtu --tolerance 5 --fail-on 0"}},
    {"repair", {"tet10.vtu -o out.vtu --min-ratio 0 --max-ratio 10 --min-alignment 0.3 --fail-on 0"}},
    {"orient", {"tet10.vtu -o out.vtu"}},
    {"grow",
     {"tet4.vtu --metric Volume --below 1 --rings 2 --surface skin.vtp --surface-frame RAS -o out.vtp",
      "tet4.vtu --metric EdgeMaxMin --above 1.1 -o out.vtp"}},
    {"layers", {"tet4.vtu --layers 2 -o out.vtu"}},
    {"convert", {"tet10.vtu -o out.vtu --to tet4 --split"}},
    {"label", {"tet4.vtu --surface skin.vtp --surface-frame RAS --tolerance 0.001 -o out.vtu"}},
    {"group", {"tet4.vtu --surface skin.vtp --surface-frame RAS --tolerance 0.001 -o out.vtu"}},
    {"match", {"tet4.vtu --surface skin.vtp --surface-frame RAS --tolerance 0.001 --fail-on 9999"}},
    {"remove", {"tet4.vtu --name ONE -o out.vtu"}},
    {"split", {"tet4.vtu --name ONE -o out.vtu"}},
    {"merge", {"tet4.vtu tet10.vtu -o out.vtu"}},
    {"weld", {"tet4.vtu --tolerance 0.0001 -o out.vtu"}},
    {"frame", {"arrow.vtu --to LPS --vectors arrow -o out.vtu"}},
    {"cut", {"tet4.vtu --normal 0,0,1 --point 0,0,0.5 -o out.vtp"}},
    {"project",
     {"tet4.vtu --surface skin.vtp --surface-frame RAS --distance 0.01 --interfaces --min-quality 0.1 -o "
      "out.vtu"}},
    {"materials",
     {"HEAD --image CT --image-unit mm --sampling mean --order 1 --outside -1000 --bins 3 --law "
      "1,0.001,1,0,0 "
      "--modulus 3000,2 --poisson 0.4 --unit-offset --min-density 0.02 --by grey --average law -o out.vtu "
      "--catalog out.xml",
      "HEAD --image CT --preset femur --by single -o out.vtu --only ONE --set TWO=1.9,17000,0.3",
      "HEAD --image DICOM --series 1.2.3 --preset femur --by single -o out.vtu",
      "--list-presets --markdown"}},
    {"export",
     {"block.inp -o out.inp --case case.toml --materials elements --dialect abaqus --split --original-ids"}},
    {"solve",
     {"block.inp --case case.toml -o out.vtu --materials nodes --solver direct --timeout 60 --keep out.run"}},
    {"results", {"kept.run/model.frd --mesh block.inp --step 1 -o out.vtu"}},
    {"view", {"tet4.vtu --color EdgeMinMax --metrics Volume --max-elements 100 -o out.html"}},
    {"colors",
     {"HEAD --bins 3 --from -500 --to 900 --name map -o out.json", "--intervals 1,2,3 -o out.xml"}}};

// A slice of 2 x 2 voxels of 20 mm within the sample head.
std::string DicomSlice(std::string const& z) {
    auto const number = [](std::uint16_t value) { return Bytes(value); };
    return std::string(128, '\0') + "DICM" + DicomElement(0x00020010, "UI", "1.2.840.10008.1.2.1") +
           DicomElement(0x0020000E, "UI", "1.2.3") + DicomElement(0x00200032, "DS", "110\\110\\" + z) +
           DicomElement(0x00200037, "DS", "1\\0\\0\\0\\1\\0") + DicomElement(0x00280010, "US", number(2)) +
           DicomElement(0x00280011, "US", number(2)) + DicomElement(0x00280030, "DS", "20\\20") +
           DicomElement(0x00280100, "US", number(16)) + DicomElement(0x00280101, "US", number(16)) +
           DicomElement(0x00280102, "US", number(15)) + DicomElement(0x00280103, "US", number(0)) +
           DicomElement(0x7FE00010, "OW", number(100) + number(200) + number(300) + number(400));
}

// The keys of the report of the first run, beside those of all: a dot leads to the first of a list or the
// value of a key.
std::map<std::string, std::string> const Keys = {
    {"info",
     "elements nodes kinds.tet4 subvolumes.number subvolumes.name subvolumes.elements "
     "subvolumes.volume volume "
     "box frame rounding_error merged_nodes nodes_out_of_range memory arrays.where arrays.name arrays.type "
     "arrays.components arrays.range"},
    {"mesh", "elements nodes subvolumes.name size max_size min_dihedral relabelled labels.label "
             "labels.elements labels.voxel_volume labels.volume labels.distance.mean labels.distance.max "
             "labels.interface_nodes labels.not_found labels.thickness labels.lost_volume files"},
    {"save", "elements nodes bytes encoding files"},
    {"diff", "equal first_difference left_out elements nodes"},
    {"surfaces", "surfaces.name surfaces.triangles surfaces.area surfaces.closed triangles points box "
                 "rounding_error files"},
    {"iso",
     "field hexahedra_and_wedges from range nodes_without_value level triangles points collapsed area closed "
     "enclosed_volume files"},
    {"boundary",
     "elements hexahedra_and_wedges nodes boundary_elements boundary_nodes triangles area closed files"},
    {"explode", "elements elements_taken triangles points shrink volume_factor files"},
    {"graph", "elements graphs.name graphs.vertices graphs.edges vertices edges all_edges files"},
    {"quality", "elements hexahedra_and_wedges below limits failing metrics.Volume.unit metrics.Volume.min "
                "metrics.Volume.mean "
                "metrics.Volume.max "
                "metrics.Volume.percentiles.50 metrics.Volume.nonfinite metrics.Volume.bad "
                "metrics.Volume.histogram.range "
                "metrics.Volume.histogram.counts metrics.Volume.worst.element metrics.Volume.worst.value "
                "metrics.Volume.worst.centre metrics.Volume.worst.subvolume files"},
    {"check", "elements quadratic hexahedra_and_wedges tolerance wrong_orientation folded zero_volume "
              "wrong_mid_edges wrong_mid_faces "
              "duplicate_elements duplicate_nodes faces_of_three unused_nodes parts"},
    {"repair",
     "elements modified straightened mid_nodes_aligned passes outer thresholds bad_before bad_after "
     "ratio_before.folded ratio_after.median files"},
    {"orient", "elements tetrahedra flat corrected volume_before volume_after files"},
    {"grow", "elements bad rings below surfaces.name surfaces.triangles surfaces.marked surfaces.area "
             "triangles on_mesh "
             "marked area files"},
    {"layers", "elements layers.number layers.elements layers.volume elements_in_layers inside.elements "
               "inside.volume files"},
    {"convert",
     "to elements_before elements_after nodes_before nodes_after nodes_joined volume_before volume_after "
     "reoriented subvolumes.name files"},
    {"label", "elements hexahedra_and_wedges subvolumes.name files"},
    {"group",
     "elements groups_of subvolumes.name boundary_faces.with_triangle interface_faces.without_triangle "
     "inner_faces.with_triangle triangles.with_face wrong_way files"},
    {"match",
     "elements hexahedra_and_wedges tolerance boundary_faces.with_triangle interface_faces.without_triangle "
     "inner_faces.with_triangle "
     "triangles.without_face wrong_way mismatches"},
    {"remove", "elements nodes removed_elements removed_nodes subvolumes.name files"},
    {"split", "elements nodes new_subvolumes subvolumes.name files"},
    {"merge", "elements nodes joined_nodes duplicate_elements subvolumes.name files"},
    {"weld", "elements nodes joined_nodes duplicate_elements subvolumes.name files"},
    {"view", "elements nodes shown color colors bytes files"},
    {"frame", "elements nodes from to frame vectors files"},
    {"cut", "area above below cut contours contour_length subvolumes.area files"},
    {"project", "nodes moved shortened left too_far on_surface held largest_move volume_before volume_after "
                "distance_before.mean distance_after.max limited quality_before quality_after files"}};

bool HasKey(Json const& report, std::string const& path) {
    Json const* at = &report;
    std::istringstream keys(path);
    for (std::string key; std::getline(keys, key, '.');) {
        if (at->is_array())
            at = at->empty() ? nullptr : &at->front();
        if (!at || !at->contains(key))
            return false;
        at = &at->at(key);
    }
    return true;
}

// What follows a title in a help text, up to the next empty line: the names that its lines begin with.
std::set<std::string> Listed(std::string const& help, std::string const& title) {
    std::istringstream lines(help.substr(std::min(help.find("\n" + title + ":\n"), help.size())));
    std::set<std::string> names;
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line);
    while (std::getline(lines, line) && !line.empty())
        if (line.size() > 2 && line[2] != ' ') {
            std::string name = line.substr(2, line.find(' ', 2) - 2);
            names.insert(name.substr(name.find(",-") == std::string::npos ? 0 : name.find(',') + 1));
        }
    return names;
}

class EveryCommand : public Ketmesh {
protected:
    // A file that the runs read, with a name that text shows on one line all the same.
    std::string In(std::string const& name) const { return Path("na\nme/" + name); }

    // Makes these files. Samples are copied: what happens in this folder happens by this test.
    void SetUp() override {
        fs::create_directory(In(""));
        fs::copy_file(Head, In("head.vtu"));
        fs::copy_file(Data + "head_ct.nii.gz", In("ct.nii.gz"));
        fs::copy_file(Data + "head_labels.nii.gz", In("labels.nii.gz"));
        std::string const skin = In("skin.vtp"), model = In("model.vtu");
        Run({"convert", Data + "hex_matrix_fiber.vtu", "--to", "tet4", "-o", In("tet4.vtu")});
        auto const grid = ReadGrid("hex_matrix_fiber.vtu");
        vtkNew<vtkDoubleArray> arrow;
        arrow->SetName("arrow");
        arrow->SetNumberOfComponents(3);
        arrow->SetNumberOfTuples(grid->GetNumberOfPoints());
        arrow->Fill(1.0);
        grid->GetPointData()->AddArray(arrow);
        WriteGrid(In("arrow.vtu"), *grid);
        RunJson({"convert", In("tet4.vtu"), "--to", "tet10", "-o", In("tet10.vtu")});
        RunJson({"surfaces", In("tet4.vtu"), "--interfaces", "--names", "volumes", "-o", skin});
        Run({"materials", In("head.vtu"), "--image", In("ct.nii.gz"), "--preset", "femur", "--bins", "2",
             "-o", model});
        // A block with materials, which is solved at once.
        std::string const deck =
            "*NODE\n1, 0, 0, 0\n2, 1, 0, 0\n3, 0, 1, 0\n4, 0, 0, 1\n*ELEMENT, TYPE=C3D4, "
            "ELSET=ALL\n1, 1, 2, 3, 4\n*ELSET, ELSET=label\n1\n*MATERIAL, NAME=M\n*ELASTIC\n100, 0.3\n"
            "*SOLID SECTION, ELSET=ALL, MATERIAL=M\n";
        Save(In("block.inp"), deck);
        Save(In("case.toml"), "[place.base]\naxis = 'z-'\nwithin = 0\n[[fix]]\nplace = 'base'\naxes = 'xyz'\n"
                              "[place.side]\nnormal = [1, 1, 1]\n[[pressure]]\nplace = 'side'\nvalue = 1\n");
        // With a warning: a single linear tetrahedron.
        EXPECT_EQ(Run({"solve", In("block.inp"), "--case", In("case.toml"), "-o", In("solved.vtu"), "--keep",
                       In("kept.run")})
                      .status,
                  0);
        fs::create_directory(In("dicom"));
        for (std::string const z : {"60", "80"})
            Save(In("dicom/" + z + ".dcm"), DicomSlice(z));
    }

    std::vector<std::string> Arguments(std::string const& command, std::string const& run) const {
        static std::map<std::string, std::string> const samples = {
            {"HEAD", "head.vtu"}, {"CT", "ct.nii.gz"}, {"LABELS", "labels.nii.gz"}, {"DICOM", "dicom"}};
        static std::map<std::string, std::string> const names = {
            {"ONE", "Label 1"}, {"TWO=1.9,17000,0.3", "Label 2=1.9,17000,0.3"}};
        std::vector<std::string> arguments = {command};
        std::istringstream words(run);
        for (std::string word; words >> word;) {
            bool const is_file =
                std::ranges::any_of(std::array{".vt", ".inp", ".toml", ".run"},
                                    [&](auto end) { return word.find(end) != std::string::npos; });
            arguments.push_back(samples.contains(word)     ? In(samples.at(word))
                                : names.contains(word)     ? names.at(word)
                                : word.starts_with("out.") ? Path("out/" + word)
                                : is_file                  ? In(word)
                                                           : word);
        }
        return arguments;
    }

    // Sends signals at moments that do not depend on speed. Nobody loses patience with the program meanwhile:
    // its work listens by itself.
    void ExpectStops(std::vector<std::string> const& arguments) const {
        ClearOutputs();
        Result const undisturbed = Run(arguments);
        EXPECT_EQ(undisturbed.status, 0) << undisturbed.err;
        EXPECT_EQ((undisturbed.out + undisturbed.err).find("\nme/"), std::string::npos) << undisturbed.out;
        std::set<std::string> const outputs = OutputSet();
        struct Stage {
            char const* what;
            fs::path folder;
            unsigned long event;
            int signal;
        };
        for (Stage const& stage :
             {Stage{"reading", In(""), DN_ACCESS, SIGTERM},
              Stage{"beginning", m_folder / "out", DN_CREATE, SIGHUP},
              Stage{"writing", m_folder / "out", DN_MODIFY, SIGINT},
              Stage{"writing, twice", m_folder / "out", DN_MODIFY | DN_MULTISHOT, SIGINT},
              Stage{"renaming", m_folder / "out", DN_RENAME, SIGINT}}) {
            if (outputs.empty() && stage.event != DN_ACCESS)
                continue;
            SCOPED_TRACE(stage.what);
            ClearOutputs();
            Result const result = Finish(Start(arguments, [&stage] {
                ::signal(SIGALRM, SIG_IGN);
                SignalAt(stage.folder, stage.event, stage.signal);
            }));
            if (stage.event == DN_RENAME) { // too late: files of one run appear together
                EXPECT_EQ(result.status, 0) << result.err;
                EXPECT_EQ(OutputSet(), outputs);
                continue;
            }
            EXPECT_EQ(result.status, 130) << result.err;
            EXPECT_EQ(result.out, "");
            std::set<std::string> left = OutputSet();
            left.erase("out.run"); // what the solver did is kept on request
            EXPECT_EQ(left, std::set<std::string>());
        }
    }
    std::set<std::string> OutputSet() const {
        std::vector<std::string> const names = Outputs();
        return {names.begin(), names.end()};
    }
    void ClearOutputs() const {
        for (std::string const& name : Outputs())
            fs::remove_all(Path("out/" + name));
    }
};

} // namespace

TEST_F(EveryCommand, WorksWithEveryOptionAndStopsOnRequest) {
    std::set<std::string> const commands = Listed(Run({"--help"}).out, "Subcommands");
    ASSERT_GE(commands.size(), Runs.size());
    for (std::string const& command : commands) {
        SCOPED_TRACE(command);
        ASSERT_TRUE(Runs.contains(command)) << "say here how it is run";
        std::string const help = Run({command, "--help"}).out;
        std::istringstream lines(help);
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(line.size() <= 80 || line.starts_with("  ketmesh ")) << line;
        std::set<std::string> used = {"--help"};
        std::vector<std::string> common = {"--labels",   "label",  "--unit",         "mm",
                                           "--frame",    "RAS",    "--allow-merged", "--allow-out-of-range",
                                           "--all-rows", "--json", "--timing",       "--threads",
                                           "2"};
        if (command == "mesh") // reads an image, and no mesh
            common = {"--all-rows", "--json", "--timing", "--threads", "2"};
        std::string const common_keys =
            " inputs warnings seconds.read seconds.work seconds.write peak_memory";
        for (std::string const& run : Runs.at(command)) {
            SCOPED_TRACE(run);
            ClearOutputs();
            std::vector<std::string> arguments = Arguments(command, run);
            arguments.insert(arguments.end(), common.begin(), common.end());
            std::vector<std::string> plain = arguments;
            std::erase(plain, "--json");
            bool const reports = !common.empty();
            common.clear();
            for (std::string const& argument : arguments)
                used.insert(argument == "-o" ? "--output" : argument);
            Result const result = Run(arguments);
            if (result.err.find("built without the page") != std::string::npos)
                continue; // of ketmesh view, where npm is missing
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_NE(result.out, "");
            Json const report = reports ? Json::parse(result.out, nullptr, false) : Json();
            std::istringstream keys(Keys.contains(command) ? Keys.at(command) + common_keys : common_keys);
            for (std::string key; reports && keys >> key;)
                EXPECT_TRUE(HasKey(report, key)) << key << " is missing: " << report;
            if (!plain[1].starts_with("--")) // what only prints a table reads nothing
                ExpectStops(plain);
        }
        for (std::string const& option : Listed(help, "Options"))
            EXPECT_TRUE(used.contains(option)) << option << " is never used";
    }
}
