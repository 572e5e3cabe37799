// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/PageFields.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/detail/FieldArrays.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace KetSDK::MeshJobs::Detail {

namespace {

using MeshVTK::ArrayNames;

constexpr char const* CommonMetrics =
    "ScaledJacobian,MeanRatio,MinDihedralAngle,MaxDihedralAngle,EdgeMaxMin,Volume";
constexpr char const* QuadraticMetrics = ",JacobianRatio,Folded";
constexpr char const* VonMisesName = "von_mises";
// Each worst one is shown whatever the size of the mesh.
constexpr std::size_t WorstShown = 100;
// Beyond it nobody would choose from the list.
constexpr std::uint32_t MostComponents = 9;

struct KnownArray {
    std::string_view name;
    char const* unit;
};
// What the mesh itself holds, in the units of this library.
constexpr KnownArray OwnArrays[] = {{ArrayNames::Grey, ""},
                                    {ArrayNames::Material, ""},
                                    {ArrayNames::Density, "g/cm3"},
                                    {ArrayNames::Emodulus, "MPa"},
                                    {ArrayNames::Poisson, ""}};
// What our own solution leaves on the nodes. The unit of an array is known only where all of these are there:
// any program can write one called `stress`.
constexpr KnownArray ResultArrays[] = {
    {"displacement", "mm"}, {"stress", "MPa"}, {"strain", ""}, {VonMisesName, "MPa"}};
constexpr char const* TensorComponents[] = {"XX", "YY", "ZZ", "XY", "YZ", "XZ"};

KnownArray const* Find(std::span<KnownArray const> arrays, std::string_view name) {
    auto const found = std::ranges::find(arrays, name, &KnownArray::name);
    return found == arrays.end() ? nullptr : &*found;
}

bool HasResults(Model const& model) {
    return std::ranges::all_of(ResultArrays, [&model](KnownArray const& array) {
        return FindArray(model.arrays, MeshVTK::FromUtf8(array.name), MMeshArray::OnNodes);
    });
}

std::vector<std::string> NameComponents(std::uint32_t count, bool is_tensor) {
    std::vector<std::string> names;
    for (std::uint32_t i = 0; count > 1 && i < count; ++i)
        names.push_back(is_tensor && count == 6 ? TensorComponents[i]
                        : count == 3            ? std::string(1, static_cast<char>('x' + i))
                                                : std::to_string(i + 1));
    return names;
}

// Gathers fields with names that no two have.
class Fields {
public:
    void Add(PageField field) {
        if (Has(field.name))
            field.name += field.values.place == MMeshArray::OnNodes ? " (nodes)" : " (file)";
        for (std::string const name = field.name; Has(field.name);)
            field.name = name + " " + std::to_string(++m_copies);
        m_fields.push_back(std::move(field));
    }
    bool Has(std::string const& name) const {
        return name == ArrayNames::Subvolume ||
               std::ranges::any_of(m_fields, [&name](PageField const& f) { return f.name == name; });
    }
    std::vector<PageField> Take() { return std::move(m_fields); }

private:
    std::vector<PageField> m_fields;
    int m_copies = 1;
};

void AddOwn(Fields& fields, Model const& model) {
    for (MMeshArray& array : MeshVTK::ArraysOfMesh(*model.mesh)) {
        std::string const name = MeshVTK::ToUtf8(array.name);
        KnownArray const* const known = Find(OwnArrays, name);
        if (known && array.place == MMeshArray::OnElements)
            fields.Add({name, known->unit, "material", "", {}, std::move(array), {}});
    }
}

// The metrics to measure: those that are asked for, and the colour when it is one. Unless some are asked for,
// common ones that measure all kinds of elements here.
std::string ChooseMetrics(Model const& model, ViewOptions const& options) {
    std::string names = options.metrics;
    if (names.empty()) {
        bool const has_quadratic = CountTenNodeTetrahedra(*model.mesh) > 0;
        unsigned char const kinds = Mesh::KindsOf(*model.mesh);
        for (auto const* metric :
             FindMetrics(std::string(CommonMetrics) + (has_quadratic ? QuadraticMetrics : "")))
            if (Mesh::MeasuresAll(*metric, kinds))
                names += (names.empty() ? "" : ",") + std::string(metric->name);
    }
    if (names != AllMetrics && Mesh::FindQualityMetric(options.color))
        names += "," + options.color;
    return names;
}

char const* WordFor(Mesh::QualityMetric::Worst worst) {
    using Worst = Mesh::QualityMetric::Worst;
    return worst == Worst::Lowest ? "lowest" : worst == Worst::Highest ? "highest" : "negative";
}

void AddMetrics(Fields& fields, Model const& model, ViewOptions const& options, Context const& context) {
    QualityOptions how;
    how.metrics = ChooseMetrics(model, options);
    how.worst = WorstShown;
    how.keep_values = true;
    QualityResult quality = Quality(model, how, context);
    for (std::size_t i = 0; i < quality.metrics.size(); ++i) {
        Mesh::QualityMetric const& metric = *quality.metrics[i].metric;
        PageField field{std::string(metric.name),
                        std::string(metric.unit),
                        "metric",
                        WordFor(metric.worst),
                        {},
                        std::move(quality.values[i]),
                        {}};
        for (WorstElement const& worst : quality.metrics[i].worst)
            field.worst_elements.push_back(worst.element);
        fields.Add(std::move(field));
    }
}

void AddArrays(Fields& fields, Model const& model, Context const& context) {
    bool const has_results = HasResults(model);
    for (MMeshArray& array : ArraysWithFields(model)) {
        if (HoldsStrings(array) || array.place == MMeshArray::OnMesh)
            continue;
        auto const rows =
            static_cast<std::size_t>(array.place == MMeshArray::OnNodes ? model.mesh->NumberOfPoints()
                                                                        : model.mesh->NumberOfElements());
        std::string const name = MeshVTK::ToUtf8(array.name);
        std::uint32_t const components = ValuesPerRow(array);
        if (NumberOfRows(array) != rows || components > MostComponents) {
            context.Warn(NameOf(model) + ": the array \"" + name + "\" is left out of the page: it has " +
                         std::to_string(components) + " values a row in " +
                         std::to_string(NumberOfRows(array)) + " rows");
            continue;
        }
        bool const on_nodes = array.place == MMeshArray::OnNodes;
        KnownArray const* const known = has_results && on_nodes ? Find(ResultArrays, name) : nullptr;
        fields.Add({name,
                    known                                        ? known->unit
                    : has_results && on_nodes && name == "force" ? "N"
                                                                 : "",
                    "array",
                    "",
                    NameComponents(components, known),
                    std::move(array),
                    {}});
    }
}

} // namespace

