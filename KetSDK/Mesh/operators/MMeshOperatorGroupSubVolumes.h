// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class MStlBase;

// Gives each sub-volume of a tetrahedral mesh a number and a name by the surfaces that bound it, and
// then makes one sub-volume of all with the same number. Names of surfaces are split at the first "-":
// the first part names the volume that the triangles face away from, the second the one on the other
// side. Parts are numbered from 1 in the order in which the surfaces bring them; the empty part has 0.
//
// The first face of a sub-volume that is outside, or between sub-volumes, and has a triangle decides.
// Outside, it does so by the first part of the surface's name. Between two, by the first part when the
// triangle is assigned to the element in the sub-volume, else by the second. The number becomes the material
// number and "Volume " and the part the name; an empty part gives "Volume". With no triangle on any such face
// the part is empty; a sub-volume without elements gets -1, and goes. The new sub-volumes stand in the order
// in which the numbers are met and have the name of the first of their number. Their own material number is
// what AddSubVolume gives.
//
// Which triangle lies on which face says the correspondence mapper that the mesh holds, else a
// projection of tolerance 0.001, which is not kept. Enables the neighbour information of the mesh and
// leaves it enabled. Reads no settings. One thread at a time uses operator and mesh.
class KETSDK_MESH_API MMeshOperatorGroupSubVolumes : public MMeshOperator {
public:
    MMeshOperatorGroupSubVolumes() = default;
    MMeshOperatorGroupSubVolumes(MMeshOperatorGroupSubVolumes const&) = default;
    MMeshOperatorGroupSubVolumes(MMeshOperatorGroupSubVolumes&&) = default;
    MMeshOperatorGroupSubVolumes& operator=(MMeshOperatorGroupSubVolumes const&) = default;
    MMeshOperatorGroupSubVolumes& operator=(MMeshOperatorGroupSubVolumes&&) = default;
    ~MMeshOperatorGroupSubVolumes() override;

    // The surfaces, not owned; must be set.
    void SetStl(MStlBase* stl) noexcept { m_stl = stl; }
    MStlBase* GetStl() const noexcept { return m_stl; }
    // Where progress is reported, and what is asked whether the user cancelled; may be null.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) noexcept {
        m_progress = std::move(delegate);
    }

    // Groups, in two passes over the mesh. False without a mesh or surfaces, and when the user cancelled,
    // which leaves the sub-volumes as they were. So does running out of memory, but for its very end, where
    // all are grouped and those without elements still stand in the list.
    bool Operate() override;

private:
    class NameTables;
    // What the surfaces tell of a sub-volume.
    struct Material {
        int number;
        std::wstring name;
    };

    // For each sub-volume of the list; none when the user cancelled.
    std::optional<std::vector<Material>> _FindMaterials();
    void _GroupSubvolumes(std::vector<Material> materials);

    MStlBase* m_stl = nullptr;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;
};
