#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <memory>

namespace {

// The display colour of each element's material.
class MaterialColors {
public:
    explicit MaterialColors(MMeshBase const& mesh)
        : m_catalog(mesh.GetMaterialCatalog())
        , m_ids(*mesh.GetElementMasks()->GetMaterialMask()) {}

    // Undefined for an element whose material is not in the catalog.
    MStlColor Of(MMeshElement const& e) {
        // Triangles of one element, and mostly elements too, follow one another with the same material.
        if (auto const id = static_cast<unsigned int>(m_ids.GetValue(e)); !m_is_known || id != m_id) {
            MMeshMaterial const* const material = m_catalog.GetMaterialWithID(id);
            m_color = MStlColor();
            if (material)
                m_color.SetRGB(material->GetColor());
            m_id = id;
            m_is_known = true;
        }
        return m_color;
    }

private:
    MMaterialCatalog const& m_catalog;
    MDataMask<MMeshElement, int> const& m_ids;
    bool m_is_known = false;
    unsigned int m_id = 0; // the last one asked for, and its colour
    MStlColor m_color;
};

} // namespace

MMeshOperatorSTL::~MMeshOperatorSTL() = default;

bool MMeshOperatorSTL::Operate() {
    if (!GetMesh() || !m_stl || !dynamic_cast<MMeshOperatorSettingsSTL const*>(GetSettings()))
        return false;
    bool const colors = GetMesh()->GetMaterialCatalog().NumberOfMaterials() > 0;
    m_stl->ClearStl(true);
    m_stl->SetKeepNeighbourInfo(false);
    _ConvertToStlSurface(m_stl->AddSurface(nullptr), colors);
    m_stl->SetKeepNeighbourInfo(true);
    return true;
}

void MMeshOperatorSTL::_ConvertToStlSurface(MStlSurface* surface, bool colors) {
    MMeshBase& mesh = *GetMesh();
    std::unique_ptr<KetSDK::Mesh::Detail::MeshElementsIterator<0>> const elements(
        mesh.CreateBeginElementIter());
    MMeshTetrahedronIterator all_tetrahedra(elements.get());
    MMeshSuperTetrahedronIterator corner_tetrahedra(elements.get());
    bool const simplify = static_cast<MMeshOperatorSettingsSTL const*>(GetSettings())->GetSimplify();
    MMeshTetrahedronIterator* const tetrahedra = simplify ? &corner_tetrahedra : &all_tetrahedra;
    std::unique_ptr<MaterialColors> const color = colors ? std::make_unique<MaterialColors>(mesh) : nullptr;
    for (MMeshTriangleIterator triangle(tetrahedra); !triangle.IsDone(); ++triangle) {
        MMeshPoint* corners[3];
        triangle.GetTriangle(corners);
        MLong position[3][3];
        for (std::size_t i = 0; i < 3; ++i) {
            position[i][0] = corners[i]->x;
            position[i][1] = corners[i]->y;
            position[i][2] = corners[i]->z;
        }
        auto* const added = surface->AddTriangle(position[0], position[1], position[2]);
        if (added && color)
            added->SetColor(color->Of(**elements));
    }
}
