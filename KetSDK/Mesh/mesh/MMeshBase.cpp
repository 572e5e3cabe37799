// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>
#include <KetSDK/Math/MathCore/MMTransform.h>
#include <KetSDK/Mesh/materials/MMeshMask.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/mesh/detail/ElementRoom.h>
#include <KetSDK/Mesh/mesh/detail/NearestCoordinate.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <limits>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <unordered_map>
#include <utility>

using namespace KetSDK::Mesh::Detail;

namespace {

constexpr double Unit = KetSDK::Common::MInternalUnits::Get();

// A box that several threads widen.
class WideningBox {
public:
    explicit WideningBox(MMeshBase::BoundingBox const& box)
        : m_box(box) {}

    // By positions first to last - 1, of which there is one at least.
    template <typename PositionAt>
    void Widen(std::uint64_t first, std::uint64_t last, PositionAt const& position_at) {
        MMeshBase::BoundingBox box; // a local one stays in registers
        for (std::uint64_t i = first; i < last; ++i) {
            auto const& p = position_at(i);
            box.Widen({p[0], p[1], p[2]});
        }
        std::lock_guard const lock(m_mutex);
        m_box.Widen(box.GetMin());
        m_box.Widen(box.GetMax());
    }
    MMeshBase::BoundingBox const& Get() const noexcept { return m_box; }

private:
    std::mutex m_mutex;
    MMeshBase::BoundingBox m_box;
};

} // namespace

// How many elements of a list are in each sub-volume of a mesh.
class MMeshBase::SubVolumeCounts {
public:
    // Of elements that are said to be in sub-volumes by their indices, -1 standing for none. Throws
    // std::runtime_error("invalid state") for an index that is not there.
    SubVolumeCounts(std::span<int const> indices, std::size_t sub_volumes, bool parallel)
        : m_counts(sub_volumes, 0) {
        constexpr std::size_t few = 1024; // else the tables of all threads would be large
        KetSDK::Support::ComputeSteps<Lanes>(
            {.items = indices.size(),
             .step = std::max<std::uint64_t>(16384, NumberOfLanes * sub_volumes),
             .parallel = parallel && sub_volumes <= few},
            [&](std::uint64_t first, std::uint64_t last, Lanes& lanes) {
                lanes.assign(NumberOfLanes * (sub_volumes + 1), 0);
                for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                    std::uint32_t const in_table = static_cast<std::uint32_t>(indices[i]) + 1u; // none: 0
                    if (in_table > sub_volumes)
                        throw std::runtime_error("invalid state");
                    ++lanes[NumberOfLanes * in_table + i % NumberOfLanes];
                }
            },
            [&](std::uint64_t, std::uint64_t, Lanes const& lanes) {
                auto const sum = [&lanes](std::size_t i) {
                    auto const first = lanes.begin() + static_cast<std::ptrdiff_t>(NumberOfLanes * i);
                    return std::accumulate(first, first + NumberOfLanes, 0u);
                };
                m_in_none += sum(0);
                for (std::size_t i = 0; i < m_counts.size(); ++i)
                    m_counts[i] += sum(i + 1);
                return true;
            });
    }

    unsigned int operator[](std::size_t sub_volume) const noexcept { return m_counts[sub_volume]; }
    std::size_t NumberInNone() const noexcept { return m_in_none; }

private:
    // Elements that follow each other are counted in different numbers: none waits for the one before.
    static constexpr std::size_t NumberOfLanes = 4;
    using Lanes = std::vector<unsigned int>;

    std::vector<unsigned int> m_counts;
    std::size_t m_in_none = 0;
};

MMeshBase::MMeshBase()
    : m_points(std::make_unique<MMeshPointContainer>())
    , m_elements(std::make_unique<MMeshElementContainer>())
    , m_point_masks(new MMeshPointMaskContainer(this))
    , m_element_masks(new MMeshElementMaskContainer)
    , m_neighbors(std::make_unique<MMeshBaseNeighborsInfo>(this)) {
    AddSubVolume();
}

MMeshBase::MMeshBase(MMeshBase const& other)
    : ISAXReference(other)
    , ISAXPersist(other) {
    m_points = std::make_unique<MMeshPointContainer>();
    m_elements = std::make_unique<MMeshElementContainer>();
    m_point_masks.reset(new MMeshPointMaskContainer(this));
    m_element_masks.reset(new MMeshElementMaskContainer);
    m_neighbors = std::make_unique<MMeshBaseNeighborsInfo>(this);
    CopyFrom(other);
}

