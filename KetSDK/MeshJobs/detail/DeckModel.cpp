// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/DeckModel.h>

#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/GridModel.h>
#include <KetSDK/MeshJobs/detail/Memory.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCellType.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkSmartPointer.h>
#include <vtkStringArray.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <limits>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

namespace {

using MeshSolver::Deck;
using MeshVTK::ArrayNames;

template <typename T>
void GiveBack(std::vector<T>& values) {
    std::vector<T>().swap(values);
}

unsigned char CellTypeOf(std::uint8_t nodes) {
    switch (nodes) {
    case 4:
        return VTK_TETRA;
    case 6:
        return VTK_WEDGE;
    case 8:
        return VTK_HEXAHEDRON;
    default:
        return VTK_QUADRATIC_TETRA;
    }
}

// Makes a grid of a deck; what went into it is given back piece by piece.
class DeckGrid {
public:
    DeckGrid(Deck& deck, bool parallel)
        : m_deck(deck)
        , m_parallel(parallel)
        , m_cells(static_cast<vtkIdType>(deck.element_ids.size()))
        , m_points(static_cast<vtkIdType>(deck.node_ids.size())) {}

    vtkSmartPointer<vtkUnstructuredGrid> Make() {
        std::vector<std::size_t> const dividing = FindDividingSets(m_deck, m_parallel);
        AddSets(dividing); // needs the nodes of elements
        AddSubVolumes(dividing);
        AddMaterials();
        AddPoints();
        AddCells();
        AddIds(*m_grid->GetCellData(), m_deck.element_ids);
        AddIds(*m_grid->GetPointData(), m_deck.node_ids);
        return m_grid;
    }

private:
    void AddPoints() {
        vtkNew<vtkPoints> points;
        points->SetDataTypeToDouble();
        points->SetNumberOfPoints(m_points);
        Copy(m_deck.positions, static_cast<std::array<double, 3>*>(points->GetVoidPointer(0)));
        GiveBack(m_deck.positions);
        m_grid->SetPoints(points);
    }

    void AddCells() {
        vtkNew<vtkUnsignedCharArray> types;
        types->SetNumberOfValues(m_cells);
        vtkNew<vtkTypeInt64Array> offsets;
        offsets->SetNumberOfValues(m_cells + 1);
        vtkNew<vtkTypeInt64Array> nodes;
        nodes->SetNumberOfValues(static_cast<vtkIdType>(m_deck.nodes.size()));
        FillTypes(*types, *offsets);
        Copy(m_deck.nodes, nodes->GetPointer(0));
        vtkNew<vtkCellArray> cells;
        cells->SetData(offsets, nodes);
        GiveBack(m_deck.nodes);
        GiveBack(m_deck.kinds);
        m_grid->SetCells(types, cells);
    }

