// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Materials.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

constexpr int NoMaterial = -1;
constexpr char const* Remedy =
    "ketmesh materials gives elements materials from a CT image, or constants with --set";

std::string ElementName(std::size_t element) {
    return "element " + std::to_string(element);
}

// The properties of one element; NaN where it has none.
struct Properties {
    double emodulus = std::numeric_limits<double>::quiet_NaN();
    double poisson = std::numeric_limits<double>::quiet_NaN();
    double density = std::numeric_limits<double>::quiet_NaN();

    // With "not a number" in its place behind all numbers.
    auto Key() const {
        auto const part = [](double x) { return std::pair(std::isnan(x), std::isnan(x) ? 0.0 : x); };
        return std::tuple(part(emodulus), part(poisson), part(density));
    }
};

Properties FromCatalog(MMeshMaterial const* material) {
    auto const known = [](double x) { return x == DBL_MAX ? std::numeric_limits<double>::quiet_NaN() : x; };
    if (!material)
        return {};
    return {known(material->GetEmodulus()), known(material->GetPoisson()), known(material->GetDensity())};
}

void CheckValues(std::size_t element, std::string const& what, Properties const& p) {
    std::string const place = what + " (" + ElementName(element) + ")";
    if (std::isnan(p.emodulus))
        throw Error(place + " has no modulus; " + Remedy);
    if (!(p.emodulus > 0.0) || !std::isfinite(p.emodulus))
        throw Error(place + " has a modulus that is not above 0; ketmesh materials with another law or "
                            "modulus would give one");
    if (std::isnan(p.poisson))
        throw Error(place + " has no Poisson's ratio; ketmesh materials --poisson gives one");
    if (!(p.poisson > -1.0 && p.poisson < 0.5))
        throw Error(place + " has a Poisson's ratio that no solver takes; it must lie between -1 and 0.5, "
                            "as ketmesh materials --poisson gives it");
    if (std::isinf(p.density) || p.density < 0.0)
        throw Error(place + " has a negative or infinite density; " + Remedy);
}

DeckMaterial ToDeck(int id, Properties const& p) {
    return {id, p.emodulus, p.poisson, std::isnan(p.density) ? std::nullopt : std::optional(p.density)};
}

class Collector {
public:
    Collector(MMeshBase const& mesh, ElementValues const& values, bool parallel)
        : m_mesh(mesh)
        , m_values(values)
        , m_parallel(parallel)
        , m_ids(std::as_const(*mesh.GetElementMasks()).GetMaterialMask()) {}

    // One material for each identifier in the catalog.
    ElementMaterials ById() const {
        if (!m_ids)
            throw Error(WithoutMaterials());
        std::vector<int> ids(static_cast<std::size_t>(m_mesh.NumberOfElements()));
        FirstElements first_of;
        Support::ComputeSteps<FirstElements>(
            Steps(ids.size()),
            [&](std::uint64_t first, std::uint64_t last, FirstElements& first_of_step) {
                TakeIds(ids, static_cast<std::size_t>(first), static_cast<std::size_t>(last), first_of_step);
            },
            [&first_of](std::uint64_t, std::uint64_t, FirstElements const& first_of_step) {
                first_of.insert(first_of_step.begin(), first_of_step.end()); // unless it has it
                return true;
            });
        ElementMaterials result;
        std::map<int, std::uint32_t> index_of;
        for (auto const& [id, element] : first_of) {
            CheckId(id, element);
            index_of[id] = static_cast<std::uint32_t>(result.materials.size());
            result.materials.push_back(ToDeck(id, OfCatalog(id)));
        }
        result.material_of.resize(ids.size());
        Support::ComputeSteps(Steps(ids.size()), [&](std::uint64_t first, std::uint64_t last) {
            auto last_used = index_of.begin();
            for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                if (last_used->first != ids[i])
                    last_used = index_of.find(ids[i]);
                result.material_of[i] = last_used->second;
            }
        });
        return result;
    }

    // One material for each set of values that elements have; with_modulus: moduli count.
    ElementMaterials ByValue(bool with_modulus, std::vector<double>& moduli) const {
        ElementMaterials result;
        using Key = decltype(Properties().Key());
        std::map<Key, std::uint32_t> index_of;
        std::optional<Key> last;
        std::uint32_t index = 0;
        std::size_t element = 0;
        for (MMeshElement const& e : m_mesh.Elements()) {
            Properties p = Of(e, element);
            moduli.push_back(p.emodulus);
            if (!with_modulus)
                p.emodulus = 1.0;
            if (Key const key = p.Key(); key != last) {
                auto const [found, is_new] =
                    index_of.try_emplace(key, static_cast<std::uint32_t>(result.materials.size()));
                if (is_new)
                    result.materials.push_back(ToDeck(static_cast<int>(found->second) + 1, p));
                index = found->second;
                last = key;
            }
            result.material_of.push_back(index);
            ++element;
        }
        return result;
    }

