// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Keeps meshes by name, more of them than memory holds. A mesh that is not needed for a while is written to a
// temporary file and its memory given back. The next access brings it back.
//
// The mesh object itself stays at its address, with its sub-volumes, catalog, flags and mask containers. User
// masks stay registered and have their values when the mesh is back; masks may be registered and may die in
// the meantime. Nodes and elements come back with their order, mask indices and built-in values at other
// addresses: whoever holds pointers to them, to built-in masks or to iterators takes new ones. Neighbour
// information, the neighbour mask and the correspondence mapper are gone and are made anew by who needs them.
// While it is out, a mesh has no nodes and no elements, and none may be added. Its sub-volumes may be sorted,
// removed and added: elements come back in theirs, under its new number, and in none where it has gone.
//
// The files lie in a folder that only this user can read. It goes with the manager; what an earlier run left
// behind when it crashed goes when a manager is made. Nothing throws but the constructors (and std::bad_alloc
// where memory ends). Used by one thread at a time.
class KETSDK_MESH_API MMeshBaseManager {
public:
    // Why an operation returned false or null.
    enum Fault : int {
        NoFault = 0,
        UnknownName = 1, // there is no mesh of this name
        NameTaken = 2,   // there is one already
        NoMesh = 3,      // null instead of a mesh
        CannotWrite = 4, // the disk is full or gone; the mesh is still in memory
        FileLost = 5,    // the file cannot be opened or read
        FileChanged = 6, // the file is not what was written
        MeshChanged = 7, // nodes or elements were added, or the mesh was cleared, while it was out
        NoMemory = 8,    // too little to bring the mesh back, or to write it
        // The mesh could not be read back and is still in memory. It has elements of unknown kinds or with
        // nodes of no mesh or another one, or nodes or elements that share a mask index.
        NotConsistent = 9,
    };
    class TempStateSwitch;

    // Writes into the system's folder for temporary files, or into an existing one of the caller's choice.
    // Throws std::runtime_error("invalid state") when no folder can be made there.
    MMeshBaseManager();
    explicit MMeshBaseManager(MFileName const& parent);
    MMeshBaseManager(MMeshBaseManager const&) = delete;
    MMeshBaseManager& operator=(MMeshBaseManager const&) = delete;
    // Deletes the meshes, in memory or not, and their files.
    ~MMeshBaseManager();

    // Takes over a mesh. False (and the caller keeps it) when it is null or the name is taken.
    bool Add(std::wstring const& name, std::unique_ptr<MMeshBase>&& mesh);
    // The mesh, brought back when it is out; it belongs to the manager. Null for an unknown name and when it
    // cannot be brought back: it then stays as it is, for another try once its file is there again.
    MMeshBase* Get(std::wstring const& name);
    // Writes the mesh to its file and gives its memory back, which happens only after all of it is on the
    // disk. True also for a mesh that is out already. False leaves the mesh in memory.
    bool SwapOut(std::wstring const& name);
    // Brings the mesh back, as Get does, and hands it over to the caller. Null as with Get.
    std::unique_ptr<MMeshBase> Take(std::wstring const& name);
    // Deletes the mesh and its file. False for an unknown name.
    bool Remove(std::wstring const& name);

    bool Contains(std::wstring const& name) const { return m_meshes.contains(name); }
    // False for an unknown name, too.
    bool IsInMemory(std::wstring const& name) const;
    // All names, sorted.
    std::vector<std::wstring> GetNames() const;
    // Bytes held by the meshes that are in memory, and by the user masks of the others.
    std::size_t MemoryUsed() const;
    // What the last operation that returns false or null came to; NoFault when it went well.
    Fault GetLastFault() const noexcept { return m_fault; }
    // Where the files are.
    MFileName const& GetFolder() const noexcept { return m_folder.GetPath(); }

private:
    struct Entry {
        std::unique_ptr<MMeshBase> mesh;
        MFileName file;                           // empty while the mesh is in memory
        std::uint64_t hash = 0;                   // of the file
        std::map<int, std::uint64_t> sub_volumes; // by the number that elements in the file carry: identities
    };

    Entry* Lookup(std::wstring const& name) noexcept;
    bool Report(Fault fault) noexcept;
    bool WriteOne(Entry& entry);
    Fault BringBack(Entry& entry) noexcept;

    MTemporaryDirectory m_folder;
    std::map<std::wstring, Entry> m_meshes;
    std::uint64_t m_files = 0; // written so far
    Fault m_fault = NoFault;
};

// Has a mesh out of memory for a scope:
//
//     MMeshBaseManager::TempStateSwitch const out(manager, L"skull");
//     ... what needs the memory, and may throw ...
//
// Every way out of the scope brings it back, unless it was out before. The destructor cannot report: when it
// fails, the mesh stays out and safe with the manager, and the next Get tries again and says why. Whoever
// wants to hear it calls Restore() first. The manager outlives the switch.
class KETSDK_MESH_API MMeshBaseManager::TempStateSwitch {
public:
    // Swaps the mesh out. When that fails it stays in memory, and GetFault() says why.
    TempStateSwitch(MMeshBaseManager& manager, std::wstring name);
    TempStateSwitch(TempStateSwitch const&) = delete;
    TempStateSwitch& operator=(TempStateSwitch const&) = delete;
    ~TempStateSwitch();

    // Whether this switch put the mesh out and has not restored it yet.
    bool IsOut() const noexcept { return m_out; }
    // Brings the mesh back now. True when there is nothing to do, too; false leaves it out, GetFault() says
    // why, and it can be tried again.
    bool Restore();
    Fault GetFault() const noexcept { return m_fault; }

private:
    MMeshBaseManager& m_manager;
    std::wstring m_name;
    bool m_out = false;
    Fault m_fault = NoFault;
};
