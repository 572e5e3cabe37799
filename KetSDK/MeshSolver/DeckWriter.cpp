// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/DeckWriter.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/TextFile.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/TextBuffer.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <numeric>
#include <span>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

using Detail::AddCoordinate;
using Detail::RealText;
using Detail::TextFile;

struct DeckKind {
    unsigned char nodes;
    char const* type;
};
constexpr DeckKind DeckKinds[] = {{4, "C3D4"}, {10, "C3D10"}, {8, "C3D8"}, {6, "C3D6"}};

constexpr unsigned int EntriesOfLine = 16;

// What a comment can hold: one line.
std::string OneLine(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return text;
}

class DeckSteps {
public:
    DeckSteps(Analysis const& analysis, std::shared_ptr<Common::IProgressDelegate> const& progress)
        : m_reporter(progress, "Writing deck",
                     static_cast<unsigned long long>(analysis.mesh->NumberOfPoints()) +
                         3 * static_cast<unsigned long long>(analysis.mesh->NumberOfElements()),
                     true) {}

    void operator+=(std::uint64_t steps) {
        m_count += steps;
        m_reporter = m_count;
        if (m_reporter.IsCancelled())
            throw Cancelled();
    }

private:
    Common::IncrementalProgressReporter m_reporter;
    std::uint64_t m_count = 0;
};

// Where moduli vary inside elements, the temperature of a node is its modulus.
void WriteTemperatures(Analysis const& analysis, TextFile& file, char const* keyword) {
    auto const& moduli = analysis.materials.node_moduli;
    if (moduli.empty())
        return;
    file << "** the temperature of a node is its modulus in MPa\n" << keyword << '\n';
    auto const put = [&](std::uint64_t first, std::uint64_t last, Support::TextBuffer& text) {
        for (auto i = static_cast<std::size_t>(first); i < last; ++i)
            if (analysis.used_nodes[i])
                text << analysis.NodeId(i) << ", " << RealText(moduli[i]) << '\n';
    };
    file.WriteRows(moduli.size(), put, [](std::uint64_t) {});
}

// Writes the numbers of a set, so many a line.
template <typename NumberAt, typename Written>
void WriteMembers(TextFile& file, std::uint64_t count, NumberAt const& number_at, Written const& written) {
    auto const put = [&number_at](std::uint64_t first, std::uint64_t last, Support::TextBuffer& text) {
        for (std::uint64_t i = first; i < last; ++i) {
            if (i > 0)
                text << (i % EntriesOfLine == 0 ? std::string_view(",\n") : std::string_view(", "));
            text << number_at(static_cast<std::size_t>(i));
        }
    };
    file.WriteRows(count, put, written);
    file << '\n';
}

// --- Loads for the iterations of CalculiX ------------------------------------------------------------------
//
// They end when no residual exceeds 0.005 of the mean load, and only loads other than 0 count in that mean:
// with a few loaded nodes the reactions are far off. A load that is next to nothing at every node makes all
// nodes count.

constexpr char const* AllNodes = "ALL-NODES"; // no other set is named like it

bool HasLeastLoads(Analysis const& analysis, DeckOptions const& options) {
    return options.dialect == DeckOptions::Dialect::CalculiX && analysis.HasStep() &&
           IsIterative(analysis, options) && !options.unbalanced;
}

// The lowest modulus of a model in MPa.
double LowestModulus(ElementMaterials const& materials) {
    std::vector<double> moduli = materials.node_moduli;
    std::erase(moduli, 0.0); // of nodes without elements
    if (moduli.empty())
        for (DeckMaterial const& material : materials.materials)
            moduli.push_back(material.emodulus);
    return std::ranges::min(moduli);
}

// In N, for each node and axis: all together are 1e-9 of the loads, and of what moving by the largest
// displacement takes.
double LeastLoad(Analysis const& analysis) {
    double loads = 0.0;
    for (MMVector<double, 3> const& load : analysis.AllLoads())
        loads += load.Length();
    double moved = 0.0;
    for (HeldAxis const& held : analysis.held)
        moved = std::max(moved, std::fabs(held.by));
    constexpr double size = 1.0; // mm, below that of any model
    double const moving = LowestModulus(analysis.materials) * moved * size;
    return 1e-9 * (loads + moving) / static_cast<double>(std::ranges::count(analysis.used_nodes, true));
}

// --- Mesh, sets and materials ------------------------------------------------------------------------------