private:
    using FirstElements = std::map<int, std::size_t>; // by identifier

    Support::WorkSteps Steps(std::size_t elements) const {
        return {.items = elements, .step = 1 << 14, .parallel = m_parallel};
    }

    void TakeIds(std::vector<int>& ids, std::size_t first, std::size_t last, FirstElements& first_of) const {
        first_of.clear();
        auto e = m_mesh.Elements().begin() + static_cast<std::ptrdiff_t>(first);
        for (std::size_t i = first; i < last; ++i, ++e) {
            ids[i] = m_ids->GetValue(*e);
            if (i == first || ids[i] != ids[i - 1])
                first_of.try_emplace(ids[i], i);
        }
    }

    std::string WithoutMaterials() const {
        return m_values.emodulus
                   ? "elements have moduli of their own but no materials; --materials elements takes them"
                   : std::string("the model has no materials; ") + Remedy;
    }

    Properties OfCatalog(int id) const {
        return FromCatalog(m_mesh.GetMaterialCatalog().GetMaterialWithID(static_cast<unsigned int>(id)));
    }

    void CheckId(int id, std::size_t element) const {
        if (id == NoMaterial)
            throw Error(ElementName(element) + " has no material; " + Remedy);
        Properties const p = OfCatalog(id);
        if (std::isnan(p.emodulus) && m_values.emodulus)
            throw Error("material " + std::to_string(id) + " (" + ElementName(element) +
                        ") has no one modulus: its elements have moduli of their own; --materials elements "
                        "takes them");
        CheckValues(element, "material " + std::to_string(id), p);
    }

    Properties Of(MMeshElement const& e, std::size_t element) const {
        int const id = m_ids ? m_ids->GetValue(e) : NoMaterial;
        Properties p = id == NoMaterial ? Properties() : OfCatalog(id);
        auto const take = [element](std::vector<double> const* values, double& into) {
            if (values && !std::isnan((*values)[element]))
                into = (*values)[element];
        };
        take(m_values.emodulus, p.emodulus);
        take(m_values.poisson, p.poisson);
        take(m_values.density, p.density);
        if (std::isnan(p.emodulus) && id == NoMaterial)
            throw Error(m_ids || m_values.emodulus ? ElementName(element) + " has no material; " + Remedy
                                                   : WithoutMaterials());
        CheckValues(element, id == NoMaterial ? "the material" : "material " + std::to_string(id), p);
        return p;
    }

    MMeshBase const& m_mesh;
    ElementValues const& m_values;
    bool m_parallel;
    MDataMask<MMeshElement, int> const* m_ids;
};

// A corner has the mean of the elements around it, a node between two corners their mean.
std::vector<double> ModuliOfNodes(MMeshBase const& mesh, std::vector<double> const& moduli) {
    std::vector<double> sum(static_cast<std::size_t>(mesh.NumberOfPoints()), 0.0);
    std::vector<std::uint32_t> count(sum.size(), 0);
    auto const index = [](MMeshElement const& e, unsigned int i) {
        return static_cast<std::size_t>(e.GetNode(i)->GetIndex());
    };
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        for (unsigned int i = 0; i < MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()); ++i) {
            sum[index(e, i)] += moduli[static_cast<std::size_t>(number)];
            ++count[index(e, i)];
        }
    });
    for (std::size_t i = 0; i < sum.size(); ++i)
        if (count[i] > 0)
            sum[i] /= count[i];
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        for (unsigned int edge = 0; e.GetNodeCount() == 10 && edge < 6; ++edge) {
            auto const& ends = MMeshElementDescriptor::descr_tet4_tet10_point[edge];
            if (count[index(e, 4 + edge)] == 0)
                sum[index(e, 4 + edge)] = (sum[index(e, ends[0])] + sum[index(e, ends[1])]) / 2.0;
        }
    });
    return sum;
}

} // namespace

ElementMaterials CollectMaterials(MMeshBase const& mesh, MaterialsAs as, ElementValues const& values,
                                  bool parallel) {
    Collector const collector(mesh, values, parallel);
    if (as == MaterialsAs::Bins)
        return collector.ById();
    std::vector<double> moduli;
    moduli.reserve(static_cast<std::size_t>(mesh.NumberOfElements()));
    ElementMaterials result = collector.ByValue(as == MaterialsAs::Elements, moduli);
    if (as == MaterialsAs::Nodes)
        result.node_moduli = ModuliOfNodes(mesh, moduli);
    return result;
}

} // namespace KetSDK::MeshSolver
