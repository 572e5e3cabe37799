// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/View.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/PageCoding.h>
#include <KetSDK/MeshJobs/detail/PageFields.h>
#include <KetSDK/MeshJobs/detail/PageTemplate.h>
#include <KetSDK/MeshJobs/detail/ShownElements.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Support/ParallelWork.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iterator>
#include <numeric>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

using Json = nlohmann::ordered_json;

// Which elements and nodes of a mesh go into the page, in the order of the mesh.
struct Chosen {
    bool all = true;
    std::vector<std::uint32_t> elements;
    std::vector<std::uint32_t> nodes;
    std::vector<std::int32_t> index_of; // of a node of the mesh, in `nodes`; -1 for none
    std::string ends;                   // ShownElements
};

std::vector<std::uint32_t> FirstNumbers(MLong count) {
    std::vector<std::uint32_t> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
}

Chosen Choose(MMeshBase const& mesh, std::vector<Detail::PageField> const& fields, ViewOptions const& options,
              bool parallel) {
    Chosen chosen;
    chosen.all = static_cast<std::uint64_t>(mesh.NumberOfElements()) <= options.max_elements;
    chosen.index_of.assign(static_cast<std::size_t>(mesh.NumberOfPoints()), -1);
    if (chosen.all) {
        chosen.elements = FirstNumbers(mesh.NumberOfElements());
        chosen.nodes = FirstNumbers(mesh.NumberOfPoints());
    } else {
        auto [elements, ends] = Detail::ChooseShownElements(mesh, fields, parallel);
        chosen.elements = std::move(elements);
        chosen.ends = std::move(ends);
        std::vector<bool> used(chosen.index_of.size(), false);
        for (std::uint32_t const i : chosen.elements) {
            MMeshElement const& element = *mesh.GetElement(i);
            for (unsigned int k = 0; k < element.GetNodeCount(); ++k)
                used[static_cast<std::size_t>(element.GetNode(k)->GetIndex())] = true;
        }
        for (std::size_t i = 0; i < used.size(); ++i)
            if (used[i])
                chosen.nodes.push_back(static_cast<std::uint32_t>(i));
    }
    for (std::size_t i = 0; i < chosen.nodes.size(); ++i)
        chosen.index_of[chosen.nodes[i]] = static_cast<std::int32_t>(i);
    return chosen;
}

// The blocks of a page's data, compressed, and the header that lists them. Refers to what it is given.
class Packer {
public:
    Packer(Model const& model, Chosen const& chosen)
        : m_mesh(*model.mesh)
        , m_chosen(chosen) {}

    void AddMesh(std::array<double, 6> const& box) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            Add(std::string("position_") + static_cast<char>('x' + axis),
                [this, box, axis] { return Positions(box, axis); });
        Add("kinds", [this] {
            std::string kinds;
            for (std::uint32_t const i : m_chosen.elements)
                kinds += static_cast<char>(m_mesh.GetElement(i)->GetNodeCount());
            return kinds;
        });
        Add("connectivity", [this] { return Connectivity(); });
        Add("subvolumes", [this] { return SubVolumes(); });
        if (m_chosen.all)
            return;
        Add("element_numbers", [this] { return Differences(m_chosen.elements); });
        Add("node_numbers", [this] { return Differences(m_chosen.nodes); });
        Add("ends", [this] { return m_chosen.ends; });
    }

    void AddField(Detail::PageField const& field) {
        bool const on_nodes = field.values.place == MMeshArray::OnNodes;
        Json entry = {{"name", field.name},   {"place", on_nodes ? "nodes" : "elements"},
                      {"unit", field.unit},   {"kind", field.kind},
                      {"worst", field.worst}, {"components", field.components}};
        for (std::uint32_t i = 0; i < std::max<std::size_t>(1, field.components.size()); ++i) {
            entry["blocks"].push_back(m_blocks.size());
            Add("values", [this, &field, i] { return Values(field, i); });
        }
        m_fields.push_back(std::move(entry));
    }

    // All of it; the header gets its lists of fields and blocks.
    std::string Pack(Json header, bool parallel, Context const& context) const {
        Json blocks = Json::array();
        std::string bytes;
        Support::ComputeSteps<std::string>(
            {.items = m_blocks.size(), .parallel = parallel, .window = 2},
            [this](std::uint64_t i, std::uint64_t, std::string& packed) {
                packed = Detail::Gzip(m_blocks[static_cast<std::size_t>(i)].make());
            },
            [&](std::uint64_t i, std::uint64_t, std::string const& packed) {
                context.ThrowIfCancelled();
                blocks.push_back(
                    {{"name", m_blocks[static_cast<std::size_t>(i)].name}, {"bytes", packed.size()}});
                bytes += packed;
                return true;
            });
        header["fields"] = m_fields;
        header["blocks"] = std::move(blocks);
        // What is no UTF-8, which a file's name may be, becomes U+FFFD.
        std::string const text = Detail::Gzip(header.dump(-1, ' ', false, Json::error_handler_t::replace));
        std::string data;
        for (unsigned int shift = 0; shift < 32; shift += 8)
            data += static_cast<char>(text.size() >> shift & 0xFF);
        return data + text + bytes;
    }

