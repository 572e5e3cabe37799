// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Analysis.h>

#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/Jacobian.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <limits>
#include <map>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

std::string InQuotes(std::string const& text) {
    return "\"" + text + "\"";
}

// --- What no solver takes ------------------------------------------------------------------------------

// Elements with one kind of fault.
struct Faults {
    std::uint64_t count = 0;
    std::uint64_t first = 0;

    void Add(std::uint64_t element) {
        if (count++ == 0)
            first = element;
    }
    void Add(Faults const& behind) {
        if (count == 0)
            first = behind.first;
        count += behind.count;
    }
    std::string Describe(std::string const& what) const {
        return std::to_string(count) + (count == 1 ? " element is " : " elements are ") + what +
               " (the first is " + std::to_string(first) + ")";
    }
};

// Of ten-node tetrahedra the volume between the corners: turning an element changes the sign of that alone.
double VolumeOf(MMeshElement const& e) {
    if (e.GetNodeCount() != 10)
        return GetElementVolume(e);
    auto const corner = [&e](unsigned int i) {
        return e.GetNode(i)->GetPosition() - e.GetNode(0)->GetPosition();
    };
    return corner(1).Dot(corner(2).Cross(corner(3))) / 6.0;
}

bool IsCornerFolded(MMeshElement const& e) {
    return std::ranges::any_of(Detail::CornersOfElement(e.GetNodeCount()),
                               [&e](auto const& corner) { return Detail::JacobianAt(e, corner) < 0.0; });
}

// What is to be said of elements.
struct ElementReport {
    Faults inverted;
    Faults flat;
    Faults folded;
    bool has_others = false; // than tetrahedra among the inverted or folded ones
    std::uint64_t linear_tetrahedra = 0;
    std::uint64_t elements = 0;

    void Add(MMeshElement const& e, std::uint64_t number) {
        double const volume = VolumeOf(e);
        bool const is_tetrahedron = e.GetNodeCount() == 4 || e.GetNodeCount() == 10;
        if (volume < 0.0) {
            inverted.Add(number);
            has_others |= !is_tetrahedron;
        } else if (volume == 0.0) {
            flat.Add(number);
        } else if (is_tetrahedron ? e.GetNodeCount() == 10 && IsFolded(e) : IsCornerFolded(e)) {
            folded.Add(number);
            has_others |= !is_tetrahedron;
        }
        linear_tetrahedra += e.GetNodeCount() == 4 ? 1 : 0;
        ++elements;
    }
    void Add(ElementReport const& behind) {
        inverted.Add(behind.inverted);
        flat.Add(behind.flat);
        folded.Add(behind.folded);
        has_others |= behind.has_others;
        linear_tetrahedra += behind.linear_tetrahedra;
        elements += behind.elements;
    }
    void ThrowIfFaulty() const;
};

void ElementReport::ThrowIfFaulty() const {
    if (elements == 0)
        throw Error("the mesh has no elements");
    if (inverted.count > 0)
        throw Error(
            inverted.Describe("inverted") + ", which no solver takes; " +
            (has_others ? "hexahedra and wedges have to be meshed anew" : "ketmesh orient turns them"));
    if (flat.count > 0)
        throw Error(flat.Describe("flat") + ", which no solver takes; ketmesh check names them");
    if (folded.count > 0)
        throw Error(
            folded.Describe("folded") + ", which no solver takes; " +
            (has_others ? "hexahedra and wedges have to be meshed anew" : "ketmesh repair mends them"));
}

Support::WorkSteps StepsOf(MMeshBase const& mesh, bool parallel) {
    return {.items = mesh.Elements().GetNumElements(), .step = 4096, .parallel = parallel};
}

ElementReport ReportOnElements(MMeshBase const& mesh, bool parallel) {
    ElementReport report;
    Support::ComputeSteps<ElementReport>(
        StepsOf(mesh, parallel),
        [&mesh](std::uint64_t first, std::uint64_t last, ElementReport& of_step) {
            of_step = {};
            mesh.Elements().ForEachWithNodes(
                first, last,
                [&of_step](MMeshElement const& e, std::uint64_t number) { of_step.Add(e, number); });
        },
        [&report](std::uint64_t, std::uint64_t, ElementReport const& of_step) {
            report.Add(of_step);
            return true;
        });
    return report;
}

void WarnOfLinearTetrahedra(AnalysisInput const& input, std::uint64_t count) {
    if (count > 0 && input.warn)
        input.warn(std::to_string(count) +
                   " elements are linear tetrahedra, which are too stiff in bending and near-incompressible; "
                   "ketmesh convert --to tet10 makes quadratic ones");
}

// --- Numbers ---------------------------------------------------------------------------------------------

