// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <memory>

// Numbers the elements by layers, counted inwards from the boundary of the mesh. Layer 1 is every element
// with a corner node on a boundary face. Layer k + 1 is every element not yet in a layer that shares a corner
// node with layer k. A boundary face is one without a neighbour; where two sub-volumes meet is no boundary,
// and a face that collapses to fewer than three corners is none.
//
// Takes every kind of element, also mixed. Changes nothing in the mesh but the masks registered with
// it. Enables its neighbour information and leaves it enabled, as callers expect. Reads no settings, reports
// no progress. One thread at a time uses the operator and its mesh.
class KETSDK_MESH_API MMeshOperatorLayers : public MMeshOperator {
public:
    using LayerMask = MDataMask<MMeshElement, MLong>;

    MMeshOperatorLayers() = default;
    // Copies mesh, settings and number of layers; the results stay with the original.
    MMeshOperatorLayers(MMeshOperatorLayers const& other);
    MMeshOperatorLayers& operator=(MMeshOperatorLayers const& other);
    // Takes the results over as well.
    MMeshOperatorLayers(MMeshOperatorLayers&& other) noexcept;
    MMeshOperatorLayers& operator=(MMeshOperatorLayers&& other) noexcept;
    ~MMeshOperatorLayers() override;

    // How many layers are numbered; 1 unless set.
    void SetNbLayers(unsigned int n) noexcept { m_nb_layers = n; }
    unsigned int GetNbLayers() const noexcept { return m_nb_layers; }

    // Numbers the layers and replaces the results of the run before. False without a mesh; there are no
    // results then.
    bool Operate() override;

    // How many elements the layers of the last run hold together.
    int GetNbLayersElements() const noexcept { return m_nb_elements; }
    // The layer of each element: 1 for the outermost, 0 for an element in none. Null before the first
    // run. Owned here and replaced by the next run; it is registered with the element masks of the mesh
    // and follows the elements that are added later (with 0).
    LayerMask* GetLayerMask() const noexcept { return m_layers.get(); }

private:
    unsigned int m_nb_layers = 1;
    int m_nb_elements = 0;
    std::unique_ptr<LayerMask> m_layers;
};
