// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MIntervalsEx.h>
#include <KetSDK/Mesh/materials/MaterialInterval.h>

#include <set>
#include <vector>

class MMeshBase;
class MMeshSubVolume;

// Intervals of grey values (Hounsfield units for CT), with the operations that build them from the
// elements of a mesh. What the material assignment looks up and the colour map shows.
//
// Every builder replaces the list. It takes the elements of the given sub-volumes, or of all when the set
// is null or empty. It returns false and leaves the list as it was without a mesh and when the mesh has
// no grey values (MMeshBase::HasGreyValues). A grey value that is not a number is passed over. With
// `parallel` it may use as many threads as the task arena of the caller has, for the same result bit for bit.
// A value; one thread at a time builds a list and uses its mesh.
class KETSDK_MESH_API MHUList : public MIntervalsEx<MaterialInterval> {
public:
    // The unit of the interval centres; any other number is taken as MeshUnit.
    enum EMapUnit : int {
        MeshUnit = 0,    // as the grey values of the mesh
        OffsetBy1024 = 1 // the mesh's grey values lie 1024 above the unit: that much is subtracted
    };
    using SubVolumes = std::set<MMeshSubVolume const*>;

    // The uniform builders divide the range of the grey values that they select into n intervals of the
    // same width; the list stays empty for n = 0. When no element is selected they return false, and
    // the list is empty. Starts are in the unit of the mesh, centres in `unit`.

    // All elements. The intervals carry the density a + b * x^c + d * x^e at their centre x. It is 0 where x
    // is negative and c or e is no integer: such a power is not real.
    bool CreateUniform(MMeshBase* mesh, unsigned int n, double a, double b, double c, double d, double e,
                       EMapUnit unit, SubVolumes const* sub_volumes = nullptr, bool parallel = false);
    // Elements with low <= grey value < high. The intervals span the grey values found, not the bounds,
    // and carry their centre.
    bool CreateUniformFromRange(MMeshBase* mesh, unsigned int n, double low, double high, EMapUnit unit,
                                SubVolumes const* sub_volumes = nullptr, bool parallel = false);
    // Elements whose material index is `material_index`, as
    // MMeshElementMaskContainer::CalculateMaterialIndexFromVolumeList finds it from the flags of the
    // volumes. The intervals carry their centre.
    bool CreateUniformFromMask(MMeshBase* mesh, unsigned int n, unsigned short material_index,
                               std::vector<bool> const& mask, EMapUnit unit,
                               SubVolumes const* sub_volumes = nullptr, bool parallel = false);

    // Grey values from min up to max, without a look at a mesh: for a caller who knows the range. The
    // intervals carry their centre. False, and the list is empty, for min = DBL_MAX, the smallest of no
    // values.
    bool DivideRange(unsigned int n, double min, double max, EMapUnit unit);

    // One interval, in ascending order and without gaps, for each position of `mask` whose flag is set, the
    // last one only when it is the material index of some element. An interval starts at the mean grey value
    // (of whole numbers, fractions cut off) of the elements that have the position as their material index.
    // It starts at 0 when there are none. It carries that mean when `with_values` is true (the last position
    // carries 0), else nothing. Elements whose material index lies beyond the flags are left out.
    bool CreateFromMask(MMeshBase* mesh, std::vector<bool> const& mask, bool with_values,
                        SubVolumes const* sub_volumes = nullptr, bool parallel = false);
};
