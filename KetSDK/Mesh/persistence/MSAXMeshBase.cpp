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
        m_values.reserve(AtOnce + Margin);
    }
    void Put(std::int32_t value) { m_values.push_back(value); }
    // After each object.
    void Next() {
        if (m_values.size() >= AtOnce)
            Finish();
    }
    void Finish() {
        m_writer.WriteArray(std::span<std::int32_t const>(m_values));
        m_values.clear();
    }

    // As large as goes to a file without a copy, and room for the object that passes it.
    static constexpr std::size_t AtOnce = 16384;
    static constexpr std::size_t Margin = 256;

private:
    MSAXWriter& m_writer;
    std::vector<std::int32_t> m_values;
};

// A piece of a block, which is put together on any thread and written by the calling one. That one makes it:
// memory that other threads ask for goes back to the system and must be handed out anew for the next file.
struct Piece {
    Piece() { values.reserve(Integers::AtOnce + Integers::Margin); }
    std::vector<std::int32_t> values;
    bool in_order = true; // each object has its own number as mask index
    bool good = true;
    bool alike = true; // the elements have as many nodes each as was expected
};

KetSDK::Support::WorkSteps StepsOf(std::uint64_t pieces, bool parallel) {
    constexpr std::uint64_t least = 16; // fewer are written before another thread has begun
    // Few pieces wait to be written: memory that is not yet in use takes longer to get than to fill.
    return {.items = pieces, .parallel = parallel && pieces >= least, .window = 4};
}

// What writing has seen of the objects.
struct Seen {
    bool in_order = true;
    bool good = true; // they can be read back
};

Seen WritePoints(MSAXWriter& writer, MMeshBase const& mesh, bool parallel) {
    auto const count = static_cast<std::uint64_t>(mesh.NumberOfPoints());
    Block const block(writer, Tags::Points, 3, L"long", count);
    constexpr std::uint64_t nodes_of_piece = (Integers::AtOnce + 2) / 3;
    Seen seen;
    KetSDK::Support::ComputeSteps<Piece>(
        StepsOf(count / nodes_of_piece + 1, parallel),
        [&mesh, count](std::uint64_t number, std::uint64_t, Piece& piece) {
            std::uint64_t const first = number * nodes_of_piece;
            std::uint64_t const last = std::min(first + nodes_of_piece, count);
            piece.values.resize(static_cast<std::size_t>(3 * (last - first)));
            std::int32_t* value = piece.values.data();
            bool in_order = true;
            for (std::uint64_t i = first; i < last; ++i) {
                MMeshPoint const& p = *mesh.GetRandomPoint(i);
                in_order &= p.GetMaskIndex() == i;
                for (MLong const coordinate : {p.x, p.y, p.z})
                    *value++ = coordinate;
            }
            piece.in_order = in_order;
        },
        [&](std::uint64_t, std::uint64_t, Piece const& piece) {
            seen.in_order = seen.in_order && piece.in_order;
            writer.WriteArray(std::span(piece.values));
            return true;
        });
    return seen;
}

// The elements of a block as their node counts and the indices of their nodes.
class ElementWriter {
public:
    ElementWriter(MSAXWriter& writer, MMeshBase const& mesh, bool parallel)
        : m_writer(writer)
        , m_mesh(mesh)
        , m_parallel(parallel) {}

