// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/materials/detail/MaterialIndexTable.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <memory>

using namespace KetSDK::Mesh::Detail;

MMeshElementMaskContainer::~MMeshElementMaskContainer() = default;

template <typename M>
void MMeshElementMaskContainer::MakeMask(std::unique_ptr<M>& mask) {
    MakeBuiltInMask(*this, mask);
}

template void MMeshElementMaskContainer::MakeMask(std::unique_ptr<MDataMask<MMeshElement, double>>&);
template void MMeshElementMaskContainer::MakeMask(std::unique_ptr<MDataMask<MMeshElement, int>>&);
template void MMeshElementMaskContainer::MakeMask(std::unique_ptr<MDataMask<MMeshElement, VolumeList>>&);
template void
MMeshElementMaskContainer::MakeMask(std::unique_ptr<MDataMask<MMeshElement, MMeshSurfaceTriangleList>>&);
template void MMeshElementMaskContainer::MakeMask(std::unique_ptr<MDataMaskBits<MMeshElement>>&);

void MMeshElementMaskContainer::Clear() {
    MakeRoomToReplaceAll(0, false);
    ReleaseBuiltInMasks(*this);
    DropMasks();
    ReleaseAllIDs();
}

void MMeshElementMaskContainer::CopyBuiltInMasks(MMeshElementMaskContainer const& other,
                                                 CopiedElements const& copies, bool with_subvolumes) {
    ForEachBuiltInMask<MMeshElementMaskContainer>([&](auto const& row) {
        auto const* const source = row.Find(other);
        if (!source || ((row.flags & Copied) == 0 && !with_subvolumes))
            return;
        auto* const target = row.Make(*this);
        for (auto const& [from, to] : copies)
            target->SetValue(*to, source->GetValue(*from));
    });
}

unsigned short
MMeshElementMaskContainer::CalculateMaterialIndexFromVolumeList(VolumeList const& list,
                                                                std::vector<bool> const& flags) {
    std::size_t const volume = std::min<std::size_t>(HeaviestFlaggedVolume(list, flags), flags.size());
    auto const end = flags.begin() + static_cast<std::ptrdiff_t>(volume);
    return static_cast<unsigned short>(std::count(flags.begin(), end, true));
}

namespace {

// The values of a mesh's masks in a file: lists as their length (32 bits) and their entries, visibility as a
// byte, other values as they are.
class ElementMaskFile {
public:
    ElementMaskFile(MMeshBase const& mesh, MFile& file)
        : m_mesh(mesh)
        , m_file(file)
        , m_order(static_cast<std::uint64_t>(mesh.NumberOfElements()),
                  [&mesh](std::uint64_t i) { return mesh.GetElement(i)->GetMaskIndex(); }) {}

    template <typename V>
    void Write(MDataMask<MMeshElement, V> const& mask) const {
        WriteNumbers(m_file, mask, m_order);
    }
    void Write(MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList> const& mask) const;
    void Write(MDataMask<MMeshElement, MMeshSurfaceTriangleList> const& mask) const;
    void Write(MDataMaskBits<MMeshElement> const& mask) const;

    // These throw "invalid state" when the file does not hold values for all elements.
    template <typename V>
    void Read(MDataMask<MMeshElement, V>& mask) const {
        ReadNumbers(m_file, mask, m_order);
    }
    void Read(MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList>& mask) const;
    void Read(MDataMask<MMeshElement, MMeshSurfaceTriangleList>& mask) const;
    void Read(MDataMaskBits<MMeshElement>& mask) const;

private:
    MMeshBase const& m_mesh;
    MFile& m_file;
    MaskOrder m_order;
};

using VolumeListMask = MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList>;
using SurfaceMask = MDataMask<MMeshElement, MMeshSurfaceTriangleList>;

void ElementMaskFile::Write(VolumeListMask const& mask) const {
    ForEachRun(mask, m_order, [this](std::uint64_t, auto lists) {
        for (MMeshElementMaskContainer::VolumeList const& list : lists) {
            m_file.WRITE(static_cast<std::uint32_t>(list.size()));
            for (auto const& entry : list) {
                m_file.WRITE(static_cast<std::uint16_t>(entry.volume_index));
                m_file.WRITE(entry.weight);
            }
        }
    });
}

void ElementMaskFile::Read(VolumeListMask& mask) const {
    FillRuns(mask, m_order, [this](std::uint64_t, auto lists) {
        for (MMeshElementMaskContainer::VolumeList& list : lists) {
            auto const count = m_file.READ<std::uint32_t>();
            ThrowUnless(m_file.IsGood() &&
                        count <= m_file.BytesLeft() / (sizeof(std::uint16_t) + sizeof(double)));
            list.resize(count);
            for (auto& entry : list) {
                entry.volume_index = m_file.READ<std::uint16_t>();
                entry.weight = m_file.READ<double>();
            }
        }
    });
    ThrowUnless(m_file.IsGood());
}

void ElementMaskFile::Write(SurfaceMask const& mask) const {
    ForEachRun(mask, m_order, [this](std::uint64_t, auto lists) {
        for (MMeshSurfaceTriangleList const& list : lists) {
            m_file.WRITE(static_cast<std::uint32_t>(list.GetSize()));
            for (MMeshSurfaceTriangleList::Face const face : list) {
                m_file.WRITE(face.tetrahedron);
                m_file.WRITE(face.triangle);
            }
        }
    });
}

void ElementMaskFile::Read(SurfaceMask& mask) const {
    FillRuns(mask, m_order, [this](std::uint64_t element, auto lists) {
        for (MMeshSurfaceTriangleList& list : lists) {
            unsigned char const nodes = m_mesh.GetElement(element++)->GetNodeCount();
            auto const count = m_file.READ<std::uint32_t>();
            ThrowUnless(m_file.IsGood() && count <= m_file.BytesLeft() / 2);
            list.Clear();
            for (std::uint32_t i = 0; i < count; ++i) {
                auto const tetrahedron = m_file.READ<std::uint8_t>();
                auto const triangle = m_file.READ<std::uint8_t>();
                ThrowUnless(MMeshSurfaceTriangleList::IsFaceOf(nodes, tetrahedron, triangle));
                list.Add(tetrahedron, triangle);
            }
        }
    });
    ThrowUnless(m_file.IsGood());
}

void ElementMaskFile::Write(MDataMaskBits<MMeshElement> const& mask) const {
    for (std::uint64_t i = 0; i < m_order.GetCount(); ++i)
        m_file.WRITE(static_cast<std::uint8_t>(mask.GetValueAt(m_order[i])));
}

void ElementMaskFile::Read(MDataMaskBits<MMeshElement>& mask) const {
    for (std::uint64_t i = 0; i < m_order.GetCount() && m_file.IsGood(); ++i)
        mask.SetValueAt(m_order[i], m_file.READ<std::uint8_t>() != 0);
    ThrowUnless(m_file.IsGood());
}

} // namespace

void MMeshElementMaskContainer::SaveElementMaskToFile(MMeshBase* mesh, MFile* file) const {
    ElementMaskFile const values(*mesh, *file);
    SaveBuiltInMasks(*this, mesh->Elements().GetNumElements(), *file,
                     [&values](auto const& mask) { values.Write(mask); });
}

void MMeshElementMaskContainer::LoadElementMaskFromFile(MMeshBase* mesh, MFile* file) {
    ElementMaskFile const values(*mesh, *file);
    LoadBuiltInMasks(*this, mesh->Elements().GetNumElements(), *file,
                     [&values](auto& mask) { values.Read(mask); });
}
