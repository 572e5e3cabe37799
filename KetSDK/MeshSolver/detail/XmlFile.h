// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace KetSDK::MeshSolver::Detail {

// An XML file that is written from its beginning to its end, with everything escaped that has to be.
class XmlFile {
public:
    using Attributes = std::initializer_list<std::pair<char const*, std::string>>;

    // Throws Error when the file cannot be written.
    explicit XmlFile(std::filesystem::path const& path);
    XmlFile(XmlFile const&) = delete;
    XmlFile& operator=(XmlFile const&) = delete;
    ~XmlFile();

    void Open(char const* element, Attributes attributes = {});
    void Close();
    // An element with text in it.
    void Add(char const* element, Attributes attributes, std::string const& text);
    void Comment(std::string text);
    // Throws Error when something could not be written.
    void Finish();

private:
    struct State;

    void Check(int result);

    std::unique_ptr<State> m_state;
};

} // namespace KetSDK::MeshSolver::Detail
