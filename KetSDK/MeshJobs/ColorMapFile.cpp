// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/ColorMapFile.h>

#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <nlohmann/json.hpp>

#include <vtkNew.h>
#include <vtkXMLDataElement.h>

#include <array>
#include <sstream>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

// Keys stand in the order in which they are set.
using Json = nlohmann::ordered_json;

// What is left out between an interval and the next one, as a part of its width: viewers need two values,
// in single precision too.
constexpr double Gap = 1e-5;

struct ColorPoint {
    double value;
    std::array<double, 3> color; // red, green, blue from 0 to 1
};

std::array<double, 3> Channels(unsigned int color) {
    auto const channel = [color](unsigned int shift) { return ((color >> shift) & 0xFF) / 255.0; };
    return {channel(16), channel(8), channel(0)};
}

std::vector<ColorPoint> Points(ColorsResult const& colors) {
    std::vector<ColorPoint> points;
    for (ColorInterval const& interval : colors.intervals) {
        bool const is_last = &interval == &colors.intervals.back();
        double const gap = is_last ? 0.0 : Gap * (interval.high - interval.low);
        points.push_back({interval.low, Channels(interval.color)});
        points.push_back({interval.high - gap, Channels(interval.color)});
    }
    return points;
}

std::string AsJson(std::vector<ColorPoint> const& points, std::string const& name) {
    Json numbers = Json::array();
    for (ColorPoint const& point : points) {
        numbers.push_back(point.value);
        for (double const channel : point.color)
            numbers.push_back(channel);
    }
    Json const map = {
        {"ColorSpace", "RGB"}, {"Name", name}, {"NanColor", {0.5, 0.5, 0.5}}, {"RGBPoints", numbers}};
    return Json::array({map}).dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string AsXml(std::vector<ColorPoint> const& points, std::string const& name) {
    auto const set_color = [](vtkXMLDataElement& element, std::array<double, 3> const& color) {
        for (std::size_t i = 0; i < 3; ++i)
            element.SetAttribute(std::array{"r", "g", "b"}[i], Json(color[i]).dump().c_str());
    };
    vtkNew<vtkXMLDataElement> map;
    map->SetName("ColorMap");
    map->SetAttribute("name", name.c_str());
    map->SetAttribute("space", "RGB");
    for (ColorPoint const& point : points) {
        vtkNew<vtkXMLDataElement> element;
        element->SetName("Point");
        element->SetAttribute("x", Json(point.value).dump().c_str()); // reads back bit for bit
        element->SetAttribute("o", "1");
        set_color(*element, point.color);
        map->AddNestedElement(element);
    }
    vtkNew<vtkXMLDataElement> nan;
    nan->SetName("NaN");
    set_color(*nan, {0.5, 0.5, 0.5});
    map->AddNestedElement(nan);
    vtkNew<vtkXMLDataElement> maps;
    maps->SetName("ColorMaps");
    maps->AddNestedElement(map);
    std::ostringstream text;
    maps->PrintXML(text, vtkIndent());
    return text.str();
}

} // namespace

MeshVTK::OutputFile OpenColorMapFile(std::string const& path) {
    return Detail::ForFile(path, [&path] {
        std::string const ending = MeshVTK::LowerCaseEnding(path);
        if (ending != ".json" && ending != ".xml")
            throw MeshVTK::Error("colours are written to .json or .xml files");
        return MeshVTK::OutputFile(path);
    });
}

void WriteColorMap(ColorsResult const& colors, std::string const& name, MeshVTK::OutputFile& file,
                   Context const& context) {
    Detail::WritingFile(file.GetPath().string(), context, [&] {
        std::vector<ColorPoint> const points = Points(colors);
        file.Write(MeshVTK::LowerCaseEnding(file.GetPath()) == ".json" ? AsJson(points, name)
                                                                       : AsXml(points, name));
        file.Commit();
    });
}

void WriteColorMap(ColorsResult const& colors, std::string const& name, std::string const& path) {
    MeshVTK::OutputFile file = OpenColorMapFile(path);
    WriteColorMap(colors, name, file);
}

} // namespace KetSDK::MeshJobs
