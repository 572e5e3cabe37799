// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXReader.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Reads tags from an XML document, piece by piece as it comes from the file: nothing but a piece, the open
// tags and the value that is read is held. Damage shows only when its piece is reached, which may be after
// objects have been filled. A document type declaration is refused, and with it every entity declaration; so
// is deep nesting. Used by one thread.
class KETSDK_API MSAXTextReader : public MSAXReader {
public:
    // The file is open for reading and outlives the reader. The document is all that is left of it. Throws
    // std::runtime_error("invalid state") when it does not begin as one. When parallel, some MB of an array
    // are read ahead and its numbers made on several threads; what is read is the same.
    explicit MSAXTextReader(MFile& file, bool parallel = false);
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
    bool EnterTag(std::wstring& name) override;
    void LeaveTag() override;

private:
    class Parser;
    class Array;
    using Attributes = std::vector<std::pair<std::wstring, std::string>>;

    struct OpenTag {
        Attributes attributes;
        bool has_tags; // inside
    };

    OpenTag const& Current() const;
    // The text of the open tag, which must have no tags inside; and its text without white space around it.
    std::string_view Value();
    std::string_view TrimmedValue();
    // All text of the open tag has been read.
    void RequireNoTags() const;
    std::string const* FindAttribute(std::wstring const& name) const;
    template <typename Number>
    void ReadNumbersOf(std::vector<Number>& values);
    template <typename Number>
    std::size_t ReadSome(std::span<Number> values);

    std::unique_ptr<Parser> m_parser;
    std::unique_ptr<Array> m_array; // of numbers in the open tag
    std::vector<OpenTag> m_open;    // from the outermost on
    std::string m_value;            // what of the open tag's text has been put together
};
