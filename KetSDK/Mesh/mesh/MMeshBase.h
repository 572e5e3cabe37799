// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Math/MathCore/boundingbox.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>
#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>
#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>
#include <KetSDK/Mesh/mesh/MMeshPointIterator.h>
#include <KetSDK/Mesh/mesh/MMeshSubVolume.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {
class ElementNodeCounts;
class ElementRoom;
class MeshCopy;
class MeshRebuild;
class MeshSwap;
class MeshTagsReader;
} // namespace KetSDK::Mesh::Detail
class MMTransform;
class MMeshBaseNeighborsInfo;
class MMeshCorrespondenceMapper;
struct MMeshOrigins;

// A volumetric finite-element mesh: nodes with integer coordinates, elements, and a value per node or element
// for whatever is known of them (masks). It has a material catalog, and named sub-volumes to which every
// element belongs. The first sub-volume is the main one, into which new elements go.
//
// Nodes and elements keep their addresses while the mesh only grows; ClearMesh, ReplaceData and _Set
// invalidate all of them, with all mask indices, the neighbour information and every iterator.
// Coordinates are internal units (model units times MInternalUnits::Get()). Numbers of nodes, elements
// and sub-volumes are not range-checked. Not synchronised: several threads may read, one may write.
//
// Out of memory (std::bad_alloc), an operation leaves the mesh as it was, where it does not say more.
class KETSDK_MESH_API MMeshBase : public ISAXPersist, public virtual ISAXReference {
public:
    enum SubvolumesSortMode : int { SortByName = 0, SortByVolume = 1 };
    enum SortDirection : int { Ascending = 0, Descending = 1 }; // any other value sorts descending
    enum TetMeshType : int { Linear = 0, Quadratic = 1 };
    enum MeshStateType : int { DefaultState = 0 };

    using BoundingBox = KetSDK::Math::boundingbox<MLong, 3, MMVector<MLong, 3>>;
    using BoundingBoxDouble = KetSDK::Math::boundingbox<double, 3, MMVector<double, 3>>;
    using SubVolumeList = std::vector<std::shared_ptr<MMeshSubVolume>>;

    // An empty mesh with one empty main sub-volume.
    MMeshBase();
    // Copies nodes, elements, sub-volumes, built-in masks and what CopyMetadata copies. User masks,
    // neighbour information and the correspondence mapper stay behind.
    MMeshBase(MMeshBase const& other);
    MMeshBase& operator=(MMeshBase const& other);
    ~MMeshBase() override;

    // --- Persistence -------------------------------------------------------------------------------
    // Reads what SaveState wrote in place of everything that the mesh holds. Throws
    // std::runtime_error("invalid state") when the stream holds something else, and then leaves the mesh as
    // it was. Memory grows with what was really read. As after TakeContent, user masks, neighbour
    // information and the correspondence mapper are gone; duplicates are allowed.
    void LoadState(MStreamMFileIn& in) override;
    // Writes nodes, elements, built-in masks, material catalog, flags, type, state and sub-volumes. User
    // masks stay out. Throws "invalid state", before anything is written, when the mesh is not consistent;
    // what cannot be written shows in the stream.
    void SaveState(MStreamMFileOut& out) override;
    // Whether every element is of a known kind, with nodes of this mesh, and every face that the surface mask
    // lists is one of its element. Such a mesh can be written and read back.
    bool IsConsistent() const;

    // --- Nodes -------------------------------------------------------------------------------------
    // Adds a node at a position in internal units and widens the box. While duplicates are forbidden,
    // a node that is known there is returned instead; it too gets a fresh mask index. Throws
    // std::runtime_error("invalid state") for more nodes than 32 bits can number.
    MMeshPointIterator AddPoint(MLong x, MLong y, MLong z);
    MMeshPointIterator AddPoint(MLong* const xyz) { return AddPoint(xyz[0], xyz[1], xyz[2]); }
    // Adds a node for each position in internal units, in their order, as AddPoint for one after another
    // does. Unless duplicates are forbidden it takes a fraction of the time, and uses several threads when
    // parallel. Throws std::runtime_error("invalid state") for more nodes than 32 bits can number. Out of
    // memory, the mesh is as it was, or has the first of the nodes where duplicates are forbidden.
    void AddPoints(std::span<std::array<MLong, 3> const> positions, bool parallel = false);
    // Forbids duplicates, rounds scale * p to internal units and continues as AddPoint. Positions beyond the
    // range of 32 bits come to its end, and what is not a number to 0.
    MMeshPoint& AddPointUnique(MMVector<double, 3> const& p, double scale);
    // Fetches what looking up a position will read, for loops that know it some time before.
    void PrefetchPoint(MLong x, MLong y, MLong z) const noexcept { m_points->PrefetchPoint(x, y, z); }
    // Fetches what it will read next, some time after the first.
    void PrefetchFoundPoint(MLong x, MLong y, MLong z) const noexcept {
        m_points->PrefetchFoundPoint(x, y, z);
    }
    // From now on a node is added only once per position; nodes added before do not count.
    void ForbidDuplicatePoints();
    void AllowDuplicatePoints();
    // The same as AllowDuplicatePoints.
    void DisableSorting();

