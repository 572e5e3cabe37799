// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/FebWriter.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/TextFile.h>
#include <KetSDK/MeshSolver/detail/XmlFile.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <tuple>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

using Detail::RealText;
using Detail::XmlFile;

// By the number of nodes: what FEBio calls an element, or else a face.
char const* ElementType(unsigned char nodes) {
    switch (nodes) {
    case 4:
        return "tet4";
    case 6:
        return "penta6";
    case 8:
        return "hex8";
    default:
        return "tet10";
    }
}
char const* FaceType(unsigned int nodes) {
    switch (nodes) {
    case 3:
        return "tri3";
    case 4:
        return "quad4";
    default:
        return "tri6";
    }
}

std::string VectorText(double x, double y, double z) {
    return RealText(x) + "," + RealText(y) + "," + RealText(z);
}

// Elements that one domain is made of.
struct Block {
    std::string name;
    std::string material;
    unsigned char nodes = 0;
    std::vector<std::uint32_t> elements;
};

class FebModel {
public:
    FebModel(Analysis const& analysis, std::filesystem::path const& path,
             std::shared_ptr<Common::IProgressDelegate> const& progress)
        : m_analysis(analysis)
        , m_mesh(*analysis.mesh)
        , m_has_maps(analysis.has_element_moduli)
        , m_file(path)
        , m_reporter(progress, "Writing model",
                     static_cast<unsigned long long>(m_mesh.NumberOfPoints()) +
                         static_cast<unsigned long long>(m_mesh.NumberOfElements()),
                     true) {
        MakeBlocks();
    }

    void Write() {
        m_file.Open("febio_spec", {{"version", "4.0"}});
        m_file.Add("Module", {{"type", "solid"}}, "");
        m_file.Comment("mm, N, MPa, tonne, s");
        if (!m_analysis.space.empty())
            m_file.Comment("SPACE=" + m_analysis.space);
        for (Renaming const& renaming : m_analysis.renamings)
            m_file.Comment("name: " + renaming.kind + " \"" + renaming.name + "\" = " + renaming.deck);
        if (m_analysis.HasStep())
            WriteControl();
        WriteMaterials();
        WriteMesh();
        WriteDomains();
        if (m_has_maps)
            WriteMaps();
        if (m_analysis.HasStep())
            WriteCase();
        m_file.Close();
        m_file.Finish();
    }

private:
    void MakeBlocks() {
        // By sub-volume, number of nodes and, unless elements have moduli of their own, material.
        std::map<std::tuple<std::uint32_t, unsigned char, std::uint32_t>, Block> blocks;
        std::size_t i = 0;
        for (MMeshElement const& e : m_mesh.Elements()) {
            std::uint32_t const material = m_has_maps ? 0 : m_analysis.materials.material_of[i];
            Block& block = blocks[{m_analysis.subvolume_of[i], e.GetNodeCount(), material}];
            block.nodes = e.GetNodeCount();
            block.elements.push_back(static_cast<std::uint32_t>(i++));
        }
        DeckNames names;
        for (auto const* const taken : {&m_analysis.surfaces, &m_analysis.places})
            for (Analysis::Surface const& surface : *taken)
                names.Take("", surface.deck);
        std::map<std::uint32_t, int> blocks_of;
        for (auto const& [key, block] : blocks)
            ++blocks_of[std::get<0>(key)];
        for (auto& [key, block] : blocks) {
            auto const [subvolume, nodes, material] = key;
            std::string name = m_analysis.subvolumes[subvolume].deck;
            if (blocks_of[subvolume] > 1)
                name += "_" + std::string(ElementType(nodes)) +
                        (m_has_maps ? std::string() : "_" + m_analysis.material_names[material]);
            block.name = names.Take("", name);
            block.material = m_has_maps ? block.name : m_analysis.material_names[material];
            m_blocks.push_back(std::move(block));
        }
    }

