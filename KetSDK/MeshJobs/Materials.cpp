// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Materials.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/ImageVoxels.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshJobs/detail/Uncancelled.h>
#include <KetSDK/MeshVTK/ImageSampling.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <set>
#include <stdexcept>

namespace KetSDK::MeshJobs {

using Mesh::AssignedMaterial;
using Mesh::MaterialLaw;
using Mesh::MaterialPreset;
using Mesh::MaterialsBy;
using MeshVTK::SamplingReport;

namespace {

// No solid is denser [g/cm3].
constexpr double DensestSolid = 23.0;
// How far materials may move the mass without a warning.
constexpr double MostMassMoved = 0.01;
constexpr int MostMaterialBins = 65535;

// --- The law -----------------------------------------------------------------------------------------

// Null for no name.
MaterialPreset const* FindPreset(std::string const& name) {
    if (name.empty())
        return nullptr;
    if (MaterialPreset const* const preset = Mesh::FindMaterialPreset(name))
        return preset;
    std::string names;
    for (MaterialPreset const& preset : Mesh::MaterialPresets())
        names += (names.empty() ? "" : ", ") + std::string(preset.name);
    throw Error("there is no preset \"" + name + "\"; there are " + names);
}

void RequirePoissonsRatio(double poisson) {
    if (!(poisson > -1.0 && poisson < 0.5))
        throw Error("\"" + FormatGeneral(poisson) + "\" is no Poisson's ratio; it lies between -1 and 0.5");
}

MaterialLaw MakeLaw(MaterialsOptions const& options) {
    MaterialPreset const* const preset = FindPreset(options.preset);
    if (!options.law && !preset)
        throw Error("a law for densities is missing: --law a,b,c,d,e or --preset "
                    "(ketmesh materials --list-presets shows all)");
    if (!options.modulus && !preset)
        throw Error("a modulus is missing: --modulus p,q or --preset "
                    "(ketmesh materials --list-presets shows all)");
    MaterialLaw law;
    law.density = options.law ? *options.law : preset->law;
    law.modulus = options.modulus ? *options.modulus : preset->modulus;
    law.density_preset = options.law ? nullptr : preset;
    law.modulus_preset = options.modulus ? nullptr : preset;
    law.poisson = options.poisson;
    law.least_density = options.least_density;
    law.grey_offset = options.unit_offset ? 1024.0 : 0.0;
    return law;
}

std::string FromPreset(MaterialPreset const* preset) {
    return preset ? " (preset " + std::string(preset->name) + ")" : "";
}

// "0.001067 x^2", or nothing for a term that is 0.
std::string Term(double factor, double exponent) {
    if (factor == 0.0)
        return "";
    std::string const power = exponent == 0.0 ? "" : exponent == 1.0 ? " x" : " x^" + FormatGeneral(exponent);
    return (factor < 0.0 ? " - " : " + ") + FormatGeneral(std::fabs(factor)) + power;
}

// --- Sub-volumes -------------------------------------------------------------------------------------

void CheckConstants(MaterialsOptions const& options) {
    std::set<std::string> names(options.only.begin(), options.only.end());
    for (auto const& [subvolume, density, emodulus, poisson] : options.constants) {
        std::string const of = "the constants of \"" + subvolume + "\": ";
        if (!names.insert(subvolume).second)
            throw Error(of + "the sub-volume stands in --set twice, or in --only as well");
        if (!(density > 0.0) || !std::isfinite(density))
            throw Error(of + "the density must be above 0, not " + FormatGeneral(density));
        if (!(emodulus > 0.0) || !std::isfinite(emodulus))
            throw Error(of + "the modulus must be above 0, not " + FormatGeneral(emodulus));
        RequirePoissonsRatio(poisson);
    }
}

// Which sub-volumes get their materials how.
struct Shares {
    std::set<int> kept;
    std::vector<Mesh::ConstantMaterial> constants;
    std::uint64_t elements_by_law = 0;
};

Shares ShareOut(Model const& model, MaterialsOptions const& options) {
    Shares shares;
    std::set<int> others;
    for (auto const& [name, density, emodulus, poisson] : options.constants)
        for (MMeshSubVolume const* const subvolume : FindSubVolumes(model, {name})) {
            shares.constants.push_back({subvolume->GetID(), density, emodulus, poisson});
            others.insert(subvolume->GetID());
        }
    std::vector<MMeshSubVolume*> const only = FindSubVolumes(model, options.only);
    bool const keeps = options.constants_only || !only.empty();
    for (auto it = model.mesh->BeginSubVolume(); it != model.mesh->EndSubVolume(); ++it) {
        if (others.contains((*it)->GetID()))
            continue;
        if (keeps && std::ranges::find(only, it->get()) == only.end())
            shares.kept.insert((*it)->GetID());
        else
            shares.elements_by_law += (*it)->GetNbElements();
    }
    return shares;
}

// The grey values of a mesh, kept for sub-volumes that the image does not concern.
class KeptGreyValues {
public:
    KeptGreyValues(MMeshBase& mesh, std::set<int> const& subvolumes)
        : m_mesh(mesh)
        , m_subvolumes(subvolumes) {
        if (!subvolumes.empty() && mesh.GetElementMasks()->HasGreyValueMask())
            Each([this](MMeshElement const& e) { m_values.push_back(Grey().GetValue(e)); });
    }
    void Restore() {
        auto value = m_values.begin();
        if (!m_values.empty())
            Each([&](MMeshElement const& e) { Grey().SetValue(e, *value++); });
    }

private:
    MDataMask<MMeshElement, double>& Grey() { return *m_mesh.GetElementMasks()->GetGreyValueMask(); }
    template <typename Visit>
    void Each(Visit const& visit) {
        auto const& numbers = *m_mesh.GetElementMasks()->GetSubvolumeMask();
        for (MMeshElement const& e : m_mesh.Elements())
            if (m_subvolumes.contains(numbers.GetValue(e)))
                visit(e);
    }