class MeshSection {
public:
    MeshSection(Analysis const& analysis, DeckOptions const& options, TextFile& file, DeckSteps& steps)
        : m_analysis(analysis)
        , m_mesh(*analysis.mesh)
        , m_options(options)
        , m_file(file)
        , m_steps(steps) {}

    void Write() {
        WriteHead();
        WriteNodes();
        ElementCounts const elements = CountElements();
        for (DeckKind const& kind : DeckKinds)
            if (elements[kind.nodes] > 0)
                WriteElements(kind, elements[kind.nodes]);
        WriteElementSets();
        for (Analysis::Surface const& surface : m_analysis.surfaces)
            WriteFaces(surface);
        for (Analysis::Place const& place : m_analysis.places)
            WriteFaces(place);
        WriteMaterials();
        WriteTemperatures(m_analysis, m_file, "*INITIAL CONDITIONS, TYPE=TEMPERATURE");
    }

private:
    void WriteHead() {
        m_file << "*HEADING\nvolume mesh; mm, N, MPa, tonne, s\n";
        if (!m_analysis.space.empty())
            m_file << "** SPACE=" << m_analysis.space << '\n';
        // A comment has no continuation, so that a long list takes several.
        constexpr std::size_t most_characters = 200;
        std::string line;
        for (Analysis::SubVolume const& subvolume : m_analysis.subvolumes) {
            if (!line.empty() && line.size() + subvolume.deck.size() > most_characters) {
                m_file << "** subvolumes: " << line << '\n';
                line.clear();
            }
            line += (line.empty() ? "" : ", ") + subvolume.deck;
        }
        m_file << "** subvolumes: " << line << '\n';
        for (Renaming const& renaming : m_analysis.renamings)
            m_file << "** name: " << renaming.kind << " \"" << OneLine(renaming.name)
                   << "\" = " << renaming.deck << '\n';
    }

