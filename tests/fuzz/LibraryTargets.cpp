// SPDX-License-Identifier: BSD-3-Clause
// The library's own blocks and documents.
#include "FuzzTargets.h"

#include "../TestMeshes.h"
#include "Scratch.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/ISAXPersistBase.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryReader.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/Mesh/persistence/MSAXMeshBase.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace FuzzTargets {

namespace {

// Runs a reader of the library: true when it went through, false when it refused the file in the one way
// in which the library does.
bool IsAccepted(std::function<void()> const& read) {
    try {
        read();
        return true;
    } catch (std::runtime_error const& error) {
        if (error.what() != std::string_view("invalid state"))
            throw;
        return false;
    }
}

void Require(bool holds, char const* what) {
    if (!holds)
        throw std::logic_error(what);
}

// The bytes that something writes into a file.
std::vector<std::byte> Written(std::function<void(MFile&)> const& write) {
    MFileName const name = Scratch() / "written";
    MFile file(name, MFile::Mode::Write);
    write(file);
    Require(file.Close() && file.Open(name, MFile::Mode::Read), "what was written cannot be read");
    std::vector<std::byte> bytes(file.Size());
    file.Read(bytes.data(), bytes.size());
    return bytes;
}

// Whether the bytes begin with what is written.
bool BeginsWith(std::span<std::byte const> bytes, std::vector<std::byte> const& written) {
    return written.size() <= bytes.size() && std::ranges::equal(written, bytes.first(written.size()));
}

constexpr int MeshSize = 1; // the mesh that blocks are read for: 8 nodes, 6 elements

bool ConsumeNodeBlock(std::span<std::byte const> bytes) {
    MFile file(WriteScratch("nodes", bytes), MFile::Mode::Read);
    MMeshBase mesh;
    MMeshPointContainer nodes;
    if (!IsAccepted([&] { nodes.LoadPointsFromFile(&mesh, &file); })) {
        Require(nodes.GetNumPoints() == 0 && mesh.GetPointMasks()->GetCapacity() == 0,
                "a refused node block left something behind");
        return false;
    }
    Require(BeginsWith(bytes, Written([&](MFile& out) { nodes.SavePointsToFile(&out); })),
            "nodes are not those of the file");
    return true;
}

bool ConsumeElementBlock(std::span<std::byte const> bytes) {
    MFile file(WriteScratch("elements", bytes), MFile::Mode::Read);
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, MeshSize);
    std::uint64_t const capacity = mesh.GetElementMasks()->GetCapacity();
    MMeshElementContainer elements;
    if (!IsAccepted([&] { elements.LoadElementsFromFile(&mesh, &file); })) {
        Require(elements.GetNumElements() == 0 && mesh.GetElementMasks()->GetCapacity() == capacity,
                "a refused element block left something behind");
        return false;
    }
    Require(BeginsWith(bytes, Written([&](MFile& out) { elements.SaveElementsToFile(&out); })),
            "elements are not those of the file");
    return true;
}

// Masks that were read are the same after another round through a file; refused ones change nothing.
bool ConsumeMasks(std::span<std::byte const> bytes, void (*load)(MMeshBase&, MFile&),
                  void (*save)(MMeshBase&, MFile&)) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, MeshSize);
    auto const saved = [save](MMeshBase& of) { return Written([&](MFile& out) { save(of, out); }); };
    std::vector<std::byte> const before = saved(mesh);
    MFile file(WriteScratch("masks", bytes), MFile::Mode::Read);
    if (!IsAccepted([&] { load(mesh, file); })) {
        Require(saved(mesh) == before, "a refused mask block changed values");
        return false;
    }
    std::vector<std::byte> const once = saved(mesh);
    MMeshBase second;
    TestMeshes::FillWithCubes(second, MeshSize);
    MFile again(WriteScratch("masks", once), MFile::Mode::Read);
    load(second, again);
    Require(saved(second) == once, "values change on their way through a file");
    return true;
}

bool ConsumeElementMasks(std::span<std::byte const> bytes) {
    return ConsumeMasks(
        bytes,
        [](MMeshBase& mesh, MFile& file) { mesh.GetElementMasks()->LoadElementMaskFromFile(&mesh, &file); },
        [](MMeshBase& mesh, MFile& file) { mesh.GetElementMasks()->SaveElementMaskToFile(&mesh, &file); });
}

bool ConsumePointMasks(std::span<std::byte const> bytes) {
    return ConsumeMasks(
        bytes, [](MMeshBase& mesh, MFile& file) { mesh.GetPointMasks()->LoadMeshPointMaskFromFile(&file); },
        [](MMeshBase& mesh, MFile& file) { mesh.GetPointMasks()->SaveMeshPointMaskToFile(&file); });
}

// The state of a mesh that was read is the same after another round through a file, and so is the mesh; a
// refused one leaves the mesh as it was.
bool ConsumeState(std::span<std::byte const> bytes) {
    auto const load = [](std::span<std::byte const> state, MMeshBase& mesh) {
        MFile file(WriteScratch("state", state), MFile::Mode::Read);
        MStreamMFileIn in(file);
        mesh.LoadState(in);
    };
    auto const saved = [](MMeshBase& mesh) {
        return Written([&](MFile& file) {
            MStreamMFileOut out(file);
            mesh.SaveState(out);
        });
    };
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, MeshSize);
    if (!IsAccepted([&] { load(bytes, mesh); })) {
        MMeshBase untouched;
        TestMeshes::FillWithCubes(untouched, MeshSize);
        Require(!FindMeshDifference(mesh, untouched), "a refused state changed the mesh");
        return false;
    }
    mesh.GetVolume(); // touches every node of every element
    MMeshBase second;
    std::vector<std::byte> const once = saved(mesh);
    load(once, second);
    Require(saved(second) == once && !FindMeshDifference(mesh, second),
            "a mesh changes on its way through a file");
    return true;
}

