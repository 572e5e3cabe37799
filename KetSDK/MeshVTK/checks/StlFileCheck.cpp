#include <KetSDK/MeshVTK/checks/StlFileCheck.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace KetSDK::MeshVTK::Detail {

namespace {

// What a line of a file in text has to say, and how many numbers follow.
struct FacetLine {
    char const* words;
    std::size_t numbers;
};
constexpr FacetLine FacetLines[] = {{"facet normal", 3}, {"outer loop", 0}, {"vertex", 3},  {"vertex", 3},
                                    {"vertex", 3},       {"endloop", 0},    {"endfacet", 0}};

bool Says(TextLines const& lines, FacetLine const& expected) {
    auto const& words = lines.Words();
    if (words.size() < expected.numbers)
        return false;
    std::string said;
    for (std::size_t i = 0; i < words.size() - expected.numbers; ++i)
        said += (i == 0 ? "" : " ") + LowerCase(words[i]);
    for (std::size_t i = words.size() - expected.numbers; i < words.size(); ++i)
        if (!AsNumber(words[i]))
            return false;
    return said == expected.words;
}

bool NextWithWords(TextLines& lines) {
    while (lines.Next())
        if (!lines.Words().empty())
            return true;
    return false;
}

// Returns the number of triangles.
std::uint64_t CheckText(std::string const& content) {
    TextLines lines(content);
    std::uint64_t triangles = 0;
    bool open = false;
    while (NextWithWords(lines)) {
        std::string const keyword = LowerCase(lines.Words()[0]);
        if (keyword == (open ? "endsolid" : "solid")) {
            open = !open;
            continue;
        }
        if (!open || keyword != "facet")
            lines.Refuse(open ? "is neither a facet nor \"endsolid\"" : "is no \"solid\"");
        ++triangles;
        for (std::size_t i = 0; i < std::size(FacetLines); ++i) {
            if (i > 0 && !NextWithWords(lines))
                throw Error("the file is cut off within a facet");
            if (!Says(lines, FacetLines[i]))
                lines.Refuse(std::string("should be \"") + FacetLines[i].words + "\"" +
                             (FacetLines[i].numbers > 0 ? " and three numbers" : ""));
        }
    }
    if (open)
        throw Error("the file is cut off: \"endsolid\" is missing");
    return triangles;
}

// Number of triangles by the header of a binary file, least significant byte first.
std::uint64_t AnnouncedTriangles(std::string const& content) {
    std::uint64_t count = 0;
    for (std::size_t i = 4; i-- > 0;)
        count = count << 8 | static_cast<unsigned char>(content[80 + i]);
    return count;
}

} // namespace

StlContent CheckStlFile(std::filesystem::path const& path) {
    std::string const content = AllBytes(path);
    bool const has_header = content.size() >= 84;
    std::uint64_t const triangles = has_header ? AnnouncedTriangles(content) : 0;
    std::uint64_t const expected = 84 + 50 * triangles;
    if (has_header && content.size() == expected)
        return {StlEncoding::Binary, triangles};
    std::size_t const begin = content.find_first_not_of(" \t\r\n");
    if (begin != std::string::npos && LowerCase(content.substr(begin, 5)) == "solid" &&
        content.find('\0') == std::string::npos)
        return {StlEncoding::Text, CheckText(content)};
    throw Error("the file has " + std::to_string(content.size()) + " bytes instead of " +
                (has_header ? "the " + std::to_string(expected) + " that its number of triangles needs"
                            : "at least 84") +
                "; it is cut off or no .stl file");
}

} // namespace KetSDK::MeshVTK::Detail