MMeshBase& MMeshBase::operator=(MMeshBase const& other) {
    if (this != &other) {
        MMeshBase copy(other); // before anything here changes
        TakeContent(copy);
    }
    return *this;
}

MMeshBase::~MMeshBase() {
    // Sub-volumes that a caller still shares are left without a mesh.
    ClearSubVolumes();
}

void MMeshBase::CopyFrom(MMeshBase const& other) {
    m_points = std::make_unique<MMeshPointContainer>(*other.m_points);
    m_elements = _CreateElementContainerFromOther(*m_points, *other.m_elements);
    RegisterAll(false);
    m_box = other.m_box;
    CopyMetadata(other);
    CopySubVolumes(other);

    MMeshElementMaskContainer::CopiedElements copies;
    copies.reserve(static_cast<std::size_t>(m_elements->GetNumElements()));
    for (std::uint64_t i = 0; i < m_elements->GetNumElements(); ++i)
        copies.emplace_back(other.GetElement(i), GetElement(i));
    m_element_masks->CopyBuiltInMasks(*other.m_element_masks, copies, true);
    m_point_masks->CopyBuiltInMasksOf(*other.m_point_masks, other);
}

void MMeshBase::CopySubVolumes(MMeshBase const& other) {
    ClearSubVolumes();
    for (auto const& source : other.m_subvolumes) {
        MMeshSubVolume* const copy = AddSubVolume();
        copy->SetName(source->GetName());
        copy->SetID(source->GetID());
        copy->SetMatID(source->GetMatID());
        copy->m_element_count = source->m_element_count;
    }
}

std::unique_ptr<MMeshElementContainer>
MMeshBase::_CreateElementContainerFromOther(MMeshPointContainer& points,
                                            MMeshElementContainer const& elements) {
    auto copies = std::make_unique<MMeshElementContainer>();
    std::vector<MMeshPoint*> nodes;
    for (MMeshElement const& e : elements) {
        nodes.clear();
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            nodes.push_back(points.GetPointPtrAt(static_cast<std::uint64_t>(e.GetNode(i)->GetIndex())));
        copies->AddElement(nodes);
    }
    return copies;
}

void MMeshBase::RegisterAll(bool parallel, bool numbered) {
    m_point_masks->RegisterMaskObjectsAt(
        m_points->GetNumPoints(), parallel,
        [this](std::uint64_t i) -> MMeshPoint& { return *m_points->GetPointPtrAt(i); }, numbered);
    m_element_masks->RegisterMaskObjectsAt(
        m_elements->GetNumElements(), parallel,
        [this](std::uint64_t i) -> MMeshElement& { return *m_elements->GetElementPtrAt(i); }, numbered);
}

// Persistence

// The state: signature and version; flags, type and mesh state; catalog; sub-volumes; then the blocks of
// nodes, elements and their masks, in which a disk has most of it.

namespace {

constexpr std::uint32_t StateSignature = 0x5453484D; // "MHST"
constexpr std::uint32_t StateVersion = 1;

void ThrowUnless(bool condition) {
    if (!condition)
        throw std::runtime_error("invalid state");
}

void WriteSubVolumes(MStreamMFileOut& out, MMeshBase const& mesh) {
    out.Write(mesh.NumberOfSubVolumes());
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        out.Write((*it)->GetName());
        out.Write((*it)->GetID());
        out.Write((*it)->GetMatID());
        out.Write(static_cast<std::int32_t>((*it)->GetNbElements()));
    }
}

} // namespace

void MMeshBase::SaveState(MStreamMFileOut& out) {
    ThrowUnless(IsConsistent());
    out.Write(StateSignature);
    out.Write(StateVersion);
    out.Write(static_cast<std::uint8_t>(m_has_grey_values));
    out.Write(static_cast<std::uint8_t>(m_has_volume_index));
    out.Write(static_cast<std::int32_t>(m_type));
    out.Write(static_cast<std::int32_t>(m_state));
    m_catalog.SaveState(out);
    WriteSubVolumes(out, *this);
    MFile& file = out.GetFile();
    m_points->SavePointsToFile(&file);
    m_elements->SaveElementsToFile(&file);
    m_element_masks->SaveElementMaskToFile(this, &file);
    m_point_masks->SaveMeshPointMaskToFile(&file);
}

