// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/correspondence/detail/OwnMapper.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/detail/DisjointSets.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::ComputeSteps;
using KetSDK::Support::Prefetch;

namespace {

constexpr std::uint32_t NoElement = std::numeric_limits<std::uint32_t>::max();

// The number of the element across each face of each element, NoElement where there is none: what
// GetNeighbor says, but found for all faces at once, which takes a fraction of the time.
class NeighborTable {
public:
    NeighborTable(MMeshBase& mesh, bool parallel)
        : m_numbers(static_cast<std::size_t>(mesh.NumberOfElements()),
                    {NoElement, NoElement, NoElement, NoElement}) {
        if (HasTetrahedraOnly(mesh.Elements(), parallel))
            MatchFaces(mesh, parallel);
        else
            Ask(mesh);
    }
    std::array<std::uint32_t, 4> const& Of(std::uint32_t element) const noexcept {
        return m_numbers[element];
    }

private:
    using Matcher = FaceMatcher<false>;

    void MatchFaces(MMeshBase& mesh, bool parallel) {
        // Every element is a group of its own, so that all faces between elements are visited.
        Matcher matcher(mesh, parallel,
                        [](MMeshElement const&, std::uint32_t number) { return static_cast<int>(number); });
        matcher.ForEachBoundaryFaceAtOnce(
            [this](std::uint32_t element, std::uint32_t face, int, int neighbor, bool has_neighbor) {
                if (has_neighbor)
                    m_numbers[element][face] = static_cast<std::uint32_t>(neighbor);
            });
        if (!matcher.CollapsedFaces().empty())
            Ask(mesh, matcher.CollapsedFaces());
    }

    // By asking for one neighbour after another, of faces that cannot be matched by three corners.
    void Ask(MMeshBase& mesh) {
        std::vector<Matcher::Face> faces;
        for (std::uint32_t element = 0; element < m_numbers.size(); ++element)
            for (std::uint32_t face = 0; face < 4; ++face)
                faces.push_back({element, face});
        Ask(mesh, faces);
    }
    void Ask(MMeshBase& mesh, std::vector<Matcher::Face> const& faces) {
        tsl::robin_map<MMeshElement const*, std::uint32_t> number_of;
        for (std::uint32_t number = 0; number < m_numbers.size(); ++number)
            number_of[mesh.GetElement(number)] = number;
        for (auto const& [element, face] : faces)
            if (auto const* const neighbor =
                    mesh.GetNeighborsInfo()->GetNeighbor(mesh.GetElement(element), face))
                m_numbers[element][face] = number_of[neighbor];
    }

    using Numbers = std::array<std::uint32_t, 4>;
    std::vector<Numbers, KetSDK::Support::MLargePageAllocator<Numbers>> m_numbers;
};

// Says of elements, by number, whether all their faces are known to have no triangle.
class FarFromSurface {
public:
    FarFromSurface(MMeshBase const& mesh, MMeshCorrespondenceMapperBase* mapper, bool parallel)
        : m_far(static_cast<std::size_t>(mesh.NumberOfElements()), 0) {
        if (!mapper)
            return;
        ComputeSteps({.items = m_far.size(), .step = 8192, .parallel = parallel},
                     [&](std::uint64_t first, std::uint64_t last) {
                         for (std::uint64_t i = first; i < last; ++i)
                             m_far[i] = !mapper->HasTriangle(*mesh.Elements().GetElementPtrAt(i));
                     });
    }
    bool operator()(std::uint32_t element) const noexcept { return m_far[element]; }

private:
    std::vector<char> m_far;
};

// Which elements a walk through the mesh reaches from one another. Nothing where that depends on where it
// begins: a face can be crossed one way only, or more than two elements have it.
std::optional<DisjointSets> FindRegions(MMeshBase& mesh, MMeshCorrespondenceMapperBase& mapper,
                                        FarFromSurface const& is_far, bool parallel) {
    FaceMatcher<false> matcher(mesh, parallel, OneGroup());
    DisjointSets regions(static_cast<std::size_t>(mesh.NumberOfElements()), parallel);
    std::atomic<bool> one_way = !matcher.CollapsedFaces().empty();
    auto const crosses = [&](std::uint32_t from, std::uint32_t to) {
        return is_far(from) || mapper.IsBoundaryCrossing(mesh.GetElement(from), mesh.GetElement(to)) != 1;
    };
    matcher.ForEachFaceAtOnce([&](std::span<std::uint32_t const> elements) {
        if (elements.size() > 2)
            one_way = true;
        if (elements.size() != 2 || elements[0] == elements[1])
            return;
        bool const there = crosses(elements[0], elements[1]), back = crosses(elements[1], elements[0]);
        if (there != back)
            one_way = true;
        else if (there)
            regions.Join(elements[0], elements[1]);
    });
    return one_way ? std::nullopt : std::optional(std::move(regions));
}

} // namespace

