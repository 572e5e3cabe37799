// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/SAX/ISAXPersistBase.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>
#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>

#include <memory>
#include <string>
#include <vector>

class MMeshBase;

// Writes a whole mesh as a tag "MeshBase" and reads it back. That is nodes, elements, built-in masks,
// sub-volumes, material catalog, flags, type, state, and the named scalar fields that are registered with it.
// What is read equals what was written, doubles bit for bit. User masks of other kinds, neighbour information
// and the correspondence mapper are not written. Used by one thread.
//
// Seven blocks come first, in this order: Points, Elements, GreyValues, Materials, OriginalPointIDs,
// OriginalElementIDs (only when there are some), SubVolumes. Each has the attributes Dim (numbers of one
// object), DataType ("long", "double", "int") and Count (objects; 0 where the mesh does not have the values).
// Its numbers stand in a tag "Data". Elements are their node count and the indices of their nodes. Tags of
// their own follow for the rest.
class KETSDK_MESH_API MSAXMeshBase : public ISAXPersistBase {
public:
    // Reads into this mesh, or writes it. The mesh is borrowed.
    explicit MSAXMeshBase(MMeshBase* mesh);
    // Writes this mesh; tags that are read are skipped.
    explicit MSAXMeshBase(MMeshBase const* mesh);
    MSAXMeshBase(MSAXMeshBase const&) = delete;
    MSAXMeshBase& operator=(MSAXMeshBase const&) = delete;
    ~MSAXMeshBase() override;

    // Writes the mesh. A writer that saves incrementally and has the mesh's tag already gets nothing, which
    // IsSavedIncrementally tells from then on. False when something could not be written, or when the mesh
    // is not consistent.
    bool Write(MSAXWriter& writer) const override;
    // Whether the last Write left the mesh out because it is in an earlier document.
    bool IsSavedIncrementally() const noexcept { return m_saved_incrementally; }
    // What incremental saving knows the mesh by. Every object has one of its own unless it is given one. So a
    // mesh is left out only where its owner says, by the same object or the same identifier, that it has not
    // changed.
    unsigned int GetMeshBaseTagId() const noexcept { return m_tag_id; }
    void SetMeshBaseTagId(unsigned int id) noexcept { m_tag_id = id; }
    // From now on nothing is written, and the tags that are read are skipped.
    void SkipMeshBase(bool skip = true) noexcept { m_skip = skip; }
    // Whether nodes and elements are made and put into words on several threads; off unless set. What is
    // read and written is the same.
    void SetParallel(bool parallel) noexcept { m_parallel = parallel; }

    // Reading. Everything is read into a new mesh and checked; InitAfterLoading puts it in place of what the
    // receiving mesh holds (MMeshBase::TakeContent). Whatever is wrong throws
    // std::runtime_error("invalid state") and leaves the receiving mesh as it was. Memory grows with the
    // numbers that were really read. This object lives until the document is read.
    void SetDefaults() override;
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
    void HandleEndTag(std::wstring const& tag) override;
    void InitAfterLoading() override;
    // The named scalar fields that were read, registered with the mesh in the order in which they were
    // written. They go to the caller: a field that is destroyed leaves the mesh.
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> TakeFields();

private:
    class Reading;

    MMeshBase* m_target = nullptr;
    MMeshBase const* m_mesh;
    unsigned int m_tag_id;
    bool m_skip = false;
    bool m_parallel = false;
    mutable bool m_saved_incrementally = false;
    std::unique_ptr<Reading> m_reading;
    MMaterialCatalog m_catalog; // a reader may come back to it after the mesh has been read
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> m_fields;
};
