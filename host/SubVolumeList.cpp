#include <host/SubVolumeList.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/FileError.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace ketmesh {

Json SubVolumesOf(MMeshBase const& mesh) {
    // One pass for all: a mesh that was split can have hundreds.
    std::vector<double> volumes(static_cast<std::size_t>(mesh.NumberOfSubVolumes()), 0.0);
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        auto const number = static_cast<std::size_t>(numbers ? numbers->GetValue(e) : -1);
        if (number < volumes.size())
            volumes[number] += GetElementVolume(e);
    });
    Json list = Json::array();
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        list.push_back({{"number", (*it)->GetID()},
                        {"name", KetSDK::MeshVTK::ToUtf8((*it)->GetName())},
                        {"elements", (*it)->GetNbElements()},
                        {"volume", volumes[list.size()]}});
    return list;
}

void PrintSubVolumes(Json const& list) {
    std::uint64_t elements = 0;
    double volume = 0.0;
    for (Json const& part : list) {
        elements += part["elements"].get<std::uint64_t>();
        volume += part["volume"].get<double>();
    }
    Table table({{"number", Table::Align::Right},
                 {"sub-volume", Table::Align::Left},
                 {"elements", Table::Align::Right},
                 {"volume [mm3]", Table::Align::Right}});
    for (Json const& part : list)
        table.AddRow({part["number"].dump(), part["name"], part["elements"].dump(),
                      FormatNumber(part["volume"], volume)});
    table.AddRule();
    table.AddRow({"", "all", std::to_string(elements), FormatNumber(volume)});
    table.Print(std::cout);
}

std::set<MMeshSubVolume*> FindSubVolumes(MMeshBase& mesh, std::vector<std::string> const& names,
                                         std::string const& file) {
    std::set<MMeshSubVolume*> found;
    for (std::string const& name : names) {
        std::string known;
        bool is_known = false; // found may have it already: a name can be given twice
        for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
            std::string const other = KetSDK::MeshVTK::ToUtf8((*it)->GetName());
            known += (known.empty() ? "" : ", ") + other;
            if (other == name) {
                found.insert(it->get());
                is_known = true;
            }
        }
        if (!is_known)
            throw FileError(file, "there is no sub-volume \"" + name + "\"; the sub-volumes are " + known);
    }
    return found;
}

} // namespace ketmesh
