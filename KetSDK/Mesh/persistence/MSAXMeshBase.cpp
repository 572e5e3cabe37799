// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MSAXMeshBase.h>

#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/detail/MeshTags.h>
#include <KetSDK/Mesh/persistence/detail/MeshTagsReader.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <optional>
#include <span>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;
namespace Tags = KetSDK::Mesh::Detail::MeshTags;

namespace {

unsigned int NextTagId() {
    static std::atomic<unsigned int> last = 0;
    return ++last;
}

// A block of numbers that is open.
class Block {
public:
    Block(MSAXWriter& writer, wchar_t const* name, unsigned int dim, std::wstring const& type,
          std::uint64_t count)
        : m_block(writer, name) {
        writer.WriteAttribute(Tags::Dim, std::uint64_t{dim});
        writer.WriteAttribute(Tags::DataType, type);
        writer.WriteAttribute(Tags::Count, count);
        m_data.emplace(writer, Tags::Data);
    }

private:
    MSAXTagWriter m_block;
    std::optional<MSAXTagWriter> m_data;
};

// Collects integers and writes them in pieces.
class Integers {
public:
    explicit Integers(MSAXWriter& writer)
        : m_writer(writer) {
        m_values.reserve(Piece + Margin);
    }
    void Put(std::int32_t value) { m_values.push_back(value); }
    // After each object.
    void Next() {
        if (m_values.size() >= Piece)
            Finish();
    }
    void Finish() {
        m_writer.WriteArray(std::span<std::int32_t const>(m_values));
        m_values.clear();
    }

    // As large as goes to a file without a copy, and room for the object that passes it.
    static constexpr std::size_t Piece = 16384;
    static constexpr std::size_t Margin = 256;

private:
    MSAXWriter& m_writer;
    std::vector<std::int32_t> m_values;
};

// A piece of a block, which is put together on any thread and written by the calling one. That one makes it:
// memory that other threads ask for goes back to the system and must be handed out anew for the next file.
struct Piece {
    Piece() { values.reserve(Integers::Piece + Integers::Margin); }
    std::vector<std::int32_t> values;
    bool good = true;
};

KetSDK::Support::WorkSteps StepsOf(std::uint64_t pieces, bool parallel) {
    constexpr std::uint64_t least = 16; // fewer are written before another thread has begun
    // Few pieces wait to be written: memory that is not yet in use takes longer to get than to fill.
    return {.items = pieces, .parallel = parallel && pieces >= least, .window = 4};
}

void WritePoints(MSAXWriter& writer, MMeshBase const& mesh, bool parallel) {
    auto const count = static_cast<std::uint64_t>(mesh.NumberOfPoints());
    Block const block(writer, Tags::Points, 3, L"long", count);
    constexpr std::uint64_t nodes_of_piece = (Integers::Piece + 2) / 3;
    KetSDK::Support::ComputeSteps<Piece>(
        StepsOf(count / nodes_of_piece + 1, parallel),
        [&mesh, count](std::uint64_t number, std::uint64_t, Piece& piece) {
            std::uint64_t const first = number * nodes_of_piece;
            std::uint64_t const last = std::min(first + nodes_of_piece, count);
            piece.values.resize(static_cast<std::size_t>(3 * (last - first)));
            std::int32_t* value = piece.values.data();
            for (std::uint64_t i = first; i < last; ++i) {
                MMeshPoint const& p = *mesh.GetRandomPoint(i);
                for (MLong const coordinate : {p.x, p.y, p.z})
                    *value++ = coordinate;
            }
        },
        [&writer](std::uint64_t, std::uint64_t, Piece const& piece) {
            writer.WriteArray(std::span(piece.values));
            return true;
        });
}

// What is known of the elements before they are written, from one look at each.
struct ElementPieces {
    ElementPieces(MMeshElementContainer const& elements, bool parallel) {
        std::uint64_t const count = elements.GetNumElements();
        unsigned int const nodes = count > 0 ? elements.GetElementPtrAt(0)->GetNodeCount() : 0;
        struct Seen {
            bool in_order;
            bool alike;
        };
        bool alike = true;
        constexpr std::uint64_t step = 8192;
        KetSDK::Support::ComputeSteps<Seen>(
            {.items = count, .step = step, .parallel = parallel && count >= 8 * step},
            [&elements, nodes](std::uint64_t first, std::uint64_t last, Seen& seen) {
                seen = {true, true};
                auto e = elements.begin() + static_cast<std::ptrdiff_t>(first);
                for (std::uint64_t i = first; i < last; ++i, ++e) {
                    seen.in_order &= e->GetMaskIndex() == i;
                    seen.alike &= e->GetNodeCount() == nodes;
                }
            },
            [&](std::uint64_t, std::uint64_t, Seen const& seen) {
                in_order = in_order && seen.in_order;
                alike = alike && seen.alike;
                return true;
            });
        if (alike)
            CutEvery((Integers::Piece + nodes) / (nodes + 1), count);
        else
            CutBySize(elements);
        ends.push_back(count);
    }

