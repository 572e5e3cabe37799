// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What the writers of both encodings hold a document to. Used by them, and by nobody else.
namespace KetSAX::Detail {

// Whether a name may be that of a tag or an attribute.
bool IsName(std::string_view name) noexcept;
// The name in ASCII; throws std::runtime_error("invalid state") when it is none.
std::string CheckedName(std::wstring const& name);

// The tags of a document that are open: a tag holds tags, or one value, or the numbers of an array. Throws
// std::runtime_error("invalid state") for what makes no document.
class OpenTags {
public:
    enum class Content { Nothing, Value, Array, Tags };

    // Opens a tag inside the innermost one, which holds tags already, or the one outermost tag.
    void Open(std::string name);
    // Puts something into the innermost tag. True when it is the first that it holds.
    bool Put(Content content);
    // An attribute belongs to the innermost tag, which must hold nothing yet.
    void PutAttribute() const;
    // Closes the innermost tag, of which there is one.
    void Close() noexcept;

    std::size_t GetDepth() const noexcept { return m_tags.size(); }
    std::string const& GetName() const noexcept { return m_tags.back().name; }
    Content GetContent() const noexcept { return m_tags.back().content; }

private:
    struct Tag {
        std::string name;
        Content content = Content::Nothing;
    };
    std::vector<Tag> m_tags; // from the outermost to the innermost
    bool m_finished = false; // the outermost tag has been closed
};

} // namespace KetSAX::Detail