std::vector<std::string> PageField::Colors() const {
    std::vector<std::string> colors;
    if (components.empty() || IsVector())
        colors.push_back(name);
    for (std::string const& component : components)
        colors.push_back(name + " " + component);
    return colors;
}

std::vector<PageField> FieldsOf(Model const& model, ViewOptions const& options, Context const& context) {
    Fields fields;
    AddOwn(fields, model);
    AddMetrics(fields, model, options, context);
    AddArrays(fields, model, context);
    return fields.Take();
}

std::string ChooseColor(std::vector<PageField> const& fields, ViewOptions const& options) {
    std::vector<std::string> names = {ArrayNames::Subvolume};
    for (PageField const& field : fields)
        std::ranges::move(field.Colors(), std::back_inserter(names));
    auto const has = [&names](std::string const& name) {
        return std::ranges::find(names, name) != names.end();
    };
    if (options.color.empty())
        return has(VonMisesName) ? VonMisesName : ArrayNames::Subvolume;
    if (has(options.color))
        return options.color;
    std::string known;
    for (std::string const& name : names)
        known += (known.empty() ? "" : ", ") + name;
    throw Error("there is nothing called \"" + options.color + "\" to colour the page by; there are " +
                known);
}

} // namespace KetSDK::MeshJobs::Detail