    bool in_order = true; // each has its own number as mask index
    // Of pieces: each ends with the element that fills it; the last one may be empty.
    std::vector<std::uint64_t> ends{0};

private:
    void CutEvery(std::uint64_t elements, std::uint64_t count) {
        for (std::uint64_t end = elements; end <= count; end += elements)
            ends.push_back(end);
    }
    void CutBySize(MMeshElementContainer const& elements) {
        std::uint64_t number = 0;
        std::size_t size = 0;
        for (MMeshElement const& e : elements) {
            size += std::size_t{1} + e.GetNodeCount();
            ++number;
            if (size >= Integers::Piece) {
                ends.push_back(number);
                size = 0;
            }
        }
    }
};

// The elements as their node counts and the indices of their nodes.
void PutElements(MMeshBase const& mesh, std::uint64_t first, std::uint64_t last, Piece& piece) {
    auto const points = static_cast<std::uint32_t>(mesh.NumberOfPoints());
    piece.values.resize(Integers::Piece + Integers::Margin);
    std::int32_t* value = piece.values.data();
    bool known = true;
    std::uint32_t largest = 0; // a negative index counts as a large one
    mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t) {
        unsigned char const n = e.GetNodeCount();
        known &= MMeshElementDescriptor::GetNumTetraOfElement(n) > 0;
        *value++ = n;
        std::uint32_t largest_here = 0; // in a register, which the other one may not have
        for (unsigned int i = 0; i < n; ++i) {
            MLong const index = e.GetNode(i)->GetIndex();
            largest_here = std::max(largest_here, static_cast<std::uint32_t>(index));
            *value++ = index;
        }
        largest = std::max(largest, largest_here);
    });
    piece.values.resize(static_cast<std::size_t>(value - piece.values.data()));
    piece.good = piece.values.empty() || (known && largest < points);
}

// False for an element that could not be read back.
bool WriteElements(MSAXWriter& writer, MMeshBase const& mesh, std::vector<std::uint64_t> const& ends,
                   bool parallel) {
    Block const block(writer, Tags::Elements, 1, L"long", mesh.Elements().GetNumElements());
    bool good = true;
    KetSDK::Support::ComputeSteps<Piece>(
        StepsOf(ends.size() - 1, parallel),
        [&](std::uint64_t number, std::uint64_t, Piece& piece) {
            PutElements(mesh, ends[number], ends[number + 1], piece);
        },
        [&](std::uint64_t, std::uint64_t, Piece const& piece) {
            good = good && piece.good;
            writer.WriteArray(std::span(piece.values));
            return true;
        });
    return good;
}

// The built-in masks as blocks.
class MaskBlocks {
public:
    MaskBlocks(MSAXWriter& writer, MMeshBase const& mesh, MaskOrder const& elements, MaskOrder const& nodes)
        : m_writer(writer)
        , m_mesh(mesh)
        , m_elements(elements)
        , m_nodes(nodes) {}

    // False for values that could not be read back.
    bool Write() {
        m_good = true;
        ForEachBuiltInMaskBy(&BuiltInMaskTraits::tag_rank, [this](auto const& row) {
            std::wstring const type(row.types, std::wcscspn(row.types, L" "));
            if (auto const* const mask = row.FindIn(m_mesh))
                WriteOne(row.tag, type, *mask);
            else if ((row.flags & AlwaysTagged) != 0)
                Block const empty(m_writer, row.tag, 1, type, 0);
        });
        return m_good;
    }

private:
    using Tag = wchar_t const*;
    using VolumeLists = MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList>;
    using Faces = MDataMask<MMeshElement, MMeshSurfaceTriangleList>;

    MaskOrder const& Order(MDataMaskBase<MMeshElement> const&) const { return m_elements; }
    MaskOrder const& Order(MDataMaskBase<MMeshPoint> const&) const { return m_nodes; }