template <typename Mask, typename ObjectAt, typename IsUsed>
std::vector<std::int32_t> Ids(Mask const* mask, std::size_t count, char const* what,
                              ObjectAt const& object_at, IsUsed const& is_used) {
    std::vector<std::int32_t> ids(count, 0);
    std::vector<std::int32_t> used;
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_used(i))
            continue;
        ids[i] = mask ? mask->GetValue(object_at(i)) : -1;
        if (ids[i] <= 0)
            throw Error(std::string(what) + " " + std::to_string(i) + " has the original identifier " +
                        std::to_string(ids[i]) + "; solvers number from 1: leave out --original-ids");
        used.push_back(ids[i]);
    }
    std::ranges::sort(used);
    if (auto const twice = std::ranges::adjacent_find(used); twice != used.end())
        throw Error(std::string("two ") + what + "s have the original identifier " + std::to_string(*twice) +
                    "; leave out --original-ids");
    return ids;
}

void TakeOriginalIds(Analysis& analysis) {
    MMeshBase const& mesh = *analysis.mesh;
    analysis.node_ids = Ids(
        std::as_const(*mesh.GetPointMasks()).GetOriginalIDs(),
        static_cast<std::size_t>(mesh.NumberOfPoints()), "node",
        [&mesh](std::size_t i) -> MMeshPoint const& { return *mesh.GetRandomPoint(i); },
        [&analysis](std::size_t i) { return analysis.used_nodes[i]; });
    analysis.element_ids = Ids(
        std::as_const(*mesh.GetElementMasks()).GetOriginalIDs(),
        static_cast<std::size_t>(mesh.NumberOfElements()), "element",
        [&mesh](std::size_t i) -> MMeshElement const& { return *mesh.GetElement(i); },
        [](std::size_t) { return true; });
}

std::vector<bool> UsedNodes(MMeshBase const& mesh, bool parallel) {
    std::vector<unsigned char> used(static_cast<std::size_t>(mesh.NumberOfPoints()), 0);
    auto const mark = [&used](MMeshElement const& e, std::uint64_t) {
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            if (std::atomic_ref is_used(used[static_cast<std::size_t>(e.GetNode(i)->GetIndex())]);
                is_used.load(std::memory_order_relaxed) == 0)
                is_used.store(1, std::memory_order_relaxed);
    };
    Support::ComputeSteps(StepsOf(mesh, parallel), [&](std::uint64_t first, std::uint64_t last) {
        mesh.Elements().ForEachWithNodes(first, last, mark);
    });
    return {used.begin(), used.end()};
}

// --- Sets --------------------------------------------------------------------------------------------------

void TakeSubVolumes(Analysis& analysis, AnalysisInput const& input, DeckNames& deck) {
    for (std::string const& name : input.subvolumes)
        analysis.subvolumes.push_back({deck.Take("subvolume", name), 0});
    auto const* const numbers = std::as_const(*input.mesh->GetElementMasks()).GetSubvolumeMask();
    analysis.subvolume_of.resize(static_cast<std::size_t>(input.mesh->NumberOfElements()));
    struct Taken {
        std::vector<std::uint64_t> elements; // by sub-volume, up to one that is in none
        std::uint64_t end = 0;
    };
    Support::ComputeSteps<Taken>(
        StepsOf(*input.mesh, input.parallel),
        [&](std::uint64_t first, std::uint64_t last, Taken& taken) {
            taken.elements.assign(analysis.subvolumes.size(), 0);
            auto e = input.mesh->Elements().begin() + static_cast<std::ptrdiff_t>(first);
            for (taken.end = first; taken.end < last; ++taken.end, ++e) {
                auto const number = static_cast<std::size_t>(numbers ? numbers->GetValue(*e) : 0);
                if (number >= taken.elements.size())
                    break;
                analysis.subvolume_of[static_cast<std::size_t>(taken.end)] =
                    static_cast<std::uint32_t>(number);
                ++taken.elements[number];
            }
        },
        [&](std::uint64_t, std::uint64_t last, Taken const& taken) {
            if (taken.end < last)
                throw Error("element " + std::to_string(taken.end) +
                            " is in no sub-volume; --labels can make sub-volumes of an array");
            for (std::size_t i = 0; i < taken.elements.size(); ++i)
                analysis.subvolumes[i].elements += taken.elements[i];
            return true;
        });
}

void NameMaterials(Analysis& analysis, DeckNames& deck) {
    for (DeckMaterial const& material : analysis.materials.materials)
        analysis.material_names.push_back(
            deck.Take("material", "MATERIAL_" + std::to_string(static_cast<unsigned int>(material.id))));
}

void TakePlaces(Analysis& analysis, std::vector<MeshSurface> const& surfaces, AnalysisInput const& input,
                DeckNames& deck) {
    PlaceFinder const finder(*input.mesh, surfaces, input.subvolumes, analysis.used_nodes);
    for (Case::Place const& place : input.load_case->places) {
        PlaceContent content = finder.Find(place);
        if (!content.nodes.empty() || !content.faces.empty())
            analysis.places.push_back({place.name, deck.Take("place", place.name), std::move(content.faces),
                                       std::move(content.nodes)});
    }
}