    MMeshPointIterator BeginPoint() noexcept { return {m_points.get(), 0}; }
    MMeshPointIterator EndPoint() noexcept { return {m_points.get(), m_points->GetNumPoints()}; }
    MMeshPointConstIterator BeginPoint() const noexcept { return {m_points.get(), 0}; }
    MMeshPointConstIterator EndPoint() const noexcept { return {m_points.get(), m_points->GetNumPoints()}; }
    MMeshPointIterator GetRandomPoint(std::uint64_t i) noexcept { return {m_points.get(), i}; }
    MMeshPointConstIterator GetRandomPoint(std::uint64_t i) const noexcept { return {m_points.get(), i}; }
    MLong NumberOfPoints() const noexcept { return static_cast<MLong>(m_points->GetNumPoints()); }

    // --- Elements ----------------------------------------------------------------------------------
    // Adds an element with the first n nodes of `nodes` to the main sub-volume. Throws
    // std::runtime_error("invalid state") when the mesh has no sub-volume, and for more elements than 32 bits
    // can number.
    MMeshElement* AddElement(char n, MMeshPoint** nodes);
    // Adds elements in the order of the arrays: what AddElement for one after another does, in a fraction of
    // the time, and on several threads when parallel. Throws std::runtime_error("invalid state") for an index
    // of a node or sub-volume that is not there and for arrays that do not fit together. Then, and out of
    // memory, the mesh is as it was.
    void AddElements(MMeshElementArrays const& elements, bool parallel = false);
    // Makes element i a member of the sub-volume at index sub_volumes[i] of the list: what IncludeElement for
    // one after another does. Throws std::runtime_error("invalid state") for another number of indices than
    // of elements and for an index that is not there. Then, and out of memory, all is as it was.
    void IncludeElements(std::span<int const> sub_volumes, bool parallel = false);
    MMeshElement* GetElement(std::uint64_t i) noexcept { return m_elements->GetElementPtrAt(i); }
    MMeshElement const* GetElement(std::uint64_t i) const noexcept {
        return static_cast<MMeshElementContainer const&>(*m_elements).GetElementPtrAt(i);
    }
    MLong NumberOfElements() const noexcept { return static_cast<MLong>(m_elements->GetNumElements()); }
    // A new iterator at element 0, owned by the caller.
    KetSDK::Mesh::Detail::MeshElementsIterator<0>* CreateBeginElementIter();
    KetSDK::Mesh::Detail::MeshElementsIterator<1>* CreateBeginElementIter() const;
    // All elements in order, for range-for.
    MMeshElementContainer& Elements() noexcept { return *m_elements; }
    MMeshElementContainer const& Elements() const noexcept { return *m_elements; }

    // --- Sub-volumes -------------------------------------------------------------------------------
    // Appends a sub-volume that is numbered by its index in the list; the mesh owns it.
    MMeshSubVolume* AddSubVolume();
    // The first sub-volume; the mesh must have one.
    MMeshSubVolume* GetMainSubVolume() noexcept { return m_subvolumes.front().get(); }
    MMeshSubVolume const* GetMainSubVolume() const noexcept { return m_subvolumes.front().get(); }
    std::uint64_t NumberOfSubVolumes() const noexcept { return m_subvolumes.size(); }
    SubVolumeList::iterator BeginSubVolume() noexcept { return m_subvolumes.begin(); }
    SubVolumeList::iterator EndSubVolume() noexcept { return m_subvolumes.end(); }
    SubVolumeList::const_iterator BeginSubVolume() const noexcept { return m_subvolumes.begin(); }
    SubVolumeList::const_iterator EndSubVolume() const noexcept { return m_subvolumes.end(); }
    // The sub-volume of an element; null when its number is not in the list.
    MMeshSubVolume* GetSubVolume(MMeshElement const& e);
    MMeshSubVolume const* GetSubVolume(MMeshElement const& e) const;
    // A new mesh, owned by the caller, of copies of the sub-volume's elements with one node for every
    // distinct position. Material catalog, flags and the elements' built-in values come along, and the
    // main sub-volume has the name and material number of the original. Origins are recorded when they are
    // not null.
    MMeshBase* GetSubVolumeAsMMeshBase(MMeshSubVolume const& sub_volume,
                                       MMeshOrigins* origins = nullptr) const;
    // Empties the list; elements keep their numbers. Who holds a sub-volume further has one of no mesh.
    void ClearSubVolumes() noexcept;
    // Exchanges the list for one of sub-volumes that were made for this mesh; elements keep their numbers.
    void SwapSubVolumes(SubVolumeList& list) noexcept { m_subvolumes.swap(list); }
    // Drops sub-volumes without elements, the main one too, and renumbers the rest; returns how many
    // went.
    std::uint64_t RemoveEmptySubVolumes();
    // Stable sort of the whole list by name or volume; sub-volumes and elements are renumbered, so the
    // main sub-volume can change. Any other mode throws std::invalid_argument("not implemented case").
    void SortSubvolumes(SubvolumesSortMode mode, SortDirection direction);

