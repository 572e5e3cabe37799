#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>
#include <host/Cancellation.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/Format.h>
#include <host/MeshInput.h>
#include <host/NumberCheck.h>
#include <host/Table.h>

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

namespace ketmesh {

namespace {

// A kind of defect: its key in reports, its name for people and what it means.
struct Defect {
    char const* key;
    int (MMeshTet10ConsistencyCheckOperator::*count)() const noexcept;
    char const* name;
    char const* meaning;
};

constexpr Defect Defects[] = {
    {"wrong_orientation", &MMeshTet10ConsistencyCheckOperator::GetWrongOrientation, "wrong orientation",
     "the corners are wound the wrong way: the volume is negative"},
    {"zero_volume", &MMeshTet10ConsistencyCheckOperator::GetZeroVolume, "zero volume",
     "the element is flat or collapsed"},
    {"wrong_mid_edges", &MMeshTet10ConsistencyCheckOperator::GetWrongMidEdges, "wrong mid-edge nodes",
     "a mid-edge node is farther from the middle of its edge than the tolerance"},
    {"wrong_mid_faces", &MMeshTet10ConsistencyCheckOperator::GetWrongMidFaces, "wrong mid-face nodes",
     "so is one of a face, measured by the mean length of the face's edges"},
};

// Counts defects of tetrahedra.
class CheckCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("check", "Count defects of linear and quadratic tetrahedra");
        command.footer(
            "An element can have several defects. Mid-edge nodes are looked at where the mesh has\n"
            "quadratic tetrahedra.\n\n"
            "Examples:\n"
            "  ketmesh check head.vtu\n"
            "  ketmesh check head_tet10.vtu --tolerance 5 --fail-on 0 --json");
        m_input.Declare(command);
        command
            .add_option("--tolerance", m_tolerance,
                        "Deviation of a mid-edge node that passes, in per cent of the length of its edge "
                        "(0.5 unless given)")
            ->type_name("P")
            ->check(PositiveNumber());
        command
            .add_option("--fail-on", m_most,
                        "End with exit status 2 when more than so many elements have one of the defects")
            ->type_name("N")
            ->check(Count());
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        MeshInput::Loaded const loaded = m_input.LoadTetrahedra(progress);
        MMeshTet10ConsistencyCheckOperator check;
        check.SetMesh(loaded.mesh.get());
        check.SetTolerance(m_tolerance);
        if (!check.Operate())
            throw FileError(m_input.GetFileName(), "it could not be checked");
        ThrowIfCancelled();
        if (m_json)
            _PrintJson(*loaded.mesh, check);
        else
            _Print(*loaded.mesh, check);
        return _CheckCounts(check);
    }

private:
    void _PrintJson(MMeshBase const& mesh, MMeshTet10ConsistencyCheckOperator const& check) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["quadratic"] = mesh.GetMeshType() == MMeshBase::Quadratic;
        report["tolerance"] = m_tolerance;
        for (Defect const& defect : Defects)
            report[defect.key] = (check.*defect.count)();
        PrintJson(report);
    }

    void _Print(MMeshBase const& mesh, MMeshTet10ConsistencyCheckOperator const& check) const {
        bool const quadratic = mesh.GetMeshType() == MMeshBase::Quadratic;
        std::cout << m_input.GetFileName() << ": " << mesh.NumberOfElements() << " elements, "
                  << (quadratic ? "quadratic; tolerance " + FormatGeneral(m_tolerance) + " %"
                                : "linear: without mid-edge nodes")
                  << "\n\n";
        Table table({{"defect", Table::Align::Left},
                     {"elements", Table::Align::Right},
                     {"meaning", Table::Align::Left}});
        for (Defect const& defect : Defects)
            table.AddRow({defect.name, std::to_string((check.*defect.count)()), defect.meaning});
        table.Print(std::cout);
    }

    int _CheckCounts(MMeshTet10ConsistencyCheckOperator const& check) const {
        std::string failed;
        for (Defect const& defect : Defects) {
            int const count = (check.*defect.count)();
            if (m_most && static_cast<std::uint64_t>(count) > *m_most)
                failed += (failed.empty() ? "" : ", ") + std::to_string(count) + " " + defect.name;
        }
        if (failed.empty())
            return Done;
        std::cerr << "ketmesh: " << m_input.GetFileName() << ": elements have defects: " << failed
                  << "; at most " << *m_most << " may\n";
        return CheckFailed;
    }

    MeshInput m_input;
    double m_tolerance = 0.5;
    std::optional<std::uint64_t> m_most;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeCheckCommand() {
    return std::make_unique<CheckCommand>();
}

} // namespace ketmesh