// Fills one region after another.
class MMeshOperatorLabelSubVolumes::Filling {
public:
    Filling(MMeshBase& mesh, bool parallel, MMeshCorrespondenceMapper& mapper, FarFromSurface const& is_far,
            KetSDK::Common::IncrementalProgressReporter& reporter)
        : m_mesh(mesh)
        , m_neighbors(mesh, parallel)
        , m_reached(static_cast<std::size_t>(mesh.NumberOfElements()), false)
        , m_mapper(mapper)
        , m_is_far(is_far)
        , m_reporter(reporter) {}

    // Finds the elements of the region of a seed, breadth first. False when the user cancelled.
    bool Fill(MMeshElement const& seed) {
        while (m_mesh.GetElement(m_seed) != &seed)
            ++m_seed; // each seed comes later in the mesh than the one before
        m_region.clear();
        Append(m_seed);
        for (std::size_t i = 0; i < m_region.size(); ++i) {
            Fetch(i);
            if (!AppendNeighborsOf(m_region[i]))
                return false;
        }
        return true;
    }

    // Marks and labels the elements of the region.
    void Label(MDataMask<MMeshElement, bool>& visited, std::span<int> labels, int label) const {
        for (std::uint32_t const number : m_region) {
            visited.SetValue(*m_mesh.GetElement(number), true);
            labels[number] = label;
        }
    }

private:
    bool AppendNeighborsOf(std::uint32_t number) {
        MMeshElement* const e = m_mesh.GetElement(number);
        bool const is_far = m_is_far(number);
        for (std::uint32_t const next : m_neighbors.Of(number)) {
            if (next == NoElement || m_reached[next] ||
                (!is_far && m_mapper.IsBoundaryCrossing(e, m_mesh.GetElement(next)) == 1))
                continue;
            Append(next);
            // Every 1001st: the count is compared before it grows.
            if (m_appended++ != 1000)
                continue;
            if (m_reporter.IsCancelled())
                return false;
            ++m_reporter;
            m_appended = 0;
        }
        return true;
    }

    void Append(std::uint32_t number) {
        m_region.push_back(number);
        m_reached[number] = true;
    }

    // Fetches what the walk will need some elements later, which may lie anywhere in memory.
    void Fetch(std::size_t i) const {
        constexpr std::size_t distance = 16;
        if (i + distance >= m_region.size())
            return;
        Prefetch(&m_neighbors.Of(m_region[i + distance]));
    }

    MMeshBase& m_mesh;
    NeighborTable const m_neighbors;
    std::vector<bool> m_reached; // by number; small enough to stay in the processor's cache
    MMeshCorrespondenceMapper& m_mapper;
    FarFromSurface const& m_is_far;
    KetSDK::Common::IncrementalProgressReporter& m_reporter;
    std::uint32_t m_seed = 0;            // its number
    std::vector<std::uint32_t> m_region; // numbers of elements; used again for every region
    int m_appended = 0;                  // through faces, since the last look at the delegate
};

MMeshOperatorLabelSubVolumes::~MMeshOperatorLabelSubVolumes() = default;