void MMeshBase::LoadState(MStreamMFileIn& in) {
    MMeshBase loaded;
    loaded.ReadState(in);
    TakeContent(loaded);
}

void MMeshBase::ReadState(MStreamMFileIn& in) {
    auto const read = [&in]<typename T>(T value) {
        in.Read(value);
        return value;
    };
    ThrowUnless(read(std::uint32_t{}) == StateSignature && read(std::uint32_t{}) == StateVersion);
    m_has_grey_values = read(std::uint8_t{}) != 0;
    m_has_volume_index = read(std::uint8_t{}) != 0;
    m_type = static_cast<TetMeshType>(read(std::int32_t{}));
    m_state = static_cast<MeshStateType>(read(std::int32_t{}));
    m_catalog.LoadState(in);

    ClearSubVolumes();
    constexpr std::uint64_t least_size = sizeof(std::uint64_t) + 3 * sizeof(std::int32_t);
    for (std::uint64_t left = in.ReadCount(least_size); left > 0; --left) {
        MMeshSubVolume& sub_volume = *AddSubVolume();
        sub_volume.SetName(read(std::wstring()));
        sub_volume.SetID(read(std::int32_t{}));
        sub_volume.SetMatID(read(std::int32_t{}));
        sub_volume.m_element_count = read(std::int32_t{});
    }

    MFile& file = in.GetFile();
    m_points->LoadPointsFromFile(this, &file);
    m_elements->LoadElementsFromFile(this, &file);
    m_element_masks->LoadElementMaskFromFile(this, &file);
    m_point_masks->LoadMeshPointMaskFromFile(&file);
    CalcBoundingBox();
}

bool MMeshBase::IsConsistent() const {
    MDataMask<MMeshElement, MMeshSurfaceTriangleList> const* const faces =
        std::as_const(*m_element_masks).GetSurfaceMask();
    auto const points = static_cast<std::uint32_t>(NumberOfPoints());
    bool consistent = true;
    std::uint32_t largest = 0; // a negative number becomes a large one
    auto const look_at = [&largest](MMeshElement const& e, unsigned int i) {
        largest = std::max(largest, static_cast<std::uint32_t>(e.GetNode(i)->GetIndex()));
    };
    Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        unsigned char const n = e.GetNodeCount();
        if (n == 4) { // nearly always
            for (unsigned int i = 0; i < 4; ++i)
                look_at(e, i);
            return;
        }
        consistent &= MMeshElementDescriptor::GetNumTetraOfElement(n) > 0;
        for (unsigned int i = 0; i < n; ++i)
            look_at(e, i);
    });
    consistent &= NumberOfElements() == 0 || largest < points;
    if (faces && consistent)
        for (MMeshElement const& e : Elements())
            for (MMeshSurfaceTriangleList::Face const face : faces->GetValue(e))
                consistent &=
                    MMeshSurfaceTriangleList::IsFaceOf(e.GetNodeCount(), face.tetrahedron, face.triangle);
    return consistent;
}

// Nodes

MMeshPointIterator MMeshBase::AddPoint(MLong x, MLong y, MLong z) {
    std::uint64_t const before = m_points->GetNumPoints();
    MMeshPoint& node = m_points->AddPoint(x, y, z);
    try {
        // A node that was there already is registered again on purpose: it gets a fresh slot.
        m_point_masks->RegisterMaskObject(node);
    } catch (...) {
        if (m_points->GetNumPoints() > before)
            m_points->RemoveLast();
        throw;
    }
    m_box.Widen({x, y, z});
    return {m_points.get(), static_cast<std::uint64_t>(node.GetIndex())};
}

