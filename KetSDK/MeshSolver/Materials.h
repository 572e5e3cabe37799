// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class MMeshBase;

namespace KetSDK::MeshSolver {

// Where the elements of a deck have their moduli from.
enum class MaterialsAs : int {
    Bins,     // the material of each, with the modulus that the catalog gives it
    Elements, // each has its own
    Nodes,    // varying linearly inside elements between the corners
};

// Values of each element that lie beside a mesh, in MPa and g/cm3; null where there are none. Borrowed.
struct ElementValues {
    std::vector<double> const* emodulus = nullptr;
    std::vector<double> const* poisson = nullptr;
    std::vector<double> const* density = nullptr;
};

struct DeckMaterial {
    int id = 0;            // in the catalog, or counted from 1
    double emodulus = 0.0; // MPa; by Nodes only to be found at the nodes
    double poisson = 0.0;
    std::optional<double> density; // g/cm3
};

struct ElementMaterials {
    std::vector<DeckMaterial> materials;
    std::vector<std::uint32_t> material_of; // by element, an index into the list
    std::vector<double> node_moduli;        // MPa, by node, for Nodes
};

// Collects the materials of all elements. Throws Error for elements that have none, whose material has no
// modulus or no Poisson's ratio, or one that no solver takes, and says what would give it to them.
KETSDK_MESHSOLVER_API ElementMaterials CollectMaterials(MMeshBase const& mesh, MaterialsAs as,
                                                        ElementValues const& values, bool parallel = false);

} // namespace KetSDK::MeshSolver
