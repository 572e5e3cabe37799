// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>

// The destructors are defined here so that the type information of the interfaces lives in one library.
ISAXReference::~ISAXReference() = default;
ISAXPersistBase::~ISAXPersistBase() = default;
ISAXPersist::~ISAXPersist() = default;

void ISAXPersistBase::SetDefaults() {}
bool ISAXPersistBase::HandleTag(std::wstring const&, MSAXReader&) {
    return false;
}
void ISAXPersistBase::HandleEndTag(std::wstring const&) {}
void ISAXPersistBase::ResolveReferences(MSAXReader&) {}
void ISAXPersistBase::InitAfterLoading() {}
bool ISAXPersistBase::Write(MSAXWriter&) const {
    return true;
}

ISAXReference* ISAXPersist::GetObjectReference() {
    return dynamic_cast<ISAXReference*>(this);
}
void ISAXPersist::SetObjectId(unsigned int, KetSAX::SaxIDType) {}
void ISAXPersist::SetObjectId(unsigned int id) {
    SetObjectId(id, KetSAX::ObjectId);
}
void ISAXPersist::LoadState(MStreamMFileIn&) {}
void ISAXPersist::SaveState(MStreamMFileOut&) {}
