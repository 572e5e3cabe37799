// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MDataMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshSurfaceTriangleList.h>

#include <memory>
#include <utility>
#include <vector>

class MFile;
class MMeshBase;

namespace KetSDK::Mesh::Detail {
template <typename C>
struct BuiltInMasks;
template <typename C, typename M, typename V>
struct BuiltInMask;
} // namespace KetSDK::Mesh::Detail

// The masks of a mesh's elements. The built-in ones exist from their first Get until Release or Clear and
// belong to the container; user masks belong to their makers. Created by the mesh. The const Get operations
// return null while the mask does not exist.
class KETSDK_MESH_API MMeshElementMaskContainer : public MDataMaskContainer<MMeshElement> {
public:
    // One entry of an element's volume list: the share of the element that a volume takes.
    struct MMaskInfo {
        unsigned short volume_index = 0;
        double weight = 0.0;
        friend bool operator==(MMaskInfo const&, MMaskInfo const&) = default;
    };
    using VolumeList = std::vector<MMaskInfo>;

    ~MMeshElementMaskContainer() override;

    // Grey value of the image (Hounsfield units for CT); 0 by default.
    MDataMask<MMeshElement, double>* GetGreyValueMask() { return Get(m_grey_values); }
    MDataMask<MMeshElement, double> const* GetGreyValueMask() const { return m_grey_values.get(); }
    bool HasGreyValueMask() const noexcept { return m_grey_values != nullptr; }
    void ReleaseGreyValueMask() noexcept { m_grey_values.reset(); }

    // Material identifier; -1 (no material) by default.
    MDataMask<MMeshElement, int>* GetMaterialMask() { return Get(m_materials); }
    MDataMask<MMeshElement, int> const* GetMaterialMask() const { return m_materials.get(); }
    bool HasMaterialMask() const noexcept { return m_materials != nullptr; }
    void ReleaseMaterialMask() noexcept { m_materials.reset(); }

    // Number of the sub-volume that the element belongs to; -1 (none) by default.
    // Not copied by CopyMaskInfo: sub-volumes count their elements.
    MDataMask<MMeshElement, int>* GetSubvolumeMask() { return Get(m_subvolumes); }
    MDataMask<MMeshElement, int> const* GetSubvolumeMask() const { return m_subvolumes.get(); }
    bool HasSubvolumeMask() const noexcept { return m_subvolumes != nullptr; }
    void ReleaseSubvolumeMask() noexcept { m_subvolumes.reset(); }

    // Volumes that share the element, with weights; empty by default.
    MDataMask<MMeshElement, VolumeList>* GetVolumeIndexMask() { return Get(m_volume_lists); }
    MDataMask<MMeshElement, VolumeList> const* GetVolumeIndexMask() const { return m_volume_lists.get(); }
    bool HasVolumeIndexMask() const noexcept { return m_volume_lists != nullptr; }
    void ReleaseVolumeIndexMask() noexcept { m_volume_lists.reset(); }

    // Identifier that the element had where it came from; -1 by default.
    MDataMask<MMeshElement, int>* GetOriginalIDs() { return Get(m_original_ids); }
    MDataMask<MMeshElement, int> const* GetOriginalIDs() const { return m_original_ids.get(); }
    bool HasOriginalIDs() const noexcept { return m_original_ids != nullptr; }
    void ReleaseOriginalIDs() noexcept { m_original_ids.reset(); }

    // Faces of the element on a boundary; empty by default.
    MDataMask<MMeshElement, MMeshSurfaceTriangleList>* GetSurfaceMask() { return Get(m_surface_triangles); }
    MDataMask<MMeshElement, MMeshSurfaceTriangleList> const* GetSurfaceMask() const {
        return m_surface_triangles.get();
    }
    bool HasSurfaceMask() const noexcept { return m_surface_triangles != nullptr; }
    void ReleaseSurfaceMask() noexcept { m_surface_triangles.reset(); }

    // Whether the element is shown; true by default.
    MDataMaskBits<MMeshElement>* GetVisibleMask() { return Get(m_visible); }
    MDataMaskBits<MMeshElement> const* GetVisibleMask() const { return m_visible.get(); }
    bool HasVisibleMask() const noexcept { return m_visible != nullptr; }
    void ReleaseVisibleMask() noexcept { m_visible.reset(); }

    // Deletes the built-in masks, lets go of user masks and takes back every index; out of memory, nothing.
    void Clear();

    // Pairs of an element of another mesh and the element here that is its copy.
    using CopiedElements = std::vector<std::pair<MMeshElement const*, MMeshElement const*>>;
    // Copies the built-in values of another mesh, with sub-volume numbers or without.
    void CopyBuiltInMasks(MMeshElementMaskContainer const& other, CopiedElements const& copies,
                          bool with_subvolumes);

    // Which material of several an element has: the number of set flags below its main volume. That is the
    // one with the largest weight (the first of several) among the volumes of its list whose flag is set. For
    // an element without such a volume it is the number of all set flags (below position 65535).
    static unsigned short CalculateMaterialIndexFromVolumeList(VolumeList const& list,
                                                               std::vector<bool> const& flags);

    // Writes the built-in masks that exist, values in the order of the mesh's elements.
    void SaveElementMaskToFile(MMeshBase* mesh, MFile* file) const;
    // Reads what SaveElementMaskToFile wrote, for as many elements as the mesh has. A block that is cut
    // off or belongs to another number of elements throws "invalid state" and changes nothing.
    void LoadElementMaskFromFile(MMeshBase* mesh, MFile* file);

private:
    friend class MMeshBase;
    template <typename C>
    friend struct KetSDK::Mesh::Detail::BuiltInMasks;
    template <typename C, typename M, typename V>
    friend struct KetSDK::Mesh::Detail::BuiltInMask;
    MMeshElementMaskContainer() { KeepObjectTable(); }

    template <typename M>
    M* Get(std::unique_ptr<M>& mask) {
        if (!mask)
            MakeMask(mask);
        return mask.get();
    }
    template <typename M>
    void MakeMask(std::unique_ptr<M>& mask);

    std::unique_ptr<MDataMask<MMeshElement, double>> m_grey_values;
    std::unique_ptr<MDataMask<MMeshElement, int>> m_materials;
    std::unique_ptr<MDataMask<MMeshElement, int>> m_subvolumes;
    std::unique_ptr<MDataMask<MMeshElement, VolumeList>> m_volume_lists;
    std::unique_ptr<MDataMask<MMeshElement, int>> m_original_ids;
    std::unique_ptr<MDataMask<MMeshElement, MMeshSurfaceTriangleList>> m_surface_triangles;
    std::unique_ptr<MDataMaskBits<MMeshElement>> m_visible;
};