    void WriteControl() {
        m_file.Open("Control");
        m_file.Add("analysis", {}, "STATIC");
        m_file.Add("time_steps", {}, "10");
        m_file.Add("step_size", {}, "0.1");
        m_file.Open("solver", {{"type", "solid"}});
        m_file.Add("symmetric_stiffness", {}, "symmetric");
        m_file.Close();
        m_file.Close();
    }

    DeckMaterial const& MaterialOf(std::uint32_t element) const {
        return m_analysis.materials.materials[m_analysis.materials.material_of[element]];
    }

    void WriteMaterials() {
        m_file.Open("Material");
        auto const& materials = m_analysis.materials.materials;
        for (std::size_t i = 0; !m_has_maps && i < materials.size(); ++i) {
            OpenMaterial(i, m_analysis.material_names[i]);
            if (materials[i].density)
                m_file.Add("density", {}, Detail::DensityText(*materials[i].density));
            m_file.Add("E", {}, RealText(materials[i].emodulus));
            m_file.Add("v", {}, RealText(materials[i].poisson));
            m_file.Close();
        }
        for (std::size_t i = 0; m_has_maps && i < m_blocks.size(); ++i) {
            Block const& block = m_blocks[i];
            OpenMaterial(i, block.material);
            bool const has_density = std::ranges::all_of(
                block.elements, [this](std::uint32_t e) { return MaterialOf(e).density.has_value(); });
            for (Property const& property : Properties)
                if (property.element[0] != 'd' || has_density)
                    WriteProperty(block, property);
            m_file.Close();
        }
        m_file.Close();
    }

    void OpenMaterial(std::size_t index, std::string const& name) {
        m_file.Open("material",
                    {{"id", std::to_string(index + 1)}, {"name", name}, {"type", "isotropic elastic"}});
    }

    // What a material of FEBio has of each element.
    struct Property {
        char const* element;
        std::string (*text)(DeckMaterial const&);
    };
    static constexpr Property Properties[] = {
        {"density", [](DeckMaterial const& m) { return m.density ? Detail::DensityText(*m.density) : ""; }},
        {"E", [](DeckMaterial const& m) { return RealText(m.emodulus); }},
        {"v", [](DeckMaterial const& m) { return RealText(m.poisson); }},
    };

    bool IsMapped(Block const& block, Property const& property) const {
        std::string const first = property.text(MaterialOf(block.elements.front()));
        return property.element[0] == 'E' || std::ranges::any_of(block.elements, [&](std::uint32_t e) {
                   return property.text(MaterialOf(e)) != first;
               });
    }
    static std::string MapName(Block const& block, Property const& property) {
        return block.name + "_" + property.element;
    }

    void WriteProperty(Block const& block, Property const& property) {
        if (IsMapped(block, property))
            m_file.Add(property.element, {{"type", "map"}}, MapName(block, property));
        else
            m_file.Add(property.element, {}, property.text(MaterialOf(block.elements.front())));
    }

    void Step() {
        ++m_reporter;
        if (++m_steps % 10000 == 0 && m_reporter.IsCancelled())
            throw Cancelled();
    }

    void WriteMesh() {
        m_file.Open("Mesh");
        m_file.Open("Nodes"); // a name would make a set of them, which a place could be named like
        for (std::uint32_t const node : NodesById()) {
            Step();
            auto const p = m_mesh.GetRandomPoint(node)->GetPosition();
            m_file.Add("node", {{"id", std::to_string(m_analysis.NodeId(node))}},
                       VectorText(p[0], p[1], p[2]));
        }
        m_file.Close();
        for (Block const& block : m_blocks)
            WriteBlock(block);
        for (Analysis::Surface const& surface : m_analysis.surfaces)
            WriteFaces(surface);
        for (Analysis::Place const& place : m_analysis.places)
            WriteFaces(place);
        m_file.Close();
    }