    void WriteNodes() {
        m_file << "*NODE";
        if (HasLeastLoads(m_analysis, m_options))
            m_file << ", NSET=" << AllNodes;
        m_file << '\n';
        auto const put = [this](std::uint64_t first, std::uint64_t last, Support::TextBuffer& text) {
            for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                if (!m_analysis.used_nodes[i])
                    continue;
                MMeshPoint const& point = *m_mesh.GetRandomPoint(i);
                text << m_analysis.NodeId(i) << ", ";
                AddCoordinate(text, point.x);
                AddCoordinate(text << ", ", point.y);
                AddCoordinate(text << ", ", point.z);
                text << '\n';
            }
        };
        m_file.WriteRows(m_analysis.used_nodes.size(), put, [this](std::uint64_t rows) { m_steps += rows; });
    }

    using ElementCounts = std::array<std::uint64_t, 256>; // by number of nodes

    ElementCounts CountElements() const {
        ElementCounts counts{};
        auto const& elements = m_mesh.Elements();
        Support::ComputeSteps<ElementCounts>(
            {.items = elements.GetNumElements(), .step = 1 << 15, .parallel = m_options.parallel},
            [&elements](std::uint64_t first, std::uint64_t last, ElementCounts& of_step) {
                of_step = {};
                for (std::uint64_t i = first; i < last; ++i)
                    ++of_step[elements.GetElementPtrAt(i)->GetNodeCount()];
            },
            [&counts](std::uint64_t, std::uint64_t, ElementCounts const& of_step) {
                std::ranges::transform(counts, of_step, counts.begin(), std::plus());
                return true;
            });
        return counts;
    }

    void WriteElements(DeckKind const& kind, std::uint64_t count) {
        m_file << "*ELEMENT, TYPE=" << kind.type << '\n';
        auto const put = [&](std::uint64_t first, std::uint64_t last, Support::TextBuffer& text) {
            m_mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
                if (e.GetNodeCount() != kind.nodes)
                    return;
                text << m_analysis.ElementId(static_cast<std::size_t>(number));
                for (unsigned int i = 0; i < kind.nodes; ++i)
                    text << ", " << m_analysis.NodeId(static_cast<std::size_t>(e.GetNode(i)->GetIndex()));
                text << '\n';
            });
        };
        std::uint64_t const all = m_mesh.Elements().GetNumElements();
        m_file.WriteRows(all, put, [&](std::uint64_t rows) { m_steps += rows * count / all; });
    }

    // Calls visit(value, index of the first, number) for all equal values that follow one another.
    template <typename Visit>
    static void ForEachRun(std::vector<std::uint32_t> const& values, Visit const& visit) {
        for (auto begin = values.begin(); begin != values.end();) {
            auto const end =
                std::find_if(begin, values.end(), [&](std::uint32_t value) { return value != *begin; });
            visit(*begin, static_cast<std::size_t>(begin - values.begin()),
                  static_cast<std::size_t>(end - begin));
            begin = end;
        }
    }

    // The elements of sets that each element is in one of.
    struct Partition {
        std::vector<std::uint64_t> start; // of each set, and the end of the last
        std::vector<std::uint32_t, Support::MUninitializedAllocator<std::uint32_t>> elements;
    };

    // The index of an element's set is in `set_of`.
    static Partition PartitionOf(std::vector<std::uint32_t> const& set_of, std::size_t sets) {
        Partition partition{std::vector<std::uint64_t>(sets + 1, 0), {}};
        auto& start = partition.start;
        auto& elements = partition.elements;
        ForEachRun(set_of,
                   [&start](std::uint32_t set, std::size_t, std::size_t size) { start[set + 1] += size; });
        std::partial_sum(start.begin(), start.end(), start.begin());
        std::vector<std::uint64_t> next(start.begin(), start.end() - 1);
        elements.resize(set_of.size());
        ForEachRun(set_of, [&](std::uint32_t set, std::size_t first, std::size_t size) {
            auto const begin = elements.begin() + static_cast<std::ptrdiff_t>(next[set]);
            std::iota(begin, begin + static_cast<std::ptrdiff_t>(size), static_cast<std::uint32_t>(first));
            next[set] += size;
        });
        return partition;
    }

    template <typename Name>
    void WritePartition(Partition const& partition, Name const& name) {
        auto const& start = partition.start;
        for (std::size_t set = 0; set + 1 < start.size(); ++set) {
            if (start[set] == start[set + 1])
                continue;
            m_file << "*ELSET, ELSET=" << name(set) << '\n';
            std::span const members = std::span(partition.elements)
                                          .subspan(static_cast<std::size_t>(start[set]),
                                                   static_cast<std::size_t>(start[set + 1] - start[set]));
            WriteMembers(
                m_file, members.size(), [&](std::size_t i) { return m_analysis.ElementId(members[i]); },
                [this](std::uint64_t rows) { m_steps += rows; });
        }
    }

    void WriteElementSets() {
        std::array<Partition, 2> partitions; // into sub-volumes, and by materials
        Support::ComputeSteps({.items = partitions.size(), .parallel = m_options.parallel},
                              [&](std::uint64_t i, std::uint64_t) {
                                  partitions[static_cast<std::size_t>(i)] =
                                      i == 0
                                          ? PartitionOf(m_analysis.subvolume_of, m_analysis.subvolumes.size())
                                          : PartitionOf(m_analysis.materials.material_of,
                                                        m_analysis.materials.materials.size());
                              });
        WritePartition(partitions[0],
                       [this](std::size_t i) -> std::string const& { return m_analysis.subvolumes[i].deck; });
        WritePartition(partitions[1],
                       [this](std::size_t i) -> std::string const& { return m_analysis.material_names[i]; });
    }

    void WriteFaces(Analysis::Surface const& surface) {
        if (!surface.faces.empty())
            m_file << "*SURFACE, NAME=" << surface.deck << ", TYPE=ELEMENT\n";
        auto const put = [&](std::uint64_t first, std::uint64_t last, Support::TextBuffer& text) {
            for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                text << m_analysis.ElementId(surface.faces[i].element) << ", S"
                     << static_cast<std::int64_t>(surface.faces[i].face) << '\n';
        };
        m_file.WriteRows(surface.faces.size(), put, [](std::uint64_t) {});
        if (surface.nodes.empty())
            return;
        m_file << "*NSET, NSET=" << surface.deck << '\n';
        WriteMembers(
            m_file, surface.nodes.size(), [&](std::size_t i) { return m_analysis.NodeId(surface.nodes[i]); },
            [](std::uint64_t) {});
    }

    void WriteMaterials() {
        auto const& materials = m_analysis.materials.materials;
        for (std::size_t i = 0; i < materials.size(); ++i) {
            std::string const& name = m_analysis.material_names[i];
            m_file << "*MATERIAL, NAME=" << name << "\n*ELASTIC\n";
            WriteModulus(materials[i]);
            if (materials[i].density)
                m_file << "*DENSITY\n" << Detail::DensityText(*materials[i].density) << '\n';
        }
        for (std::string const& name : m_analysis.material_names)
            m_file << "*SOLID SECTION, ELSET=" << name << ", MATERIAL=" << name << '\n';
    }

    // By nodes the modulus is a table over the temperature, which has its values.
    void WriteModulus(DeckMaterial const& material) {
        auto const& moduli = m_analysis.materials.node_moduli;
        if (moduli.empty()) {
            m_file << material.emodulus << ", " << material.poisson << '\n';
            return;
        }
        double lowest = 0.0;
        double highest = 0.0;
        for (std::size_t i = 0; i < moduli.size(); ++i)
            if (m_analysis.used_nodes[i]) {
                lowest = lowest == 0.0 ? moduli[i] : std::min(lowest, moduli[i]);
                highest = std::max(highest, moduli[i]);
            }
        m_file << lowest << ", " << material.poisson << ", " << lowest << '\n';
        if (highest > lowest)
            m_file << highest << ", " << material.poisson << ", " << highest << '\n';
    }

    Analysis const& m_analysis;
    MMeshBase const& m_mesh;
    DeckOptions const& m_options;
    TextFile& m_file;
    DeckSteps& m_steps;
};

