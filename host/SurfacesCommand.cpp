#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <vtkUnstructuredGrid.h>

#include <cstddef>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// The sub-volume numbers in a name that the extraction gave: one outside, two between sub-volumes, the
// lower one first.
std::vector<int> NumbersInName(std::wstring const& name) {
    std::vector<int> numbers;
    for (std::size_t i = 0; i < name.size();) {
        if (name[i] < L'0' || name[i] > L'9') {
            ++i;
            continue;
        }
        std::size_t length = 0;
        numbers.push_back(std::stoi(name.substr(i), &length));
        i += length;
    }
    return numbers;
}

// Names each surface after the sub-volumes that it bounds.
void NameAfterVolumes(MStlBase& stl, MMeshBase const& mesh) {
    auto const name_of = [&mesh](int number) { return mesh.BeginSubVolume()[number]->GetName(); };
    for (MStlSurface& surface : stl.Surfaces()) {
        std::vector<int> const numbers = NumbersInName(surface.GetName());
        std::wstring const other = numbers.size() > 1 ? name_of(numbers[1]) : L"";
        surface.SetName((name_of(numbers.at(0)) + L"-" + other).c_str());
    }
}

// Extracts the surfaces of a mesh into a file.
class SurfacesCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("surfaces", "Extract the named surfaces of a volume mesh");
        command.footer("Examples:\n"
                       "  ketmesh surfaces head.vtu -o head.vtp --interfaces --names volumes\n"
                       "  ketmesh surfaces head.vtu -o head.stl --split-surfaces");
        m_input.Declare(command);
        command.add_option("-o,--output", m_output, "Surface file to write: .vtp, .stl, .ply or .obj")
            ->required();
        command.add_flag("--interfaces", m_interfaces, "Extract the surfaces between sub-volumes as well");
        command
            .add_option(
                "--names", m_names,
                "Name surfaces by the numbers (ids, the default) or the names (volumes) of the sub-volumes")
            ->check(CLI::IsMember({"ids", "volumes"}));
        command.add_flag("--split-surfaces", m_split,
                         "Write a file for each surface, named <output>-<surface> with the output's ending");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        // Looked at first: reading a large mesh for nothing would be a pity.
        std::optional<KetSDK::MeshVTK::OutputFile> file;
        ForFile(m_output, [this, &file] {
            KetSDK::MeshVTK::CheckSurfaceFileName(m_output);
            if (!m_split)
                file.emplace(m_output);
        });
        MeshInput::Loaded loaded = m_input.Load(progress);
        loaded.grid = nullptr; // a large mesh needs the memory for its surfaces
        MStlBase stl;
        MMeshExtractStlSurfaceOperator extract;
        extract.SetMesh(loaded.mesh.get());
        extract.SetStl(&stl);
        extract.SetExtractInterfacesBetweenSubVolumes(m_interfaces);
        if (!extract.Operate())
            throw FileError(m_input.GetFileName(), "its surfaces could not be extracted");
        ThrowIfCancelled();
        if (m_names == "volumes")
            NameAfterVolumes(stl, *loaded.mesh);
        Json const report = _Report(stl, loaded);
        ThrowIfCancelled();
        std::vector<std::filesystem::path> const files = _Write(stl, file, progress);
        if (m_json)
            _PrintJson(report, files);
        else
            _PrintTable(report, files);
        return Done;
    }

private:
    static Json _Report(MStlBase const& stl, MeshInput::Loaded const& loaded) {
        Json report;
        report["surfaces"] = Json::array();
        for (MStlSurface const& surface : stl.Surfaces())
            report["surfaces"].push_back({{"name", KetSDK::MeshVTK::ToUtf8(surface.GetName())},
                                          {"triangles", surface.NumberOfTriangles()},
                                          {"area", surface.GetArea()},
                                          {"closed", surface.IsClosed()}});
        report["triangles"] = stl.NumberOfTriangles();
        report["points"] = stl.NumberOfPoints();
        report["box"] = BoxOf(*loaded.mesh);
        report["rounding_error"] = loaded.rounding.largest_error;
        return report;
    }

    std::vector<std::filesystem::path> _Write(MStlBase const& stl,
                                              std::optional<KetSDK::MeshVTK::OutputFile>& file,
                                              Progress const& progress) const {
        return ForFile(m_output, [&]() -> std::vector<std::filesystem::path> {
            if (m_split)
                return KetSDK::MeshVTK::WriteSurfaceFiles(stl, m_input.GetUnit(), m_output, progress);
            KetSDK::MeshVTK::WriteSurfaceFile(stl, m_input.GetUnit(), *file, progress);
            return {m_output};
        });
    }

    static void _PrintJson(Json report, std::vector<std::filesystem::path> const& files) {
        report["files"] = Json::array();
        for (std::filesystem::path const& path : files)
            report["files"].push_back(path.string());
        PrintJson(report);
    }

    static void _PrintTable(Json const& report, std::vector<std::filesystem::path> const& files) {
        Table table({{"surface", Table::Align::Left},
                     {"triangles", Table::Align::Right},
                     {"area [mm2]", Table::Align::Right},
                     {"closed", Table::Align::Left}});
        double area = 0.0;
        for (Json const& surface : report["surfaces"])
            area += surface["area"].get<double>();
        for (Json const& surface : report["surfaces"])
            table.AddRow({surface["name"], surface["triangles"].dump(), FormatNumber(surface["area"], area),
                          surface["closed"] ? "yes" : "no"});
        table.AddRule();
        table.AddRow({"all", report["triangles"].dump(), FormatNumber(area), ""});
        table.Print(std::cout);
        std::cout << '\n';
        for (std::filesystem::path const& path : files)
            std::cout << "written: " << path.string() << '\n';
    }

    MeshInput m_input;
    std::string m_output;
    std::string m_names = "ids";
    bool m_interfaces = false;
    bool m_split = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeSurfacesCommand() {
    return std::make_unique<SurfacesCommand>();
}

} // namespace ketmesh
