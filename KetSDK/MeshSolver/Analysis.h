// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Case.h>
#include <KetSDK/MeshSolver/DeckNames.h>
#include <KetSDK/MeshSolver/HeldAxes.h>
#include <KetSDK/MeshSolver/Loads.h>
#include <KetSDK/MeshSolver/Materials.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>
#include <KetSDK/MeshSolver/Places.h>
#include <KetSDK/MeshSolver/Surfaces.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class MMeshBase;

namespace KetSDK::MeshSolver {

// What an analysis is made of. Everything is borrowed and must outlive the analysis.
struct AnalysisInput {
    MMeshBase const* mesh = nullptr;
    std::vector<std::string> subvolumes; // names by number, UTF-8
    std::string space;                   // of the coordinates: "RAS", "LPS" or empty
    MaterialsAs materials = MaterialsAs::Bins;
    ElementValues values;
    std::optional<Case> load_case;
    bool original_ids = false;                    // number nodes and elements by their original identifiers
    std::function<void(std::string const&)> warn; // may be empty
    bool parallel = false;                        // work on several threads; the analysis is the same
};

// A mesh with materials, sets and a case, of which every solver's deck is written: checked, with names that
// decks take. Indices are those of the mesh.
struct KETSDK_MESHSOLVER_API Analysis {
    struct SubVolume {
        std::string deck;
        std::uint64_t elements = 0;
    };
    struct Surface {
        std::string name;
        std::string deck;
        std::vector<FaceOfElement> faces;
        std::vector<std::uint32_t> nodes;
    };
    using Place = Surface; // with nodes that need not lie on its faces

    MMeshBase const* mesh = nullptr;
    std::string space;
    std::vector<Renaming> renamings;
    std::vector<bool> used_nodes; // those of elements; decks leave the others out
    std::vector<SubVolume> subvolumes;
    std::vector<std::uint32_t> subvolume_of; // by element
    ElementMaterials materials;
    std::vector<std::string> material_names; // by material, in decks
    bool has_element_moduli = false;         // materials were collected by elements
    std::vector<Surface> surfaces;
    std::vector<Place> places; // those that have nodes or faces
    std::optional<Case> load_case;
    std::vector<HeldAxis> held;            // by node and axis, each once
    NodeForces forces;                     // of the case's forces; empty where it has none
    bool has_shared_pressure = false;      // some face is in two places under pressure
    std::vector<std::int32_t> node_ids;    // empty: index + 1
    std::vector<std::int32_t> element_ids; // empty: index + 1

    // Whether there is something to solve: a case that does more than naming places.
    bool HasStep() const noexcept { return load_case && !load_case->HasPlacesOnly(); }
    std::int64_t NodeId(std::size_t node) const {
        return node_ids.empty() ? static_cast<std::int64_t>(node) + 1 : node_ids[node];
    }
    std::int64_t ElementId(std::size_t element) const {
        return element_ids.empty() ? static_cast<std::int64_t>(element) + 1 : element_ids[element];
    }
    // The place of that name in the case; null where it is empty.
    Place const* FindPlace(std::string const& name) const;
    // Of the displacements at nodes, those that are not held.
    std::uint64_t NumberOfUnknowns() const;
    // All loads of the case at nodes, those of distributed loads as CalculiX makes them.
    NodeForces AllLoads() const;
};

// Makes an analysis. Throws Error for a mesh that no solver takes, with what mends it. Throws CaseError for a
// case that does not fit the mesh. It has a place without nodes or faces where some are needed, a node that
// is moved to two places, or a body that is not held.
KETSDK_MESHSOLVER_API Analysis MakeAnalysis(AnalysisInput const& input);

} // namespace KetSDK::MeshSolver