void MMeshBase::AddPoints(std::span<std::array<MLong, 3> const> positions, bool parallel) {
    if (m_points->HasCoordinateIndex()) {
        for (std::array<MLong, 3> const& p : positions)
            AddPoint(p[0], p[1], p[2]);
        return;
    }
    std::uint64_t const before = m_points->ClaimPoints(positions.size());
    WideningBox box(m_box);
    try {
        auto const indices = m_point_masks->HandOut(positions.size());
        KetSDK::Support::ComputeStepsSafely(
            {.items = positions.size(), .step = 4096, .parallel = parallel && positions.size() >= 1 << 16},
            [&](std::uint64_t first, std::uint64_t last) {
                for (std::uint64_t i = first; i < last; ++i)
                    m_point_masks->Enter(
                        m_points->MakePoint(before + i, positions[static_cast<std::size_t>(i)]), indices[i]);
                box.Widen(first, last, [&positions](std::uint64_t i) -> std::array<MLong, 3> const& {
                    return positions[static_cast<std::size_t>(i)];
                });
            });
    } catch (...) {
        m_points->Settle(false);
        throw;
    }
    m_points->Settle(true);
    m_box = box.Get();
}

MMeshPoint& MMeshBase::AddPointUnique(MMVector<double, 3> const& p, double scale) {
    ForbidDuplicatePoints();
    MMVector<MLong, 3> const position = NearestCoordinates(p * scale);
    return *AddPoint(position[0], position[1], position[2]);
}

void MMeshBase::ForbidDuplicatePoints() {
    m_points->CreateCoordinateIndex();
}

void MMeshBase::AllowDuplicatePoints() {
    m_points->DropCoordinateIndex();
}

void MMeshBase::DisableSorting() {
    m_points->DropCoordinateIndex();
}

// Elements

MMeshElement* MMeshBase::AddElement(char n, MMeshPoint** nodes) {
    if (m_subvolumes.empty())
        throw std::runtime_error("invalid state");
    return AddElementTo(*GetMainSubVolume(), n, nodes);
}

MMeshElement* MMeshBase::AddElementTo(MMeshSubVolume& sub_volume, char n, MMeshPoint** nodes) {
    MDataMask<MMeshElement, int>& numbers = *m_element_masks->GetSubvolumeMask();
    MMeshElement& e = m_elements->Append(static_cast<unsigned char>(n), nodes);
    try {
        m_element_masks->RegisterMaskObject(e, numbers, sub_volume.GetID());
    } catch (...) {
        m_elements->ShrinkTo(m_elements->GetNumElements() - 1);
        throw;
    }
    sub_volume.Count(1);
    return &e;
}

void MMeshBase::AddElements(MMeshElementArrays const& elements, bool parallel) {
    SubVolumeCounts const in_sub_volumes(elements.sub_volumes, m_subvolumes.size(), parallel);
    if (m_subvolumes.empty() || in_sub_volumes.NumberInNone() > 0)
        throw std::runtime_error("invalid state");
    AppendElements(elements, in_sub_volumes, parallel);
}

void MMeshBase::AppendElements(MMeshElementArrays const& elements, bool parallel) {
    AppendElements(elements, SubVolumeCounts(elements.sub_volumes, m_subvolumes.size(), parallel), parallel);
}

void MMeshBase::AppendElements(MMeshElementArrays const& elements, SubVolumeCounts const& in_sub_volumes,
                               bool parallel) {
    ElementNodeCounts const counts(elements.node_counts, elements.nodes.size(), parallel);
    ElementRoom const room = m_elements->ClaimRoom(elements, counts, *m_points, parallel);
    MakeElements(room, counts, elements.sub_volumes, in_sub_volumes, parallel);
}

void MMeshBase::AppendElements(std::span<unsigned char const> node_counts, std::span<MMeshPoint* const> nodes,
                               std::span<int const> sub_volumes) {
    if (node_counts.size() > static_cast<std::size_t>(std::numeric_limits<MLong>::max() - NumberOfElements()))
        throw std::runtime_error("invalid state");
    ElementNodeCounts const counts(node_counts, nodes.size(), false);
    ElementRoom const room(*m_elements, node_counts.size(), nodes.size());
    room.EnterAllNodes(nodes);
    MakeElements(room, counts, sub_volumes, SubVolumeCounts(sub_volumes, m_subvolumes.size(), false), false);
}

