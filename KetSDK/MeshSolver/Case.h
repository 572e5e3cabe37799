// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver {

// What holds and loads a model: places by name, and what happens there. Lengths in mm, forces in N, pressures
// in MPa, accelerations in mm/s2.
struct Case {
    using Vector = std::array<double, 3>;

    // Nodes and faces of a model; what is named by several of these must hold in all.
    struct Place {
        struct End {
            int axis = 0; // 0 x, 1 y, 2 z
            bool is_upper = false;
            double within = 0.0; // from that end of the model
        };
        struct Normal {
            Vector direction{};
            double angle = 30.0; // degrees
        };
        std::string name;
        std::optional<End> end;
        std::string surface; // as sub-volumes name surfaces; empty for the outer ones
        std::optional<Normal> normal;
        std::optional<std::array<double, 6>> box;    // xmin, ymin, zmin, xmax, ymax, zmax
        std::optional<std::array<double, 4>> sphere; // x, y, z, radius
        std::string subvolume;                       // empty for all
    };
    struct Fix {
        std::string place;
        std::array<bool, 3> axes{};
    };
    struct Displace {
        std::string place;
        std::array<std::optional<double>, 3> by; // none where the axis stays free
    };
    struct Pressure {
        std::string place;
        double value = 0.0; // pushes into the body
    };
    struct Force {
        std::string place;
        Vector total{}; // spread over the faces of the place
    };

    std::vector<Place> places;
    std::vector<Fix> fixes;
    std::vector<Displace> displacements;
    std::vector<Pressure> pressures;
    std::vector<Force> forces;
    std::optional<Vector> gravity;

    // Whether it does nothing but name places.
    bool HasPlacesOnly() const noexcept { return fixes.empty() && displacements.empty() && !HasLoads(); }
    bool HasLoads() const noexcept { return !pressures.empty() || !forces.empty() || gravity; }
};

// Reads the text of a case file (TOML). Throws CaseError with the line of what is wrong.
KETSDK_MESHSOLVER_API Case ReadCase(std::string_view text);

} // namespace KetSDK::MeshSolver