// --- The step ----------------------------------------------------------------------------------------------

class StepSection {
public:
    StepSection(Analysis const& analysis, DeckOptions const& options, TextFile& file)
        : m_analysis(analysis)
        , m_case(*analysis.load_case)
        , m_options(options)
        , m_file(file) {}

    void Write() {
        if (m_options.print_totals)
            WriteTotalsSets();
        m_file << "*STEP\n*STATIC";
        if (m_options.dialect == DeckOptions::Dialect::CalculiX)
            m_file << (IsIterative(m_analysis, m_options) ? ", SOLVER=ITERATIVE CHOLESKY"
                                                          : ", SOLVER=SPOOLES");
        m_file << '\n';
        if (m_options.dialect == DeckOptions::Dialect::CalculiX) // which takes the initial ones for 0
            WriteTemperatures(m_analysis, m_file, "*TEMPERATURE");
        WriteHeld();
        WriteLeastLoads();
        WriteForces(m_options.unbalanced ? *m_options.unbalanced : m_analysis.forces);
        if (!m_options.unbalanced) {
            WritePressures();
            WriteGravity();
        }
        for (std::string const& set : m_totals)
            m_file << "*NODE PRINT, NSET=" << set << ", TOTALS=ONLY\nRF\n";
        m_file << (m_options.dialect == DeckOptions::Dialect::CalculiX
                       ? "*NODE FILE\nU, RF\n*EL FILE\nS, E\n*END STEP\n"
                       : "*OUTPUT, FIELD\n*NODE OUTPUT\nU, RF\n*ELEMENT OUTPUT\nS, E\n*END STEP\n");
    }

private:
    std::string const& Deck(std::string const& place) const { return m_analysis.FindPlace(place)->deck; }