void MMeshBase::MakeElements(ElementRoom const& room, ElementNodeCounts const& counts,
                             std::span<int const> sub_volumes, SubVolumeCounts const& in_sub_volumes,
                             bool parallel) {
    std::uint64_t const count = counts.NumberOfElements();
    auto const index_of = [&](std::uint64_t i) {
        return sub_volumes.empty() ? 0 : sub_volumes[static_cast<std::size_t>(i)];
    };
    MDataMask<MMeshElement, int>* numbers = nullptr;
    try {
        if (sub_volumes.empty() || in_sub_volumes.NumberInNone() < sub_volumes.size())
            numbers = m_element_masks->GetSubvolumeMask();
        auto const indices = m_element_masks->HandOut(count);
        KetSDK::Support::ComputeStepsSafely(
            {.items = count, .step = ElementNodeCounts::Step, .parallel = parallel},
            [&](std::uint64_t first, std::uint64_t last) {
                room.Make(counts, first, last, [&](MMeshElement& e, std::uint64_t i) {
                    std::uint64_t const slot = indices[i];
                    m_element_masks->Enter(e, slot);
                    if (int const index = index_of(i); index >= 0)
                        numbers->SetValueAt(slot, m_subvolumes[static_cast<std::size_t>(index)]->GetID());
                });
            });
    } catch (...) {
        m_elements->Settle(false);
        throw;
    }
    m_elements->Settle(true);
    if (sub_volumes.empty() && count > 0)
        GetMainSubVolume()->Count(static_cast<unsigned int>(count));
    CountElements(in_sub_volumes);
}

void MMeshBase::IncludeElements(std::span<int const> sub_volumes, bool parallel) {
    if (sub_volumes.size() != m_elements->GetNumElements() ||
        (!sub_volumes.empty() && LargestOf(sub_volumes) >= m_subvolumes.size()))
        throw std::runtime_error("invalid state");
    MDataMask<MMeshElement, int>& numbers = *m_element_masks->GetSubvolumeMask();
    KetSDK::Support::ComputeStepsSafely(
        {.items = sub_volumes.size(), .step = 16384, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last) {
            for (std::uint64_t i = first; i < last; ++i)
                numbers.SetValue(*GetElement(i),
                                 m_subvolumes[static_cast<std::size_t>(sub_volumes[i])]->GetID());
        });
    CountElements(sub_volumes);
}

void MMeshBase::CountElements(std::span<int const> sub_volumes) noexcept {
    int last = -1; // neighbours in the list mostly share a sub-volume
    unsigned int run = 0;
    auto const count_run = [&](int next) {
        if (last >= 0)
            m_subvolumes[static_cast<std::size_t>(last)]->Count(run);
        last = next;
        run = 0;
    };
    for (int const index : sub_volumes) {
        if (index != last)
            count_run(index);
        ++run;
    }
    count_run(-1);
}

void MMeshBase::CountElements(SubVolumeCounts const& in_sub_volumes) noexcept {
    for (std::size_t i = 0; i < m_subvolumes.size(); ++i)
        m_subvolumes[i]->Count(in_sub_volumes[i]);
}

MeshElementsIterator<0>* MMeshBase::CreateBeginElementIter() {
    return m_elements->CreateElementIterAt(0);
}

MeshElementsIterator<1>* MMeshBase::CreateBeginElementIter() const {
    return static_cast<MMeshElementContainer const&>(*m_elements).CreateElementIterAt(0);
}

// Sub-volumes

MMeshSubVolume* MMeshBase::AddSubVolume() {
    m_subvolumes.push_back(std::make_shared<MMeshSubVolume>(this, static_cast<int>(m_subvolumes.size())));
    return m_subvolumes.back().get();
}

void MMeshBase::ClearSubVolumes() noexcept {
    // Who holds one further must not walk the elements of what gets its number, or those of a mesh that is
    // gone.
    for (auto const& sub_volume : m_subvolumes)
        sub_volume->Detach();
    m_subvolumes.clear();
}

MMeshSubVolume* MMeshBase::GetSubVolume(MMeshElement const& e) {
    return const_cast<MMeshSubVolume*>(std::as_const(*this).GetSubVolume(e));
}

MMeshSubVolume const* MMeshBase::GetSubVolume(MMeshElement const& e) const {
    MDataMask<MMeshElement, int> const* const numbers = std::as_const(*m_element_masks).GetSubvolumeMask();
    int const number = numbers ? numbers->GetValue(e) : -1;
    bool const listed = number >= 0 && static_cast<std::size_t>(number) < m_subvolumes.size();
    return listed ? m_subvolumes[static_cast<std::size_t>(number)].get() : nullptr;
}

