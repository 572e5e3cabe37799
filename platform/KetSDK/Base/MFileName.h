// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <string>
#include <utility>

// The name of a file: a path and the questions asked about its parts. A value; it never touches the
// disk. Wide strings and paths convert as the C++ library's paths do.
class MFileName {
public:
    // An empty name.
    MFileName() = default;
    MFileName(std::string const& path)
        : m_path(path) {}
    MFileName(std::wstring const& path)
        : m_path(path) {}
    MFileName(char const* path)
        : m_path(path) {}
    MFileName(wchar_t const* path)
        : m_path(path) {}
    MFileName(std::filesystem::path path)
        : m_path(std::move(path)) {}

    // The whole name, as the file operations take it.
    std::filesystem::path const& GetPath() const noexcept { return m_path; }
    std::string GetString() const { return m_path.string(); }
    std::wstring GetWideString() const { return m_path.wstring(); }

    // The last part: "mesh.vtu" of "/tmp/mesh.vtu".
    std::string GetName() const { return m_path.filename().string(); }
    // The last part without its extension: "mesh".
    std::string GetBaseName() const { return m_path.stem().string(); }
    // The extension with its dot, ".vtu"; empty when there is none.
    std::string GetExtension() const { return m_path.extension().string(); }
    // The folder that the file is in: "/tmp". Empty for a bare name.
    MFileName GetFolder() const { return m_path.parent_path(); }

    // The same name with another extension, given with or without its dot.
    MFileName WithExtension(std::string const& extension) const {
        return std::filesystem::path(m_path).replace_extension(extension);
    }
    // A name below this one, taken as a folder.
    MFileName operator/(MFileName const& name) const { return m_path / name.m_path; }

    bool IsEmpty() const noexcept { return m_path.empty(); }
    friend bool operator==(MFileName const&, MFileName const&) = default;

private:
    std::filesystem::path m_path;
};
