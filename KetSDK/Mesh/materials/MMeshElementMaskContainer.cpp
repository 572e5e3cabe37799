#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MMaskFile.h>
#include <KetSDK/Mesh/materials/MaterialIndexTable.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <stdexcept>

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

void MMeshElementMaskContainer::_CopyBuiltInMasks(MMeshElementMaskContainer const& other,
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
// values in the order of the elements. Surface triangles are derived data and are not written.

namespace {

enum MaskBit : unsigned {
    GreyValues = 1,
    Materials = 2,
    Subvolumes = 4,
    VolumeLists = 8,
    OriginalIDs = 16,
    Visible = 32,
    AllMasks = 63,
};

} // namespace

// In the namespace of MFile, where ReadValues looks for it.
static void WriteValue(MFile& file, MMeshElementMaskContainer::VolumeList const& list) {
    file.WRITE(static_cast<std::uint32_t>(list.size()));
    for (auto const& entry : list) {
        file.WRITE(static_cast<std::uint16_t>(entry.volume_index));
        file.WRITE(entry.weight);
    }
}

static void ReadValue(MFile& file, MMeshElementMaskContainer::VolumeList& list) {
    auto const count = file.READ<std::uint32_t>();
    if (!file.IsGood() || count > file.BytesLeft() / (sizeof(std::uint16_t) + sizeof(double)))
        throw std::runtime_error("invalid state");
    list.resize(count);
    for (auto& entry : list) {
        entry.volume_index = file.READ<std::uint16_t>();
        entry.weight = file.READ<double>();
    }
}

void MMeshElementMaskContainer::SaveElementMaskToFile(MMeshBase* mesh, MFile* file) const {
    unsigned const present = (m_grey_values ? GreyValues : 0u) | (m_materials ? Materials : 0u) |
                             (m_subvolumes ? Subvolumes : 0u) | (m_volume_lists ? VolumeLists : 0u) |
                             (m_original_ids ? OriginalIDs : 0u) | (m_visible ? Visible : 0u);
    file->WRITE(static_cast<std::uint32_t>(mesh->NumberOfElements()));
    file->WRITE(static_cast<std::uint8_t>(present));

    auto const write = [mesh, file](auto const& mask) {
        if (mask)
            for (MMeshElement const& e : mesh->Elements())
                WriteValue(*file, mask->GetValue(e));
    };
    write(m_grey_values);
    write(m_materials);
    write(m_subvolumes);
    write(m_volume_lists);
    write(m_original_ids);
    write(m_visible);
}

void MMeshElementMaskContainer::LoadElementMaskFromFile(MMeshBase* mesh, MFile* file) {
    auto const count = file->READ<std::uint32_t>();
    unsigned const present = file->READ<std::uint8_t>();
    if (!file->IsGood() || count != static_cast<std::uint32_t>(mesh->NumberOfElements()) ||
        (present & ~AllMasks) != 0)
        throw std::runtime_error("invalid state");

    // All values are read before the first is stored.
    auto const read = [file, count, present]<typename V>(MaskBit bit, std::vector<V>& values) {
        if ((present & bit) != 0)
            ReadValues(*file, count, values);
    };
    std::vector<double> grey_values;
    std::vector<int> materials, subvolumes, original_ids;
    std::vector<VolumeList> volume_lists;
    std::vector<unsigned char> visible;
    read(GreyValues, grey_values);
    read(Materials, materials);
    read(Subvolumes, subvolumes);
    read(VolumeLists, volume_lists);
    read(OriginalIDs, original_ids);
    read(Visible, visible);

    auto const store = [mesh, present](MaskBit bit, auto const& values, auto&& create) {
        if ((present & bit) == 0)
            return;
        auto* const mask = create();
        std::size_t i = 0;
        for (MMeshElement const& e : mesh->Elements())
            mask->SetValue(e, static_cast<std::decay_t<decltype(mask->GetDefaultValue())>>(values[i++]));
    };
    store(GreyValues, grey_values, [this] { return GetGreyValueMask(); });
    store(Materials, materials, [this] { return GetMaterialMask(); });
    store(Subvolumes, subvolumes, [this] { return GetSubvolumeMask(); });
    store(VolumeLists, volume_lists, [this] { return GetVolumeIndexMask(); });
    store(OriginalIDs, original_ids, [this] { return GetOriginalIDs(); });
    store(Visible, visible, [this] { return GetVisibleMask(); });
}
