// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/MaterialArrays.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlColor.h>

#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr double NotSet = DBL_MAX; // in a material
constexpr double None = std::numeric_limits<double>::quiet_NaN();

// A property of materials and the array of it.
struct Property {
    char const* array;
    double (MMeshMaterial::*get)() const noexcept;
    void (MMeshMaterial::*set)(double) noexcept;
};
constexpr Property Properties[] = {
    {ArrayNames::Density, &MMeshMaterial::GetDensity, &MMeshMaterial::SetDensity},
    {ArrayNames::Emodulus, &MMeshMaterial::GetEmodulus, &MMeshMaterial::SetEmodulus},
    {ArrayNames::Poisson, &MMeshMaterial::GetPoisson, &MMeshMaterial::SetPoisson},
};

// Identifiers of elements are signed, those of materials are not; -1 and its counterpart stand for none.
constexpr int NoMaterial = -1;

using Ids = std::vector<int>;

Ids IdsOf(MMeshBase const& mesh, MDataMask<MMeshElement, int> const& mask) {
    Ids ids;
    ids.reserve(static_cast<std::size_t>(mesh.NumberOfElements()));
    for (MMeshElement const& e : mesh.Elements())
        ids.push_back(mask.GetValue(e));
    return ids;
}

void AddProperty(vtkUnstructuredGrid& grid, Property const& property, MMaterialCatalog const& catalog,
                 Ids const& ids) {
    std::map<int, double> value_of;
    for (auto const& [id, material] : catalog)
        if (double const value = ((*material).*property.get)(); value != NotSet)
            value_of[static_cast<int>(id)] = value;
    vtkNew<vtkDoubleArray> values;
    values->SetName(property.array);
    values->SetNumberOfValues(static_cast<vtkIdType>(ids.size()));
    bool is_known = false;
    int last = NoMaterial;
    double value = None;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (i == 0 || ids[i] != last) {
            last = ids[i];
            auto const found = value_of.find(last);
            is_known |= found != value_of.end();
            value = found != value_of.end() ? found->second : None;
        }
        values->SetValue(static_cast<vtkIdType>(i), value);
    }
    if (is_known)
        grid.GetCellData()->AddArray(values);
}

// The colours that materials were given: the one that a new material comes with tells nothing.
std::map<int, MStlColor> ColorsOf(MMaterialCatalog const& catalog) {
    std::map<int, MStlColor> color_of;
    for (auto const& [id, material] : catalog)
        if (unsigned int const color = material->GetColor(); color != MMeshMaterial().GetColor())
            color_of[static_cast<int>(id)].SetRGB(color);
    return color_of;
}

void AddColors(vtkUnstructuredGrid& grid, std::map<int, MStlColor> const& color_of, Ids const& ids) {
    if (color_of.empty())
        return;
    vtkNew<vtkUnsignedCharArray> values;
    values->SetName(ArrayNames::Color);
    values->SetNumberOfComponents(3);
    values->Allocate(static_cast<vtkIdType>(3 * ids.size()));
    for (int const id : ids) {
        auto const found = color_of.find(id);
        MStlColor const color = found == color_of.end() ? MStlColor() : found->second;
        for (unsigned int const channel : {color.GetRed(), color.GetGreen(), color.GetBlue()})
            values->InsertNextValue(static_cast<unsigned char>(channel));
    }
    grid.GetCellData()->AddArray(values);
}

// Sets the colours of materials, each from its first element.
void ReadColors(vtkUnstructuredGrid& grid, MMaterialCatalog const& catalog, Ids const& ids) {
    auto* const array =
        vtkUnsignedCharArray::SafeDownCast(grid.GetCellData()->GetAbstractArray(ArrayNames::Color));
    if (!array || array->GetNumberOfComponents() != 3 ||
        array->GetNumberOfTuples() != static_cast<vtkIdType>(ids.size()))
        return;
    std::map<int, vtkIdType> first_of;
    for (std::size_t i = 0; i < ids.size(); ++i)
        first_of.try_emplace(ids[i], static_cast<vtkIdType>(i));
    for (auto const& [id, cell] : first_of)
        if (MMeshMaterial* const material = catalog.GetMaterialWithID(static_cast<unsigned int>(id)))
            material->SetColor(0xFF000000U |
                               static_cast<unsigned int>(array->GetTypedComponent(cell, 0)) << 16 |
                               static_cast<unsigned int>(array->GetTypedComponent(cell, 1)) << 8 |
                               static_cast<unsigned int>(array->GetTypedComponent(cell, 2)));
}

// The identifiers that the grid has; none when there is no array of them.
std::optional<Ids> ReadIds(vtkUnstructuredGrid& grid) {
    auto* const array =
        vtkDataArray::SafeDownCast(grid.GetCellData()->GetAbstractArray(ArrayNames::Material));
    vtkIdType const cells = grid.GetNumberOfCells();
    if (!array || !HoldsWholeNumbers(*array) || array->GetNumberOfComponents() != 1 ||
        array->GetNumberOfTuples() != cells)
        return std::nullopt;
    std::vector<long long> const numbers = WholeNumbers(*array, cells);
    bool const fits = std::ranges::all_of(numbers, [](long long number) {
        return number >= std::numeric_limits<std::int32_t>::min() &&
               number <= std::numeric_limits<std::uint32_t>::max();
    });
    if (!fits)
        return std::nullopt;
    Ids ids(numbers.size());
    std::ranges::transform(numbers, ids.begin(), [](long long number) { return static_cast<int>(number); });
    return ids;
}