    template <typename T, typename V>
    void WriteOne(Tag tag, std::wstring const& type, MDataMask<T, V> const& mask) {
        Block const block(m_writer, tag, 1, type, Order(mask).GetCount());
        ForEachRun(mask, Order(mask),
                   [this](std::uint64_t, std::span<V const> values) { m_writer.WriteArray(values); });
    }
    void WriteOne(Tag tag, std::wstring const& type, VolumeLists const& lists);
    void WriteOne(Tag tag, std::wstring const& type, Faces const& lists);
    void WriteOne(Tag tag, std::wstring const& type, MDataMaskBits<MMeshElement> const& visible);

    MSAXWriter& m_writer;
    MMeshBase const& m_mesh;
    MaskOrder const& m_elements;
    MaskOrder const& m_nodes;
    bool m_good = true;
};

// Each list as its length and its volumes; the weights follow in a block of their own.
void MaskBlocks::WriteOne(Tag tag, std::wstring const& type, VolumeLists const& lists) {
    std::uint64_t weights = 0;
    {
        Block const block(m_writer, tag, 1, type, m_elements.GetCount());
        Integers integers(m_writer);
        for (std::uint64_t i = 0; i < m_elements.GetCount(); ++i) {
            auto const& list = lists.GetValueAt(m_elements[i]);
            integers.Put(static_cast<std::int32_t>(list.size()));
            for (auto const& entry : list) {
                integers.Put(entry.volume_index);
                integers.Next();
            }
            weights += list.size();
            integers.Next();
        }
        integers.Finish();
    }
    Block const block(m_writer, Tags::VolumeWeights, 1, L"double", weights);
    for (std::uint64_t i = 0; i < m_elements.GetCount(); ++i)
        for (auto const& entry : lists.GetValueAt(m_elements[i]))
            m_writer.WriteArray(std::span<double const>(&entry.weight, 1));
}

// Each list as its length and its faces.
void MaskBlocks::WriteOne(Tag tag, std::wstring const& type, Faces const& lists) {
    Block const block(m_writer, tag, 1, type, m_elements.GetCount());
    Integers integers(m_writer);
    for (std::uint64_t i = 0; i < m_elements.GetCount(); ++i) {
        MMeshSurfaceTriangleList const& list = lists.GetValueAt(m_elements[i]);
        integers.Put(static_cast<std::int32_t>(list.GetSize()));
        for (MMeshSurfaceTriangleList::Face const face : list) {
            integers.Put(face.tetrahedron);
            integers.Put(face.triangle);
            integers.Next();
            m_good = m_good && MMeshSurfaceTriangleList::IsFaceOf(m_mesh.GetElement(i)->GetNodeCount(),
                                                                  face.tetrahedron, face.triangle);
        }
        integers.Next();
    }
    integers.Finish();
}

// How many elements are shown, then how many are hidden, then shown ...
void MaskBlocks::WriteOne(Tag tag, std::wstring const& type, MDataMaskBits<MMeshElement> const& visible) {
    Block const block(m_writer, tag, 1, type, m_elements.GetCount());
    Integers integers(m_writer);
    bool shown = true;
    std::int32_t run = 0;
    for (std::uint64_t i = 0; i < m_elements.GetCount(); ++i) {
        if (visible.GetValueAt(m_elements[i]) != shown) {
            integers.Put(std::exchange(run, 0));
            integers.Next();
            shown = !shown;
        }
        ++run;
    }
    integers.Put(run);
    integers.Finish();
}

void WriteSubVolumeList(MSAXWriter& writer, MMeshBase const& mesh) {
    MSAXTagWriter const list(writer, Tags::SubVolumeList);
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        MSAXTagWriter const sub_volume(writer, Tags::SubVolume);
        writer.WriteTag(Tags::Name, (*it)->GetName());
        writer.WriteTag(Tags::Number, (*it)->GetID());
        writer.WriteTag(Tags::MaterialNumber, (*it)->GetMatID());
        writer.WriteTag(Tags::ElementCount, static_cast<std::int32_t>((*it)->GetNbElements()));
    }
}