MMeshBase* MMeshBase::GetSubVolumeAsMMeshBase(MMeshSubVolume const& sub_volume, MMeshOrigins* origins) const {
    auto sub_mesh = std::make_unique<MMeshBase>();
    sub_mesh->CopyMetadata(*this);
    sub_mesh->GetMainSubVolume()->SetName(sub_volume.GetName());
    sub_mesh->GetMainSubVolume()->SetMatID(sub_volume.GetMatID());

    // The sub-volume may be one of another mesh, or of none any more.
    MMeshBase const* const source_mesh = sub_volume.GetParent();
    // The node of the new mesh for each node of that mesh, so that each is entered once.
    std::vector<MMeshPoint*> entered(
        source_mesh ? static_cast<std::size_t>(source_mesh->NumberOfPoints()) : 0, nullptr);
    std::vector<MMeshPoint*> nodes;
    MMeshElementMaskContainer::CopiedElements copies;
    if (origins)
        *origins = {};
    auto const record = [origins](MMeshPoint const& node, MLong parent) {
        if (node.GetIndex() == static_cast<MLong>(origins->nodes.size()))
            origins->nodes.push_back({parent, parent});
        else
            ++origins->joined_nodes;
    };
    for (auto it = sub_volume.begin(); !it.IsDone(); ++it) {
        MMeshElement const& e = *it;
        nodes.clear();
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
            MMeshPoint const& source = *e.GetNode(i);
            MMeshPoint*& node = entered[static_cast<std::size_t>(source.GetIndex())];
            if (!node) {
                node = &sub_mesh->AddPointUnique(source.GetPosition(), Unit);
                if (origins)
                    record(*node, source.GetIndex());
            }
            nodes.push_back(node);
        }
        copies.emplace_back(&e, sub_mesh->AddElement(static_cast<char>(nodes.size()), nodes.data()));
        if (origins)
            origins->elements.push_back(static_cast<MLong>(it.GetPosition()));
    }
    if (source_mesh)
        sub_mesh->m_element_masks->CopyBuiltInMasks(*source_mesh->m_element_masks, copies, false);
    return sub_mesh.release();
}

std::uint64_t MMeshBase::RemoveEmptySubVolumes() {
    SubVolumeList kept;
    std::map<int, int> new_number;
    for (auto const& sub_volume : m_subvolumes) {
        if (sub_volume->m_element_count <= 0)
            continue;
        new_number[sub_volume->GetID()] = static_cast<int>(kept.size());
        kept.push_back(sub_volume);
    }
    // From here on nothing throws.
    RenumberElements(new_number);
    for (std::size_t i = 0; i < kept.size(); ++i)
        kept[i]->SetID(static_cast<int>(i));
    m_subvolumes.swap(kept);
    for (auto const& sub_volume : kept)
        if (sub_volume->m_element_count <= 0)
            sub_volume->Detach();
    return kept.size() - m_subvolumes.size();
}

void MMeshBase::SortSubvolumes(SubvolumesSortMode mode, SortDirection direction) {
    if (mode != SortByName && mode != SortByVolume)
        throw std::invalid_argument("not implemented case");

    // One pass for the volumes of all: there can be thousands of sub-volumes.
    std::unordered_map<int, double> volumes;
    auto const* const numbers = std::as_const(*m_element_masks).GetSubvolumeMask();
    if (mode == SortByVolume && numbers)
        for (MMeshElement const& e : *m_elements)
            volumes[numbers->GetValue(e)] += GetElementVolume(e);
    std::vector<std::pair<double, std::shared_ptr<MMeshSubVolume>>> sorted;
    for (auto const& sub_volume : m_subvolumes)
        sorted.emplace_back(volumes[sub_volume->GetID()], sub_volume);
    auto const before = [mode](auto const& a, auto const& b) {
        return mode == SortByName ? a.second->GetName() < b.second->GetName() : a.first < b.first;
    };
    std::stable_sort(sorted.begin(), sorted.end(), [&before, direction](auto const& a, auto const& b) {
        return direction == Ascending ? before(a, b) : before(b, a);
    });

    std::map<int, int> new_number;
    for (std::size_t i = 0; i < sorted.size(); ++i)
        new_number[sorted[i].second->GetID()] = static_cast<int>(i);
    // From here on nothing throws.
    RenumberElements(new_number);
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        sorted[i].second->SetID(static_cast<int>(i));
        m_subvolumes[i].swap(sorted[i].second);
    }
}

