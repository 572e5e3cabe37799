// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/detail/MeshTagsReader.h>

#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/Mesh/mesh/detail/ElementRoom.h>
#include <KetSDK/Mesh/mesh/detail/PointRoom.h>
#include <KetSDK/Mesh/persistence/detail/MeshTags.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Tags = KetSDK::Mesh::Detail::MeshTags;

namespace KetSDK::Mesh::Detail {

namespace {

void Require(bool condition) {
    if (!condition)
        throw std::runtime_error("invalid state");
}

// The integers of the open tag, one after the other.
class Integers {
public:
    explicit Integers(MSAXReader& reader)
        : m_reader(reader) {}

    // False at the end.
    bool Take(std::int32_t& value) {
        if (m_next == m_size) {
            m_size = m_reader.ReadPart(std::span(m_values));
            m_next = 0;
            if (m_size == 0)
                return false;
        }
        value = m_values[m_next++];
        return true;
    }
    // One that must be there, of those below `end`.
    std::int32_t TakeBelow(std::int64_t end) {
        std::int32_t value = 0;
        Require(Take(value) && value >= 0 && value < end);
        return value;
    }
    bool IsAtEnd() {
        std::int32_t value = 0;
        return !Take(value);
    }

private:
    MSAXReader& m_reader;
    std::array<std::int32_t, 16384> m_values; // as many as come from a file without a copy
    std::size_t m_next = 0;
    std::size_t m_size = 0;
};

using BoundingBox = MMeshBase::BoundingBox;

// Some nodes of the open tag.
class PointPiece {
public:
    PointPiece()
        : m_positions(std::make_unique_for_overwrite<Position[]>(Most)) {}

    // Takes the next ones; none at the end. Throws for one that is cut off.
    void Read(MSAXReader& reader) {
        std::size_t const size = reader.ReadPart(std::span(m_positions[0].data(), 3 * Most));
        Require(size % 3 == 0);
        m_size = size / 3;
        m_box.SetEmpty();
    }
    bool IsEmpty() const noexcept { return m_size == 0; }
    std::size_t NumberOfPoints() const noexcept { return m_size; }

    void Make() { m_box = room.MakeNumbered({m_positions.get(), m_size}); }
    // Empty until they are made.
    BoundingBox const& GetBox() const noexcept { return m_box; }

    PointRoom room; // for them

private:
    using Position = std::array<MLong, 3>;
    static constexpr std::size_t Most = 2 * MMeshPointContainer::NodesPerBlock;

    std::unique_ptr<Position[]> m_positions;
    std::size_t m_size = 0;
    BoundingBox m_box;
};

// Some elements of the open tag, and what was read beyond them.
class ElementPiece {
public:
    ElementPiece()
        : m_values(std::make_unique_for_overwrite<MLong[]>(Capacity)) {}

    // Takes the elements that follow those of another piece; none at the end. Throws for elements of an
    // unknown kind and for one that is cut off.
    void Read(MSAXReader& reader, ElementPiece const& before) {
        std::size_t size = before.m_size - before.m_next;
        std::copy_n(before.m_values.get() + before.m_next, size, m_values.get());
        size += reader.ReadPart(std::span(m_values.get() + size, Capacity - size));
        m_size = size;
        m_elements = m_nodes = m_next = 0;
        if (size > 0)
            TakeAlike();
        while (m_next < m_size && Take()) {
        }
        Require(size == 0 || m_elements > 0);
    }
    bool IsEmpty() const noexcept { return m_elements == 0; }
    std::size_t NumberOfElements() const noexcept { return m_elements; }
    std::size_t NumberOfNodes() const noexcept { return m_nodes; }
    // The number of nodes of each element and their indices.
    std::span<MLong const> CountsAndNodes() const noexcept { return {m_values.get(), m_next}; }

    ElementRoom room; // for them

private:
    // Pointers to the nodes fill an eighth of a large page: nothing is left over of these.
    static constexpr std::size_t MostNodes = (std::size_t{1} << 18) / sizeof(MMeshPoint*);
    static constexpr std::size_t MostElements = MostNodes / 4;
    static constexpr std::size_t Capacity = MostNodes + MostElements; // so many tetrahedra