    // Sets of held nodes, each in the set of the place that holds it.
    void WriteTotalsSets() {
        for (std::size_t place = 0; place < m_analysis.places.size(); ++place)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                std::vector<std::int64_t> held_nodes;
                for (HeldAxis const& held : m_analysis.held)
                    if (held.place == place && held.axis == axis)
                        held_nodes.push_back(m_analysis.NodeId(held.node));
                if (held_nodes.empty())
                    continue;
                m_totals.push_back(TotalsName(place, axis));
                m_file << "*NSET, NSET=" << m_totals.back() << '\n';
                WriteMembers(
                    m_file, held_nodes.size(), [&](std::size_t i) { return held_nodes[i]; },
                    [](std::uint64_t) {});
            }
    }

    void WriteHeld() {
        if (!m_case.fixes.empty() || !m_case.displacements.empty())
            m_file << "*BOUNDARY\n";
        for (Case::Fix const& fix : m_case.fixes)
            for (std::size_t axis = 0; axis < 3; ++axis)
                if (fix.axes[axis])
                    WriteAxis(fix.place, axis, 0.0);
        for (Case::Displace const& displace : m_case.displacements)
            for (std::size_t axis = 0; axis < 3; ++axis)
                if (displace.by[axis])
                    WriteAxis(displace.place, axis, m_options.unbalanced ? 0.0 : *displace.by[axis]);
    }

    void WriteAxis(std::string const& place, std::size_t axis, double by) {
        auto const number = static_cast<std::int64_t>(axis) + 1;
        m_file << Deck(place) << ", " << number << ", " << number;
        if (by != 0.0)
            m_file << ", " << by;
        m_file << '\n';
    }

    void WriteLeastLoads() {
        double const load = HasLeastLoads(m_analysis, m_options) ? LeastLoad(m_analysis) : 0.0;
        if (load == 0.0)
            return;
        m_file << "** next to nothing at every node, so that CalculiX iterates until all nodes are balanced\n"
                  "*CLOAD\n";
        for (std::int64_t axis = 1; axis <= 3; ++axis)
            m_file << AllNodes << ", " << axis << ", " << load << '\n';
    }

    void WriteForces(NodeForces const& forces) {
        bool is_first = true;
        for (std::size_t i = 0; i < forces.size(); ++i)
            for (unsigned int axis = 0; axis < 3; ++axis) {
                double const force = forces[i][axis];
                if (force == 0.0)
                    continue;
                if (std::exchange(is_first, false))
                    m_file << "*CLOAD\n";
                m_file << m_analysis.NodeId(i) << ", " << static_cast<std::int64_t>(axis) + 1 << ", " << force
                       << '\n';
            }
    }

    // Of two pressures on a face solvers may take the last, so that they are added here.
    void WritePressures() {
        if (m_case.pressures.empty())
            return;
        if (!m_analysis.has_shared_pressure) {
            m_file << "*DSLOAD\n";
            for (Case::Pressure const& pressure : m_case.pressures)
                m_file << Deck(pressure.place) << ", P, " << pressure.value << '\n';
            return;
        }
        std::map<FaceOfElement, double> sum;
        for (Case::Pressure const& pressure : m_case.pressures)
            for (FaceOfElement const& face : m_analysis.FindPlace(pressure.place)->faces)
                sum[face] += pressure.value;
        m_file << "*DLOAD\n";
        for (auto const& [face, value] : sum)
            m_file << m_analysis.ElementId(face.element) << ", P" << static_cast<std::int64_t>(face.face)
                   << ", " << value << '\n';
    }

    void WriteGravity() {
        if (!m_case.gravity)
            return;
        auto const& [x, y, z] = *m_case.gravity;
        double const size = MMVector<double, 3>(x, y, z).Length();
        if (size == 0.0)
            return;
        m_file << "*DLOAD\n";
        for (Analysis::SubVolume const& subvolume : m_analysis.subvolumes)
            if (subvolume.elements > 0)
                m_file << subvolume.deck << ", GRAV, " << size << ", " << x / size << ", " << y / size << ", "
                       << z / size << '\n';
    }

    Analysis const& m_analysis;
    Case const& m_case;
    DeckOptions const& m_options;
    TextFile& m_file;
    std::vector<std::string> m_totals; // names of sets
};

} // namespace

std::string TotalsName(std::size_t place, std::size_t axis) {
    return "R-" + std::to_string(place) + "-" + "XYZ"[axis];
}

bool IsIterative(Analysis const& analysis, DeckOptions const& options) {
    if (options.method == DeckOptions::Method::Auto)
        return analysis.NumberOfUnknowns() > DeckOptions::MostUnknownsForDirect;
    return options.method == DeckOptions::Method::Iterative;
}

void WriteDeck(Analysis const& analysis, DeckOptions const& options, std::filesystem::path const& path,
               std::shared_ptr<Common::IProgressDelegate> const& progress) {
    DeckSteps steps(analysis, progress);
    TextFile file(path, options.parallel);
    MeshSection(analysis, options, file, steps).Write();
    if (analysis.HasStep())
        StepSection(analysis, options, file).Write();
    file.Close();
}

void WriteSplitDeck(Analysis const& analysis, DeckOptions const& options,
                    std::filesystem::path const& mesh_path, std::string const& mesh_name,
                    std::filesystem::path const& case_path,
                    std::shared_ptr<Common::IProgressDelegate> const& progress) {
    DeckSteps steps(analysis, progress);
    TextFile mesh(mesh_path, options.parallel);
    MeshSection(analysis, options, mesh, steps).Write();
    mesh.Close();
    TextFile step(case_path, options.parallel);
    step << "*INCLUDE, INPUT=" << mesh_name << '\n';
    StepSection(analysis, options, step).Write();
    step.Close();
}

} // namespace KetSDK::MeshSolver
