// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/DeckModel.h>

#include <KetSDK/MeshJobs/detail/GridModel.h>
#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshVTK/ArrayNames.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCellType.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkStringArray.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <optional>
#include <set>
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

int CellTypeOf(std::uint8_t nodes) {
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
    explicit DeckGrid(Deck& deck)
        : m_deck(deck)
        , m_cells(static_cast<vtkIdType>(deck.element_ids.size()))
        , m_points(static_cast<vtkIdType>(deck.node_ids.size())) {}

    vtkUnstructuredGrid& Make() {
        std::vector<std::size_t> const dividing = FindDividingSets(m_deck);
        AddSets(dividing); // needs the nodes of elements
        AddSubVolumes(dividing);
        AddMaterials();
        AddPoints();
        AddCells();
        AddIds(*m_grid->GetCellData(), m_deck.element_ids);
        AddIds(*m_grid->GetPointData(), m_deck.node_ids);
        return *m_grid;
    }

private:
    void AddPoints() {
        vtkNew<vtkPoints> points;
        points->SetDataTypeToDouble();
        points->SetNumberOfPoints(m_points);
        for (vtkIdType i = 0; i < m_points; ++i)
            points->SetPoint(i, m_deck.positions[static_cast<std::size_t>(i)].data());
        GiveBack(m_deck.positions);
        m_grid->SetPoints(points);
    }

    void AddCells() {
        vtkNew<vtkUnsignedCharArray> types;
        types->SetNumberOfValues(m_cells);
        vtkNew<vtkCellArray> cells;
        cells->AllocateExact(m_cells, static_cast<vtkIdType>(m_deck.nodes.size()));
        std::size_t at = 0;
        for (vtkIdType i = 0; i < m_cells; ++i) {
            std::uint8_t const count = m_deck.kinds[static_cast<std::size_t>(i)];
            types->SetValue(i, static_cast<unsigned char>(CellTypeOf(count)));
            cells->InsertNextCell(count);
            for (std::uint8_t k = 0; k < count; ++k)
                cells->InsertCellPoint(m_deck.nodes[at++]);
        }
        GiveBack(m_deck.nodes);
        GiveBack(m_deck.kinds);
        m_grid->SetCells(types, cells);
    }

    static void AddIds(vtkDataSetAttributes& attributes, std::vector<std::int32_t>& ids) {
        vtkNew<vtkIntArray> array;
        array->SetName(ArrayNames::OriginalId);
        array->SetNumberOfValues(static_cast<vtkIdType>(ids.size()));
        std::ranges::copy(ids, array->GetPointer(0));
        GiveBack(ids);
        attributes.AddArray(array);
    }

    void AddSubVolumes(std::vector<std::size_t> const& dividing) {
        if (dividing.empty())
            return;
        vtkNew<vtkIntArray> numbers;
        numbers->SetName(ArrayNames::Subvolume);
        numbers->SetNumberOfValues(m_cells);
        vtkNew<vtkStringArray> names;
        names->SetName(ArrayNames::SubvolumeNames);
        for (std::size_t const set : dividing) {
            auto const number = static_cast<int>(names->InsertNextValue(m_deck.element_sets[set].name));
            for (std::uint32_t const element : m_deck.element_sets[set].members)
                numbers->SetValue(element, number);
        }
        m_grid->GetCellData()->AddArray(numbers);
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
        std::vector<int> const ids = MaterialIds();
        vtkNew<vtkIntArray> numbers;
        numbers->SetName(ArrayNames::Material);
        numbers->SetNumberOfValues(m_cells);
        numbers->FillValue(-1);
        for (Deck::Section const& section : m_deck.sections)
            for (std::uint32_t const element : m_deck.element_sets[section.element_set].members)
                numbers->SetValue(element, ids[section.material]);
        m_grid->GetCellData()->AddArray(numbers);
        AddProperty(ArrayNames::Density, &Deck::Material::density);
        AddProperty(ArrayNames::Emodulus, &Deck::Material::emodulus);
        AddProperty(ArrayNames::Poisson, &Deck::Material::poisson);
    }

    void AddProperty(char const* name, std::optional<double> Deck::Material::*property) {
        vtkNew<vtkDoubleArray> values;
        values->SetName(name);
        values->SetNumberOfValues(m_cells);
        values->FillValue(std::numeric_limits<double>::quiet_NaN());
        for (Deck::Section const& section : m_deck.sections)
            if (auto const& value = m_deck.materials[section.material].*property)
                for (std::uint32_t const element : m_deck.element_sets[section.element_set].members)
                    values->SetValue(element, *value);
        m_grid->GetCellData()->AddArray(values);
    }

    // Sets are arrays of 0 and 1, but for those that are sub-volumes or sections anyway.
    void AddSets(std::vector<std::size_t> const& dividing) {
        std::set<std::size_t> known(dividing.begin(), dividing.end());
        for (Deck::Section const& section : m_deck.sections)
            known.insert(section.element_set);
        for (std::size_t i = 0; i < m_deck.element_sets.size(); ++i)
            if (!known.contains(i))
                AddSet(*m_grid->GetCellData(), m_deck.element_sets[i].name, m_deck.element_sets[i].members,
                       m_cells);
        for (Deck::Set& set : m_deck.node_sets)
            AddSet(*m_grid->GetPointData(), set.name, set.members, m_points);
        std::vector<std::size_t> const first_node = FirstNodes();
        for (Deck::Surface const& surface : m_deck.surfaces) {
            std::vector<std::uint32_t> elements;
            std::vector<std::uint32_t> nodes;
            for (MeshSolver::FaceOfElement const& face : surface.faces) {
                elements.push_back(face.element);
                for (unsigned char const i :
                     MeshSolver::NodesOfFace(m_deck.kinds[face.element], face.face).All())
                    nodes.push_back(m_deck.nodes[first_node[face.element] + i]);
            }
            AddSet(*m_grid->GetCellData(), surface.name, elements, m_cells);
            AddSet(*m_grid->GetPointData(), surface.name, nodes, m_points);
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

    // Of two sets with one name the first stays: a place has its nodes as a set and on its surface.
    static void AddSet(vtkDataSetAttributes& attributes, std::string name,
                       std::vector<std::uint32_t> const& members, vtkIdType count) {
        for (char const* const own :
             {ArrayNames::Subvolume, ArrayNames::Grey, ArrayNames::Material, ArrayNames::Density,
              ArrayNames::Emodulus, ArrayNames::Poisson, ArrayNames::OriginalId, ArrayNames::Color})
            if (name == own)
                name += "_set";
        if (attributes.GetAbstractArray(name.c_str()))
            return;
        vtkNew<vtkUnsignedCharArray> array;
        array->SetName(name.c_str());
        array->SetNumberOfValues(count);
        array->FillValue(0);
        for (std::uint32_t const member : members)
            array->SetValue(member, 1);
        attributes.AddArray(array);
    }

    Deck& m_deck;
    vtkIdType m_cells;
    vtkIdType m_points;
    vtkNew<vtkUnstructuredGrid> m_grid;
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
    Deck deck = MeshSolver::ReadDeck(path, context.progress);
    WarnOfUnread(path, deck, context);
    if (options.unit.millimetres != 1.0 && !deck.sections.empty())
        context.Warn(path +
                     ": moduli and densities are taken as MPa and tonne/mm3 whatever the unit of length");
    DeckGrid grid(deck);
    vtkUnstructuredGrid& made = grid.Make();
    context.ThrowIfCancelled();
    Model model = ModelFromGrid(made, options, context);
    model.frame = Mesh::FindFrame(deck.space);
    return model;
}

} // namespace KetSDK::MeshJobs::Detail
