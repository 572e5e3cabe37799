#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/Measuring.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/Threads.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Pulls mid-edge nodes of bad quadratic tetrahedra back towards the middles of their edges.
class RepairCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("repair", "Repair quadratic tetrahedra whose mid-edge nodes make them bad");
        command.footer(
            "An element is bad when its Jacobian ratio (the metric JacobianRatio, -100 for a folded\n"
            "element) lies outside the thresholds. Its mid-edge nodes are pulled back towards the\n"
            "middles of its edges, as little as needed. Corners never move, so an element that is\n"
            "bad even when straight stays as it is.\n\n"
            "Examples:\n"
            "  ketmesh repair head_tet10.vtu -o head_repaired.vtu\n"
            "  ketmesh repair head_tet10.vtu -o head_repaired.vtu --max-ratio 10 --fail-on 0");
        m_input.Declare(command);
        m_output.Declare(command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
        _DeclareThreshold(command, "--min-ratio", m_min_ratio, "Smallest Jacobian ratio that is good");
        _DeclareThreshold(command, "--max-ratio", m_max_ratio, "Largest Jacobian ratio that is good");
        _DeclareThreshold(command, "--min-alignment", m_min_alignment,
                          "Smallest cosine of the angle at a mid-edge node between the halves of its edge, 1 "
                          "when straight; nodes below are pulled back first");
        command
            .add_option("--fail-on", m_most_bad,
                        "End with exit status 2 when more than so many elements stay bad")
            ->type_name("N")
            ->check(Count());
        m_threads.Declare(command);
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        if (m_min_ratio > m_max_ratio)
            throw std::invalid_argument("--min-ratio " + FormatGeneral(m_min_ratio) +
                                        " is above --max-ratio " + FormatGeneral(m_max_ratio) +
                                        "; every element would be bad");
        if (std::fabs(m_min_alignment) > 1.0)
            throw std::invalid_argument("--min-alignment " + FormatGeneral(m_min_alignment) +
                                        " is no cosine; it lies between -1 and 1");
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.Load(progress);
        MMeshBase& mesh = *loaded.mesh;
        if (mesh.GetMeshType() != MMeshBase::Quadratic)
            throw FileError(m_input.GetFileName(),
                            "there are no quadratic tetrahedra, whose mid-edge nodes could be repaired");
        bool const parallel = m_threads.Start();
        State const before = _Measure(mesh, parallel, progress);
        MMeshJacobianCorrectorOperator corrector;
        corrector.SetMesh(&mesh);
        corrector.SetMinRatioThreshold(m_min_ratio);
        corrector.SetMaxRatioThreshold(m_max_ratio);
        corrector.SetMinAlignmentThreshold(m_min_alignment);
        if (!corrector.Operate())
            throw FileError(m_input.GetFileName(), "it could not be repaired");
        ThrowIfCancelled();
        State const after = _Measure(mesh, parallel, progress);
        m_output.Write(loaded, m_input.GetUnit(), progress);
        if (m_json)
            _PrintJson(mesh, corrector, before, after);
        else
            _Print(mesh, corrector, before, after);
        return _CheckBad(after);
    }

private:
    // The Jacobian ratios of a mesh.
    struct State {
        std::uint64_t bad;
        std::uint64_t folded;
        double smallest;
        double median;
        double largest;
    };

    static void _DeclareThreshold(CLI::App& command, char const* name, double& value,
                                  std::string const& description) {
        command.add_option(name, value, description + " (" + FormatGeneral(value) + " unless given)")
            ->type_name("R")
            ->check(FiniteNumber());
    }

    State _Measure(MMeshBase& mesh, bool parallel, Progress const& progress) const {
        MMeshQualityAnalysisOperator analysis;
        Measure(analysis, mesh, *KetSDK::Mesh::FindQualityMetric(MMeshQualityAnalysisOperator::JacobianRatio),
                parallel, progress);
        std::vector<double> const& ratios = analysis.GetQualityHistogram()->GetValues();
        auto const count = [&ratios](auto const& is_counted) {
            return static_cast<std::uint64_t>(std::ranges::count_if(ratios, is_counted));
        };
        QualityStatistics const statistics = Summarize(ratios);
        return {count([this](double r) { return r < m_min_ratio || r > m_max_ratio; }),
                count([](double r) { return r < 0.0; }), statistics.min, statistics.GetMedian(),
                statistics.max};
    }

    static Json _ToJson(State const& state) {
        return {{"bad", state.bad},
                {"folded", state.folded},
                {"min", state.smallest},
                {"median", state.median},
                {"max", state.largest}};
    }

    void _PrintJson(MMeshBase const& mesh, MMeshJacobianCorrectorOperator const& corrector,
                    State const& before, State const& after) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["modified"] = corrector.GetNbModified();
        report["straightened"] = corrector.GetNbStraightened();
        report["mid_nodes_aligned"] = corrector.GetNbMidNodeCorrections();
        report["passes"] = corrector.GetNbPasses();
        report["outer"] = corrector.GetNbOuterElements();
        report["thresholds"] = {m_min_ratio, m_max_ratio};
        report["bad_before"] = before.bad;
        report["bad_after"] = after.bad;
        report["ratio_before"] = _ToJson(before);
        report["ratio_after"] = _ToJson(after);
        report["files"] = {m_output.GetFileName()};
        PrintJson(report);
    }

    void _Print(MMeshBase const& mesh, MMeshJacobianCorrectorOperator const& corrector, State const& before,
                State const& after) const {
        std::cout << m_input.GetFileName() << ": " << mesh.NumberOfElements() << " elements, "
                  << corrector.GetNbOuterElements() << " of them at the boundary\n\n"
                  << "  modified elements        " << corrector.GetNbModified() << '\n'
                  << "  straightened fully       " << corrector.GetNbStraightened() << '\n'
                  << "  mid-edge nodes aligned   " << corrector.GetNbMidNodeCorrections() << '\n'
                  << "  passes                   " << corrector.GetNbPasses() << "\n\n";
        Table table({{"Jacobian ratio", Table::Align::Left},
                     {"before", Table::Align::Right},
                     {"after", Table::Align::Right}});
        table.AddRow({"bad: outside " + FormatGeneral(m_min_ratio) + " to " + FormatGeneral(m_max_ratio),
                      std::to_string(before.bad), std::to_string(after.bad)});
        table.AddRow({"folded", std::to_string(before.folded), std::to_string(after.folded)});
        table.AddRow({"smallest", FormatNumber(before.smallest), FormatNumber(after.smallest)});
        table.AddRow({"median", FormatNumber(before.median), FormatNumber(after.median)});
        table.AddRow({"largest", FormatNumber(before.largest), FormatNumber(after.largest)});
        table.Print(std::cout);
        std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    int _CheckBad(State const& after) const {
        if (!m_most_bad || after.bad <= *m_most_bad)
            return Done;
        std::cerr << "ketmesh: " << m_input.GetFileName() << ": " << after.bad
                  << " elements stay bad; at most " << *m_most_bad << " may\n";
        return CheckFailed;
    }

    MeshInput m_input;
    MeshOutput m_output;
    Threads m_threads;
    double m_min_ratio = MMeshJacobianCorrectorOperator().GetMinRatioThreshold();
    double m_max_ratio = MMeshJacobianCorrectorOperator().GetMaxRatioThreshold();
    double m_min_alignment = MMeshJacobianCorrectorOperator().GetAlignmentThreshold();
    std::optional<std::uint64_t> m_most_bad;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeRepairCommand() {
    return std::make_unique<RepairCommand>();
}

} // namespace ketmesh
