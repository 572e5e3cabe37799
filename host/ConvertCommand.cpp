#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <host/CarriedValues.h>
#include <host/Command.h>
#include <host/ElementKinds.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/SubVolumeList.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>
#include <host/terminal/Warnings.h>

#include <vtkUnstructuredGrid.h>

#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ketmesh {

namespace {

enum class Target { Linear, Quadratic };

// One operator's part of a conversion.
enum class Step { CutHexahedra, Straighten, Split, Curve };

// How many elements of a kind there are.
using Kinds = std::map<unsigned int, std::uint64_t>;

// Converts between kinds of elements.
class ConvertCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("convert", "Convert hexahedra and tetrahedra to other tetrahedra");
        command.footer(
            "A hexahedron is cut into five tetrahedra by the order of its nodes. Where neighbours cut\n"
            "their common face along different diagonals the tetrahedra do not fit together there;\n"
            "such faces are counted. A linear tetrahedron becomes quadratic with nodes in the middles\n"
            "of its edges, a quadratic one linear by its corners alone or, with --split, as eight.\n"
            "Inverted tetrahedra are turned when the result is linear.\n\n"
            "Elements come sub-volume by sub-volume, and nodes at one place become one. New elements\n"
            "have the values of those that they came from in all cell arrays. In point arrays a new\n"
            "mid-edge node has the mean of the ends of its edge when the numbers are floating-point,\n"
            "and the smaller of both values otherwise; original_id is -1 there.\n\n"
            "Examples:\n"
            "  ketmesh convert head.vtu -o head_tet10.vtu --to tet10\n"
            "  ketmesh convert head_tet10.vtu -o head_fine.vtu --to tet4 --split\n"
            "  ketmesh convert blocks_hex8.vtu -o blocks_tet4.vtu --to tet4 --json");
        m_input.Declare(command);
        m_output.Declare(command, "Volume mesh to write")->required();
        m_to.Declare(command, "--to", "Kind of elements to convert to: linear (tet4) or quadratic (tet10)")
            ->required();
        command.add_flag("--split", m_split,
                         "Make eight linear tetrahedra of each quadratic one, on all its nodes");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        if (m_split && m_to.Get() != Target::Linear)
            throw std::invalid_argument("--split makes linear tetrahedra; it goes with --to tet4");
        m_output.Open();
        MeshInput::Loaded loaded = m_input.Load(progress);
        Kinds kinds;
        for (ElementKind const& kind : CountKinds(*loaded.mesh))
            kinds[kind.nodes] = kind.elements;
        Conversion const conversion = _Convert(*loaded.mesh, _Plan(kinds), progress);
        CarriedValues const values(*loaded.mesh, *conversion.mesh, conversion.origins);
        values.SetMeshValues();
        Json report = _Report(*loaded.mesh, conversion, values);
        ThrowIfCancelled();
        auto const grid = KetSDK::MeshVTK::GridFromMesh(*conversion.mesh, m_input.GetUnit(), nullptr);
        values.AddArrays(*loaded.grid, *grid);
        m_output.Write(*conversion.mesh, *grid, progress);
        if (kinds[8] > 0)
            _CompareDiagonals(*loaded.mesh, report);
        report["warnings"] = m_warnings.GetList();
        report["files"] = {m_output.GetFileName()};
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    struct Conversion {
        std::unique_ptr<MMeshBase> mesh;
        CarriedValues::Origins origins;
        int turned = 0;
    };

    [[noreturn]] void _Refuse(std::string const& message) const {
        throw FileError(m_input.GetFileName(), message);
    }

    // What is to be done with these elements.
    std::vector<Step> _Plan(Kinds& kinds) const {
        if (kinds[6] > 0)
            _Refuse("there are " + std::to_string(kinds[6]) +
                    " wedges, which cannot be converted; hexahedra and tetrahedra can");
        std::vector<Step> steps;
        if (kinds[8] > 0)
            steps.push_back(Step::CutHexahedra);
        if (m_to.Get() == Target::Quadratic) {
            _CheckForCurving(kinds);
            steps.push_back(Step::Curve);
        } else if (m_split) {
            _CheckForSplitting(kinds);
            steps.push_back(Step::Split);
        } else if (kinds[10] > 0) {
            steps.push_back(Step::Straighten);
        }
        if (steps.empty())
            _Refuse("all elements are linear tetrahedra already; there is nothing to convert");
        return steps;
    }

    void _CheckForCurving(Kinds& kinds) const {
        if (kinds[10] > 0 && kinds[4] + kinds[8] > 0)
            _Refuse("quadratic tetrahedra (" + std::to_string(kinds[10]) +
                    ") and linear elements are mixed; convert to tet4 first");
        if (kinds[10] > 0)
            _Refuse("all elements are quadratic tetrahedra already; there is nothing to convert");
    }