// "axis, normal"
std::string KeysOf(Case::Place const& place) {
    std::string keys;
    auto const add = [&keys](bool is_given, char const* key) {
        if (is_given)
            keys += (keys.empty() ? "" : ", ") + std::string(key);
    };
    add(place.end.has_value(), "axis");
    add(!place.surface.empty(), "surface");
    add(place.normal.has_value(), "normal");
    add(place.box.has_value(), "box");
    add(place.sphere.has_value(), "sphere");
    add(!place.subvolume.empty(), "subvolume");
    return keys;
}

// "x 0 to 1, y 0 to 1, z 0 to 2.5"
std::string ExtentOf(MMeshBase const& mesh, std::vector<bool> const& used) {
    std::string extent;
    for (unsigned int axis = 0; axis < 3; ++axis) {
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        for (std::size_t i = 0; i < used.size(); ++i)
            if (used[i]) {
                double const position = mesh.GetRandomPoint(i)->GetPosition()[axis];
                low = std::min(low, position);
                high = std::max(high, position);
            }
        std::array<char, 64> text;
        std::snprintf(text.data(), text.size(), "%c %.6g to %.6g", "xyz"[axis], low, high);
        extent += (axis == 0 ? "" : ", ") + std::string(text.data());
    }
    return extent;
}

Analysis::Place const& RequirePlace(Analysis const& analysis, std::string const& name, bool with_faces) {
    Analysis::Place const* const found = analysis.FindPlace(name);
    if (found && !(with_faces ? found->faces.empty() : found->nodes.empty()))
        return *found;
    auto const place = std::ranges::find(analysis.load_case->places, name, &Case::Place::name);
    if (place == analysis.load_case->places.end())
        throw CaseError("there is no place " + InQuotes(name));
    char const* const what = with_faces ? "face" : "node";
    throw CaseError("there is no " + std::string(what) + " in the place " + InQuotes(name) + ": no " +
                    (with_faces && place->surface.empty() ? "outer " : "") + what + " meets its " +
                    KeysOf(*place) + "; the mesh reaches from " +
                    ExtentOf(*analysis.mesh, analysis.used_nodes) + " mm");
}

// --- What holds the model ----------------------------------------------------------------------------------

using AxisValues = std::array<std::optional<double>, 3>;

void HoldPlace(Analysis& analysis, std::string const& name, AxisValues const& values) {
    Analysis::Place const& place = RequirePlace(analysis, name, false);
    auto const index = static_cast<std::uint32_t>(&place - analysis.places.data());
    for (std::uint32_t const node : place.nodes)
        for (std::uint8_t axis = 0; axis < 3; ++axis)
            if (values[axis])
                analysis.held.push_back({node, axis, index, *values[axis]});
}

void HoldNodes(Analysis& analysis) {
    for (Case::Fix const& fix : analysis.load_case->fixes) {
        AxisValues values;
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (fix.axes[axis])
                values[axis] = 0.0;
        HoldPlace(analysis, fix.place, values);
    }
    for (Case::Displace const& displace : analysis.load_case->displacements)
        HoldPlace(analysis, displace.place, displace.by);
    auto& held = analysis.held;
    std::ranges::stable_sort(held, [](HeldAxis const& a, HeldAxis const& b) {
        return std::pair(a.node, a.axis) < std::pair(b.node, b.axis);
    });
    for (std::size_t i = 1; i < held.size(); ++i)
        if (held[i].IsSameAxis(held[i - 1]) && held[i].by != held[i - 1].by)
            throw CaseError("node " + std::to_string(held[i].node) + " is in the places " +
                            InQuotes(analysis.places[held[i - 1].place].name) + " and " +
                            InQuotes(analysis.places[held[i].place].name) +
                            ", which move it differently along " + "xyz"[held[i].axis] +
                            "; the places must not overlap");
    auto const is_same = [](HeldAxis const& a, HeldAxis const& b) { return a.IsSameAxis(b); };
    held.erase(std::unique(held.begin(), held.end(), is_same), held.end());
}

void RequireHeldBodies(Analysis const& analysis, bool parallel) {
    std::vector<LooseBody> const loose = FindLooseBodies(*analysis.mesh, analysis.held, parallel);
    if (loose.empty())
        return;
    LooseBody const& body = loose.front();
    throw CaseError(
        (loose.size() == 1 ? std::string("a body is") : std::to_string(loose.size()) + " bodies are") +
        " not held: the one with element " + std::to_string(body.element) + " (" +
        std::to_string(body.elements) + (body.elements == 1 ? " element" : " elements connected by faces") +
        ") can move in " + std::to_string(body.motions) +
        " of the 6 ways of a rigid body; [[fix]] or [[displace]] must hold it");
}