    MMeshBase& m_mesh;
    std::set<int> const& m_subvolumes;
    std::vector<double> m_values;
};

// --- The work ----------------------------------------------------------------------------------------

bool HasBins(MaterialsOptions const& options) {
    return options.by == MaterialsBy::Grey || options.by == MaterialsBy::Mask;
}

bool IsByLaw(AssignedMaterial const& material) {
    return material.source == AssignedMaterial::Source::Law;
}

bool IsPerSubVolume(MaterialsOptions const& options) {
    return options.by == MaterialsBy::Mask || options.by == MaterialsBy::Index;
}

void RequireEnoughElements(Model const& model, MaterialsOptions const& options, Shares const& shares) {
    if (shares.elements_by_law == 0)
        return;
    if (HasBins(options) && static_cast<std::uint64_t>(options.bins) > shares.elements_by_law)
        throw FileError(model.file, "it has " + std::to_string(shares.elements_by_law) + " elements" +
                                        (options.only.empty() ? "" : " in the sub-volumes of --only") +
                                        ", too few for " + std::to_string(options.bins) + " bins (--bins)");
    std::uint64_t const subvolumes = model.mesh->NumberOfSubVolumes();
    if (IsPerSubVolume(options) && subvolumes > Mesh::MostSubVolumesWithMaterials)
        throw Error("there are " + std::to_string(subvolumes) + " sub-volumes; materials can be given to " +
                    std::to_string(Mesh::MostSubVolumesWithMaterials) + " at most");
}

void RequireOverlap(Image const& image, SamplingReport const& report) {
    if (report.outside < report.elements)
        return;
    throw FileError(image.file,
                    "all " + std::to_string(report.elements) +
                        " elements of the mesh lie outside it: the mesh is at " + FormatBox(report.mesh_box) +
                        " mm, the image at " + FormatBox(report.image_box) +
                        " mm; it must be the image that the mesh was made from, in the same frame and "
                        "unit (--frame, --unit, --image-unit)");
}

// The law at single samples, on several threads.
struct SampleLaw {
    MaterialLaw const& law;
    std::atomic<std::uint64_t> raised{0}; // how many got the least density

