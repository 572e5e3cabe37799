// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshBaseManager.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/persistence/detail/Checksum.h>
#include <KetSDK/Mesh/persistence/detail/MeshSwap.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

using KetSDK::Mesh::Detail::Checksum;
using KetSDK::Mesh::Detail::MeshSwap;

namespace {

constexpr std::size_t BytesAtOnce = std::size_t{1} << 16;

// The checksum over all bytes of a file that are read or written.
class PassingChecksum : public MFileObserver {
public:
    bool OnBytes(std::byte const* bytes, std::size_t size) override {
        m_checksum.Add(bytes, size);
        return true;
    }
    std::uint64_t Get() const noexcept { return m_checksum.Get(); }

private:
    Checksum m_checksum;
};

// The checksum of a whole file; nothing when it cannot be read to its end.
std::optional<std::uint64_t> HashOf(MFileName const& path) {
    PassingChecksum checksum;
    MFile file(path, MFile::Mode::Read);
    file.SetObserver(&checksum);
    std::vector<char> bytes(BytesAtOnce);
    while (file.IsGood() && file.BytesLeft() > 0)
        file.Read(bytes.data(),
                  static_cast<std::size_t>(std::min<std::uint64_t>(file.BytesLeft(), bytes.size())));
    if (!file.Close())
        return std::nullopt;
    return checksum.Get();
}

void RemoveFile(MFileName const& path) noexcept {
    std::error_code ignored;
    std::filesystem::remove(path.GetPath(), ignored);
}

// Clears up first, so that the room is there.
MFileName const& CleanedUp(MFileName const& parent) {
    MTemporaryDirectory::RemoveStale(parent);
    return parent;
}

} // namespace

MMeshBaseManager::MMeshBaseManager()
    : MMeshBaseManager(MTemporaryDirectory::DefaultParent()) {}

MMeshBaseManager::MMeshBaseManager(MFileName const& parent)
    : m_folder(CleanedUp(parent)) {}

MMeshBaseManager::~MMeshBaseManager() = default;

bool MMeshBaseManager::Add(std::wstring const& name, std::unique_ptr<MMeshBase>&& mesh) {
    if (!mesh)
        return Report(NoMesh);
    auto const [entry, is_new] = m_meshes.try_emplace(name);
    if (is_new)
        entry->second.mesh = std::move(mesh);
    return Report(is_new ? NoFault : NameTaken);
}

MMeshBase* MMeshBaseManager::Get(std::wstring const& name) {
    Entry* const entry = Lookup(name);
    if (!Report(!entry ? UnknownName : entry->file.IsEmpty() ? NoFault : BringBack(*entry)))
        return nullptr;
    return entry->mesh.get();
}

bool MMeshBaseManager::SwapOut(std::wstring const& name) {
    Entry* const entry = Lookup(name);
    if (!entry)
        return Report(UnknownName);
    if (!entry->file.IsEmpty())
        return Report(NoFault);
    try {
        if (!MeshSwap::CanBeRestored(*entry->mesh))
            return Report(NotConsistent);
        return Report(WriteOne(*entry) ? NoFault : CannotWrite);
    } catch (std::bad_alloc const&) {
        return Report(NoMemory);
    }
}

std::unique_ptr<MMeshBase> MMeshBaseManager::Take(std::wstring const& name) {
    if (!Get(name))
        return nullptr;
    return std::move(m_meshes.extract(name).mapped().mesh);
}

bool MMeshBaseManager::Remove(std::wstring const& name) {
    Entry* const entry = Lookup(name);
    if (!entry)
        return Report(UnknownName);
    if (!entry->file.IsEmpty())
        RemoveFile(entry->file);
    m_meshes.erase(name);
    return Report(NoFault);
}

bool MMeshBaseManager::IsInMemory(std::wstring const& name) const {
    auto const found = m_meshes.find(name);
    return found != m_meshes.end() && found->second.file.IsEmpty();
}

std::vector<std::wstring> MMeshBaseManager::GetNames() const {
    std::vector<std::wstring> names;
    for (auto const& [name, entry] : m_meshes)
        names.push_back(name);
    return names;
}

std::size_t MMeshBaseManager::MemoryUsed() const {
    std::size_t bytes = 0;
    for (auto const& [name, entry] : m_meshes)
        bytes += entry.mesh->MemoryUsed();
    return bytes;
}

MMeshBaseManager::Entry* MMeshBaseManager::Lookup(std::wstring const& name) noexcept {
    auto const found = m_meshes.find(name);
    return found == m_meshes.end() ? nullptr : &found->second;
}

bool MMeshBaseManager::Report(Fault fault) noexcept {
    m_fault = fault;
    return fault == NoFault;
}

// The mesh is touched last, once the file has its name and reads back whole.
bool MMeshBaseManager::WriteOne(Entry& entry) {
    MFileName const path = GetFolder() / (std::to_string(m_files++) + ".mesh");
    MFileName const beside = path.WithExtension(".part");
    entry.sub_volumes = MeshSwap::SubVolumesOf(*entry.mesh);
    PassingChecksum checksum;
    MFile file(beside, MFile::Mode::Write);
    file.SetObserver(&checksum);
    try {
        if (file.IsOpen())
            MeshSwap::Write(*entry.mesh, file);
    } catch (std::bad_alloc const&) {
        RemoveFile(beside);
        throw;
    }
    file.Sync();
    std::error_code error;
    if (!file.Close() || (std::filesystem::rename(beside.GetPath(), path.GetPath(), error), error)) {
        RemoveFile(beside);
        return false;
    }
    if (HashOf(path) != checksum.Get()) {
        RemoveFile(path);
        return false;
    }
    entry.hash = checksum.Get();
    entry.file = path;
    MeshSwap::Release(*entry.mesh);
    return true;
}

MMeshBaseManager::Fault MMeshBaseManager::BringBack(Entry& entry) noexcept {
    try {
        if (!MeshSwap::IsReleased(*entry.mesh))
            return MeshChanged;
        std::optional<std::uint64_t> const hash = HashOf(entry.file);
        if (!hash)
            return FileLost;
        if (*hash != entry.hash)
            return FileChanged;
        MFile file(entry.file, MFile::Mode::Read);
        MeshSwap::Restore(*entry.mesh, file, entry.sub_volumes);
    } catch (std::bad_alloc const&) {
        return NoMemory;
    } catch (std::runtime_error const&) {
        return MeshChanged; // the file is the one that was written
    }
    RemoveFile(std::exchange(entry.file, MFileName()));
    return NoFault;
}

MMeshBaseManager::TempStateSwitch::TempStateSwitch(MMeshBaseManager& manager, std::wstring name)
    : m_manager(manager)
    , m_name(std::move(name)) {
    bool const was_in_memory = m_manager.IsInMemory(m_name);
    m_out = m_manager.SwapOut(m_name) && was_in_memory;
    m_fault = m_manager.GetLastFault();
}

MMeshBaseManager::TempStateSwitch::~TempStateSwitch() {
    Restore();
}

bool MMeshBaseManager::TempStateSwitch::Restore() {
    if (!m_out)
        return true;
    m_out = m_manager.Get(m_name) == nullptr;
    m_fault = m_manager.GetLastFault();
    return !m_out;
}