    // --- Whole mesh --------------------------------------------------------------------------------
    // Empties everything, the sub-volume list too: AddSubVolume comes before the next AddElement.
    void ClearMesh();
    // Takes ownership of new nodes and elements in place of the old ones and clears the element masks.
    // The new objects are registered with no mask and belong to no sub-volume. Out of memory, the mesh stays
    // as it was and the new objects are deleted.
    void ReplaceData(MMeshPointContainer* nodes, MMeshElementContainer* elements);
    // The same, and registers every node and element with the masks in container order, on several threads
    // when parallel.
    void _Set(MMeshPointContainer* nodes, MMeshElementContainer* elements) { _Set(nodes, elements, false); }
    void _Set(MMeshPointContainer* nodes, MMeshElementContainer* elements, bool parallel);
    // Takes everything that another mesh holds, nodes and elements at their addresses, in place of what
    // is here; the other mesh is left as after ClearMesh. User masks of the other mesh come along, those
    // of this mesh are let go of; neighbour information and correspondence mapper of both are gone.
    void TakeContent(MMeshBase& other);
    // Copies material catalog, flags, type and state only.
    void CopyMetadata(MMeshBase const& other);

    // Recomputes the box from all nodes, on several threads when parallel.
    void CalcBoundingBox(bool parallel = false);
    // To be called after nodes were moved: recomputes the box and, while duplicates are forbidden, enters
    // the nodes known there at their present positions. Out of memory, duplicates are allowed from then on.
    void NodesMoved();
    // The box of the nodes in internal units.
    BoundingBox const& GetBoundingBox() const noexcept { return m_box; }
    // The same in model units, newly allocated; the caller deletes it.
    BoundingBoxDouble* GetBoundingBoxDouble() const;
    // Moves every node, in model units with rounding as AddPointUnique does, and continues as NodesMoved.
    void Transform(MMTransform const& transform);
    // Signed volume of all elements in cubic model units; positive for correctly oriented elements.
    // Adds the sums of 4096 elements each. So it is the same to the last bit on one thread and on several,
    // which `parallel` allows.
    double GetVolume(bool parallel = false) const;
    // Whether there is anything in the mesh: two sub-volumes, or one and a node or an element.
    bool IsValid() const noexcept;
    // Bytes held by nodes, elements and their masks; neighbour information, which is a node mask,
    // included while it is enabled.
    std::size_t MemoryUsed() const;

    // --- Materials ---------------------------------------------------------------------------------
    // Whether some element (of the sub-volume) has a material.
    bool HasMaterialInfo() const;
    bool HasMaterialInfo(MMeshSubVolume const* sub_volume) const;
    MMaterialCatalog& GetMaterialCatalog() noexcept { return m_catalog; }
    MMaterialCatalog const& GetMaterialCatalog() const noexcept { return m_catalog; }
    void SetMaterialCatalog(MMaterialCatalog const& catalog) { m_catalog = catalog; }
    // Null clears the catalog.
    void SetMaterialCatalog(MMaterialCatalog const* catalog);
    void ClearMaterialCatalog() { m_catalog.Clear(); }

    // --- Parts that the mesh owns --------------------------------------------------------------------
    MMeshPointMaskContainer* GetPointMasks() const noexcept { return m_point_masks.get(); }
    MMeshElementMaskContainer* GetElementMasks() const noexcept { return m_element_masks.get(); }
    MMeshBaseNeighborsInfo* GetNeighborsInfo() noexcept { return m_neighbors.get(); }
    MMeshBaseNeighborsInfo const* GetNeighborsInfo() const noexcept { return m_neighbors.get(); }

    std::shared_ptr<MMeshCorrespondenceMapper> const& GetCorrespondenceMapper() const noexcept {
        return m_mapper;
    }
    void SetCorrespondenceMapper(std::shared_ptr<MMeshCorrespondenceMapper> const& mapper) {
        m_mapper = mapper;
    }
    void RemoveCorrespondenceMapper() noexcept { m_mapper.reset(); }

