// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/SAX/ISAXPersistBase.h>
#include <KetSDK/FileIO/SAX/SaxIDType.h>

class ISAXReference;
class MStreamMFileIn;
class MStreamMFileOut;

// A persistent object that can be referred to in a file and that has a binary state beside its tags.
// Used by the thread that reads or writes only.
class KETSDK_API ISAXPersist : public ISAXPersistBase {
public:
    ~ISAXPersist() override;

    // The object as others refer to it; null for one that is no ISAXReference. Not a new object.
    virtual ISAXReference* GetObjectReference();
    // Tells the object the identifier that a file gives it. By default nobody remembers it.
    virtual void SetObjectId(unsigned int id, KetSAX::SaxIDType type);
    // The same, with an identifier of the kind ObjectId.
    virtual void SetObjectId(unsigned int id);

    // Reads what SaveState wrote. Throws std::runtime_error("invalid state") when the stream holds
    // something else, and then leaves the object as it was. By default there is no state.
    virtual void LoadState(MStreamMFileIn& in);
    virtual void SaveState(MStreamMFileOut& out);

protected:
    ISAXPersist() = default;
    ISAXPersist(ISAXPersist const&) = default;
    ISAXPersist& operator=(ISAXPersist const&) = default;
};
