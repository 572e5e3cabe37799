#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXReader.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Reads tags from an XML document. The document is parsed as a whole before any object sees a tag of
// it, so that nothing is read from a file that is cut off or malformed. A document type declaration
// is refused, and with it every entity declaration. Used by one thread.
class KETSDK_API MSAXTextReader : public MSAXReader {
public:
    // Parses all that is left of a file that is open for reading; the file is not used after that.
    // Throws std::runtime_error("invalid state") when it is not one whole document.
    explicit MSAXTextReader(MFile& file);
    ~MSAXTextReader() override;

    using MSAXReader::Read;
    void Read(bool& value) override;
    void Read(std::int32_t& value) override;
    void Read(std::uint32_t& value) override;
    void Read(std::int64_t& value) override;
    void Read(std::uint64_t& value) override;
    void Read(double& value) override;
    void Read(std::wstring& value) override;
    void ReadArray(std::vector<std::int32_t>& values) override;
    void ReadArray(std::vector<double>& values) override;
    std::size_t ReadPart(std::span<std::int32_t> values) override;
    std::size_t ReadPart(std::span<double> values) override;

    bool ReadAttribute(std::wstring const& name, std::wstring& value) override;
    bool ReadAttribute(std::wstring const& name, std::uint64_t& value) override;

protected:
    bool _EnterTag(std::wstring& name) override;
    void _LeaveTag() override;

private:
    class Parser;

    // A tag; those inside it follow it.
    struct Tag {
        std::size_t name;       // in m_names
        std::size_t attributes; // the first one, in m_attributes; the next tag's is one past the last
        std::size_t text_begin; // in m_text, for a tag without tags inside
        std::size_t text_end;
        std::size_t end; // the first tag that is not inside
    };
    struct Attribute {
        std::size_t name; // in m_names
        std::string value;
    };
    // An open tag while objects are reading, and the tag inside it that comes next.
    struct OpenTag {
        std::size_t tag;
        std::size_t next;
        std::size_t end;
    };

    Tag const& _Current() const;
    std::string_view _Value() const;
    std::string const* _FindAttribute(std::wstring const& name) const;
    template <typename Number>
    void _ReadArray(std::vector<Number>& values);
    template <typename Number>
    std::size_t _ReadPart(std::span<Number> values);

    std::vector<std::wstring> m_names; // each once
    std::vector<Tag> m_tags;           // in the order of the document
    std::vector<Attribute> m_attributes;
    std::string m_text;
    std::size_t m_part_begin = 0; // what is left of the open tag's array, in its text
    std::vector<OpenTag> m_open;  // the document itself, then tags from the outermost on
};