    Seen Write() {
        std::uint64_t const count = m_mesh.Elements().GetNumElements();
        Block const block(m_writer, Tags::Elements, 1, L"long", count);
        // Mostly all have as many nodes as the first, and pieces are of the same length.
        unsigned int const nodes = count > 0 ? m_mesh.GetElement(0)->GetNodeCount() : 0;
        std::vector<std::uint64_t> ends{0};
        if (nodes > 0)
            ends = CutEvery((Integers::AtOnce + nodes) / (nodes + 1), count);
        std::size_t const written = nodes > 0 ? WritePieces(ends, nodes) : 0;
        if (nodes == 0 || written + 1 < ends.size())
            WritePieces(CutBySize(ends[written], count), 0);
        return m_seen;
    }

private:
    // Where pieces of so many elements end; the last one may be empty.
    static std::vector<std::uint64_t> CutEvery(std::uint64_t elements, std::uint64_t count) {
        std::vector<std::uint64_t> ends{0};
        while (ends.back() + elements <= count)
            ends.push_back(ends.back() + elements);
        ends.push_back(count);
        return ends;
    }
    // The same from an element on, for pieces that each end with the element that fills it.
    std::vector<std::uint64_t> CutBySize(std::uint64_t first, std::uint64_t count) const {
        std::vector<std::uint64_t> ends{first};
        std::size_t size = 0;
        for (std::uint64_t i = first; i < count; ++i) {
            size += std::size_t{1} + m_mesh.GetElement(i)->GetNodeCount();
            if (size >= Integers::AtOnce) {
                ends.push_back(i + 1);
                size = 0;
            }
        }
        ends.push_back(count);
        return ends;
    }

    // Writes pieces until one has an element of another number of nodes; 0: of any. Returns how many.
    std::size_t WritePieces(std::vector<std::uint64_t> const& ends, unsigned int nodes) {
        std::size_t written = 0;
        KetSDK::Support::ComputeSteps<Piece>(
            StepsOf(ends.size() - 1, m_parallel),
            [&](std::uint64_t number, std::uint64_t, Piece& piece) {
                Put(ends[number], ends[number + 1], nodes, piece);
            },
            [&](std::uint64_t, std::uint64_t, Piece const& piece) {
                if (!piece.alike)
                    return false;
                m_seen.in_order = m_seen.in_order && piece.in_order;
                m_seen.good = m_seen.good && piece.good;
                m_writer.WriteArray(std::span(piece.values));
                ++written;
                return true;
            });
        return written;
    }

    void Put(std::uint64_t first, std::uint64_t last, unsigned int nodes, Piece& piece) const {
        auto const points = static_cast<std::uint32_t>(m_mesh.NumberOfPoints());
        piece.values.resize(Integers::AtOnce + Integers::Margin);
        std::int32_t* value = piece.values.data();
        bool known = true, in_order = true, alike = true;
        std::uint32_t largest = 0; // a negative index counts as a large one
        m_mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t i) {
            unsigned char const n = e.GetNodeCount();
            if (nodes != 0 && n != nodes) {
                alike = false;
                return;
            }
            known &= MMeshElementDescriptor::GetNumTetraOfElement(n) > 0;
            in_order &= e.GetMaskIndex() == i;
            *value++ = n;
            std::uint32_t largest_here = 0; // in a register, which the other one may not have
            for (unsigned int k = 0; k < n; ++k) {
                MLong const index = e.GetNode(k)->GetIndex();
                largest_here = std::max(largest_here, static_cast<std::uint32_t>(index));
                *value++ = index;
            }
            largest = std::max(largest, largest_here);
        });
        piece.values.resize(static_cast<std::size_t>(value - piece.values.data()));
        piece.good = piece.values.empty() || (known && largest < points);
        piece.in_order = in_order;
        piece.alike = alike;
    }

    MSAXWriter& m_writer;
    MMeshBase const& m_mesh;
    bool m_parallel;
    Seen m_seen;
};

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
    Seen const nodes_seen = WritePoints(writer, mesh, parallel);
    Seen const elements_seen = ElementWriter(writer, mesh, parallel).Write();
    // Where objects do not have their own numbers as mask indices, the masks are read by those that they
    // have.
    auto const order = [](Seen const& seen, std::uint64_t count, auto const& index_of) {
        return seen.in_order ? MaskOrder(count) : MaskOrder(count, index_of);
    };
    MaskOrder const elements = order(elements_seen, mesh.Elements().GetNumElements(),
                                     [&mesh](std::uint64_t i) { return mesh.GetElement(i)->GetMaskIndex(); });
    MaskOrder const nodes =
        order(nodes_seen, static_cast<std::uint64_t>(mesh.NumberOfPoints()),
              [&mesh](std::uint64_t i) { return mesh.GetRandomPoint(i)->GetMaskIndex(); });
    bool const good = MaskBlocks(writer, mesh, elements, nodes).Write() && elements_seen.good;
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