void MMeshBase::RenumberElements(std::map<int, int> const& new_number) {
    if (!m_element_masks->HasSubvolumeMask())
        return;
    MDataMask<MMeshElement, int>& numbers = *m_element_masks->GetSubvolumeMask();
    auto last = new_number.end(); // neighbours in the list mostly share a sub-volume
    for (MMeshElement const& e : *m_elements) {
        int const number = numbers.GetValue(e);
        if (last == new_number.end() || last->first != number)
            last = new_number.find(number);
        if (last != new_number.end())
            numbers.SetValue(e, last->second);
    }
}

// Whole mesh

void MMeshBase::ClearMesh() {
    // What can run out of memory comes first.
    std::unique_ptr<MMeshPointMaskContainer> point_masks(new MMeshPointMaskContainer(this));
    std::unique_ptr<MMeshElementMaskContainer> element_masks(new MMeshElementMaskContainer);
    m_neighbors->Disable();
    m_point_masks.swap(point_masks);
    point_masks.reset();
    m_points->Clear();
    m_elements->Clear();
    m_box.SetEmpty();
    m_has_grey_values = false;
    m_has_volume_index = false;
    m_element_masks.swap(element_masks);
    m_catalog.Clear();
    ClearSubVolumes();
}

void MMeshBase::ReplaceData(MMeshPointContainer* nodes, MMeshElementContainer* elements) {
    Replace(nodes, elements, false);
    CalcBoundingBox();
    // Slots that the new objects may have had are free now.
    for (MMeshPointIterator p = BeginPoint(); p != EndPoint(); ++p)
        p->SetMaskIndex(MDataMaskIndex::NotRegistered);
    for (MMeshElement& e : *m_elements)
        e.SetMaskIndex(MDataMaskIndex::NotRegistered);
}

void MMeshBase::Replace(MMeshPointContainer* nodes, MMeshElementContainer* elements, bool room) {
    std::unique_ptr<MMeshPointContainer> new_points(nodes);
    std::unique_ptr<MMeshElementContainer> new_elements(elements);
    m_point_masks->MakeRoomToReplaceAll(room ? nodes->GetNumPoints() : 0, true);
    m_element_masks->MakeRoomToReplaceAll(room ? elements->GetNumElements() : 0, false);
    // From here on nothing throws.
    m_neighbors->Disable();
    m_element_masks->Clear();
    m_point_masks->ReleaseNeighbourMask();
    m_point_masks->ReleaseAllIDs();
    m_elements = std::move(new_elements);
    m_points = std::move(new_points);
    for (auto const& sub_volume : m_subvolumes)
        sub_volume->m_element_count = 0;
}

void MMeshBase::_Set(MMeshPointContainer* nodes, MMeshElementContainer* elements, bool parallel) {
    Replace(nodes, elements, true);
    CalcBoundingBox(parallel);
    RegisterAll(parallel);
}

void MMeshBase::SetNumbered(std::unique_ptr<MMeshPointContainer> nodes,
                            std::unique_ptr<MMeshElementContainer> elements, BoundingBox const& box,
                            bool parallel) {
    Replace(nodes.release(), elements.release(), true);
    m_box = box;
    RegisterAll(parallel, true);
}

void MMeshBase::TakeContent(MMeshBase& other) {
    if (this == &other)
        return;
    // What can run out of memory comes first: the mask containers that the other mesh is left with, and the
    // catalog, which is copied as a whole or not at all.
    std::unique_ptr<MMeshPointMaskContainer> point_masks(new MMeshPointMaskContainer(&other));
    std::unique_ptr<MMeshElementMaskContainer> element_masks(new MMeshElementMaskContainer);
    CopyMetadata(other);

    m_neighbors->Disable();
    other.m_neighbors->Disable();
    RemoveCorrespondenceMapper();
    other.RemoveCorrespondenceMapper();
    m_points->Clear();
    m_elements->Clear();
    m_points.swap(other.m_points);
    m_elements.swap(other.m_elements);
    m_point_masks = std::exchange(other.m_point_masks, std::move(point_masks));
    m_point_masks->m_mesh = this;
    for (MDataMaskBase<MMeshPoint>* const mask : m_point_masks->Masks())
        if (auto* const named = dynamic_cast<MMeshMask*>(mask))
            named->m_mesh = this;
    m_element_masks = std::exchange(other.m_element_masks, std::move(element_masks));
    m_box = other.m_box;
    m_subvolumes.swap(other.m_subvolumes);
    for (auto const& sub_volume : m_subvolumes)
        sub_volume->SetParent(this);

    other.m_box.SetEmpty();
    other.m_has_grey_values = other.m_has_volume_index = false;
    other.m_catalog.Clear();
    other.ClearSubVolumes();
}

