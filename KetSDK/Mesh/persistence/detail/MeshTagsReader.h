// SPDX-License-Identifier: BSD-3-Clause
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
    // Makes nodes and elements on several threads when parallel.
    explicit MeshTagsReader(bool parallel);
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
    static std::vector<Rule> const& Rules();

    void OpenBlock(MSAXReader& reader);
    void ReadPoints(MSAXReader& reader);
    void ReadElements(MSAXReader& reader);
    void ReadVolumeWeights(MSAXReader& reader);
    void OpenSubVolumeList(MSAXReader& reader);
    void OpenSubVolume(MSAXReader& reader);
    void ReadName(MSAXReader& reader);
    void ReadNumber(MSAXReader& reader);
    void ReadMaterialNumber(MSAXReader& reader);
    void ReadElementCount(MSAXReader& reader);
    void ReadHasGreyValues(MSAXReader& reader);
    void ReadHasVolumeIndexValues(MSAXReader& reader);
    void ReadMeshType(MSAXReader& reader);
    void ReadMeshState(MSAXReader& reader);
    void OpenField(MSAXReader& reader);
    void ReadFieldID(MSAXReader& reader);
    void ReadFieldLabel(MSAXReader& reader);
    void ReadFieldDefault(MSAXReader& reader);
    void ReadFieldValues(MSAXReader& reader);

    // The block's numbers belong to so many objects, in order; in an empty block there are none.
    MaskOrder Order(std::uint64_t objects) const;
    MaskOrder ElementOrder() const { return Order(m_mesh->Elements().GetNumElements()); }
    MaskOrder NodeOrder() const { return Order(static_cast<std::uint64_t>(m_mesh->NumberOfPoints())); }
    // Reads the numbers of a mask, which make() makes unless the block is empty.
    template <typename Make>
    void ReadNumbers(MSAXReader& reader, MaskOrder const& order, Make&& make);
    // Reads the values of the built-in mask that is this row of the table of its container.
    template <typename Masks, std::size_t Row>
    void ReadMask(MSAXReader& reader);
    void ReadValues(MSAXReader& reader, MaskOrder const& order, VolumeListMask& lists);
    void ReadValues(MSAXReader& reader, MaskOrder const& order, SurfaceMask& lists);
    void ReadValues(MSAXReader& reader, MaskOrder const& order, MDataMaskBits<MMeshElement>& visible);
    template <typename Masks, std::size_t... Row>
    static void AddMaskRules(std::vector<Rule>& rules, std::index_sequence<Row...>);

    void MakeSubVolumes();
    MMeshSubVolume& CurrentSubVolume();

    std::unique_ptr<MMeshBase> m_mesh;
    std::unique_ptr<MMeshPointContainer> m_points; // until the elements have been read
    MMeshBase::BoundingBox m_box;                  // theirs
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> m_fields;
    std::vector<std::wstring> m_path; // the open tags inside the mesh's
    std::set<std::wstring> m_seen;    // the tags of the mesh that have been read
    std::uint64_t m_count = 0;        // of the open block
    bool m_data_read = true;          // of the open block or field
    bool m_parallel;
    std::wstring m_field_id;
    std::wstring m_field_label;
    double m_field_default = 0.0;
};

} // namespace KetSDK::Mesh::Detail