    void _CheckForSplitting(Kinds& kinds) const {
        if (kinds[10] == 0)
            _Refuse("there are no quadratic tetrahedra, which could be split; convert to tet10 first");
        if (kinds[4] + kinds[8] > 0)
            _Refuse("there are linear elements (" + std::to_string(kinds[4] + kinds[8]) +
                    ") beside the quadratic tetrahedra, and neighbours would not fit; leave out --split");
    }

    Conversion _Convert(MMeshBase& mesh, std::vector<Step> const& steps, Progress const& progress) const {
        Conversion conversion;
        for (Step const step : steps) {
            MMeshBase& source = conversion.mesh ? *conversion.mesh : mesh;
            CarriedValues::Origins origins =
                CarriedValues::BySubVolume(source, [step](MMeshElement const& e) {
                    return step == Step::Split                                   ? 8u
                           : step == Step::CutHexahedra && e.GetNodeCount() == 8 ? 5u
                                                                                 : 1u;
                });
            if (!conversion.origins.empty())
                for (std::uint64_t& origin : origins)
                    origin = conversion.origins[origin];
            auto target = std::make_unique<MMeshBase>();
            conversion.turned += _RunStep(step, source, *target, progress);
            ThrowIfCancelled();
            conversion.mesh = std::move(target);
            conversion.origins = std::move(origins);
        }
        return conversion;
    }

    // Returns how many elements were turned.
    int _RunStep(Step step, MMeshBase& source, MMeshBase& target, Progress const& progress) const {
        auto const run = [this, &source](MMeshOperator& convert) {
            convert.SetMesh(&source);
            if (!convert.Operate()) {
                ThrowIfCancelled();
                _Refuse("it could not be converted");
            }
        };
        if (step == Step::Curve) {
            MMeshConvertTet4ToTet10Operator convert;
            convert.SetTet10Mesh(&target);
            convert.SetProgressDelegate(progress);
            run(convert);
            return 0;
        }
        if (step == Step::CutHexahedra) {
            MMeshConvertHex8ToTet4Operator convert;
            convert.SetTet4Mesh(&target);
            run(convert);
            return convert.GetNbCorrected();
        }
        MMeshConvertTet10ToTet4Operator convert;
        convert.SetTet4Mesh(&target);
        convert.SetMultipleElements(step == Step::Split);
        run(convert);
        return convert.GetNbCorrected();
    }

    Json _Report(MMeshBase const& source, Conversion const& conversion, CarriedValues const& values) const {
        MMeshBase const& target = *conversion.mesh;
        Json report;
        report["to"] = m_to.GetWord();
        report["elements_before"] = source.NumberOfElements();
        report["elements_after"] = target.NumberOfElements();
        report["nodes_before"] = source.NumberOfPoints();
        report["nodes_after"] = target.NumberOfPoints();
        report["nodes_joined"] = values.GetNbJoinedNodes();
        report["volume_before"] = source.GetVolume();
        report["volume_after"] = target.GetVolume();
        report["reoriented"] = conversion.turned;
        report["subvolumes"] = SubVolumesOf(target);
        return report;
    }

    void _CompareDiagonals(MMeshBase const& hexahedra, Json& report) {
        auto const diagonals = MMeshConvertHex8ToTet4Operator::CompareDiagonals(hexahedra);
        report["interior_faces"] = diagonals.interior;
        report["nonmatching_faces"] = diagonals.different;
        if (diagonals.different > 0)
            m_warnings.Add(
                m_input.GetFileName() + ": at " + std::to_string(diagonals.different) + " of " +
                std::to_string(diagonals.interior) +
                " faces between hexahedra the tetrahedra do not fit together: their diagonals differ");
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": converted to " << m_to.GetWord() << "\n\n";
        Table table(
            {{"", Table::Align::Left}, {"before", Table::Align::Right}, {"after", Table::Align::Right}});
        table.AddRow({"elements", report["elements_before"].dump(), report["elements_after"].dump()});
        table.AddRow({"nodes", report["nodes_before"].dump(), report["nodes_after"].dump()});
        table.AddRow(
            {"volume [mm3]", FormatNumber(report["volume_before"]), FormatNumber(report["volume_after"])});
        table.Print(std::cout);
        std::cout << '\n';
        PrintSubVolumes(report["subvolumes"]);
        std::cout << "\nre-oriented elements        " << report["reoriented"]
                  << "\nnodes joined at one place   " << report["nodes_joined"] << '\n';
        if (report.contains("interior_faces"))
            std::cout << "faces that do not match     " << report["nonmatching_faces"] << " of "
                      << report["interior_faces"] << " between hexahedra\n";
        std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    MeshOutput m_output;
    Warnings m_warnings;
    Choice<Target> m_to{{{"tet4", Target::Linear}, {"tet10", Target::Quadratic}}};
    bool m_split = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeConvertCommand() {
    return std::make_unique<ConvertCommand>();
}

} // namespace ketmesh