private:
    struct Block {
        std::string name;
        std::function<std::string()> make; // on any thread
    };

    void Add(std::string name, std::function<std::string()> make) {
        m_blocks.push_back({std::move(name), std::move(make)});
    }

    template <typename Numbers>
    static std::string Differences(Numbers const& numbers) {
        Detail::DifferenceCoder coder;
        for (auto const number : numbers)
            coder.Add(static_cast<std::int32_t>(number));
        return coder.Take();
    }

    std::string Positions(std::array<double, 6> const& box, std::size_t axis) const {
        std::vector<std::uint16_t> steps(m_chosen.nodes.size());
        double const length = box[axis + 3] - box[axis];
        for (std::size_t i = 0; i < steps.size(); ++i) {
            double const x = m_mesh.GetRandomPoint(m_chosen.nodes[i])->GetPosition()[axis];
            steps[i] =
                static_cast<std::uint16_t>(length > 0 ? std::round((x - box[axis]) / length * 65535.0) : 0.0);
        }
        return Detail::CodePositions(steps);
    }

    std::string Connectivity() const {
        Detail::DifferenceCoder nodes;
        for (std::uint32_t const i : m_chosen.elements) {
            MMeshElement const& element = *m_mesh.GetElement(i);
            for (unsigned int k = 0; k < element.GetNodeCount(); ++k)
                nodes.Add(m_chosen.index_of[static_cast<std::size_t>(element.GetNode(k)->GetIndex())]);
        }
        return nodes.Take();
    }

    std::string SubVolumes() const {
        Detail::DifferenceCoder subvolumes;
        auto const* const numbers = std::as_const(*m_mesh.GetElementMasks()).GetSubvolumeMask();
        for (std::uint32_t const i : m_chosen.elements)
            subvolumes.Add(numbers ? numbers->GetValue(*m_mesh.GetElement(i)) : -1);
        return subvolumes.Take();
    }

    std::string Values(Detail::PageField const& field, std::uint32_t component) const {
        auto const& rows = field.values.place == MMeshArray::OnNodes ? m_chosen.nodes : m_chosen.elements;
        std::vector<double> column = ColumnOf(field.values, component);
        for (std::size_t k = 0; !m_chosen.all && k < rows.size(); ++k)
            column[k] = column[rows[k]];
        column.resize(rows.size());
        return Detail::CodeColumn(column);
    }

    MMeshBase const& m_mesh;
    Chosen const& m_chosen;
    Json m_fields = Json::array();
    std::vector<Block> m_blocks;
};

Json SubVolumesOf(MMeshBase const& mesh) {
    Json list = Json::array();
    for (SubVolumeReport const& report : ReportSubVolumes(mesh))
        list.push_back({{"name", report.name}, {"elements", report.elements}, {"volume", report.volume}});
    return list;
}

std::string ShortName(Model const& model) {
    return model.file.empty() ? "mesh" : std::filesystem::path(model.file).filename().string();
}

void Write(MeshVTK::OutputFile& file, std::span<std::string_view const> pieces) {
    for (std::string_view const piece : pieces)
        file.Write(piece);
}

} // namespace

PageData PackModel(Model const& model, ViewOptions const& options, Context const& context) {
    MMeshBase const& mesh = *model.mesh;
    if (mesh.NumberOfElements() == 0)
        throw FileError(model.file, "the mesh has no elements, so there is nothing to show");
    std::vector<Detail::PageField> const fields = Detail::FieldsOf(model, options, context);
    PageData page;
    page.result.color = Detail::ChooseColor(fields, options);
    page.result.colors = {MeshVTK::ArrayNames::Subvolume};
    for (Detail::PageField const& field : fields)
        std::ranges::move(field.Colors(), std::back_inserter(page.result.colors));
    Chosen chosen;
    Detail::WithThreads(context, [&](bool parallel) { chosen = Choose(mesh, fields, options, parallel); });
    page.result.elements = static_cast<std::uint64_t>(mesh.NumberOfElements());
    page.result.nodes = static_cast<std::uint64_t>(mesh.NumberOfPoints());
    page.result.shown = chosen.elements.size();
    std::array<double, 6> const box = BoxOf(mesh);
    Packer packer(model, chosen);
    packer.AddMesh(box);
    for (Detail::PageField const& field : fields)
        packer.AddField(field);
    Json header = {{"version", 1},
                   {"file", ShortName(model)},
                   {"frame", nullptr},
                   {"box", box},
                   {"elements", chosen.elements.size()},
                   {"nodes", chosen.nodes.size()},
                   {"all_elements", page.result.elements},
                   {"all_nodes", page.result.nodes},
                   {"subvolumes", SubVolumesOf(mesh)},
                   {"color", page.result.color}};
    if (model.frame)
        header["frame"] = Mesh::FrameWord(*model.frame);
    Detail::WithThreads(context, [&](bool parallel) { page.data = packer.Pack(header, parallel, context); });
    page.result.bytes = page.data.size();
    return page;
}

MeshVTK::OutputFile OpenPage(std::string const& path) {
    if (Detail::GetPageTemplate().before.empty())
        throw Error(
            "this program was built without the page: npm was missing; with Node.js and npm installed, "
            "configure and build it again");
    return Detail::ForFile(path, [&path] {
        std::string const ending = MeshVTK::LowerCaseEnding(path);
        if (ending != ".html" && ending != ".htm")
            throw MeshVTK::Error("pages are .html files");
        return MeshVTK::OutputFile(path);
    });
}

ViewResult View(Model const& model, MeshVTK::OutputFile& file, ViewOptions const& options,
                Context const& context) {
    PageData page = PackModel(model, options, context);
    Detail::PageTemplate const pieces = Detail::GetPageTemplate();
    Detail::WritingFile(file.GetPath().string(), context, [&] {
        Write(file, pieces.before);
        file.Write(Detail::Base64(page.data));
        Write(file, pieces.behind);
        file.Commit();
    });
    page.result.bytes = file.GetSize();
    return page.result;
}

} // namespace KetSDK::MeshJobs
