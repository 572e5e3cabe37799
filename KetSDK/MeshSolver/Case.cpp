// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Case.h>

#include <KetSDK/MeshSolver/Error.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iterator>
// The parser asserts of a file what it reports as an error a line later.
#define TOML_ASSERT(condition) static_cast<void>(0)
#include <toml++/toml.h>

namespace KetSDK::MeshSolver {

namespace {

[[noreturn]] void Fail(toml::node const& node, std::string const& message) {
    throw CaseError("line " + std::to_string(node.source().begin.line) + ": " + message);
}

std::string Quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

// A table of the case and what messages call it: "[place.base]".
struct Section {
    toml::table const& table;
    std::string name;

    toml::node const* Find(std::string_view key) const { return table.get(key); }
    toml::node const& Require(std::string_view key, char const* what) const {
        toml::node const* const node = Find(key);
        if (!node)
            Fail(table, name + " needs " + std::string(key) + " = " + what);
        return *node;
    }
    void Allow(std::initializer_list<std::string_view> keys) const {
        for (auto const& [key, node] : table) {
            if (std::ranges::find(keys, key.str()) != keys.end())
                continue;
            std::string known;
            for (std::string_view const each : keys)
                known += (known.empty() ? "" : ", ") + std::string(each);
            Fail(node, "unknown key " + Quoted(key.str()) + " in " + name + "; known are " + known);
        }
    }
};

double Number(toml::node const& node, std::string const& what) {
    auto const value = node.is_number() ? node.value<double>() : std::nullopt;
    if (!value || !std::isfinite(*value))
        Fail(node, what + " must be a finite number");
    return *value;
}

std::string Text(toml::node const& node, std::string const& what) {
    auto const value = node.is_string() ? node.value<std::string>() : std::nullopt;
    if (!value || value->empty())
        Fail(node, what + " must be a text in quotes");
    return *value;
}

template <std::size_t N>
std::array<double, N> Numbers(toml::node const& node, std::string const& what) {
    toml::array const* const list = node.as_array();
    if (!list || list->size() != N)
        Fail(node, what + " must be a list of " + std::to_string(N) + " numbers");
    std::array<double, N> numbers{};
    for (std::size_t i = 0; i < N; ++i)
        numbers[i] = Number(*list->get(i), what);
    return numbers;
}

toml::table const& Table(toml::node const& node, std::string const& what) {
    if (!node.is_table())
        Fail(node, what + " must be a table");
    return *node.as_table();
}

int AxisOf(char letter) {
    return letter >= 'x' && letter <= 'z' ? letter - 'x' : -1;
}

Case::Place::End ReadEnd(Section const& section) {
    toml::node const& axis = section.Require("axis", "\"z-\" beside within");
    toml::node const& within = section.Require("within", "3.0 beside axis");
    std::string const word = Text(axis, "axis");
    Case::Place::End end;
    end.axis = word.size() == 2 ? AxisOf(word[0]) : -1;
    if (end.axis < 0 || (word[1] != '-' && word[1] != '+'))
        Fail(axis, "axis must be one of x-, x+, y-, y+, z-, z+, not " + Quoted(word));
    end.is_upper = word[1] == '+';
    end.within = Number(within, "within");
    if (end.within < 0.0)
        Fail(within, "within must not be negative");
    return end;
}

Case::Place::Normal ReadNormal(Section const& section) {
    toml::node const& node = section.Require("normal", "[0, 0, 1] beside angle");
    Case::Place::Normal normal;
    normal.direction = Numbers<3>(node, "normal");
    if (std::ranges::all_of(normal.direction, [](double x) { return x == 0.0; }))
        Fail(node, "normal must not be zero");
    if (toml::node const* const angle = section.Find("angle")) {
        normal.angle = Number(*angle, "angle");
        if (normal.angle < 0.0 || normal.angle > 180.0)
            Fail(*angle, "angle must lie between 0 and 180 degrees");
    }
    return normal;
}

Case::Place ReadPlace(std::string_view name, toml::node const& node) {
    Section const section{Table(node, "a place"), "[place." + std::string(name) + "]"};
    section.Allow({"axis", "within", "surface", "normal", "angle", "box", "sphere", "subvolume"});
    if (section.table.empty())
        Fail(node, section.name + " names nothing; give axis, surface, normal, box, sphere or subvolume");
    Case::Place place;
    place.name = name;
    if (section.Find("axis") || section.Find("within"))
        place.end = ReadEnd(section);
    if (section.Find("normal") || section.Find("angle"))
        place.normal = ReadNormal(section);
    if (toml::node const* const surface = section.Find("surface"))
        place.surface = Text(*surface, "surface");
    if (toml::node const* const subvolume = section.Find("subvolume"))
        place.subvolume = Text(*subvolume, "subvolume");
    if (toml::node const* const box = section.Find("box")) {
        place.box = Numbers<6>(*box, "box");
        for (std::size_t i = 0; i < 3; ++i)
            if ((*place.box)[i] > (*place.box)[i + 3])
                Fail(*box, "box must be [xmin, ymin, zmin, xmax, ymax, zmax]");
    }
    if (toml::node const* const sphere = section.Find("sphere")) {
        place.sphere = Numbers<4>(*sphere, "sphere");
        if ((*place.sphere)[3] <= 0.0)
            Fail(*sphere, "the radius of sphere = [x, y, z, radius] must be above 0");
    }
    return place;
}

std::string ReadPlaceName(Section const& section, Case const& read) {
    toml::node const& node = section.Require("place", "\"NAME\"");
    std::string const name = Text(node, "place");
    std::string known;
    for (Case::Place const& place : read.places) {
        if (place.name == name)
            return name;
        known += (known.empty() ? "" : ", ") + place.name;
    }
    Fail(node, section.name + " is for the place " + Quoted(name) + ", which is not defined; " +
                   (known.empty() ? "define it as [place." + name + "]" : "there are " + known));
}

Case::Fix ReadFix(Section const& section, Case const& read) {
    section.Allow({"place", "axes"});
    Case::Fix fix{ReadPlaceName(section, read), {}};
    toml::node const& node = section.Require("axes", "\"xyz\"");
    for (char const letter : Text(node, "axes")) {
        int const axis = AxisOf(letter);
        if (axis < 0)
            Fail(node, "axes must be letters of x, y and z, as in \"xyz\"");
        fix.axes[static_cast<std::size_t>(axis)] = true;
    }
    return fix;
}

Case::Displace ReadDisplace(Section const& section, Case const& read) {
    section.Allow({"place", "by"});
    Case::Displace displace{ReadPlaceName(section, read), {}};
    toml::node const& by = section.Require("by", "[x, y, z] or { z = -1 }");
    if (by.is_array()) {
        std::ranges::copy(Numbers<3>(by, "by"), displace.by.begin());
        return displace;
    }
    Section const axes{Table(by, "by, where it is no list,"), "by"};
    axes.Allow({"x", "y", "z"});
    for (auto const& [key, node] : axes.table)
        displace.by[static_cast<std::size_t>(AxisOf(key.str().front()))] = Number(node, "by");
    if (axes.table.empty())
        Fail(by, "by = {} moves nothing; name an axis as in { z = -1 }");
    return displace;
}

Case::Pressure ReadPressure(Section const& section, Case const& read) {
    section.Allow({"place", "value"});
    return {ReadPlaceName(section, read), Number(section.Require("value", "0.01 (MPa)"), "value")};
}

Case::Force ReadForce(Section const& section, Case const& read) {
    section.Allow({"place", "total"});
    return {ReadPlaceName(section, read), Numbers<3>(section.Require("total", "[0, 0, -250] (N)"), "total")};
}

template <typename Item, typename Read>
void ReadEach(toml::table const& file, std::string const& key, std::vector<Item>& items, Case const& places,
              Read const& read) {
    toml::node const* const node = file.get(key);
    if (!node)
        return;
    std::string const name = "[[" + key + "]]";
    toml::array const* const list = node->as_array();
    if (!list)
        Fail(*node, "write " + name + " with double brackets, once for each");
    for (toml::node const& each : *list)
        items.push_back(read(Section{Table(each, name), name}, places));
}

// Places in the order of the file: a table of TOML has none.
void ReadPlaces(toml::node const& node, Case& read) {
    toml::table const& table = Table(node, "place");
    std::vector<std::pair<toml::source_position, Case::Place>> places;
    for (auto const& [key, each] : table) {
        if (key.str().empty())
            Fail(each, "a place needs a name");
        places.emplace_back(each.source().begin, ReadPlace(key.str(), each));
    }
    std::ranges::stable_sort(places, [](auto const& a, auto const& b) { return a.first < b.first; });
    for (auto& [position, place] : places)
        read.places.push_back(std::move(place));
}

Case FromTable(toml::table const& file) {
    Section const all{file, "the case"};
    all.Allow({"place", "fix", "displace", "pressure", "force", "gravity"});
    Case read;
    if (toml::node const* const places = all.Find("place"))
        ReadPlaces(*places, read);
    ReadEach(file, "fix", read.fixes, read, ReadFix);
    ReadEach(file, "displace", read.displacements, read, ReadDisplace);
    ReadEach(file, "pressure", read.pressures, read, ReadPressure);
    ReadEach(file, "force", read.forces, read, ReadForce);
    if (toml::node const* const node = all.Find("gravity")) {
        Section const gravity{Table(*node, "gravity"), "[gravity]"};
        gravity.Allow({"acceleration"});
        read.gravity = Numbers<3>(gravity.Require("acceleration", "[0, 0, -9810] (mm/s2)"), "acceleration");
    }
    if (read.places.empty() && read.HasPlacesOnly())
        throw CaseError("the case is empty; it needs places and what happens there");
    return read;
}

// Beyond strings and comments TOML is ASCII. The parser does not stand other characters there: it comes to a
// point that it holds for unreachable.
void RefuseBareCharacters(std::string_view text) {
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text.starts_with(byte_order_mark))
        text.remove_prefix(byte_order_mark.size());
    std::size_t line = 1;
    char inside = 0; // of a string its quote, of a comment #
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        if (c == '\n') {
            ++line;
            inside = 0;
        } else if (inside == 0 && static_cast<unsigned char>(c) > 0x7F) {
            throw CaseError("line " + std::to_string(line) +
                            ": letters beyond ASCII need quotes, as in [place.\"NAME\"]");
        } else if (inside == 0 && (c == '"' || c == '\'' || c == '#')) {
            inside = c;
        } else if (inside == '"' && c == '\\' && i + 1 < text.size() && text[i + 1] != '\n') {
            ++i;
        } else if (inside != '#' && c == inside) {
            inside = 0;
        }
    }
}

} // namespace

Case ReadCase(std::string_view text) {
    if (text.find('\0') != std::string_view::npos)
        throw CaseError("it is no text; cases are written in TOML, as ketmesh solve --help shows");
    RefuseBareCharacters(text);
    try {
        return FromTable(toml::parse(text));
    } catch (toml::parse_error const& e) {
        std::string what(e.description());
        std::ranges::replace_if(
            what, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
        throw CaseError("line " + std::to_string(e.source().begin.line) + ": " + what);
    }
}

} // namespace KetSDK::MeshSolver
