// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/SaxOpenTags.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace KetSAX::Detail {

namespace {

void Require(bool condition) {
    if (!condition) {
        throw std::runtime_error("invalid state");
    }
}

template <typename Character>
bool IsNameStart(Character c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

template <typename Character>
bool IsNameCharacter(Character c) noexcept {
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

template <typename String>
bool IsNameIn(String const& name) noexcept {
    return !name.empty() && IsNameStart(name.front()) &&
           std::all_of(name.begin(), name.end(), IsNameCharacter<typename String::value_type>);
}

} // namespace

bool IsName(std::string_view name) noexcept {
    return IsNameIn(name);
}

std::string CheckedName(std::wstring const& name) {
    Require(IsNameIn(name));
    std::string ascii(name.size(), '\0');
    std::transform(name.begin(), name.end(), ascii.begin(), [](wchar_t c) { return static_cast<char>(c); });
    return ascii;
}

void OpenTags::Open(std::string name) {
    Require(m_tags.empty() ? !m_finished : m_tags.back().content == Content::Tags);
    m_tags.push_back({std::move(name)});
}

bool OpenTags::Put(Content content) {
    Require(!m_tags.empty());
    Tag& tag = m_tags.back();
    if (tag.content == Content::Nothing) {
        tag.content = content;
        return true;
    }
    Require(tag.content == content && content != Content::Value);
    return false;
}

void OpenTags::PutAttribute() const {
    Require(!m_tags.empty() && m_tags.back().content == Content::Nothing);
}

void OpenTags::Close() noexcept {
    m_tags.pop_back();
    m_finished = m_tags.empty();
}

} // namespace KetSAX::Detail
