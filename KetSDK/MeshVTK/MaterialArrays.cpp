#include <KetSDK/MeshVTK/MaterialArrays.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Arrays.h>

#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
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

namespace KetSDK::MeshVTK {

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

// Sets a property of the materials from an array. False, with some of it done, when the array does not give
// each material one value.
bool ReadProperty(std::map<int, MMeshMaterial>& materials, Property const& property, vtkDataArray& array,
                  Ids const& ids) {
    if (array.GetNumberOfComponents() != 1 || array.GetNumberOfTuples() != static_cast<vtkIdType>(ids.size()))
        return false;
    std::map<int, double> value_of;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        double const value = array.GetComponent(static_cast<vtkIdType>(i), 0);
        double const first = ids[i] == NoMaterial ? None : value_of.try_emplace(ids[i], value).first->second;
        if (value != first && !(std::isnan(value) && std::isnan(first)))
            return false;
    }
    for (auto const& [id, value] : value_of)
        if (!std::isnan(value))
            (materials[id].*property.set)(value);
    return true;
}

void SetProperties(MMeshBase& mesh, vtkUnstructuredGrid& grid, Ids const& ids) {
    std::map<int, MMeshMaterial> materials;
    for (Property const& property : Properties)
        if (vtkAbstractArray* const array = grid.GetCellData()->GetAbstractArray(property.array)) {
            vtkDataArray* const numbers = vtkDataArray::SafeDownCast(array);
            if (!numbers || !ReadProperty(materials, property, *numbers, ids))
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
}

void RemoveKnownMaterialArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    if (mesh.GetElementMasks()->HasMaterialMask())
        grid.GetCellData()->RemoveArray(ArrayNames::Material);
    if (mesh.GetMaterialCatalog().NumberOfMaterials() > 0)
        for (Property const& property : Properties)
            grid.GetCellData()->RemoveArray(property.array);
}

void SetMaterials(MMeshBase& mesh, vtkUnstructuredGrid& grid) {
    std::optional<Ids> const ids = ReadIds(grid);
    if (!ids)
        return;
    MDataMask<MMeshElement, int>& mask = *mesh.GetElementMasks()->GetMaterialMask();
    auto id = ids->begin();
    for (MMeshElement const& e : mesh.Elements())
        mask.SetValue(e, *id++);
    SetProperties(mesh, grid, *ids);
}

} // namespace KetSDK::MeshVTK
