// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/SolidsNote.h>

#include <ostream>

namespace ketmesh {

void AddSolids(Json& report, KetSDK::MeshJobs::SolidsReport const& solids) {
    Json& json = report["hexahedra_and_wedges"];
    if (solids.elements == 0)
        return;
    json["elements"] = solids.elements;
    json["taken_as"] = solids.tetrahedra == 0 ? "elements" : "tetrahedra";
    if (solids.tetrahedra > 0)
        json["tetrahedra"] = solids.tetrahedra;
}

void PrintSolids(std::ostream& out, KetSDK::MeshJobs::SolidsReport const& solids) {
    if (solids.elements == 0)
        return;
    out << "\nnote: " << solids.elements << " hexahedra and wedges were taken as ";
    if (solids.tetrahedra == 0)
        out << "they are\n";
    else
        out << "the " << solids.tetrahedra << " tetrahedra of their conforming cut\n";
}

} // namespace ketmesh
