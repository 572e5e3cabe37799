#include <KetSDK/MeshVTK/checks/ObjFileCheck.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

namespace {

// VTK's reader takes lines in pieces of this length.
constexpr std::size_t LongestLine = 1000;

class ObjFile {
public:
    explicit ObjFile(std::string_view content)
        : m_lines(content) {}

    // Returns the number of faces.
    std::uint64_t Check() {
        while (m_lines.Next()) {
            // VTK's reader takes every control character for a space, and what follows for the keyword.
            if (std::ranges::any_of(m_lines.Line(), [](unsigned char c) { return c < ' ' && c != '\t'; }))
                m_lines.Refuse("is no text");
            if (m_lines.Line().starts_with('#') || m_lines.Words().empty())
                continue;
            if (!m_lines.IsComplete())
                throw Error("the file is cut off: its last line does not end");
            if (m_lines.Line().size() > LongestLine || m_lines.Line().ends_with('\\'))
                m_lines.Refuse("is too long or goes on in the next one; at most " +
                               std::to_string(LongestLine) + " characters are read");
            CheckLine(m_lines.Words()[0]);
        }
        for (std::size_t kind = 0; kind < m_counts.size(); ++kind)
            if (m_largest[kind] > m_counts[kind])
                throw Error("a corner has the " + std::string(Names[kind]) + " " +
                            std::to_string(m_largest[kind]) + ", but there are " +
                            std::to_string(m_counts[kind]) + " (from 1)");
        return m_faces;
    }

private:
    void CheckLine(std::string_view keyword) {
        if (keyword == "v")
            Values(0, 3);
        else if (keyword == "vt")
            Values(1, 1);
        else if (keyword == "vn")
            Values(2, 3);
        else if (keyword == "f")
            Corners(3);
        else if (keyword == "l")
            Corners(2);
        else if (keyword == "p")
            Corners(1);
    }

    void Values(std::size_t kind, std::size_t least) {
        auto const& words = m_lines.Words();
        if (words.size() < 1 + least || !std::all_of(words.begin() + 1, words.end(), AsNumber))
            m_lines.Refuse("needs " + std::to_string(least) + " numbers");
        ++m_counts[kind];
    }

    void Corners(std::size_t least) {
        auto const& words = m_lines.Words();
        if (words.size() < 1 + least)
            m_lines.Refuse("needs " + std::to_string(least) + " corners");
        for (std::size_t i = 1; i < words.size(); ++i)
            Corner(words[i]);
        m_faces += least == 3;
    }

    // "vertex", "vertex/texture", "vertex//normal" or "vertex/texture/normal"
    void Corner(std::string_view word) {
        if (word.ends_with('/'))
            m_lines.Refuse("has a corner that ends with \"/\"");
        for (std::size_t kind = 0; kind < m_counts.size(); ++kind) {
            std::size_t const end = std::min(word.find('/'), word.size());
            std::string_view const number = word.substr(0, end);
            if (!number.empty() || kind == 0)
                Number(kind, number);
            if (end == word.size())
                return;
            word.remove_prefix(end + 1);
        }
        m_lines.Refuse("has a corner with more than three numbers");
    }

    // Numbers count from 1 or, below 0, back from what has been read.
    void Number(std::size_t kind, std::string_view word) {
        long long const number = AsWholeNumber(word).value_or(0);
        if (number == 0 || number < -m_counts[kind])
            m_lines.Refuse("has a corner \"" + std::string(word.substr(0, 30)) + "\" that does not exist");
        m_largest[kind] = std::max(m_largest[kind], number);
    }

    static constexpr std::array<char const*, 3> Names = {"vertex", "texture coordinate", "normal"};

    TextLines m_lines;
    std::uint64_t m_faces = 0;
    std::array<long long, 3> m_counts{};
    std::array<long long, 3> m_largest{};
};

} // namespace

std::uint64_t CheckObjFile(std::filesystem::path const& path) {
    std::string const content = AllBytes(path);
    return ObjFile(content).Check();
}

} // namespace KetSDK::MeshVTK::Detail