void MMeshBase::CopyMetadata(MMeshBase const& other) {
    m_catalog = other.m_catalog;
    m_has_grey_values = other.m_has_grey_values;
    m_has_volume_index = other.m_has_volume_index;
    m_type = other.m_type;
    m_state = other.m_state;
}

void MMeshBase::CalcBoundingBox(bool parallel) {
    WideningBox box({});
    std::uint64_t const count = m_points->GetNumPoints();
    KetSDK::Support::ComputeStepsSafely(
        {.items = count, .step = 8192, .parallel = parallel && count >= 1 << 16},
        [&](std::uint64_t first, std::uint64_t last) {
            box.Widen(first, last, [this](std::uint64_t i) {
                MMeshPoint const& p = *m_points->GetPointPtrAt(i);
                return std::array{p.x, p.y, p.z};
            });
        });
    m_box = box.Get();
}

void MMeshBase::NodesMoved() {
    CalcBoundingBox();
    m_points->UpdateCoordinateIndex();
}

MMeshBase::BoundingBoxDouble* MMeshBase::GetBoundingBoxDouble() const {
    return new BoundingBoxDouble(MMVector<double, 3>(m_box.GetMin()) / Unit,
                                 MMVector<double, 3>(m_box.GetMax()) / Unit);
}

void MMeshBase::Transform(MMTransform const& transform) {
    for (std::uint64_t i = 0; i < m_points->GetNumPoints(); ++i) {
        MMeshPoint& p = *m_points->GetPointPtrAt(i);
        MMVector<MLong, 3> const moved = NearestCoordinates(transform.Apply(p.GetPosition()) * Unit);
        p.x = moved[0];
        p.y = moved[1];
        p.z = moved[2];
    }
    NodesMoved();
}

double MMeshBase::GetVolume(bool parallel) const {
    double volume = 0.0;
    KetSDK::Support::ComputeSteps<double>(
        {.items = m_elements->GetNumElements(), .step = 4096, .parallel = parallel},
        [this](std::uint64_t first, std::uint64_t last, double& part) {
            double sum = 0.0;
            Elements().ForEachWithNodes(
                first, last, [&sum](MMeshElement const& e, std::uint64_t) { sum += GetElementVolume(e); });
            part = sum;
        },
        [&volume](std::uint64_t, std::uint64_t, double const& part) {
            volume += part;
            return true;
        });
    return volume;
}

bool MMeshBase::IsValid() const noexcept {
    if (m_subvolumes.size() == 1)
        return m_points->GetNumPoints() > 0 || m_elements->GetNumElements() > 0;
    return !m_subvolumes.empty();
}

std::size_t MMeshBase::MemoryUsed() const {
    return m_points->MemoryUsed() + m_elements->MemoryUsed() + m_point_masks->MemoryUsed() +
           m_element_masks->MemoryUsed() + m_neighbors->MemoryUsed();
}

// Materials

bool MMeshBase::HasMaterialInfo() const {
    MDataMask<MMeshElement, int> const* const materials = std::as_const(*m_element_masks).GetMaterialMask();
    return materials && std::any_of(Elements().begin(), Elements().end(), [materials](MMeshElement const& e) {
               return materials->GetValue(e) != materials->GetDefaultValue();
           });
}

bool MMeshBase::HasMaterialInfo(MMeshSubVolume const* sub_volume) const {
    MDataMask<MMeshElement, int> const* const materials = std::as_const(*m_element_masks).GetMaterialMask();
    return materials && sub_volume &&
           std::any_of(sub_volume->begin(), sub_volume->end(), [materials](MMeshElement const& e) {
               return materials->GetValue(e) != materials->GetDefaultValue();
           });
}

void MMeshBase::SetMaterialCatalog(MMaterialCatalog const* catalog) {
    if (catalog)
        m_catalog = *catalog;
    else
        m_catalog.Clear();
}