    // FEBio wants the numbers of nodes to rise.
    std::vector<std::uint32_t> NodesById() const {
        std::vector<std::uint32_t> nodes;
        for (std::size_t i = 0; i < m_analysis.used_nodes.size(); ++i)
            if (m_analysis.used_nodes[i])
                nodes.push_back(static_cast<std::uint32_t>(i));
        auto const id = [this](std::uint32_t node) { return m_analysis.NodeId(node); };
        if (!std::ranges::is_sorted(nodes, {}, id))
            std::ranges::sort(nodes, {}, id);
        return nodes;
    }

    void WriteBlock(Block const& block) {
        m_file.Open("Elements", {{"type", ElementType(block.nodes)}, {"name", block.name}});
        for (std::uint32_t const element : block.elements) {
            Step();
            MMeshElement const& e = *m_mesh.GetElement(element);
            std::string nodes;
            for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
                AppendNode(nodes, e.GetNode(i)->GetIndex());
            m_file.Add("elem", {{"id", std::to_string(m_analysis.ElementId(element))}}, nodes);
        }
        m_file.Close();
    }

    void AppendNode(std::string& list, MLong index) const {
        bool const is_first = list.empty() || list.back() == '\n';
        list += (is_first ? "" : ",") + std::to_string(m_analysis.NodeId(static_cast<std::size_t>(index)));
    }

    void WriteFaces(Analysis::Surface const& surface) {
        if (!surface.faces.empty())
            m_file.Open("Surface", {{"name", surface.deck}});
        std::size_t id = 0;
        for (FaceOfElement const& face : surface.faces) {
            MMeshElement const& e = *m_mesh.GetElement(face.element);
            FaceNodes const& on_face = NodesOfFace(e.GetNodeCount(), face.face);
            std::string nodes;
            for (unsigned char const i : on_face.All())
                AppendNode(nodes, e.GetNode(i)->GetIndex());
            m_file.Add(FaceType(on_face.count), {{"id", std::to_string(++id)}}, nodes);
        }
        if (!surface.faces.empty())
            m_file.Close();
        std::string nodes;
        for (std::size_t i = 0; i < surface.nodes.size(); ++i) {
            AppendNode(nodes, static_cast<MLong>(surface.nodes[i]));
            if (i % NodesOfLine == NodesOfLine - 1 && i + 1 < surface.nodes.size())
                nodes += ",\n";
        }
        if (!nodes.empty())
            m_file.Add("NodeSet", {{"name", surface.deck}}, nodes);
    }

    void WriteDomains() {
        m_file.Open("MeshDomains");
        for (Block const& block : m_blocks)
            m_file.Add("SolidDomain", {{"name", block.name}, {"mat", block.material}}, "");
        m_file.Close();
    }

    // Values are counted within their block, from 1.
    void WriteMaps() {
        m_file.Open("MeshData");
        for (Block const& block : m_blocks)
            for (Property const& property : Properties) {
                if (!IsMapped(block, property))
                    continue;
                m_file.Open(
                    "ElementData",
                    {{"name", MapName(block, property)}, {"elem_set", block.name}, {"data_type", "scalar"}});
                std::size_t lid = 0;
                for (std::uint32_t const element : block.elements)
                    m_file.Add("e", {{"lid", std::to_string(++lid)}}, property.text(MaterialOf(element)));
                m_file.Close();
            }
        m_file.Close();
    }

    std::string const& Deck(std::string const& place) const { return m_analysis.FindPlace(place)->deck; }

    void WriteCase() {
        Case const& load_case = *m_analysis.load_case;
        m_file.Open("Boundary");
        for (Case::Fix const& fix : load_case.fixes)
            WriteFix(fix);
        for (Case::Displace const& displace : load_case.displacements)
            for (std::size_t axis = 0; axis < 3; ++axis)
                if (displace.by[axis])
                    WriteDisplacement(displace.place, axis, *displace.by[axis]);
        m_file.Close();
        if (load_case.HasLoads()) {
            m_file.Open("Loads");
            WriteLoads(load_case);
            m_file.Close();
        }
        m_file.Open("LoadData");
        m_file.Open("load_controller", {{"id", "1"}, {"type", "loadcurve"}});
        m_file.Add("interpolate", {}, "LINEAR");
        m_file.Add("extend", {}, "CONSTANT");
        m_file.Open("points");
        m_file.Add("pt", {}, "0,0");
        m_file.Add("pt", {}, "1,1");
        m_file.Close();
        m_file.Close();
        m_file.Close();
        m_file.Open("Output");
        m_file.Open("plotfile", {{"type", "febio"}});
        for (char const* const what : {"displacement", "stress"})
            m_file.Add("var", {{"type", what}}, "");
        if (load_case.fixes.empty()) // it would show none where displacements are zero
            m_file.Add("var", {{"type", "reaction forces"}}, "");
        else
            m_file.Comment("FEBio knows the reaction forces of prescribed displacements only");
        m_file.Close();
        m_file.Close();
    }

