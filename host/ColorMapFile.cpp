#include <host/ColorMapFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <host/terminal/Output.h>

#include <vtkNew.h>
#include <vtkXMLDataElement.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace ketmesh {

namespace {

// What is left out between an interval and the next one, as a part of its width: viewers need two places,
// in single precision too.
constexpr double Gap = 1e-5;

struct ColorPoint {
    double place;
    std::array<double, 3> color; // red, green, blue from 0 to 1
};

std::array<double, 3> Channels(unsigned int color) {
    auto const channel = [color](unsigned int shift) { return ((color >> shift) & 0xFF) / 255.0; };
    return {channel(16), channel(8), channel(0)};
}

std::vector<ColorPoint> Points(MMeshColorMap const& colors, double end) {
    std::vector<ColorPoint> points;
    for (auto const& [index, entry] : colors) {
        bool const is_last = index + 1 == colors.GetNumElements();
        double const next = is_last ? end : colors.GetStart(index + 1);
        points.push_back({entry.start, Channels(entry.color)});
        points.push_back({is_last ? next : next - Gap * (next - entry.start), Channels(entry.color)});
    }
    return points;
}

std::string Ending(std::filesystem::path const& path) {
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

std::string AsJson(std::vector<ColorPoint> const& points, std::string const& name) {
    Json numbers = Json::array();
    for (ColorPoint const& point : points) {
        numbers.push_back(point.place);
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
        element->SetAttribute("x", Json(point.place).dump().c_str()); // reads back bit for bit
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

std::string ColorText(unsigned int color) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "#%06x", color & 0xFFFFFFu);
    return text.data();
}

void CheckColorMapFileName(std::string const& file) {
    if (Ending(file) != ".json" && Ending(file) != ".xml")
        throw KetSDK::MeshVTK::Error("colours are written to .json or .xml files");
}

void WriteColorMap(KetSDK::MeshVTK::OutputFile& file, MMeshColorMap const& colors, double end,
                   std::string const& name) {
    std::vector<ColorPoint> const points = Points(colors, end);
    std::ofstream out(file.GetTemporaryPath(), std::ios::binary);
    out << (Ending(file.GetPath()) == ".json" ? AsJson(points, name) : AsXml(points, name));
    out.close();
    if (!out)
        throw KetSDK::MeshVTK::Error("it cannot be written: the disk is full");
    file.Commit();
}

} // namespace ketmesh
