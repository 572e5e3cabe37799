// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

namespace KetSDK::MeshJobs::Detail {

// A model for operators that know tetrahedra alone, with a way back from what is found there. It is the model
// itself where that has no other elements, else a copy whose hexahedra and wedges are cut
// (MMeshConformingCutOperator). The copy has the sub-volumes, grey values and materials of the model and its
// frame, and no arrays; nodes at one position stay apart.
class ToTetrahedra {
public:
    // Faces with four corners are halved as a surface halves them that has points within the tolerance in mm
    // of their corners; null for no surface. Throws FileError when the cut fails, Cancelled.
    ToTetrahedra(Model const& model, SurfaceModel const* surface, double tolerance, Context const& context);

    // The model of tetrahedra.
    Model const& Get() const noexcept { return IsCut() ? m_cut : m_model; }
    bool IsCut() const noexcept { return m_cut.mesh != nullptr; }
    SolidsReport const& GetReport() const noexcept { return m_report; }

    // The index in the model of the element that a tetrahedron came from.
    MLong ElementOf(MLong tetrahedron) const;
    // Makes origins in the tetrahedra those in the model. Triangles inside its elements have no face.
    void ToModel(MSurfaceOrigins& origins) const;
    // Gives nodes of the tetrahedra values of the nodes of the model; those that are new inside an element
    // the mean of its corners.
    void CarryValues(MDataMask<MMeshPoint, double> const& from, MDataMask<MMeshPoint, double>& to) const;

private:
    void Cut(SurfaceModel const* surface, double tolerance, Context const& context);
    // The face of the model's element that a face of one of its tetrahedra lies on; 0 for none.
    int FaceOf(MSurfaceOrigins::Triangle const& triangle) const;

    Model const& m_model;
    Model m_cut;
    MMeshOrigins m_origins;
    SolidsReport m_report;
};

} // namespace KetSDK::MeshJobs::Detail
