// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <map>

class MFile;
class MMeshBase;

namespace KetSDK::Mesh::Detail {

// Moves what takes the memory of a mesh into a file and back: nodes, elements and the values of the built-in
// masks. All the rest (sub-volumes, catalog, flags, box, the mask containers with the user masks in them)
// stays in the mesh. Each node and element comes back with its mask index, so that user masks, of whatever
// type, have their values again. Pointers to nodes, elements and built-in masks, neighbour information, the
// neighbour mask and the correspondence mapper do not come back.
class MeshSwap {
public:
    // Whether Restore would take what Write writes: the mesh is consistent, and no two nodes and no two
    // elements share a mask index.
    static bool CanBeRestored(MMeshBase const& mesh);
    // The sub-volumes by the numbers that their elements carry, as unique identities.
    static std::map<int, std::uint64_t> SubVolumesOf(MMeshBase const& mesh);
    // Writes what Release gives back; whether all of it went out is asked of the file.
    static void Write(MMeshBase& mesh, MFile& file);
    // Gives the memory back.
    static void Release(MMeshBase& mesh) noexcept;
    // Whether the mesh is as Release left it, without nodes and elements.
    static bool IsReleased(MMeshBase const& mesh) noexcept;
    // Puts back what was written. Elements belong to the sub-volumes that they belonged to when SubVolumesOf
    // gave `sub_volumes`, and to none where those have gone. Throws std::runtime_error("invalid state"), and
    // leaves the mesh released, when the file holds something else or when mask indices are not what they
    // were.
    static void Restore(MMeshBase& mesh, MFile& file, std::map<int, std::uint64_t> const& sub_volumes);
};

} // namespace KetSDK::Mesh::Detail
