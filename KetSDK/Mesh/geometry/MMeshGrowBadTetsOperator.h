// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <memory>
#include <vector>

class MMeshElement;
class MStlBase;
class MStlTriangle;

// Marks where bad elements show on a surface, so that the region can be shown or meshed anew. Takes a set of
// elements and grows it by rings of face neighbours. Marks the surface triangles that coincide with boundary
// faces of the grown set. Faces without a surface triangle are passed over.
//
// Enables the neighbour information of the mesh and leaves it enabled. Meant for four- and ten-node
// elements, of which the corners count. One thread at a time uses operator, mesh and surface.
class KETSDK_MESH_API MMeshGrowBadTetsOperator : public MMeshOperator {
public:
    using ResultMask = MDataMask<MStlTriangle, bool>;

    MMeshGrowBadTetsOperator();
    // A copy has the same inputs and no result; what is moved takes the result along.
    MMeshGrowBadTetsOperator(MMeshGrowBadTetsOperator const& other);
    MMeshGrowBadTetsOperator(MMeshGrowBadTetsOperator&& other) noexcept;
    MMeshGrowBadTetsOperator& operator=(MMeshGrowBadTetsOperator const& other);
    MMeshGrowBadTetsOperator& operator=(MMeshGrowBadTetsOperator&& other) noexcept;
    ~MMeshGrowBadTetsOperator() override;

    // The surface whose triangles are marked, in the coordinates of the mesh. Borrowed for Operate() only.
    void SetStlMesh(MStlBase* stl) noexcept { m_stl = stl; }
    // The elements to begin with: those whose bit is set. Borrowed for Operate() only.
    void SetBadMask(MDataMaskBits<MMeshElement>* bad) noexcept { m_bad = bad; }
    // How many rings of face neighbours are added; 0, the default, and less keep the bad elements alone.
    void SetGrowLevel(int level) noexcept { m_grow_level = level; }

    // Marks. False without a mesh, a surface or a bad mask, and when the surface has a mask owner that is
    // no MDataMaskContainer<MStlTriangle>; there is no result then.
    // A surface without a mask owner gets a container, and triangles without a mask index are registered.
    // Neighbour lists of surface points are made for the time of the run where the surface keeps none.
    bool Operate() override;

    // True for the marked triangles; null before the first run. Owned by the operator until its next run.
    // It is registered with the surface, and remains readable when that is cleared or dies.
    ResultMask* GetResultMask() const noexcept { return m_result.get(); }

protected:
    // Empty: nobody hears of the progress. For derived classes.
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;

private:
    bool AttachResult();
    void MarkBoundary(std::vector<MMeshElement*> const& elements);
    MStlTriangle* _FindTriangle(MTriangle<double, 3> const& face) const;

    MStlBase* m_stl = nullptr;
    MDataMaskBits<MMeshElement>* m_bad = nullptr;
    std::unique_ptr<ResultMask> m_result;
    int m_grow_level = 0;
};