// --- What loads the model ----------------------------------------------------------------------------------

void LoadNodes(Analysis& analysis) {
    Case const& load_case = *analysis.load_case;
    MMeshBase const& mesh = *analysis.mesh;
    std::vector<FaceOfElement> pressed;
    for (Case::Pressure const& pressure : load_case.pressures) {
        auto const& faces = RequirePlace(analysis, pressure.place, true).faces;
        pressed.insert(pressed.end(), faces.begin(), faces.end());
    }
    std::ranges::sort(pressed);
    analysis.has_shared_pressure = std::ranges::adjacent_find(pressed) != pressed.end();
    for (Case::Force const& force : load_case.forces) {
        Analysis::Place const& place = RequirePlace(analysis, force.place, true);
        analysis.forces.resize(static_cast<std::size_t>(mesh.NumberOfPoints()));
        AddForce(analysis.forces, mesh, place.faces, {force.total[0], force.total[1], force.total[2]});
    }
    if (!load_case.gravity)
        return;
    for (std::size_t i = 0; i < analysis.materials.materials.size(); ++i)
        if (!analysis.materials.materials[i].density)
            throw Error("material " + std::to_string(analysis.materials.materials[i].id) +
                        " has no density, which gravity needs; ketmesh materials gives one");
}

void WarnOfIdleCase(AnalysisInput const& input) {
    Case const& load_case = *input.load_case;
    bool const is_moved = std::ranges::any_of(load_case.displacements, [](Case::Displace const& displace) {
        return std::ranges::any_of(displace.by, [](auto const& by) { return by && *by != 0.0; });
    });
    if (!is_moved && load_case.pressures.empty() && load_case.forces.empty() && !load_case.gravity)
        input.warn("nothing loads or moves the model in this case; all results will be 0");
}

void TakeCase(Analysis& analysis, std::vector<MeshSurface> const& surfaces, AnalysisInput const& input,
              DeckNames& deck) {
    analysis.load_case = input.load_case;
    TakePlaces(analysis, surfaces, input, deck);
    if (!analysis.HasStep())
        return;
    HoldNodes(analysis);
    LoadNodes(analysis);
    RequireHeldBodies(analysis, input.parallel);
    if (!input.warn)
        return;
    WarnOfIdleCase(input);
    for (Case::Place const& place : input.load_case->places)
        if (!analysis.FindPlace(place.name))
            input.warn("the place " + InQuotes(place.name) + " has no nodes; the deck has no set for it");
}

} // namespace

Analysis::Place const* Analysis::FindPlace(std::string const& name) const {
    auto const found = std::ranges::find(places, name, &Place::name);
    return found == places.end() ? nullptr : &*found;
}

std::uint64_t Analysis::NumberOfUnknowns() const {
    return 3 * static_cast<std::uint64_t>(std::ranges::count(used_nodes, true)) - held.size();
}

NodeForces Analysis::AllLoads() const {
    NodeForces loads = forces;
    loads.resize(used_nodes.size());
    if (!load_case)
        return loads;
    for (Case::Pressure const& pressure : load_case->pressures)
        AddPressure(loads, *mesh, FindPlace(pressure.place)->faces, pressure.value);
    if (load_case->gravity) {
        auto const& [x, y, z] = *load_case->gravity;
        AddGravity(loads, *mesh, materials, {x, y, z});
    }
    return loads;
}

Analysis MakeAnalysis(AnalysisInput const& input) {
    ElementReport const report = ReportOnElements(*input.mesh, input.parallel);
    report.ThrowIfFaulty();
    Analysis analysis;
    analysis.mesh = input.mesh;
    analysis.space = input.space;
    analysis.materials = CollectMaterials(*input.mesh, input.materials, input.values, input.parallel);
    analysis.has_element_moduli = input.materials == MaterialsAs::Elements;
    analysis.used_nodes = UsedNodes(*input.mesh, input.parallel);
    DeckNames deck;
    TakeSubVolumes(analysis, input, deck);
    NameMaterials(analysis, deck);
    std::vector<MeshSurface> surfaces = FindSurfaces(*input.mesh, input.subvolumes, input.parallel);
    for (MeshSurface const& surface : surfaces)
        analysis.surfaces.push_back({surface.name, deck.Take("surface", surface.name), surface.faces,
                                     NodesOnFaces(*input.mesh, surface.faces, input.parallel)});
    if (input.load_case)
        TakeCase(analysis, surfaces, input, deck);
    if (input.original_ids)
        TakeOriginalIds(analysis);
    WarnOfLinearTetrahedra(input, report.linear_tetrahedra);
    analysis.renamings = deck.GetRenamings();
    return analysis;
}

} // namespace KetSDK::MeshSolver