void WriteFields(MSAXWriter& writer, MMeshBase const& mesh, MaskOrder const& order) {
    using Iterator = MMeshMaskIterator<MMeshNamedScalarMaskPoints const>;
    for (auto field = Iterator::Begin(&mesh); field != Iterator::End(&mesh); ++field) {
        MSAXTagWriter const tag(writer, Tags::ScalarField);
        writer.WriteTag(Tags::ID, field->GetID());
        writer.WriteTag(Tags::Label, field->GetUserLabel());
        writer.WriteTag(Tags::Default, field->GetDefaultValue());
        MSAXTagWriter const data(writer, Tags::Data);
        ForEachRun<MMeshPoint, double>(
            *field, order,
            [&writer](std::uint64_t, std::span<double const> values) { writer.WriteArray(values); });
    }
}

bool WriteBlocks(MSAXWriter& writer, MMeshBase const& mesh, bool parallel) {
    ElementPieces const pieces(mesh.Elements(), parallel);
    std::uint64_t const count = mesh.Elements().GetNumElements();
    MaskOrder const elements =
        pieces.in_order
            ? MaskOrder(count)
            : MaskOrder(count, [&mesh](std::uint64_t i) { return mesh.GetElement(i)->GetMaskIndex(); });
    MaskOrder const nodes(static_cast<std::uint64_t>(mesh.NumberOfPoints()),
                          [&mesh](std::uint64_t i) { return mesh.GetRandomPoint(i)->GetMaskIndex(); });

    WritePoints(writer, mesh, parallel);
    bool good = WriteElements(writer, mesh, pieces.ends, parallel);
    good = MaskBlocks(writer, mesh, elements, nodes).Write() && good;
    WriteSubVolumeList(writer, mesh);
    WriteFields(writer, mesh, nodes);
    return good;
}

} // namespace

// All that is read, until it goes to the receiving mesh.
class MSAXMeshBase::Reading : public MeshTagsReader {
    using MeshTagsReader::MeshTagsReader;
};

MSAXMeshBase::MSAXMeshBase(MMeshBase* mesh)
    : m_target(mesh)
    , m_mesh(mesh)
    , m_tag_id(NextTagId()) {}

MSAXMeshBase::MSAXMeshBase(MMeshBase const* mesh)
    : m_mesh(mesh)
    , m_tag_id(NextTagId()) {}

MSAXMeshBase::~MSAXMeshBase() = default;

bool MSAXMeshBase::Write(MSAXWriter& writer) const {
    m_saved_incrementally = false;
    if (m_skip)
        return true;
    if (writer.SupportsIncrementalSaving() && writer.IsTagWritten(m_tag_id)) {
        m_saved_incrementally = true;
        return true;
    }
    MSAXTagWriter const tag(writer, Tags::Mesh);
    if (writer.SupportsIncrementalSaving())
        writer.SetTagId(m_tag_id);
    bool const consistent = WriteBlocks(writer, *m_mesh, m_parallel);
    bool const written = m_mesh->GetMaterialCatalog().Write(writer) && consistent;
    writer.WriteTag(Tags::HasGreyValues, m_mesh->HasGreyValues());
    writer.WriteTag(Tags::HasVolumeIndexValues, m_mesh->HasVolumeIndexValues());
    writer.WriteTag(Tags::MeshType, static_cast<std::int32_t>(m_mesh->GetMeshType()));
    writer.WriteTag(Tags::MeshState, static_cast<std::int32_t>(m_mesh->GetMeshState()));
    return written && writer.IsGood();
}

void MSAXMeshBase::SetDefaults() {
    m_catalog.Clear();
    m_fields.clear();
    m_reading.reset();
    if (m_target && !m_skip)
        m_reading = std::make_unique<Reading>(m_parallel);
}

bool MSAXMeshBase::HandleTag(std::wstring const& tag, MSAXReader& reader) {
    if (!m_reading)
        return false;
    if (m_reading->IsOutermost() && tag == Tags::MaterialCatalog)
        reader.Read(m_catalog);
    return m_reading->HandleTag(tag, reader);
}

void MSAXMeshBase::HandleEndTag(std::wstring const&) {
    m_reading->HandleEndTag();
}

void MSAXMeshBase::InitAfterLoading() {
    if (!m_reading)
        return;
    std::unique_ptr<Reading> const reading = std::move(m_reading);
    reading->Finish();
    MMeshBase& mesh = reading->GetMesh();
    mesh.SetMaterialCatalog(m_catalog);
    m_target->TakeContent(mesh);
    m_fields = reading->TakeFields();
}

std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> MSAXMeshBase::TakeFields() {
    return std::exchange(m_fields, {});
}
