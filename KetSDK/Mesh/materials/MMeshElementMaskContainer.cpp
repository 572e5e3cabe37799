#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/materials/detail/MaterialIndexTable.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

using namespace KetSDK::Mesh::Detail;

MMeshElementMaskContainer::~MMeshElementMaskContainer() = default;

void MMeshElementMaskContainer::Clear() {
    ReleaseGreyValueMask();
    ReleaseMaterialMask();
    ReleaseSubvolumeMask();
    ReleaseVolumeIndexMask();
    ReleaseOriginalIDs();
    ReleaseSurfaceMask();
    ReleaseVisibleMask();
    _DropMasks();
    _ReleaseAllIDs();
}

void MMeshElementMaskContainer::CopyBuiltInMasks(MMeshElementMaskContainer const& other,
                                                 CopiedElements const& copies, bool with_subvolumes) {
    auto const copy = [&copies](auto const* source, auto&& create) {
        if (!source)
            return;
        auto* const target = create();
        for (auto const& [from, to] : copies)
            target->SetValue(*to, source->GetValue(*from));
    };
    copy(other.GetGreyValueMask(), [this] { return GetGreyValueMask(); });
    copy(other.GetMaterialMask(), [this] { return GetMaterialMask(); });
    if (with_subvolumes)
        copy(other.GetSubvolumeMask(), [this] { return GetSubvolumeMask(); });
    copy(other.GetVolumeIndexMask(), [this] { return GetVolumeIndexMask(); });
    copy(other.GetOriginalIDs(), [this] { return GetOriginalIDs(); });
    copy(other.GetSurfaceMask(), [this] { return GetSurfaceMask(); });
    copy(other.GetVisibleMask(), [this] { return GetVisibleMask(); });
}

unsigned short
MMeshElementMaskContainer::CalculateMaterialIndexFromVolumeList(VolumeList const& list,
                                                                std::vector<bool> const& flags) {
    std::size_t const volume = std::min<std::size_t>(HeaviestFlaggedVolume(list, flags), flags.size());
    auto const end = flags.begin() + static_cast<std::ptrdiff_t>(volume);
    return static_cast<unsigned short>(std::count(flags.begin(), end, true));
}

// The file: number of elements (32 bits), a byte whose bits say which masks follow, then each mask's
// values in the order of the elements: doubles and 32-bit integers; lists as their length (32 bits) and
// their entries; visibility as a byte.

namespace {

enum MaskBit : unsigned {
    GreyValues = 1,
    Materials = 2,
    Subvolumes = 4,
    VolumeLists = 8,
    OriginalIDs = 16,
    Visible = 32,
    SurfaceTriangles = 64,
    AllMasks = 127,
};

using VolumeListMask = MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList>;
using SurfaceMask = MDataMask<MMeshElement, MMeshSurfaceTriangleList>;

void ThrowUnless(bool condition) {
    if (!condition)
        throw std::runtime_error("invalid state");
}

MaskOrder OrderOfElements(MMeshBase const& mesh) {
    return {static_cast<std::uint64_t>(mesh.NumberOfElements()),
            [&mesh](std::uint64_t i) { return mesh.GetElement(i)->GetMaskIndex(); }};
}

void WriteLists(MFile& file, VolumeListMask const& mask, MaskOrder const& order) {
    ForEachRun(mask, order, [&file](std::uint64_t, auto lists) {
        for (MMeshElementMaskContainer::VolumeList const& list : lists) {
            file.WRITE(static_cast<std::uint32_t>(list.size()));
            for (auto const& entry : list) {
                file.WRITE(static_cast<std::uint16_t>(entry.volume_index));
                file.WRITE(entry.weight);
            }
        }
    });
}

void ReadLists(MFile& file, VolumeListMask& mask, MaskOrder const& order) {
    FillRuns(mask, order, [&file](std::uint64_t, auto lists) {
        for (MMeshElementMaskContainer::VolumeList& list : lists) {
            auto const count = file.READ<std::uint32_t>();
            ThrowUnless(file.IsGood() &&
                        count <= file.BytesLeft() / (sizeof(std::uint16_t) + sizeof(double)));
            list.resize(count);
            for (auto& entry : list) {
                entry.volume_index = file.READ<std::uint16_t>();
                entry.weight = file.READ<double>();
            }
        }
    });
    ThrowUnless(file.IsGood());
}

void WriteFaces(MFile& file, SurfaceMask const& mask, MaskOrder const& order) {
    ForEachRun(mask, order, [&file](std::uint64_t, auto lists) {
        for (MMeshSurfaceTriangleList const& list : lists) {
            file.WRITE(static_cast<std::uint32_t>(list.GetSize()));
            for (MMeshSurfaceTriangleList::Face const face : list) {
                file.WRITE(face.tetrahedron);
                file.WRITE(face.triangle);
            }
        }
    });
}

void ReadFaces(MFile& file, SurfaceMask& mask, MMeshBase const& mesh, MaskOrder const& order) {
    FillRuns(mask, order, [&file, &mesh](std::uint64_t number, auto lists) {
        for (MMeshSurfaceTriangleList& list : lists) {
            MMeshElement const& e = *mesh.GetElement(number++);
            auto const count = file.READ<std::uint32_t>();
            ThrowUnless(file.IsGood() && count <= file.BytesLeft() / 2);
            list.Clear();
            for (std::uint32_t i = 0; i < count; ++i) {
                auto const tetrahedron = file.READ<std::uint8_t>();
                auto const triangle = file.READ<std::uint8_t>();
                ThrowUnless(MMeshSurfaceTriangleList::IsFaceOf(e.GetNodeCount(), tetrahedron, triangle));
                list.Add(tetrahedron, triangle);
            }
        }
    });
    ThrowUnless(file.IsGood());
}

void WriteBits(MFile& file, MDataMaskBits<MMeshElement> const& mask, MaskOrder const& order) {
    for (std::uint64_t i = 0; i < order.GetCount(); ++i)
        file.WRITE(static_cast<std::uint8_t>(mask.GetValueAt(order[i])));
}

void ReadBits(MFile& file, MDataMaskBits<MMeshElement>& mask, MaskOrder const& order) {
    for (std::uint64_t i = 0; i < order.GetCount() && file.IsGood(); ++i)
        mask.SetValueAt(order[i], file.READ<std::uint8_t>() != 0);
    ThrowUnless(file.IsGood());
}

} // namespace