    void WriteFix(Case::Fix const& fix) {
        m_file.Open(
            "bc", {{"name", Deck(fix.place)}, {"node_set", Deck(fix.place)}, {"type", "zero displacement"}});
        for (std::size_t axis = 0; axis < 3; ++axis)
            m_file.Add(ZeroAxes[axis], {}, fix.axes[axis] ? "1" : "0");
        m_file.Close();
    }

    void WriteDisplacement(std::string const& place, std::size_t axis, double by) {
        m_file.Open("bc", {{"name", Deck(place) + "_" + Axes[axis]},
                           {"node_set", Deck(place)},
                           {"type", "prescribed displacement"}});
        m_file.Add("dof", {}, Axes[axis]);
        m_file.Add("value", {{"lc", "1"}}, RealText(by));
        m_file.Add("relative", {}, "0");
        m_file.Close();
    }

    void WriteLoads(Case const& load_case) {
        for (Case::Pressure const& pressure : load_case.pressures) {
            OpenSurfaceLoad(pressure.place, "pressure");
            m_file.Add("pressure", {{"lc", "1"}}, RealText(pressure.value));
            m_file.Close();
        }
        for (Case::Force const& force : load_case.forces) {
            double const area = AreaOfFaces(m_mesh, m_analysis.FindPlace(force.place)->faces);
            OpenSurfaceLoad(force.place, "traction");
            m_file.Add("scale", {{"lc", "1"}}, "1");
            m_file.Add("traction", {},
                       VectorText(force.total[0] / area, force.total[1] / area, force.total[2] / area));
            m_file.Add("linear", {}, "1"); // the total stays as the faces deform
            m_file.Close();
        }
        if (!load_case.gravity)
            return;
        // FEBio takes a body force per mass away from the residual: its sign is the other one.
        auto const& [x, y, z] = *load_case.gravity;
        m_file.Open("body_load", {{"type", "body force"}});
        m_file.Add("force", {{"lc", "1"}}, VectorText(0.0 - x, 0.0 - y, 0.0 - z)); // no "-0"
        m_file.Close();
    }

    void OpenSurfaceLoad(std::string const& place, char const* type) {
        m_file.Open("surface_load",
                    {{"name", Deck(place) + "_" + type}, {"surface", Deck(place)}, {"type", type}});
    }

    static constexpr std::size_t NodesOfLine = 16; // a long list on one line is not recommended
    static constexpr char const* Axes[] = {"x", "y", "z"};
    static constexpr char const* ZeroAxes[] = {"x_dof", "y_dof", "z_dof"};

    Analysis const& m_analysis;
    MMeshBase const& m_mesh;
    bool m_has_maps;
    XmlFile m_file;
    Common::IncrementalProgressReporter m_reporter;
    std::uint64_t m_steps = 0;
    std::vector<Block> m_blocks;
};

} // namespace

void WriteFeb(Analysis const& analysis, std::filesystem::path const& path,
              std::shared_ptr<Common::IProgressDelegate> const& progress) {
    if (!analysis.materials.node_moduli.empty())
        throw Error("moduli that vary inside elements are written to .inp only; --materials elements gives "
                    "each element of a .feb its own");
    FebModel(analysis, path, progress).Write();
}

} // namespace KetSDK::MeshSolver
