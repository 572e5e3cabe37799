#include <host/CarriedValues.h>

#include <vtkAbstractArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkFieldData.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>
#include <vtkVariant.h>

#include <algorithm>
#include <utility>

namespace ketmesh {

namespace {

// The node of an element at the place of another mesh's node; null when there is none.
MMeshPoint const* NodeAt(MMeshElement const& e, MMeshPoint const& place) {
    auto const* const end = e.GetNodes() + e.GetNodeCount();
    auto const* const found = std::find_if(e.GetNodes(), end, [&place](MMeshPoint const* node) {
        return node->x == place.x && node->y == place.y && node->z == place.z;
    });
    return found == end ? nullptr : *found;
}

// A new array that has, value by value, what the source has at the identifiers.
vtkSmartPointer<vtkAbstractArray> Gather(vtkAbstractArray& source, vtkIdList& ids) {
    auto const gathered = vtkSmartPointer<vtkAbstractArray>::Take(source.NewInstance());
    gathered->SetName(source.GetName());
    gathered->SetNumberOfComponents(source.GetNumberOfComponents());
    gathered->CopyComponentNames(&source);
    gathered->SetNumberOfTuples(ids.GetNumberOfIds());
    source.GetTuples(&ids, gathered);
    return gathered;
}

bool IsFloating(vtkAbstractArray& array) {
    return array.GetDataType() == VTK_FLOAT || array.GetDataType() == VTK_DOUBLE;
}

// Gives a tuple what lies between two tuples of the source.
void SetBetween(vtkAbstractArray& array, vtkIdType tuple, vtkAbstractArray& source, vtkIdType a,
                vtkIdType b) {
    int const count = array.GetNumberOfComponents();
    if (IsFloating(array)) {
        auto& numbers = *vtkDataArray::SafeDownCast(&array);
        auto& ends = *vtkDataArray::SafeDownCast(&source);
        for (int c = 0; c < count; ++c)
            numbers.SetComponent(tuple, c, 0.5 * ends.GetComponent(a, c) + 0.5 * ends.GetComponent(b, c));
        return;
    }
    for (int c = 0; c < count; ++c)
        array.SetVariantValue(tuple * count + c, std::min(source.GetVariantValue(a * count + c),
                                                          source.GetVariantValue(b * count + c)));
}

// Calls visit(array) for the arrays of the source whose names the target does not have.
template <typename Visit>
void ForEachMissing(vtkFieldData& source, vtkFieldData& target, Visit const& visit) {
    for (int i = 0; i < source.GetNumberOfArrays(); ++i) {
        vtkAbstractArray* const array = source.GetAbstractArray(i);
        if (!array->GetName() || !target.HasArray(array->GetName()))
            visit(*array);
    }
}

} // namespace

CarriedValues::CarriedValues(MMeshBase const& source, MMeshBase& target, Origins origins)
    : m_source(source)
    , m_target(target)
    , m_origins(std::move(origins))
    , m_ends(static_cast<std::size_t>(target.NumberOfPoints())) {
    _FindEnds();
}

std::vector<std::vector<std::uint64_t>> CarriedValues::_Members(MMeshBase const& source) {
    std::vector<std::vector<std::uint64_t>> members(static_cast<std::size_t>(source.NumberOfSubVolumes()));
    std::uint64_t number = 0;
    for (MMeshElement const& e : source.Elements()) {
        if (MMeshSubVolume const* const part = source.GetSubVolume(e))
            members[static_cast<std::size_t>(part->GetID())].push_back(number);
        ++number;
    }
    return members;
}

void CarriedValues::_FindEnds() {
    std::vector<bool> used(static_cast<std::size_t>(m_source.NumberOfPoints()), false);
    auto const ends_of = [this](MMeshPoint const& node) -> Ends& {
        return m_ends[static_cast<std::size_t>(node.GetIndex())];
    };
    m_target.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        MMeshElement const& origin = *m_source.GetElement(m_origins[number]);
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
            Ends& ends = ends_of(*e.GetNode(i));
            if (MMeshPoint const* const node = NodeAt(origin, *e.GetNode(i))) {
                MLong const index = node->GetIndex();
                used[static_cast<std::size_t>(index)] = true;
                if (!ends.IsOne())
                    ends = {index, index};
            } else if (ends.a < 0 && i >= 4) {
                auto const& edge = MMeshElementDescriptor::descr_tet4_tet10_point[i - 4];
                ends = {ends_of(*e.GetNode(edge[0])).a, ends_of(*e.GetNode(edge[1])).a};
            }
        }
    });
    m_joined = static_cast<std::size_t>(std::ranges::count(used, true)) -
               static_cast<std::size_t>(std::ranges::count_if(m_ends, &Ends::IsOne));
}

void CarriedValues::SetMeshValues() const {
    m_target.SetMaterialCatalog(m_source.GetMaterialCatalog());
    m_target.SetGreyValuesFlag(m_source.HasGreyValues());
    MMeshElementMaskContainer const& from = *m_source.GetElementMasks();
    MMeshElementMaskContainer& to = *m_target.GetElementMasks();
    auto const copy = [this](auto const* source, auto const& make) {
        if (!source)
            return;
        auto& values = *make();
        std::uint64_t i = 0;
        for (MMeshElement const& e : m_target.Elements())
            values.SetValue(e, source->GetValue(*m_source.GetElement(m_origins[i++])));
    };
    copy(from.GetGreyValueMask(), [&to] { return to.GetGreyValueMask(); });
    copy(from.GetMaterialMask(), [&to] { return to.GetMaterialMask(); });
    copy(from.GetOriginalIDs(), [&to] { return to.GetOriginalIDs(); });
    if (auto const* const ids = std::as_const(*m_source.GetPointMasks()).GetOriginalIDs())
        for (std::size_t i = 0; i < m_ends.size(); ++i)
            if (m_ends[i].IsOne())
                m_target.GetPointMasks()->GetOriginalIDs()->SetValue(
                    *m_target.GetRandomPoint(i),
                    ids->GetValue(*m_source.GetRandomPoint(static_cast<std::uint64_t>(m_ends[i].a))));
}

void CarriedValues::AddArrays(vtkUnstructuredGrid& source, vtkUnstructuredGrid& target) const {
    vtkNew<vtkIdList> cells, points;
    for (std::uint64_t const origin : m_origins)
        cells->InsertNextId(static_cast<vtkIdType>(origin));
    for (Ends const& ends : m_ends)
        points->InsertNextId(std::max(ends.a, 0));
    ForEachMissing(*source.GetCellData(), *target.GetCellData(),
                   [&](vtkAbstractArray& array) { target.GetCellData()->AddArray(Gather(array, *cells)); });
    ForEachMissing(*source.GetPointData(), *target.GetPointData(), [&](vtkAbstractArray& array) {
        auto const gathered = Gather(array, *points);
        for (std::size_t i = 0; i < m_ends.size(); ++i)
            if (!m_ends[i].IsOne())
                SetBetween(*gathered, static_cast<vtkIdType>(i), array, m_ends[i].a, m_ends[i].b);
        target.GetPointData()->AddArray(gathered);
    });
    ForEachMissing(*source.GetFieldData(), *target.GetFieldData(),
                   [&](vtkAbstractArray& array) { target.GetFieldData()->AddArray(&array); });
}

} // namespace ketmesh
