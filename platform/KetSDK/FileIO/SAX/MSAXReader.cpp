// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>
#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/FileIO/SAX/MSAXWriter.h>

#include <limits>
#include <stdexcept>
#include <unordered_set>

MSAXReader::~MSAXReader() = default;

void MSAXReader::ReadDocument(std::wstring const& tag, ISAXPersistBase& object) {
    m_objects.clear();
    m_references.clear();
    std::wstring name;
    if (!EnterTag(name) || name != tag) {
        throw std::runtime_error("invalid state");
    }
    Read(object);
    LeaveTag();

    // An object that took several tags in turn is asked once.
    std::unordered_set<ISAXPersistBase*> resolved;
    for (ISAXPersistBase* const read : m_objects) {
        if (resolved.insert(read).second) {
            read->ResolveReferences(*this);
        }
    }
}

void MSAXReader::Read(ISAXPersistBase& child) {
    child.SetDefaults();
    RegisterReference(child);
    ReadTags(child);
    child.InitAfterLoading();
    if (m_objects.empty() || m_objects.back() != &child) {
        m_objects.push_back(&child);
    }
}

ISAXReference* MSAXReader::FindReference(unsigned int id) const {
    auto const found = m_references.find(id);
    return found == m_references.end() ? nullptr : found->second;
}

// A tag whose value or child object has been read has no tags left; the inner call then does nothing.
void MSAXReader::ReadTags(ISAXPersistBase& object) {
    std::wstring name;
    while (EnterTag(name)) {
        if (object.HandleTag(name, *this)) {
            ReadTags(object);
            object.HandleEndTag(name);
        }
        LeaveTag();
    }
}

void MSAXReader::RegisterReference(ISAXPersistBase& object) {
    std::uint64_t id = 0;
    auto* const persist = dynamic_cast<ISAXPersist*>(&object);
    if (persist == nullptr || !ReadAttribute(MSAXWriter::IdAttribute, id)) {
        return;
    }
    if (id > std::numeric_limits<unsigned int>::max()) {
        throw std::runtime_error("invalid state");
    }
    auto const number = static_cast<unsigned int>(id);
    persist->SetObjectId(number, KetSAX::ObjectId);
    if (!m_references.emplace(number, persist->GetObjectReference()).second) {
        throw std::runtime_error("invalid state"); // two objects cannot both be meant
    }
}