    // --- Stored for the caller -----------------------------------------------------------------------
    TetMeshType GetMeshType() const noexcept { return m_type; }
    void SetMeshType(TetMeshType type) noexcept { m_type = type; }
    MeshStateType GetMeshState() const noexcept { return m_state; }
    void SetMeshState(MeshStateType state) noexcept { m_state = state; }
    bool HasGreyValues() const noexcept { return m_has_grey_values; }
    void SetGreyValuesFlag(bool flag) noexcept { m_has_grey_values = flag; }
    bool HasVolumeIndexValues() const noexcept { return m_has_volume_index; }
    void SetVolumeIndexFlag(bool flag) noexcept { m_has_volume_index = flag; }

private:
    friend class KetSDK::Mesh::Detail::MeshCopy;       // adds elements of no sub-volume as well
    friend class KetSDK::Mesh::Detail::MeshRebuild;    // enters nodes and registers them, in bulk, later
    friend class KetSDK::Mesh::Detail::MeshTagsReader; // numbers what it makes
    friend class KetSDK::Mesh::Detail::MeshSwap; // takes nodes, elements and their values out and puts them
                                                 // back

    friend class MMeshSubVolume; // adds elements of its own

    // Adds an element of a sub-volume of this mesh.
    MMeshElement* AddElementTo(MMeshSubVolume& sub_volume, char n, MMeshPoint** nodes);
    // New elements that point at the nodes of `points` with the same indices as their old nodes.
    static std::unique_ptr<MMeshElementContainer>
    _CreateElementContainerFromOther(MMeshPointContainer& points, MMeshElementContainer const& elements);
    // AddElements without its look at the indices of sub-volumes; -1 stands for none.
    void AppendElements(MMeshElementArrays const& elements, bool parallel);
    // Appends elements with so many nodes of the mesh each, those of one after another, with a sub-volume
    // each.
    void AppendElements(std::span<unsigned char const> node_counts, std::span<MMeshPoint* const> nodes,
                        std::span<int const> sub_volumes);
    class SubVolumeCounts;
    void AppendElements(MMeshElementArrays const& elements, SubVolumeCounts const& in_sub_volumes,
                        bool parallel);
    // Makes the elements of a room that has their nodes, registers them with the masks and puts them into
    // sub-volumes by their indices in the list; none: the main one. Out of memory, they are given up.
    void MakeElements(KetSDK::Mesh::Detail::ElementRoom const& room,
                      KetSDK::Mesh::Detail::ElementNodeCounts const& counts, std::span<int const> sub_volumes,
                      SubVolumeCounts const& in_sub_volumes, bool parallel);
    // Adds the elements to the counts of their sub-volumes.
    void CountElements(SubVolumeCounts const& in_sub_volumes) noexcept;
    // The same without any memory: what has begun to change sub-volumes may have to go on.
    void CountElements(std::span<int const> sub_volumes) noexcept;
    void CopyFrom(MMeshBase const& other);
    void CopySubVolumes(MMeshBase const& other);
    // With `numbered`, objects that have their own numbers as mask indices already.
    void RegisterAll(bool parallel, bool numbered = false);
    // As _Set, with nodes and elements that have their own numbers as mask indices, and with the nodes' box.
    void SetNumbered(std::unique_ptr<MMeshPointContainer> nodes,
                     std::unique_ptr<MMeshElementContainer> elements, BoundingBox const& box, bool parallel);
    // Reads a state into this mesh, which is new.
    void ReadState(MStreamMFileIn& in);
    // Takes over the containers, whose objects have no slots in the masks; out of memory, both are deleted.
    // With `room`, registering all of them will need no memory. Leaves the box to the caller.
    void Replace(MMeshPointContainer* nodes, MMeshElementContainer* elements, bool room);
    // Replaces the sub-volume number of every element through a table from old to new number; a
    // number that the table does not have stays.
    void RenumberElements(std::map<int, int> const& new_number);

    std::unique_ptr<MMeshPointContainer> m_points;
    std::unique_ptr<MMeshElementContainer> m_elements;
    std::unique_ptr<MMeshPointMaskContainer> m_point_masks;
    std::unique_ptr<MMeshElementMaskContainer> m_element_masks;
    MMaterialCatalog m_catalog;
    bool m_has_grey_values = false;
    bool m_has_volume_index = false;
    BoundingBox m_box;
    TetMeshType m_type = Linear;
    MeshStateType m_state = DefaultState;
    std::unique_ptr<MMeshBaseNeighborsInfo> m_neighbors;
    std::shared_ptr<MMeshCorrespondenceMapper> m_mapper;
    SubVolumeList m_subvolumes;
};
