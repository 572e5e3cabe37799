// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <string>

class MSAXReader;
class MSAXWriter;

// An object that is written to a file as tags and read back from them. A reader calls the operations
// below in this order: SetDefaults; for each tag inside the object's own HandleTag, then HandleEndTag;
// InitAfterLoading; and, once the whole document is read, ResolveReferences. By default nothing is
// read or written. Used by the thread that reads or writes only.
class KETSDK_API ISAXPersistBase {
public:
    virtual ~ISAXPersistBase();

    // Sets what a tag may leave out.
    virtual void SetDefaults();
    // A tag opens. The object reads its value or hands a child object to the reader and returns true; or
    // returns true and gets the tags inside. Or returns false, and the tag is skipped with all that is in it.
    // What a tag holds may be anything: checking it is the object's job.
    virtual bool HandleTag(std::wstring const& tag, MSAXReader& reader);
    // A tag closes for which HandleTag returned true.
    virtual void HandleEndTag(std::wstring const& tag);
    // Turns identifiers that were read into pointers (MSAXReader::FindReference).
    virtual void ResolveReferences(MSAXReader& reader);
    // All tags of this object have been read.
    virtual void InitAfterLoading();
    // Writes the object with its own tag. False when it could not be written.
    virtual bool Write(MSAXWriter& writer) const;

protected:
    ISAXPersistBase() = default;
    ISAXPersistBase(ISAXPersistBase const&) = default;
    ISAXPersistBase& operator=(ISAXPersistBase const&) = default;
};
