// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>
#include <KetSDK/MeshSolver/Surfaces.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshSolver {

// What a deck of CalculiX or Abaqus (.inp) says of a mesh. Everything refers to nodes and elements by their
// indices in the lists here. Names are as they were written first; solvers take names that differ in case or
// blanks for one.
struct Deck {
    struct Set {
        std::string name;
        std::vector<std::uint32_t> members; // ascending, each once
        bool is_of_elements_block = false;  // named where elements are defined
    };
    struct Surface {
        std::string name;
        std::vector<FaceOfElement> faces; // ascending, each once
    };
    struct Material {
        std::string name;
        std::optional<double> emodulus; // MPa, the first of a table
        std::optional<double> poisson;
        std::optional<double> density; // g/cm3
    };
    struct Section {
        std::size_t element_set = 0;
        std::size_t material = 0;
    };

    std::vector<std::int32_t> node_ids;
    std::vector<std::array<double, 3>> positions; // mm
    std::vector<std::int32_t> element_ids;
    std::vector<std::uint8_t> kinds;  // number of nodes: 4, 6, 8 or 10
    std::vector<std::uint32_t> nodes; // of all elements, one after another
    std::vector<Set> node_sets;
    std::vector<Set> element_sets;
    std::vector<Surface> surfaces;
    std::vector<Material> materials;
    std::vector<Section> sections;
    std::vector<std::string> subvolumes; // that a comment "** subvolumes: A, B" names
    std::string space;                   // that a comment "** SPACE=..." names
    // What was not read and how often it is there: "*BOUNDARY", "elements of type S3".
    std::map<std::string, std::uint64_t> unread;
};

// Reads a deck; *INCLUDE within its folder is followed. Memory grows with what was really read. Throws Error
// for what makes no mesh: double numbers, unknown nodes, files that are missing, elsewhere or include
// themselves, decks of instances, other coordinate systems; Cancelled. Works on several threads when
// parallel; the deck is the same, and so is the error.
KETSDK_MESHSOLVER_API Deck ReadDeck(std::filesystem::path const& path,
                                    std::shared_ptr<Common::IProgressDelegate> const& progress,
                                    bool parallel = false);

// The element sets that divide the elements, each of which is in one. They are those that the comment names,
// or else those that elements are defined in, or else others, those of sections last. Empty when there are
// none. Works on several threads when parallel; they are the same.
KETSDK_MESHSOLVER_API std::vector<std::size_t> FindDividingSets(Deck const& deck, bool parallel = false);

} // namespace KetSDK::MeshSolver
