// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/MatchCounts.h>

namespace ketmesh {

Json ToJson(KetSDK::MeshJobs::MatchCounts const& counts) {
    auto const faces = [](KetSDK::MeshJobs::MatchCounts::Faces const& f) {
        return Json{{"with_triangle", f.with_triangle}, {"without_triangle", f.without_triangle}};
    };
    Json json;
    json["boundary_faces"] = faces(counts.boundary);
    json["interface_faces"] = faces(counts.interfaces);
    json["inner_faces"] = {{"with_triangle", counts.inner}};
    json["triangles"] = {{"with_face", counts.with_face}, {"without_face", counts.without_face}};
    json["wrong_way"] = counts.wrong_way;
    return json;
}

} // namespace ketmesh
