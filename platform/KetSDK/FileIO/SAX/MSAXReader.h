// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

class ISAXPersistBase;
class ISAXReference;

// Reads persistent objects from the tags of one document. Objects see this interface only; the encoding
// (MSAXTextReader, MSAXBinaryReader) is behind it. Whatever is wrong with a document throws
// std::runtime_error("invalid state"), and leaves an object half-filled when its own values are wrong. A
// caller with something to lose reads into a new object and takes it when all went well. Used by one thread.
class KETSDK_API MSAXReader {
public:
    MSAXReader(MSAXReader const&) = delete;
    MSAXReader& operator=(MSAXReader const&) = delete;
    virtual ~MSAXReader();

    // Reads the document, of which the outermost tag must have the given name, into an object.
    void ReadDocument(std::wstring const& tag, ISAXPersistBase& object);

    // For HandleTag: hands the open tag to a child object and returns when the child has all of it.
    // The child lives until the document is read.
    void Read(ISAXPersistBase& child);

    // For HandleTag: the value of the open tag, of exactly that type and in its range.
    virtual void Read(bool& value) = 0;
    virtual void Read(std::int32_t& value) = 0;
    virtual void Read(std::uint32_t& value) = 0;
    virtual void Read(std::int64_t& value) = 0;
    virtual void Read(std::uint64_t& value) = 0;
    virtual void Read(double& value) = 0;
    virtual void Read(std::wstring& value) = 0;
    // All numbers of the open tag, in place of what the vector held. How many there have to be is for
    // the object to check; memory grows with the numbers that are there.
    virtual void ReadArray(std::vector<std::int32_t>& values) = 0;
    virtual void ReadArray(std::vector<double>& values) = 0;

    // For arrays that are too long to be held twice. Takes the next numbers of the open tag and returns how
    // many there were, fewer than asked for only at the end. For a tag that is read in this way alone.
    virtual std::size_t ReadPart(std::span<std::int32_t> values) = 0;
    virtual std::size_t ReadPart(std::span<double> values) = 0;

    // For HandleTag: an attribute of the open tag. False, leaving the value, when it has none.
    virtual bool ReadAttribute(std::wstring const& name, std::wstring& value) = 0;
    virtual bool ReadAttribute(std::wstring const& name, std::uint64_t& value) = 0;

    // For ResolveReferences: the object with an identifier; null when there is none in the document.
    ISAXReference* FindReference(unsigned int id) const;

protected:
    MSAXReader() = default;

    // The encoding's part: goes into the next tag inside the open one (first: the outermost tag).
    // False when there is no further one.
    virtual bool EnterTag(std::wstring& name) = 0;
    // Closes the open tag, skipping what was not read of it.
    virtual void LeaveTag() = 0;

private:
    void ReadTags(ISAXPersistBase& object);
    void RegisterReference(ISAXPersistBase& object);

    std::vector<ISAXPersistBase*> m_objects; // those that were read, in order
    std::unordered_map<unsigned int, ISAXReference*> m_references;
};
