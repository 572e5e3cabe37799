// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <unordered_set>

// The identifiers of the tags that earlier documents hold; see MSAXWriter::SaveIncrementally.
using MSAXWrittenTags = std::unordered_set<unsigned int>;

// Writes persistent objects as nested tags. Objects see this interface only; the encoding
// (MSAXTextWriter, MSAXBinaryWriter) is behind it. A tag holds tags or one value, never both. Used in an
// order that makes no document, it throws std::runtime_error("invalid state"); a disk that fails only turns
// IsGood() false. Used by one thread.
class KETSDK_API MSAXWriter {
public:
    // The attribute under which a tag carries the identifier that others refer to it by.
    static constexpr wchar_t const* IdAttribute = L"Id";
    // The attribute under which a tag carries its identifier for incremental saving.
    static constexpr wchar_t const* TagIdAttribute = L"TagId";

    MSAXWriter(MSAXWriter const&) = delete;
    MSAXWriter& operator=(MSAXWriter const&) = delete;
    virtual ~MSAXWriter();

    // Opens a tag; see MSAXTagWriter. A name starts with a letter or "_" and goes on with letters,
    // digits and "_.-", all of ASCII.
    virtual void OpenTag(std::wstring const& name) = 0;
    // Closes the tag opened last.
    virtual void CloseTag() = 0;
    // False when something could not be written.
    virtual bool IsGood() const = 0;

    // An attribute of the open tag; before anything is written into the tag. Names are as for tags.
    virtual void WriteAttribute(std::wstring const& name, std::wstring const& value) = 0;
    virtual void WriteAttribute(std::wstring const& name, std::uint64_t value) = 0;

    // The value of the open tag. Any string and any double reads back as it was, bit for bit; for
    // doubles that holds with a precision (significant digits) of 17, less rounds.
    virtual void Write(bool value) = 0;
    virtual void Write(std::int32_t value) = 0;
    virtual void Write(std::uint32_t value) = 0;
    virtual void Write(std::int64_t value) = 0;
    virtual void Write(std::uint64_t value) = 0;
    virtual void Write(double value, int precision = 17) = 0;
    virtual void Write(std::wstring const& value) = 0;
    void Write(wchar_t const* value) { Write(std::wstring(value)); }
    // Other integer types of 64 bits, such as unsigned long long.
    template <std::integral T>
    requires(sizeof(T) == 8) void Write(T value) {
        Write(static_cast<std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>>(value));
    }
    void Write(void const*) = delete; // a pointer is no truth value
    // Many numbers as the value of the open tag; may be called again to append. Doubles as above.
    virtual void WriteArray(std::span<std::int32_t const> values) = 0;
    virtual void WriteArray(std::span<double const> values) = 0;

    // A tag with one value.
    template <typename T>
    void WriteTag(std::wstring const& name, T const& value) {
        OpenTag(name);
        Write(value);
        CloseTag();
    }
    void WriteTag(std::wstring const& name, double value, int precision) {
        OpenTag(name);
        Write(value, precision);
        CloseTag();
    }

    // Incremental saving: several documents are written one after the other, each with a writer of its own
    // and all with the same `written`. A tag that has an identifier is written into one of them only.
    // Borrowed; it outlives the writer.
    void SaveIncrementally(MSAXWrittenTags& written) noexcept { m_written = &written; }
    virtual bool SupportsIncrementalSaving() const;
    // Whether the tag with this identifier is in this document or an earlier one already.
    virtual bool IsTagWritten(unsigned int tag_id) const;
    // Gives the tag opened last its identifier, as an attribute. A writer that does not save incrementally
    // ignores it.
    virtual void SetTagId(unsigned int tag_id);
    // Notes the identifiers of this document in `written`: for when its file was closed and all is well.
    // Without it nothing of the document counts as written.
    void FinishIncrementalSave();

protected:
    MSAXWriter() = default;

private:
    MSAXWrittenTags* m_written = nullptr;
    MSAXWrittenTags m_tags; // of this document
};