    // A sample of air must not take mass from the bone beside it.
    static double DensityAt(double grey, void const* context) {
        auto& self = *static_cast<SampleLaw*>(const_cast<void*>(context));
        double const density = self.law.DensityAt(grey);
        double const raised = self.law.RaisedDensity(density);
        if (raised != density)
            self.raised.fetch_add(1, std::memory_order_relaxed);
        return raised;
    }
};

// Gives the elements grey values. With the mean of the law, `densities` receives one for each element.
SamplingReport Sample(Model& model, Image const& image, MaterialsOptions const& options, SampleLaw& law,
                      std::vector<double>& densities, Context const& context) {
    return Detail::ForFile(image.file, [&] {
        MeshVTK::SamplingOptions how;
        how.unit = image.unit;
        how.mode = options.sampling;
        how.order = options.order;
        how.outside_value = options.outside_value;
        if (options.average == MaterialsOptions::Average::Law) {
            how.law = {SampleLaw::DensityAt, &law};
            how.law_values = &densities;
        }
        SamplingReport report;
        Detail::WithThreads(context, [&](bool parallel) {
            how.parallel = parallel;
            report = MeshVTK::SampleImage(*model.mesh, *image.voxels->data, how, context.progress);
        });
        RequireOverlap(image, report);
        return report;
    });
}

std::vector<AssignedMaterial> Assign(Model& model, MaterialsOptions const& options, Shares const& shares,
                                     MaterialLaw const& law, std::vector<double> const& densities,
                                     Context const& context) {
    MMeshBase& mesh = *model.mesh;
    Mesh::MaterialAssignment how{
        options.by, static_cast<unsigned int>(options.bins), law, nullptr, shares.kept, shares.constants};
    MDataMask<MMeshElement, double> values(0.0);
    if (!densities.empty()) {
        mesh.GetElementMasks()->RegisterMask(&values);
        auto density = densities.begin();
        for (MMeshElement const& e : mesh.Elements())
            values.SetValue(e, *density++);
        how.densities = &values;
    }
    std::vector<AssignedMaterial> materials;
    Detail::WithThreads(context, [&](bool parallel) {
        materials = Mesh::AssignMaterials(mesh, how, context.progress, parallel);
    });
    if (materials.empty())
        throw Error("materials could not be assigned");
    return materials;
}

void Sum(MaterialsResult& result) {
    result.without_material = result.elements;
    for (AssignedMaterial const& material : result.materials) {
        result.without_material -= material.elements;
        result.volume += material.volume;
        result.mass += material.Mass();
        result.mass_of_elements += material.mass_of_elements;
    }
}

// Solvers take no others.
void RequireModuli(std::vector<AssignedMaterial> const& materials, MaterialLaw const& law) {
    for (AssignedMaterial const& material : materials)
        if (IsByLaw(material) && (!std::isfinite(material.emodulus) || material.emodulus <= 0.0))
            throw Error("the modulus " + DescribeModulus(law) + " is " + FormatGeneral(material.emodulus) +
                        " MPa for a density of " + FormatGeneral(material.density, 4) +
                        " g/cm3; it must be above 0 and finite");
}

// --- Warnings ----------------------------------------------------------------------------------------

// "12 of 340 elements (3.53 %)"
std::string ShareText(std::uint64_t share, std::uint64_t all) {
    return std::to_string(share) + " of " + std::to_string(all) + " elements (" + FormatShare(share, all) +
           ")";
}

void WarnOfImage(Image const& image, SamplingReport const& report, Context const& context) {
    if (!image.note.empty())
        context.Warn((image.file.empty() ? "" : image.file + ": ") + image.note);
    if (report.outside_volume > 0.5)
        context.Warn(FormatGeneral(100.0 * report.outside_volume, 3) +
                     " % of the mesh's volume lies outside the image: the mesh is at " +
                     FormatBox(report.mesh_box) + " mm, the image at " + FormatBox(report.image_box) + " mm");
    if (report.not_finite > 0)
        context.Warn(ShareText(report.not_finite, report.elements) +
                     " have no finite number in the image; they got the grey value of --outside");
}

// How many materials there can be.
std::uint64_t MostMaterials(MaterialsOptions const& options, MaterialsResult const& result) {
    return (HasBins(options) ? static_cast<std::uint64_t>(options.bins) : 1) *
           (IsPerSubVolume(options) ? result.subvolumes.size() : 1);
}

void WarnOfPresetRange(MaterialLaw const& law, double lowest, double highest, Context const& context) {
    if (!law.density_preset)
        return;
    double const low = law.density_preset->LowestGrey() + law.grey_offset;
    double const high = law.density_preset->HighestGrey() + law.grey_offset;
    if (highest < low || lowest > high)
        context.Warn("all grey values, " + FormatGeneral(lowest) + " to " + FormatGeneral(highest) +
                     ", lie outside the range of the preset " + std::string(law.density_preset->name) + ", " +
                     FormatGeneral(low, 4) + " to " + FormatGeneral(high, 4) +
                     "; are they Hounsfield units (--unit-offset)?");
}

void WarnOfDensities(MaterialsOptions const& options, MaterialsResult const& result,
                     std::uint64_t raised_samples, Context const& context) {
    MaterialLaw const& law = result.law;
    std::uint64_t raised = 0;
    double densest = 0.0;
    for (AssignedMaterial const& material : result.materials) {
        raised += material.is_raised ? material.elements : 0;
        densest = std::max(densest, IsByLaw(material) ? material.density : 0.0);
    }
    std::string const least = FormatGeneral(law.least_density);
    if (raised_samples > 0)
        context.Warn("the law gives " + std::to_string(raised_samples) +
                     " samples in elements a density below " + least + " g/cm3 or none; they count as " +
                     least + " g/cm3 in the means (--min-density)");
    else if (raised > 0 && options.average == MaterialsOptions::Average::Grey)
        context.Warn("the law gives " + ShareText(raised, result.elements) + " a density below " + least +
                     " g/cm3 or none; they got " + least + " g/cm3 and E = " +
                     FormatGeneral(law.ModulusAt(law.least_density), 4) + " MPa (--min-density)");
    if (densest > DensestSolid)
        context.Warn("densities go up to " + FormatGeneral(densest, 4) + " g/cm3; is the law one for kg/m3?");
}

void WarnOfMass(MaterialsOptions const& options, MaterialsResult const& result, Context const& context) {
    double const moved = result.mass - result.mass_of_elements;
    if (!(std::fabs(moved) > MostMassMoved * result.mass_of_elements))
        return;
    std::string const advice = HasBins(options) ? "take more bins (--bins)" : "bins keep it (--by grey)";
    context.Warn("the mass is " + FormatGeneral(result.mass, 4) + " g by materials, but " +
                 FormatGeneral(result.mass_of_elements, 4) +
                 " g by the density of each element: sharing materials moves it by " +
                 FormatGeneral(100.0 * moved / result.mass_of_elements, 3) + " %; " + advice);
}

void WarnOfElementsWithout(MaterialsResult const& result, Context const& context) {
    if (result.without_material > 0)
        context.Warn(ShareText(result.without_material, result.elements) +
                     " have no material: they had none before, and neither --only nor --set names their "
                     "sub-volumes");
}

void WarnOfMaterials(MaterialsOptions const& options, MaterialsResult const& result,
                     std::uint64_t raised_samples, Context const& context) {
    std::vector<AssignedMaterial> materials;
    std::ranges::copy_if(result.materials, std::back_inserter(materials), IsByLaw);
    if (materials.empty())
        return;
    double const lowest = std::ranges::min(materials, {}, &AssignedMaterial::smallest_grey).smallest_grey;
    double const highest = std::ranges::max(materials, {}, &AssignedMaterial::largest_grey).largest_grey;
    if (lowest == highest)
        context.Warn("every element has the grey value " + FormatGeneral(lowest) +
                     "; is it the right image?");
    if (materials.size() == 1 && MostMaterials(options, result) > 1)
        context.Warn("all elements got one material");
    WarnOfPresetRange(result.law, lowest, highest, context);
    WarnOfDensities(options, result, raised_samples, context);
    WarnOfMass(options, result, context);
}

} // namespace

void CheckMaterialsOptions(MaterialsOptions const& options) {
    CheckConstants(options);
    if (options.constants_only)
        return;
    MaterialLaw const law = MakeLaw(options);
    if (!(law.modulus[0] > 0.0))
        throw Error("--modulus: p must be above 0, not " + FormatGeneral(law.modulus[0]));
    RequirePoissonsRatio(law.poisson);
    if (!(law.least_density > 0.0))
        throw Error("the least density must be above 0, not " + FormatGeneral(law.least_density));
    if (HasBins(options) && (options.bins < 1 || options.bins > MostMaterialBins))
        throw Error("grey values are put into 1 to " + std::to_string(MostMaterialBins) + " bins, not " +
                    std::to_string(options.bins));
}

MaterialsResult Materials(Model& model, Image const& image, MaterialsOptions const& options,
                          Context const& context) {
    CheckMaterialsOptions(options);
    Shares const shares = ShareOut(model, options);
    RequireEnoughElements(model, options, shares);
    MaterialsResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    if (!options.constants_only)
        result.law = MakeLaw(options);
    for (auto it = model.mesh->BeginSubVolume(); it != model.mesh->EndSubVolume(); ++it)
        result.subvolumes.push_back(MeshVTK::ToUtf8((*it)->GetName()));
    context.ThrowIfCancelled();
    std::vector<double> densities;
    SampleLaw samples{result.law};
    if (!options.constants_only) {
        KeptGreyValues kept(*model.mesh, shares.kept);
        result.sampling =
            Sample(model, Detail::InFrameOf(model, image, context), options, samples, densities, context);
        kept.Restore();
    }
    result.materials = Assign(model, options, shares, result.law, densities, Detail::Uncancelled(context));
    RequireModuli(result.materials, result.law);
    Sum(result);
    if (!options.constants_only)
        WarnOfImage(image, result.sampling, context);
    WarnOfMaterials(options, result, samples.raised, context);
    WarnOfElementsWithout(result, context);
    return result;
}

std::string DescribeDensity(MaterialLaw const& law) {
    auto const& [a, b, c, d, e] = law.density;
    return "density = " + FormatGeneral(a) + Term(b, c) + Term(d, e) + ", x the grey value" +
           (law.grey_offset != 0.0 ? " - " + FormatGeneral(law.grey_offset) : "") +
           FromPreset(law.density_preset);
}

std::string DescribeModulus(MaterialLaw const& law) {
    return "E = " + FormatGeneral(law.modulus[0]) + " density^" + FormatGeneral(law.modulus[1]) +
           FromPreset(law.modulus_preset);
}

} // namespace KetSDK::MeshJobs
