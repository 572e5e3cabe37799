#pragma once

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

class MSAXReader;

namespace KetSDK::Mesh::Detail {

// Fills a new mesh from the tags inside a tag "MeshBase", in the order in which they come. Whatever does not
// fit throws std::runtime_error("invalid state"). Internal.
class MeshTagsReader {
public:
    MeshTagsReader();
    ~MeshTagsReader();

    // As the operations of a persistent object.
    bool HandleTag(std::wstring const& tag, MSAXReader& reader);
    void HandleEndTag();
    // All tags have been read: checks that nothing is missing.
    void Finish();

    // Whether the next tag is one of the mesh itself.
    bool IsOutermost() const noexcept { return m_path.empty(); }
    MMeshBase& GetMesh() noexcept { return *m_mesh; }
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> TakeFields() { return std::move(m_fields); }

private:
    using VolumeListMask = MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList>;
    using SurfaceMask = MDataMask<MMeshElement, MMeshSurfaceTriangleList>;

    struct Rule;
    static std::vector<Rule> const& _Rules();

    void _OpenBlock(MSAXReader& reader);
    void _ReadPoints(MSAXReader& reader);
    void _ReadElements(MSAXReader& reader);
    void _ReadVolumeWeights(MSAXReader& reader);
    void _OpenSubVolumeList(MSAXReader& reader);
    void _OpenSubVolume(MSAXReader& reader);
    void _ReadName(MSAXReader& reader);
    void _ReadNumber(MSAXReader& reader);
    void _ReadMaterialNumber(MSAXReader& reader);
    void _ReadElementCount(MSAXReader& reader);
    void _ReadHasGreyValues(MSAXReader& reader);
    void _ReadHasVolumeIndexValues(MSAXReader& reader);
    void _ReadMeshType(MSAXReader& reader);
    void _ReadMeshState(MSAXReader& reader);
    void _OpenField(MSAXReader& reader);
    void _ReadFieldID(MSAXReader& reader);
    void _ReadFieldLabel(MSAXReader& reader);
    void _ReadFieldDefault(MSAXReader& reader);
    void _ReadFieldValues(MSAXReader& reader);

    // The block's numbers belong to so many objects, in order; in an empty block there are none.
    MaskOrder _Order(std::uint64_t objects) const;
    MaskOrder _Elements() const { return _Order(m_mesh->Elements().GetNumElements()); }
    MaskOrder _Nodes() const { return _Order(static_cast<std::uint64_t>(m_mesh->NumberOfPoints())); }
    // Reads the numbers of a mask, which make() makes unless the block is empty.
    template <typename Make>
    void _ReadNumbers(MSAXReader& reader, MaskOrder const& order, Make&& make);
    // Reads the values of the built-in mask that is this row of the table of its container.
    template <typename Masks, std::size_t Row>
    void _ReadMask(MSAXReader& reader);
    void _ReadValues(MSAXReader& reader, MaskOrder const& order, VolumeListMask& lists);
    void _ReadValues(MSAXReader& reader, MaskOrder const& order, SurfaceMask& lists);
    void _ReadValues(MSAXReader& reader, MaskOrder const& order, MDataMaskBits<MMeshElement>& visible);
    template <typename Masks, std::size_t... Row>
    static void _AddMaskRules(std::vector<Rule>& rules, std::index_sequence<Row...>);

    void _MakeSubVolumes();
    MMeshSubVolume& _SubVolume();

    std::unique_ptr<MMeshBase> m_mesh;
    std::unique_ptr<MMeshPointContainer> m_points; // until the elements have been read
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> m_fields;
    std::vector<std::wstring> m_path; // the open tags inside the mesh's
    std::set<std::wstring> m_seen;    // the tags of the mesh that have been read
    std::uint64_t m_count = 0;        // of the open block
    bool m_data_read = true;          // of the open block or field
    std::wstring m_field_id;
    std::wstring m_field_label;
    double m_field_default = 0.0;
};

} // namespace KetSDK::Mesh::Detail
