// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/SubVolumeTable.h>

#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <string>

namespace ketmesh {

using KetSDK::MeshJobs::SubVolumeReport;

Json ToJson(std::vector<SubVolumeReport> const& subvolumes) {
    Json list = Json::array();
    for (SubVolumeReport const& s : subvolumes)
        list.push_back(
            {{"number", s.number}, {"name", s.name}, {"elements", s.elements}, {"volume", s.volume}});
    return list;
}

void PrintSubVolumes(std::ostream& out, std::vector<SubVolumeReport> const& subvolumes) {
    std::uint64_t elements = 0;
    double volume = 0.0;
    for (SubVolumeReport const& s : subvolumes) {
        elements += s.elements;
        volume += s.volume;
    }
    Table table({{"number", Table::Align::Right},
                 {"sub-volume", Table::Align::Left},
                 {"elements", Table::Align::Right},
                 {"volume [mm3]", Table::Align::Right}});
    for (SubVolumeReport const& s : subvolumes)
        table.AddRow(
            {std::to_string(s.number), s.name, std::to_string(s.elements), FormatNumber(s.volume, volume)});
    table.AddRule();
    table.AddRow({"", "all", std::to_string(elements), FormatNumber(volume)});
    table.Print(out);
}

} // namespace ketmesh