// An object with a tag for every type of value, and with objects of its own kind inside.
struct AnyValues : ISAXPersistBase {
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override {
        std::wstring text;
        std::uint64_t number = 0;
        reader.ReadAttribute(L"DataType", text);
        reader.ReadAttribute(L"Count", number);
        if (tag == L"Parts") {
            std::array<double, 3> part;
            while (reader.ReadPart(std::span<double>(part)) == part.size()) {
            }
            return true;
        }
        if (tag == L"Object") {
            reader.Read(*children.emplace_back(std::make_unique<AnyValues>()));
            return true;
        }
        return ReadAs<bool>(tag == L"Bool", reader) || ReadAs<std::int32_t>(tag == L"Int", reader) ||
               ReadAs<std::uint32_t>(tag == L"Unsigned", reader) ||
               ReadAs<std::int64_t>(tag == L"Long", reader) ||
               ReadAs<std::uint64_t>(tag == L"UnsignedLong", reader) ||
               ReadAs<double>(tag == L"Double", reader) || ReadAs<std::wstring>(tag == L"Text", reader) ||
               ReadAs<std::vector<std::int32_t>>(tag == L"Ints", reader) ||
               ReadAs<std::vector<double>>(tag == L"Doubles", reader);
    }
    template <typename V>
    static bool ReadAs(bool is_this, MSAXReader& reader) {
        V value{};
        if constexpr (requires { reader.ReadArray(value); }) {
            if (is_this)
                reader.ReadArray(value);
        } else if (is_this) {
            reader.Read(value);
        }
        return is_this;
    }

    std::vector<std::unique_ptr<AnyValues>> children; // live until the document is read
};

// A document of values of every type, or a catalog, which is the same after another round through a file.
template <typename Reader, typename Writer>
bool ConsumeTags(std::span<std::byte const> bytes) {
    auto const read = [](std::span<std::byte const> document, wchar_t const* tag, ISAXPersistBase& object) {
        MFile file(WriteScratch("tags", document), MFile::Mode::Read);
        Reader(file).ReadDocument(tag, object);
    };
    auto const written = [](MMaterialCatalog const& catalog) {
        return Written([&](MFile& file) {
            Writer writer(file);
            Require(catalog.Write(writer), "the catalog cannot be written");
        });
    };
    MMaterialCatalog catalog;
    if (!IsAccepted([&] { read(bytes, L"MaterialCatalog", catalog); })) {
        AnyValues values;
        return IsAccepted([&] { read(bytes, L"Values", values); });
    }
    std::vector<std::byte> const once = written(catalog);
    MMaterialCatalog second;
    read(once, L"MaterialCatalog", second);
    Require(written(second) == once, "the catalog changes on its way through a file");
    return true;
}

// Whole meshes go through a file of either encoding unchanged; a refused one leaves the mesh as it was.
template <typename Reader>
bool ConsumeMeshTagsWith(std::span<std::byte const> bytes) {
    auto const read = [](std::span<std::byte const> document, MMeshBase& mesh) {
        MFile file(WriteScratch("mesh", document), MFile::Mode::Read);
        MSAXMeshBase tags(&mesh);
        Reader(file).ReadDocument(L"MeshBase", tags);
    };
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, MeshSize);
    if (!IsAccepted([&] { read(bytes, mesh); })) {
        MMeshBase untouched;
        TestMeshes::FillWithCubes(untouched, MeshSize);
        Require(!FindMeshDifference(mesh, untouched), "refused tags changed the mesh");
        return false;
    }
    mesh.GetVolume(); // touches every node of every element
    std::vector<std::byte> const written = Written([&mesh](MFile& file) {
        MSAXBinaryWriter writer(file);
        Require(MSAXMeshBase(&mesh).Write(writer), "the mesh cannot be written");
    });
    MMeshBase second;
    MFile file(WriteScratch("mesh", written), MFile::Mode::Read);
    MSAXMeshBase tags(&second);
    MSAXBinaryReader(file).ReadDocument(L"MeshBase", tags);
    Require(!FindMeshDifference(mesh, second), "a mesh changes on its way through a file");
    return true;
}

bool ConsumeMeshTags(std::span<std::byte const> bytes) {
    bool const is_text = !bytes.empty() && bytes.front() == std::byte{'<'};
    return is_text ? ConsumeMeshTagsWith<MSAXTextReader>(bytes)
                   : ConsumeMeshTagsWith<MSAXBinaryReader>(bytes);
}

bool ConsumeMeshFile(std::span<std::byte const> bytes) {
    return IsAccepted([path = WriteScratch("file.kmesh", bytes)] {
        MMeshFile::Content const content = MMeshFile::Load(path, nullptr);
        Require(content.mesh != nullptr, "there is no mesh");
        content.mesh->GetVolume();
    });
}

} // namespace

std::vector<Target> LibraryTargets() {
    return {{"node_block", ConsumeNodeBlock},
            {"element_block", ConsumeElementBlock},
            {"element_masks", ConsumeElementMasks},
            {"point_masks", ConsumePointMasks},
            {"mesh_state", ConsumeState},
            {"text_tags", ConsumeTags<MSAXTextReader, MSAXTextWriter>},
            {"binary_tags", ConsumeTags<MSAXBinaryReader, MSAXBinaryWriter>},
            {"mesh_tags", ConsumeMeshTags}, // the content of mesh files, which a checksum covers otherwise
            {"mesh_file", ConsumeMeshFile}};
}

} // namespace FuzzTargets
