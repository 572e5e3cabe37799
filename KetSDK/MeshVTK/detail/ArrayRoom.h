// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkType.h>

#include <cstddef>
#include <memory>

class vtkDataArray;

namespace KetSDK::MeshVTK::Detail {

// Memory in large pages for the arrays of a large grid, which lie one behind the other in pieces of one size.
// So the arrays of a grid that is written get the pages that those of one that was read have left. Without it
// the system would hand out eight thousand pages for arrays of 30 MB, twice. For one thread.
class ArrayRoom {
public:
    // For arrays of about so many bytes in all. Where these are few, arrays stay as they are.
    explicit ArrayRoom(std::size_t expected);

    // Moves an array, which has its size, here. Its values are lost, but for so many of the first ones. The
    // memory stays as long as any array in the same piece.
    void Take(vtkDataArray& array, vtkIdType kept = 0);

private:
    struct Piece;
    class Owners;

    bool m_is_needed;
    std::shared_ptr<Piece> m_piece; // the last one
    std::size_t m_used = 0;         // bytes of it
};

} // namespace KetSDK::MeshVTK::Detail