    static bool IsKnown(std::size_t nodes) noexcept {
        return nodes <= UINT8_MAX &&
               MMeshElementDescriptor::GetNumTetraOfElement(static_cast<unsigned char>(nodes)) > 0;
    }
    std::size_t CountAt(std::size_t i) const noexcept {
        return static_cast<std::size_t>(m_values[i]); // a negative count becomes a large one
    }

    // The next element; false when the piece has no room for its nodes or does not have them.
    bool Take() {
        std::size_t const nodes = CountAt(m_next);
        Require(IsKnown(nodes));
        if (m_size - m_next <= nodes || m_nodes + nodes > MostNodes)
            return false;
        ++m_elements;
        m_nodes += nodes;
        m_next += nodes + 1;
        return true;
    }
    // The first elements, as long as they have as many nodes as the first one: mostly all have, and a look at
    // each then waits for none before it.
    void TakeAlike() {
        std::size_t const nodes = CountAt(0);
        Require(IsKnown(nodes));
        std::size_t const most = std::min(m_size / (nodes + 1), MostNodes / nodes);
        while (m_elements < most && CountAt(m_elements * (nodes + 1)) == nodes)
            ++m_elements;
        m_nodes = m_elements * nodes;
        m_next = m_elements + m_nodes;
    }

    std::unique_ptr<MLong[]> m_values; // from m_next on, what is beyond the elements
    std::size_t m_size = 0;
    std::size_t m_next = 0;
    std::size_t m_elements = 0;
    std::size_t m_nodes = 0;
};

// Reads pieces of the open tag on this thread, while others make what is in those before, until one is empty:
// read(piece, before) fills a piece, which has been made if it was filled before, and make(piece) makes what
// is in it. The room is to be made in reading: memory that other threads ask for goes back to the system when
// the mesh goes, and must be handed out anew for the next one.
template <typename Piece, typename Read, typename Make>
void ReadAndMake(bool parallel, Read const& read, Make const& make) {
    constexpr std::size_t window = 2;
    // A single thread makes what it has read before it leaves the processor's cache.
    std::vector<Piece> pieces(parallel ? 2 * window : 2);
    auto const piece_at = [&pieces](std::uint64_t number) -> Piece& {
        return pieces[number % pieces.size()];
    };
    auto const read_at = [&](std::uint64_t number) {
        read(piece_at(number), piece_at(number + pieces.size() - 1));
    };
    for (std::size_t i = 0; i < pieces.size(); ++i)
        read_at(i);
    KetSDK::Support::ComputeSteps(
        {.items = std::numeric_limits<std::uint64_t>::max(), .parallel = parallel, .window = window},
        [&](std::uint64_t number, std::uint64_t, std::size_t) {
            if (!piece_at(number).IsEmpty())
                make(piece_at(number));
        },
        [&](std::uint64_t number, std::uint64_t, std::size_t) {
            read_at(number);
            return !piece_at(number + 1).IsEmpty();
        });
}

template <typename T>
T Value(MSAXReader& reader) {
    T value{};
    reader.Read(value);
    return value;
}

// The block to which that of the weights belongs.
wchar_t const* VolumeListsTag() {
    using Masks = MMeshElementMaskContainer;
    using Lists = BuiltInMask<Masks, MDataMask<MMeshElement, Masks::VolumeList>, Masks::VolumeList>;
    return std::get<Lists>(BuiltInMasks<Masks>::Table()).tag;
}

// How many objects of a block are to be expected: what it says cannot be relied on.
std::size_t LeftOf(std::uint64_t count, std::uint64_t made) {
    constexpr std::uint64_t most = 1 << 20;
    return static_cast<std::size_t>(std::min(count - std::min(count, made), most));
}

constexpr std::int64_t AnyLength = std::int64_t{1} << 31;

bool IsOneOf(std::wstring const& type, std::wstring_view types) {
    std::size_t const at = types.find(type);
    return !type.empty() && at != types.npos && (at == 0 || types[at - 1] == L' ') &&
           (at + type.size() == types.size() || types[at + type.size()] == L' ');
}

} // namespace

// What is done with a tag inside another one. A block has a number of values an object and types that
// they may be said to have.
struct MeshTagsReader::Rule {
    wchar_t const* parent; // null: the mesh
    wchar_t const* tag;
    void (MeshTagsReader::*handle)(MSAXReader&);
    unsigned int dim = 0;
    wchar_t const* types = L"";
};

template <typename Masks, std::size_t... Row>
void MeshTagsReader::AddMaskRules(std::vector<Rule>& rules, std::index_sequence<Row...>) {
    auto const add = [&rules](BuiltInMaskTraits const& mask, void (MeshTagsReader::*read)(MSAXReader&)) {
        rules.push_back({nullptr, mask.tag, &MeshTagsReader::OpenBlock, 1, mask.types});
        rules.push_back({mask.tag, Tags::Data, read});
    };
    (add(std::get<Row>(BuiltInMasks<Masks>::Table()), &MeshTagsReader::ReadMask<Masks, Row>), ...);
}

std::vector<MeshTagsReader::Rule> const& MeshTagsReader::Rules() {
    static std::vector<Rule> const rules = [] {
        std::vector<Rule> all = {
            {nullptr, Tags::Points, &MeshTagsReader::OpenBlock, 3, L"long MeshPoint"},
            {Tags::Points, Tags::Data, &MeshTagsReader::ReadPoints},
            {nullptr, Tags::Elements, &MeshTagsReader::OpenBlock, 1, L"long MeshElement"},
            {Tags::Elements, Tags::Data, &MeshTagsReader::ReadElements},
            {nullptr, Tags::VolumeWeights, &MeshTagsReader::OpenBlock, 1, L"double"},
            {Tags::VolumeWeights, Tags::Data, &MeshTagsReader::ReadVolumeWeights},
            {nullptr, Tags::SubVolumeList, &MeshTagsReader::OpenSubVolumeList},
            {Tags::SubVolumeList, Tags::SubVolume, &MeshTagsReader::OpenSubVolume},
            {Tags::SubVolume, Tags::Name, &MeshTagsReader::ReadName},
            {Tags::SubVolume, Tags::Number, &MeshTagsReader::ReadNumber},
            {Tags::SubVolume, Tags::MaterialNumber, &MeshTagsReader::ReadMaterialNumber},
            {Tags::SubVolume, Tags::ElementCount, &MeshTagsReader::ReadElementCount},
            {nullptr, Tags::MaterialCatalog, nullptr}, // an object of its own
            {nullptr, Tags::HasGreyValues, &MeshTagsReader::ReadHasGreyValues},
            {nullptr, Tags::HasVolumeIndexValues, &MeshTagsReader::ReadHasVolumeIndexValues},
            {nullptr, Tags::MeshType, &MeshTagsReader::ReadMeshType},
            {nullptr, Tags::MeshState, &MeshTagsReader::ReadMeshState},
            {nullptr, Tags::ScalarField, &MeshTagsReader::OpenField},
            {Tags::ScalarField, Tags::ID, &MeshTagsReader::ReadFieldID},
            {Tags::ScalarField, Tags::Label, &MeshTagsReader::ReadFieldLabel},
            {Tags::ScalarField, Tags::Default, &MeshTagsReader::ReadFieldDefault},
            {Tags::ScalarField, Tags::Data, &MeshTagsReader::ReadFieldValues},
        };
        AddMaskRules<MMeshElementMaskContainer>(all, BuiltInMaskRows<MMeshElementMaskContainer>());
        AddMaskRules<MMeshPointMaskContainer>(all, BuiltInMaskRows<MMeshPointMaskContainer>());
        return all;
    }();
    return rules;
}

MeshTagsReader::MeshTagsReader(bool parallel)
    : m_mesh(std::make_unique<MMeshBase>())
    , m_parallel(parallel) {}

MeshTagsReader::~MeshTagsReader() = default;

bool MeshTagsReader::HandleTag(std::wstring const& tag, MSAXReader& reader) {
    auto const rule = std::find_if(Rules().begin(), Rules().end(), [&](Rule const& r) {
        return r.tag == tag && (r.parent ? !m_path.empty() && m_path.back() == r.parent : m_path.empty());
    });
    if (rule == Rules().end())
        return false;
    // Each tag of the mesh comes once, but for the fields.
    Require(!m_path.empty() || m_seen.insert(tag).second || tag == Tags::ScalarField);
    if (rule->dim > 0) {
        std::uint64_t dim = 0;
        std::wstring type;
        Require(reader.ReadAttribute(Tags::Dim, dim) && dim == rule->dim &&
                reader.ReadAttribute(Tags::DataType, type) && IsOneOf(type, rule->types));
    }
    if (tag == Tags::Data)
        Require(!std::exchange(m_data_read, true));
    if (rule->handle)
        (this->*rule->handle)(reader);
    m_path.push_back(tag);
    return true;
}

void MeshTagsReader::HandleEndTag() {
    m_path.pop_back();
    if (m_path.empty())
        Require(m_data_read); // of a block or a field
}

void MeshTagsReader::Finish() {
    Require(m_seen.contains(Tags::Points) && m_seen.contains(Tags::Elements) &&
            m_seen.contains(VolumeListsTag()) == m_seen.contains(Tags::VolumeWeights));
    if (!m_seen.contains(Tags::SubVolumeList))
        MakeSubVolumes();
}

// The seven blocks alone say only which sub-volume an element belongs to: they get default names. A mesh
// without that goes into the main one.
void MeshTagsReader::MakeSubVolumes() {
    MDataMask<MMeshElement, int> const* const numbers =
        std::as_const(*m_mesh->GetElementMasks()).GetSubvolumeMask();
    for (MMeshElement& e : m_mesh->Elements()) {
        int const number = numbers ? numbers->GetValue(e) : 0;
        Require(number < m_mesh->NumberOfElements());
        while (number >= static_cast<int>(m_mesh->NumberOfSubVolumes()))
            m_mesh->AddSubVolume();
        if (number >= 0)
            m_mesh->BeginSubVolume()[number]->IncludeElement(e);
    }
}

// Blocks

void MeshTagsReader::OpenBlock(MSAXReader& reader) {
    Require(reader.ReadAttribute(Tags::Count, m_count));
    m_data_read = false;
}

void MeshTagsReader::ReadPoints(MSAXReader& reader) {
    m_points = std::make_unique<MMeshPointContainer>();
    std::uint64_t claimed = 0;
    ReadAndMake<PointPiece>(
        m_parallel && m_count >= 1 << 16,
        [&](PointPiece& piece, PointPiece const&) {
            // The nodes of the piece have been made.
            if (BoundingBox const& box = piece.GetBox(); !box.IsEmpty()) {
                m_box.Widen(box.GetMin());
                m_box.Widen(box.GetMax());
            }
            piece.Read(reader);
            m_points->Expect(LeftOf(m_count, claimed));
            claimed += piece.NumberOfPoints();
            Require(claimed < AnyLength);
            piece.room = PointRoom(*m_points, piece.NumberOfPoints());
        },
        [](PointPiece& piece) { piece.Make(); });
    m_points->Settle(true);
    m_points->Expect(0);
    Require(m_points->GetNumPoints() == m_count && m_count < AnyLength);
}

void MeshTagsReader::ReadElements(MSAXReader& reader) {
    Require(m_points != nullptr);
    auto elements = std::make_unique<MMeshElementContainer>();
    std::uint64_t claimed = 0;
    ReadAndMake<ElementPiece>(
        m_parallel && m_count >= 1 << 17, // fewer are read in a few milliseconds
        [&](ElementPiece& piece, ElementPiece const& before) {
            piece.Read(reader, before);
            if (piece.IsEmpty())
                return;
            std::size_t const to_come = LeftOf(m_count, claimed);
            elements->Expect(to_come, to_come * piece.NumberOfNodes() / piece.NumberOfElements());
            piece.room = ElementRoom(*elements, piece.NumberOfElements(), piece.NumberOfNodes());
            claimed += piece.NumberOfElements();
        },
        [&](ElementPiece& piece) { piece.room.MakeNumbered(piece.CountsAndNodes(), *m_points); });
    elements->Settle(true);
    elements->Expect(0, 0);
    Require(elements->GetNumElements() == m_count && m_count < AnyLength);
    m_mesh->SetNumbered(std::move(m_points), std::move(elements), m_box, m_parallel);
}

MaskOrder MeshTagsReader::Order(std::uint64_t objects) const {
    Require(m_count == 0 || m_count == objects);
    return MaskOrder(m_count);
}

template <typename Make>
void MeshTagsReader::ReadNumbers(MSAXReader& reader, MaskOrder const& order, Make&& make) {
    using Mask = std::remove_pointer_t<decltype(make())>;
    using Number = std::decay_t<decltype(std::declval<Mask&>().GetDefaultValue())>;
    if (order.GetCount() > 0)
        FillRuns(*make(), order, [&reader](std::uint64_t, std::span<Number> values) {
            Require(reader.ReadPart(values) == values.size());
        });
    Number beyond;
    Require(reader.ReadPart(std::span(&beyond, 1)) == 0);
}

template <typename Masks, std::size_t Row>
void MeshTagsReader::ReadMask(MSAXReader& reader) {
    auto const& row = std::get<Row>(BuiltInMasks<Masks>::Table());
    MaskOrder const order = std::is_same_v<Masks, MMeshElementMaskContainer> ? ElementOrder() : NodeOrder();
    if constexpr (requires { ReadValues(reader, order, *row.MakeIn(*m_mesh)); }) {
        ReadValues(reader, order, *row.MakeIn(*m_mesh));
    } else {
        auto& masks = row.MasksOf(*m_mesh);
        decltype(row.MakeAsideUnfilled(masks, 0)) values; // none where the block is empty
        ReadNumbers(reader, order, [&] {
            values = row.MakeAsideUnfilled(masks, order.GetCount());
            return values.get();
        });
        row.TakeValues(masks, std::move(values));
    }
}

// Lists grow with the entries that are there.

void MeshTagsReader::ReadValues(MSAXReader& reader, MaskOrder const& order, VolumeListMask& lists) {
    Integers integers(reader);
    for (std::uint64_t i = 0; i < order.GetCount(); ++i)
        for (std::int32_t left = integers.TakeBelow(AnyLength); left > 0; --left) {
            auto const volume = static_cast<unsigned short>(integers.TakeBelow(UINT16_MAX + 1));
            lists.GetSlot(i).push_back({volume, 0.0});
        }
    Require(integers.IsAtEnd());
}

void MeshTagsReader::ReadVolumeWeights(MSAXReader& reader) {
    Require(m_seen.contains(VolumeListsTag()));
    auto& lists = *m_mesh->GetElementMasks()->GetVolumeIndexMask();
    std::uint64_t weights = 0;
    double weight = 0.0;
    for (std::uint64_t i = 0; i < m_mesh->Elements().GetNumElements(); ++i)
        for (auto& entry : lists.GetSlot(i)) {
            Require(reader.ReadPart(std::span(&entry.weight, 1)) == 1);
            ++weights;
        }
    Require(weights == m_count && reader.ReadPart(std::span(&weight, 1)) == 0);
}

void MeshTagsReader::ReadValues(MSAXReader& reader, MaskOrder const& order, SurfaceMask& lists) {
    Integers integers(reader);
    for (std::uint64_t i = 0; i < order.GetCount(); ++i)
        for (std::int32_t left = integers.TakeBelow(AnyLength); left > 0; --left) {
            auto const tetrahedron = static_cast<unsigned char>(integers.TakeBelow(UINT8_MAX));
            auto const triangle = static_cast<unsigned char>(integers.TakeBelow(UINT8_MAX));
            Require(MMeshSurfaceTriangleList::IsFaceOf(m_mesh->GetElement(i)->GetNodeCount(), tetrahedron,
                                                       triangle));
            lists.GetSlot(i).Add(tetrahedron, triangle);
        }
    Require(integers.IsAtEnd());
}

void MeshTagsReader::ReadValues(MSAXReader& reader, MaskOrder const& order,
                                MDataMaskBits<MMeshElement>& visible) {
    Integers integers(reader);
    bool shown = true;
    std::uint64_t element = 0;
    for (std::int32_t run = 0; integers.Take(run); shown = !shown) {
        Require(run >= 0 && static_cast<std::uint64_t>(run) <= order.GetCount() - element);
        for (; run > 0; --run)
            visible.SetValueAt(element++, shown);
    }
    Require(element == order.GetCount());
}

// Sub-volumes

void MeshTagsReader::OpenSubVolumeList(MSAXReader&) {
    m_mesh->ClearSubVolumes();
}
void MeshTagsReader::OpenSubVolume(MSAXReader&) {
    m_mesh->AddSubVolume();
}

MMeshSubVolume& MeshTagsReader::CurrentSubVolume() {
    return **(m_mesh->EndSubVolume() - 1);
}
void MeshTagsReader::ReadName(MSAXReader& reader) {
    CurrentSubVolume().SetName(Value<std::wstring>(reader));
}
void MeshTagsReader::ReadNumber(MSAXReader& reader) {
    CurrentSubVolume().SetID(Value<std::int32_t>(reader));
}
void MeshTagsReader::ReadMaterialNumber(MSAXReader& reader) {
    CurrentSubVolume().SetMatID(Value<std::int32_t>(reader));
}
void MeshTagsReader::ReadElementCount(MSAXReader& reader) {
    CurrentSubVolume().m_element_count = Value<std::int32_t>(reader);
}

// Flags

void MeshTagsReader::ReadHasGreyValues(MSAXReader& reader) {
    m_mesh->SetGreyValuesFlag(Value<bool>(reader));
}
void MeshTagsReader::ReadHasVolumeIndexValues(MSAXReader& reader) {
    m_mesh->SetVolumeIndexFlag(Value<bool>(reader));
}
void MeshTagsReader::ReadMeshType(MSAXReader& reader) {
    m_mesh->SetMeshType(static_cast<MMeshBase::TetMeshType>(Value<std::int32_t>(reader)));
}
void MeshTagsReader::ReadMeshState(MSAXReader& reader) {
    m_mesh->SetMeshState(static_cast<MMeshBase::MeshStateType>(Value<std::int32_t>(reader)));
}

// Fields

void MeshTagsReader::OpenField(MSAXReader&) {
    Require(m_seen.contains(Tags::Elements)); // a field is made for the nodes that are there
    m_field_id.clear();
    m_field_label.clear();
    m_field_default = 0.0;
    m_data_read = false;
    m_count = static_cast<std::uint64_t>(m_mesh->NumberOfPoints());
}
void MeshTagsReader::ReadFieldID(MSAXReader& reader) {
    m_field_id = Value<std::wstring>(reader);
}
void MeshTagsReader::ReadFieldLabel(MSAXReader& reader) {
    m_field_label = Value<std::wstring>(reader);
}
void MeshTagsReader::ReadFieldDefault(MSAXReader& reader) {
    m_field_default = Value<double>(reader);
}
void MeshTagsReader::ReadFieldValues(MSAXReader& reader) {
    m_fields.push_back(std::make_unique<MMeshNamedScalarMaskPoints>(m_field_id, m_field_label, m_mesh.get(),
                                                                    m_field_default));
    ReadNumbers(reader, NodeOrder(),
                [this]() -> MDataMask<MMeshPoint, double>* { return m_fields.back().get(); });
}

} // namespace KetSDK::Mesh::Detail