bool MMeshOperatorLabelSubVolumes::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh || mesh->NumberOfElements() == 0)
        return false;
    std::shared_ptr<MMeshCorrespondenceMapper> mapper = mesh->GetCorrespondenceMapper();
    if (!mapper && !m_stl)
        return false;
    if (!mapper)
        mapper = std::make_shared<MMeshCorrespondenceMapperProjection>(m_stl, mesh, 0.001);

    KetSDK::Common::IncrementalProgressReporter reporter(
        m_progress, "Label sub volumes", static_cast<std::uint64_t>(mesh->NumberOfElements()) / 1000, true);
    mesh->GetNeighborsInfo()->Enable(GetParallel());
    m_regions = 0;
    // Without a slot in the masks an element can be neither visited nor labelled.
    std::uint64_t const slots = mesh->GetElementMasks()->GetCapacity();
    auto const has_slot = [slots](MMeshElement const& e) { return e.GetMaskIndex() < slots; };
    if (!AllElements(mesh->Elements(), GetParallel(), has_slot))
        return false;
    if (!mapper->IsMapped())
        mapper->Map();

    MMeshCorrespondenceMapperBase* const own = mapper->IsMapped() ? OwnMapper(*mapper) : nullptr;
    FarFromSurface const is_far(*mesh, own, GetParallel());
    std::optional<DisjointSets> regions;
    if (own && HasTetrahedraOnly(mesh->Elements(), GetParallel()))
        regions = FindRegions(*mesh, *own, is_far, GetParallel());
    Labels labels(static_cast<std::size_t>(mesh->NumberOfElements()));
    if (regions) {
        if (!LabelAtOnce(*regions, labels, reporter))
            return false;
    } else {
        MDataMask<MMeshElement, bool> visited;
        mesh->GetElementMasks()->RegisterMask(&visited);
        Filling filling(*mesh, GetParallel(), *mapper, is_far, reporter);
        while (MMeshElement* const seed = _FindSeed(visited)) {
            ++m_regions;
            if (!filling.Fill(*seed))
                return false;
            filling.Label(visited, labels, m_regions - 1);
        }
    }
    RebuildSubVolumes(labels);
    reporter = reporter.GetMaxValue();
    return true;
}

// Numbers the regions by their first elements, as the walk comes upon them. It counts the elements that the
// walk appends, and looks at the delegate as often. False when the user cancelled.
bool MMeshOperatorLabelSubVolumes::LabelAtOnce(DisjointSets& regions, Labels& labels,
                                               KetSDK::Common::IncrementalProgressReporter& reporter) {
    std::span<std::uint32_t const> const first_of = regions.FirstOfEach();
    std::vector<std::uint64_t> sizes;
    DisjointSets::ForEachRun(first_of, [&](std::uint32_t first, std::size_t begin, std::size_t end) {
        if (first == begin) {
            labels[first] = static_cast<int>(sizes.size());
            sizes.push_back(0);
        }
        sizes[static_cast<std::size_t>(labels[first])] += end - begin;
    });
    std::uint64_t appended = 0; // through faces, since the last look at the delegate
    for (std::uint64_t const size : sizes) {
        ++m_regions;
        for (appended += size - 1; appended > 1000; appended -= 1001) {
            if (reporter.IsCancelled())
                return false;
            ++reporter;
        }
    }
    ComputeSteps({.items = labels.size(), .step = 16384, .parallel = GetParallel()},
                 [&](std::uint64_t first, std::uint64_t last) {
                     for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                         if (first_of[i] != i)
                             labels[i] = labels[first_of[i]];
                 });
    return true;
}

MMeshElement* MMeshOperatorLabelSubVolumes::_FindSeed(MDataMask<MMeshElement, bool>& visited) {
    for (MMeshElement& e : GetMesh()->Elements())
        if (!visited.GetValue(e))
            return &e;
    return nullptr;
}

void MMeshOperatorLabelSubVolumes::RebuildSubVolumes(Labels const& labels) {
    MMeshBase& mesh = *GetMesh();
    // What can run out of memory comes first. Labels follow one another as the first elements of regions do.
    mesh.GetElementMasks()->GetSubvolumeMask();
    MMeshBase::SubVolumeList sub_volumes;
    for (int region = 0; region < m_regions; ++region)
        sub_volumes.push_back(std::make_shared<MMeshSubVolume>(&mesh, region));
    mesh.ClearSubVolumes();
    mesh.SwapSubVolumes(sub_volumes);
    mesh.IncludeElements(labels, GetParallel());
}