// A value for each material, and whether it is one; elements without a material have none.
class MaterialValues {
public:
    void Add(int id, double value) {
        if (!m_last || m_last->first != id)
            m_last = &*m_values.try_emplace(id, id == NoMaterial ? None : value).first;
        double const first = m_last->second;
        m_is_one_each = m_is_one_each && (value == first || (std::isnan(value) && std::isnan(first)));
    }
    bool IsOneEach() const noexcept { return m_is_one_each; }
    std::map<int, double> const& All() const noexcept { return m_values; }

private:
    std::map<int, double> m_values;
    std::map<int, double>::value_type const* m_last = nullptr; // that was asked for
    bool m_is_one_each = true;
};

// Sets a property of the materials from an array. False, with some of it done, when the array does not give
// each material one value.
bool ReadProperty(std::map<int, MMeshMaterial>& materials, Property const& property, vtkDataArray& array,
                  Ids const& ids, bool parallel) {
    if (array.GetNumberOfComponents() != 1 || array.GetNumberOfTuples() != static_cast<vtkIdType>(ids.size()))
        return false;
    MaterialValues value_of;
    bool const is_one = Support::ComputeSteps<MaterialValues>(
        {.items = ids.size(), .step = 1 << 14, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, MaterialValues& of_step) {
            of_step = {};
            for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                of_step.Add(ids[i], array.GetComponent(static_cast<vtkIdType>(i), 0));
        },
        [&value_of](std::uint64_t, std::uint64_t, MaterialValues const& of_step) {
            for (auto const& [id, value] : of_step.All())
                value_of.Add(id, value);
            return of_step.IsOneEach() && value_of.IsOneEach();
        });
    if (!is_one)
        return false;
    for (auto const& [id, value] : value_of.All())
        if (!std::isnan(value))
            (materials[id].*property.set)(value);
    return true;
}

void SetProperties(MMeshBase& mesh, vtkUnstructuredGrid& grid, Ids const& ids, bool parallel) {
    std::map<int, MMeshMaterial> materials;
    for (Property const& property : Properties)
        if (vtkAbstractArray* const array = grid.GetCellData()->GetAbstractArray(property.array)) {
            vtkDataArray* const numbers = vtkDataArray::SafeDownCast(array);
            if (!numbers || !ReadProperty(materials, property, *numbers, ids, parallel))
                return;
        }
    for (auto& [id, material] : materials) {
        material.SetID(static_cast<unsigned int>(id));
        mesh.GetMaterialCatalog().AddMaterial(material);
    }
}

} // namespace

void AddMaterialArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    MMeshElementMaskContainer& masks = *mesh.GetElementMasks();
    if (!masks.HasMaterialMask()) // asking for the mask would make it
        return;
    Ids const ids = IdsOf(mesh, *masks.GetMaterialMask());
    if (std::ranges::all_of(ids, [](int id) { return id == NoMaterial; }))
        return;
    vtkNew<vtkIntArray> array;
    array->SetName(ArrayNames::Material);
    array->SetNumberOfValues(static_cast<vtkIdType>(ids.size()));
    std::ranges::copy(ids, array->GetPointer(0));
    grid.GetCellData()->AddArray(array);
    for (Property const& property : Properties)
        AddProperty(grid, property, mesh.GetMaterialCatalog(), ids);
    AddColors(grid, ColorsOf(mesh.GetMaterialCatalog()), ids);
}

void RemoveKnownMaterialArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    if (mesh.GetElementMasks()->HasMaterialMask())
        grid.GetCellData()->RemoveArray(ArrayNames::Material);
    if (mesh.GetMaterialCatalog().NumberOfMaterials() > 0)
        for (Property const& property : Properties)
            grid.GetCellData()->RemoveArray(property.array);
    if (!ColorsOf(mesh.GetMaterialCatalog()).empty())
        grid.GetCellData()->RemoveArray(ArrayNames::Color);
}

void SetMaterials(MMeshBase& mesh, vtkUnstructuredGrid& grid, bool parallel) {
    std::optional<Ids> const ids = ReadIds(grid);
    if (!ids)
        return;
    MDataMask<MMeshElement, int>& mask = *mesh.GetElementMasks()->GetMaterialMask();
    Support::ComputeSteps({.items = ids->size(), .step = 1 << 14, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              auto e = mesh.Elements().begin() + static_cast<std::ptrdiff_t>(first);
                              for (auto i = static_cast<std::size_t>(first); i < last; ++i, ++e)
                                  mask.SetValue(*e, (*ids)[i]);
                          });
    SetProperties(mesh, grid, *ids, parallel);
    ReadColors(grid, mesh.GetMaterialCatalog(), *ids);
}

} // namespace KetSDK::MeshVTK::Detail
