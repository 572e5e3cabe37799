// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>

#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>

#include <algorithm>
#include <array>
#include <span>
#include <vector>

using KetSDK::Mesh::Detail::MeshRebuild;
using KetSDK::Mesh::Detail::MeshSketch;

namespace {

// The corners of the hexahedron that the tetrahedra stand on.
constexpr unsigned char Tetrahedra[5][4] = {
    {0, 1, 2, 5}, {0, 2, 3, 7}, {7, 5, 4, 0}, {7, 6, 5, 2}, {0, 2, 7, 5}};

void AddFive(MMeshElement const& e, MeshSketch& sketch) {
    for (auto const& corners : Tetrahedra) {
        MeshSketch::Mark nodes[4];
        for (unsigned int i = 0; i < 4; ++i)
            nodes[i] = sketch.NodeFor(*e.GetNode(corners[i]));
        sketch.AddElement(nodes);
    }
}

void AddCopy(MMeshElement const& e, MeshSketch& sketch) {
    MeshSketch::Mark nodes[255] = {};
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        nodes[i] = sketch.NodeFor(*e.GetNode(i));
    sketch.AddElement(std::span(nodes).first(e.GetNodeCount()));
}

// A face of a hexahedron by the numbers of its corners.
struct CutFace {
    std::array<MLong, 4> corners;  // ascending
    std::array<MLong, 2> diagonal; // ascending
};

CutFace MakeCutFace(std::array<MLong, 8> const& nodes, KetSDK::Mesh::Detail::ElementFace const& face) {
    CutFace cut{};
    std::size_t ends = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        unsigned char const corner = face.node[i];
        cut.corners[i] = nodes[corner];
        if (corner == 0 || corner == 2 || corner == 5 || corner == 7) // of the tetrahedron in the middle
            cut.diagonal[ends++] = nodes[corner];
    }
    std::ranges::sort(cut.corners);
    std::ranges::sort(cut.diagonal);
    return cut;
}

// The faces of all hexahedra, equal ones beside one another; without those that have collapsed.
std::vector<CutFace> CutFaces(MMeshBase const& mesh) {
    MMeshPointContainer positions; // gives nodes at one position one index
    positions.CreateCoordinateIndex();
    std::vector<CutFace> faces;
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        if (e.GetNodeCount() != 8)
            return;
        std::array<MLong, 8> nodes{};
        for (unsigned int i = 0; i < 8; ++i)
            nodes[i] = positions.AddPoint(e.GetNode(i)->x, e.GetNode(i)->y, e.GetNode(i)->z).GetIndex();
        for (auto const& face : KetSDK::Mesh::Detail::HexahedronFaces) {
            CutFace const cut = MakeCutFace(nodes, face);
            if (std::ranges::adjacent_find(cut.corners) == cut.corners.end())
                faces.push_back(cut);
        }
    });
    std::ranges::sort(faces, {}, &CutFace::corners);
    return faces;
}

} // namespace

MMeshConvertHex8ToTet4Operator::~MMeshConvertHex8ToTet4Operator() = default;

bool MMeshConvertHex8ToTet4Operator::Operate() {
    MMeshBase const* const mesh = GetMesh();
    if (!mesh || !m_target || mesh == m_target)
        return false;
    m_target->SetMeshType(MMeshBase::Linear);
    MeshRebuild rebuild(*mesh, *m_target, m_origins, GetParallel());
    rebuild.ForEachSubVolume([&](MMeshSubVolume const& source) {
        rebuild.ForEachElement(source, [](MMeshElement const& e, MeshSketch& sketch) {
            (e.GetNodeCount() == 8 ? AddFive : AddCopy)(e, sketch);
        });
        return true;
    });
    m_corrected = rebuild.Orient();
    return true;
}

MMeshConvertHex8ToTet4Operator::Diagonals
MMeshConvertHex8ToTet4Operator::CompareDiagonals(MMeshBase const& hexahedra) {
    std::vector<CutFace> const faces = CutFaces(hexahedra);
    Diagonals result{};
    for (auto first = faces.begin(); first != faces.end();) {
        auto const last = std::find_if_not(
            first, faces.end(), [first](CutFace const& face) { return face.corners == first->corners; });
        result.interior += last - first > 1;
        result.different += std::any_of(
            first, last, [first](CutFace const& face) { return face.diagonal != first->diagonal; });
        first = last;
    }
    return result;
}