    // Types of cells, and where the nodes of each begin.
    void FillTypes(vtkUnsignedCharArray& types, vtkTypeInt64Array& offsets) const {
        Support::WorkSteps const steps{.items = m_deck.kinds.size(), .step = 1 << 15, .parallel = m_parallel};
        auto const kinds = m_deck.kinds.begin();
        std::vector<std::int64_t> before(1, 0); // nodes before each step
        for (std::uint64_t first = 0; first < steps.items; first += steps.step) {
            auto const begin = kinds + static_cast<std::ptrdiff_t>(first);
            auto const size = std::min(steps.step, steps.items - first);
            before.push_back(
                std::accumulate(begin, begin + static_cast<std::ptrdiff_t>(size), before.back()));
        }
        offsets.SetValue(m_cells, before.back());
        Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
            std::int64_t at = before[static_cast<std::size_t>(first / steps.step)];
            for (auto i = static_cast<vtkIdType>(first); i < static_cast<vtkIdType>(last); ++i) {
                std::uint8_t const count = kinds[i];
                types.SetValue(i, CellTypeOf(count));
                offsets.SetValue(i, at);
                at += count;
            }
        });
    }

    template <typename From, typename To>
    void Copy(std::vector<From> const& from, To* to) const {
        Support::ComputeSteps({.items = from.size(), .step = 1 << 15, .parallel = m_parallel},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  std::copy(from.data() + first, from.data() + last, to + first);
                              });
    }

    void AddIds(vtkDataSetAttributes& attributes, std::vector<std::int32_t>& ids) const {
        vtkNew<vtkIntArray> array;
        array->SetName(ArrayNames::OriginalId);
        array->SetNumberOfValues(static_cast<vtkIdType>(ids.size()));
        Copy(ids, array->GetPointer(0));
        GiveBack(ids);
        attributes.AddArray(array);
    }

    void AddSubVolumes(std::vector<std::size_t> const& dividing) {
        if (dividing.empty())
            return;
        int* const numbers = AddCellArray<vtkIntArray>(ArrayNames::Subvolume);
        vtkNew<vtkStringArray> names;
        names->SetName(ArrayNames::SubvolumeNames);
        for (std::size_t const set : dividing) {
            auto const number = static_cast<int>(names->InsertNextValue(m_deck.element_sets[set].name));
            std::vector<std::uint32_t> const& members = m_deck.element_sets[set].members;
            Support::ComputeSteps({.items = members.size(), .step = 1 << 15, .parallel = m_parallel},
                                  [&](std::uint64_t first, std::uint64_t last) {
                                      for (std::uint64_t i = first; i < last; ++i)
                                          numbers[members[static_cast<std::size_t>(i)]] = number;
                                  });
        }
        m_grid->GetFieldData()->AddArray(names);
    }

    // The number that a name like MATERIAL_12 ends with, where the names of all materials do.
    std::vector<int> MaterialIds() const {
        std::vector<int> ids;
        std::set<int> distinct;
        constexpr std::string_view prefix = "MATERIAL_";
        for (Deck::Material const& material : m_deck.materials) {
            std::string_view const name = material.name;
            int id = 0;
            if (name.starts_with(prefix))
                std::from_chars(name.data() + prefix.size(), name.data() + name.size(), id);
            if (id > 0 && std::string(prefix) + std::to_string(id) == name)
                distinct.insert(id);
            ids.push_back(id);
        }
        if (distinct.size() < ids.size())
            for (std::size_t i = 0; i < ids.size(); ++i)
                ids[i] = static_cast<int>(i) + 1;
        return ids;
    }

    void AddMaterials() {
        if (m_deck.sections.empty())
            return;
        struct Property {
            char const* name;
            std::optional<double> Deck::Material::*value;
        };
        constexpr Property properties[] = {{ArrayNames::Density, &Deck::Material::density},
                                           {ArrayNames::Emodulus, &Deck::Material::emodulus},
                                           {ArrayNames::Poisson, &Deck::Material::poisson}};
        std::vector<int> const ids = MaterialIds();
        int* const numbers = AddCellArray<vtkIntArray>(ArrayNames::Material);
        std::array<double*, std::size(properties)> values{};
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = AddCellArray<vtkDoubleArray>(properties[i].name);
        Support::ComputeSteps(
            {.items = 1 + values.size(), .parallel = m_parallel}, [&](std::uint64_t step, std::uint64_t) {
                if (step == 0)
                    FillBySections(numbers, -1,
                                   [&ids](std::size_t material) { return std::optional(ids[material]); });
                else
                    FillBySections(values[step - 1], std::numeric_limits<double>::quiet_NaN(),
                                   [&](std::size_t material) {
                                       return m_deck.materials[material].*properties[step - 1].value;
                                   });
            });
    }

    template <typename Array>
    typename Array::ValueType* AddCellArray(char const* name) {
        vtkNew<Array> array;
        array->SetName(name);
        array->SetNumberOfValues(m_cells);
        m_grid->GetCellData()->AddArray(array);
        return array->GetPointer(0);
    }

    // Elements get what value_of(material) has of the material of the last section that has it.
    template <typename Value, typename ValueOf>
    void FillBySections(Value* values, Value none, ValueOf const& value_of) const {
        std::fill_n(values, m_cells, none);
        for (Deck::Section const& section : m_deck.sections)
            if (std::optional<Value> const value = value_of(section.material))
                for (std::uint32_t const element : m_deck.element_sets[section.element_set].members)
                    values[element] = *value;
    }

    // What a set or a surface holds, as an array of 0 and 1 that is still to be made.
    struct Marks {
        std::string name;
        vtkDataSetAttributes* attributes = nullptr;
        Deck::Set const* set = nullptr;
        Deck::Surface const* surface = nullptr;
        vtkSmartPointer<vtkUnsignedCharArray> array = nullptr;
    };

    // Sets are arrays of 0 and 1, but for those that are sub-volumes or sections anyway.
    void AddSets(std::vector<std::size_t> const& dividing) {
        std::set<std::size_t> known(dividing.begin(), dividing.end());
        for (Deck::Section const& section : m_deck.sections)
            known.insert(section.element_set);
        for (std::size_t i = 0; i < m_deck.element_sets.size(); ++i)
            if (!known.contains(i))
                AddMarks(*m_grid->GetCellData(), m_deck.element_sets[i].name, &m_deck.element_sets[i],
                         nullptr);
        for (Deck::Set const& set : m_deck.node_sets)
            AddMarks(*m_grid->GetPointData(), set.name, &set, nullptr);
        for (Deck::Surface const& surface : m_deck.surfaces) {
            AddMarks(*m_grid->GetCellData(), surface.name, nullptr, &surface);
            AddMarks(*m_grid->GetPointData(), surface.name, nullptr, &surface);
        }
        CheckMemory();
        std::vector<std::size_t> const first_node = FirstNodes();
        Support::ComputeSteps(
            {.items = m_marks.size(), .parallel = m_parallel},
            [&](std::uint64_t i, std::uint64_t) { Fill(m_marks[static_cast<std::size_t>(i)], first_node); });
        for (Marks const& marks : m_marks)
            marks.attributes->AddArray(marks.array);
        m_marks.clear();
    }

    // Of two sets with one name the first stays: a place has its nodes as a set and on its surface.
    void AddMarks(vtkDataSetAttributes& attributes, std::string name, Deck::Set const* set,
                  Deck::Surface const* surface) {
        for (char const* const own :
             {ArrayNames::Subvolume, ArrayNames::Grey, ArrayNames::Material, ArrayNames::Density,
              ArrayNames::Emodulus, ArrayNames::Poisson, ArrayNames::OriginalId, ArrayNames::Color})
            if (name == own)
                name += "_set";
        if (!m_marked.emplace(&attributes, name).second)
            return;
        m_marks.push_back({std::move(name), &attributes, set, surface});
    }

    bool IsOfCells(Marks const& marks) const { return marks.attributes == m_grid->GetCellData(); }

    // Each mark is a byte in the grid and four in the model. The mesh, and what is written, need room as
    // well.
    void CheckMemory() const {
        constexpr double bytes_of_mark = 5.0;
        double marks = 0.0;
        for (Marks const& array : m_marks)
            marks += static_cast<double>(IsOfCells(array) ? m_cells : m_points);
        double const bytes = marks * bytes_of_mark, memory = AvailableMemory();
        if (bytes <= memory / 2.0)
            return;
        double const fitting = static_cast<double>(m_marks.size()) * memory / 2.0 / bytes;
        throw MeshVTK::Error("its sets and surfaces would become " + std::to_string(m_marks.size()) +
                             " arrays of all its elements or nodes, which take " +
                             FormatGeneral(bytes / 1e9, 2) + " GB of memory, more than half of the " +
                             FormatGeneral(memory / 1e9, 2) + " GB that there are; a deck with " +
                             std::to_string(static_cast<std::uint64_t>(fitting)) + " of them can be read");
    }

    void Fill(Marks& marks, std::vector<std::size_t> const& first_node) const {
        bool const is_of_cells = IsOfCells(marks);
        vtkIdType const count = is_of_cells ? m_cells : m_points;
        marks.array = vtkSmartPointer<vtkUnsignedCharArray>::New();
        marks.array->SetName(marks.name.c_str());
        unsigned char* const values = marks.array->WritePointer(0, count);
        std::fill_n(values, count, static_cast<unsigned char>(0));
        if (marks.set)
            for (std::uint32_t const member : marks.set->members)
                values[member] = 1;
        if (!marks.surface)
            return;
        for (MeshSolver::FaceOfElement const& face : marks.surface->faces) {
            if (is_of_cells)
                values[face.element] = 1;
            else
                for (unsigned char const i :
                     MeshSolver::NodesOfFace(m_deck.kinds[face.element], face.face).All())
                    values[m_deck.nodes[first_node[face.element] + i]] = 1;
        }
    }

    std::vector<std::size_t> FirstNodes() const {
        std::vector<std::size_t> first;
        if (m_deck.surfaces.empty())
            return first;
        first.reserve(m_deck.kinds.size());
        std::size_t at = 0;
        for (std::uint8_t const kind : m_deck.kinds) {
            first.push_back(at);
            at += kind;
        }
        return first;
    }

    Deck& m_deck;
    bool m_parallel;
    vtkIdType m_cells;
    vtkIdType m_points;
    vtkNew<vtkUnstructuredGrid> m_grid;
    std::vector<Marks> m_marks;
    std::set<std::pair<vtkDataSetAttributes const*, std::string>> m_marked;
};

void WarnOfUnread(std::string const& path, Deck const& deck, Context const& context) {
    std::string list;
    for (auto const& [what, count] : deck.unread)
        list += (list.empty() ? "" : ", ") + what + (count > 1 ? " (" + std::to_string(count) + ")" : "");
    if (!list.empty())
        context.Warn(path + ": not read: " + list);
}

} // namespace

Model ReadDeckModel(std::string const& path, ReadOptions const& options, Context const& context) {
    Deck deck;
    WithThreads(context,
                [&](bool parallel) { deck = MeshSolver::ReadDeck(path, context.progress, parallel); });
    WarnOfUnread(path, deck, context);
    if (options.unit.millimetres != 1.0 && !deck.sections.empty())
        context.Warn(path +
                     ": moduli and densities are taken as MPa and tonne/mm3 whatever the unit of length");
    vtkSmartPointer<vtkUnstructuredGrid> grid;
    WithThreads(context, [&](bool parallel) { grid = DeckGrid(deck, parallel).Make(); });
    context.ThrowIfCancelled();
    Model model = ModelFromGrid(*grid, options, context);
    model.frame = Mesh::FindFrame(deck.space);
    return model;
}

} // namespace KetSDK::MeshJobs::Detail