void MMeshElementMaskContainer::SaveElementMaskToFile(MMeshBase* mesh, MFile* file) const {
    unsigned const present = (m_grey_values ? GreyValues : 0u) | (m_materials ? Materials : 0u) |
                             (m_subvolumes ? Subvolumes : 0u) | (m_volume_lists ? VolumeLists : 0u) |
                             (m_original_ids ? OriginalIDs : 0u) | (m_visible ? Visible : 0u) |
                             (m_surface_triangles ? SurfaceTriangles : 0u);
    file->WRITE(static_cast<std::uint32_t>(mesh->NumberOfElements()));
    file->WRITE(static_cast<std::uint8_t>(present));

    MaskOrder const order = OrderOfElements(*mesh);
    if (m_grey_values)
        WriteMask(*file, *m_grey_values, order);
    if (m_materials)
        WriteMask(*file, *m_materials, order);
    if (m_subvolumes)
        WriteMask(*file, *m_subvolumes, order);
    if (m_volume_lists)
        WriteLists(*file, *m_volume_lists, order);
    if (m_original_ids)
        WriteMask(*file, *m_original_ids, order);
    if (m_visible)
        WriteBits(*file, *m_visible, order);
    if (m_surface_triangles)
        WriteFaces(*file, *m_surface_triangles, order);
}

void MMeshElementMaskContainer::LoadElementMaskFromFile(MMeshBase* mesh, MFile* file) {
    auto const count = file->READ<std::uint32_t>();
    unsigned const present = file->READ<std::uint8_t>();
    ThrowUnless(file->IsGood() && count == static_cast<std::uint32_t>(mesh->NumberOfElements()) &&
                (present & ~AllMasks) == 0);
    MaskOrder const order = OrderOfElements(*mesh);

    // Every mask is read into one of the same size before the first is changed.
    auto const read = [this, present]<typename Mask>(MaskBit bit, std::unique_ptr<Mask>& values,
                                                     auto default_value, auto&& fill) {
        if ((present & bit) == 0)
            return;
        values = std::make_unique<Mask>(std::move(default_value));
        values->Resize(GetCapacity());
        fill(*values);
    };
    auto const numbers = [file, &order](auto& mask) { ReadMask(*file, mask, order); };
    std::unique_ptr<MDataMask<MMeshElement, double>> grey_values;
    std::unique_ptr<MDataMask<MMeshElement, int>> materials, subvolumes, original_ids;
    std::unique_ptr<VolumeListMask> volume_lists;
    std::unique_ptr<MDataMaskBits<MMeshElement>> visible;
    std::unique_ptr<SurfaceMask> faces;
    read(GreyValues, grey_values, 0.0, numbers);
    read(Materials, materials, -1, numbers);
    read(Subvolumes, subvolumes, -1, numbers);
    read(VolumeLists, volume_lists, VolumeList(), [&](auto& mask) { ReadLists(*file, mask, order); });
    read(OriginalIDs, original_ids, -1, numbers);
    read(Visible, visible, true, [&](auto& mask) { ReadBits(*file, mask, order); });
    read(SurfaceTriangles, faces, MMeshSurfaceTriangleList(),
         [&](auto& mask) { ReadFaces(*file, mask, *mesh, order); });

    _Adopt(m_grey_values, grey_values);
    _Adopt(m_materials, materials);
    _Adopt(m_subvolumes, subvolumes, false);
    _Adopt(m_volume_lists, volume_lists);
    _Adopt(m_original_ids, original_ids);
    _Adopt(m_visible, visible);
    _Adopt(m_surface_triangles, faces);
}
