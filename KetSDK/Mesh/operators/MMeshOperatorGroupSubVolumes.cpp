#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlIteratorFeatureSurfaceConst.h>

#include <map>
#include <string>

// The parts of the surfaces' names, and their numbers.
class MMeshOperatorGroupSubVolumes::NameTables {
public:
    explicit NameTables(MStlBase const& stl) {
        using Iterator = MStlIteratorFeatureSurfaceConst;
        for (Iterator i = Iterator::Begin(&stl); i != Iterator::End(&stl); ++i) {
            std::wstring const name = i->GetName();
            std::size_t const separator = name.find(L'-');
            Parts& parts = m_parts[i];
            parts.first = name.substr(0, separator);
            if (separator != std::wstring::npos)
                parts.second = name.substr(separator + 1);
            _Enter(parts.first);
            _Enter(parts.second);
        }
    }

    // The part that names the volume which a triangle faces away from, or the one on its other side. Empty
    // for a triangle of a surface that is not in the container.
    std::wstring Part(MStlTriangle const& triangle, bool first) const {
        auto const found = m_parts.find(triangle.GetSurface());
        if (found == m_parts.end())
            return {};
        return first ? found->second.first : found->second.second;
    }
    int NumberOf(std::wstring const& part) const { return m_numbers.at(part); }

private:
    struct Parts {
        std::wstring first;
        std::wstring second;
    };

    void _Enter(std::wstring const& part) { m_numbers.try_emplace(part, static_cast<int>(m_numbers.size())); }

    std::map<std::wstring, int> m_numbers{{L"", 0}};
    std::map<MStlSurface const*, Parts> m_parts;
};

namespace {

// Looks for the face that decides on a sub-volume.
class DecidingFace {
public:
    DecidingFace(MMeshBase& mesh, MMeshCorrespondenceMapper& mapper)
        : m_mesh(mesh)
        , m_mapper(mapper) {}

    // What Find() tells of a sub-volume.
    struct Found {
        bool any_face = false;                  // on its border
        MStlTriangle const* triangle = nullptr; // on the first of these that has one
        bool first_part = true;                 // of the surface's name
    };

    Found Find(MMeshSubVolume& sub_volume) {
        Found found;
        for (MMeshElement& e : sub_volume) {
            for (unsigned int face = 0; face < 4; ++face) {
                MMeshElement* const neighbor = m_mesh.GetNeighborsInfo()->GetNeighbor(&e, face);
                if (neighbor && m_mesh.GetSubVolume(*neighbor) == &sub_volume)
                    continue;
                found.any_face = true;
                found.triangle =
                    neighbor ? m_mapper.GetSharedTriangle(&e, neighbor) : m_mapper.GetTriangle(&e, face);
                found.first_part = !neighbor || m_mapper.IsAssignedTo(found.triangle, &e);
                // A face without a triangle says nothing; the next one may.
                if (found.triangle)
                    return found;
            }
        }
        return found;
    }

private:
    MMeshBase& m_mesh;
    MMeshCorrespondenceMapper& m_mapper;
};

} // namespace

MMeshOperatorGroupSubVolumes::~MMeshOperatorGroupSubVolumes() = default;

bool MMeshOperatorGroupSubVolumes::Operate() {
    if (!GetMesh() || !m_stl)
        return false;
    KetSDK::Common::IncrementalProgressReporter reporter(m_progress, "Group sub volumes", 3, true);
    _AssignMaterials();
    reporter = 2; // and never 3
    _GroupSubvolumes();
    return true;
}

void MMeshOperatorGroupSubVolumes::_AssignMaterials() {
    MMeshBase& mesh = *GetMesh();
    NameTables const names(*m_stl);
    std::shared_ptr<MMeshCorrespondenceMapper> mapper = mesh.GetCorrespondenceMapper();
    if (!mapper)
        mapper = std::make_shared<MMeshCorrespondenceMapperProjection>(m_stl, &mesh, 0.001);
    if (!mapper->IsMapped())
        mapper->Map();
    mesh.GetNeighborsInfo()->Enable();

    DecidingFace face(mesh, *mapper);
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        DecidingFace::Found const found = face.Find(**it);
        std::wstring const part = found.triangle ? names.Part(*found.triangle, found.first_part) : L"";
        (*it)->SetMatID(found.any_face ? names.NumberOf(part) : -1);
        (*it)->SetName(part.empty() ? L"Volume" : L"Volume " + part);
    }
}

void MMeshOperatorGroupSubVolumes::_GroupSubvolumes() {
    MMeshBase& mesh = *GetMesh();
    MMeshBase::SubVolumeList const before(mesh.BeginSubVolume(), mesh.EndSubVolume());
    std::map<int, MMeshSubVolume*> groups;
    for (auto const& sub_volume : before) {
        MMeshSubVolume*& group = groups[sub_volume->GetMatID()];
        if (!group) {
            group = mesh.AddSubVolume();
            group->SetName(sub_volume->GetName());
        }
        sub_volume->MoveAllElements(group);
    }
    mesh.RemoveEmptySubVolumes();
}
