// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/FrameText.h>

#include <KetSDK/MeshVTK/ArrayNames.h>

#include <cctype>

namespace KetSDK::MeshVTK::Detail {

namespace {

bool IsLetter(std::string_view text, std::size_t at) {
    return at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) != 0 || text[at] == '_');
}

// Where a word begins in a text; npos when it is nowhere.
std::size_t FindWord(std::string_view text, std::string_view word) {
    std::size_t at = text.find(word);
    while (at != std::string_view::npos &&
           (IsLetter(text, at + word.size()) || (at > 0 && IsLetter(text, at - 1))))
        at = text.find(word, at + 1);
    return at;
}

std::string Trimmed(std::string_view text) {
    std::size_t const begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return {};
    return std::string(text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1));
}

} // namespace

std::string FrameText(Mesh::CoordinateFrame frame) {
    return std::string(ArrayNames::Space) + "=" + Mesh::FrameWord(frame);
}

std::optional<Mesh::CoordinateFrame> FindFrameText(std::string_view text) {
    for (Mesh::CoordinateFrame const frame : Mesh::CoordinateFrames)
        if (FindWord(text, FrameText(frame)) != std::string_view::npos)
            return frame;
    return std::nullopt;
}

std::string WithoutFrameText(std::string_view text) {
    std::string rest(text);
    for (Mesh::CoordinateFrame const frame : Mesh::CoordinateFrames)
        if (std::string const word = FrameText(frame); FindWord(rest, word) != std::string::npos)
            rest.erase(FindWord(rest, word), word.size());
    return Trimmed(rest);
}

} // namespace KetSDK::MeshVTK::Detail
