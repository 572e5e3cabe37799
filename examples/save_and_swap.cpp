// SPDX-License-Identifier: BSD-3-Clause
// Keeps a mesh in a file that holds all of it, and more meshes than memory does: save_and_swap MESH
// OUTPUT.kmesh
//
// 1. Read a mesh.
// 2. Save it as .kmesh and load it again: nothing differs.
// 3. Hand it to a manager, which swaps it out to a private temporary file and back.
// 4. Hear of a damaged file from its error.
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshBaseManager.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <filesystem>
#include <iostream>

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: save_and_swap MESH OUTPUT.kmesh\n";
        return 1;
    }
    // 1.
    auto model = KetSDK::MeshJobs::ReadModel(argv[1], {}, {});

    // 2.
    MFileName const file(argv[2]);
    MMeshFile::Save(*model.mesh, model.arrays, file, MMeshFile::Binary, nullptr, model.frame);
    MMeshFile::Content content = MMeshFile::Load(file, nullptr);
    if (auto const difference = FindMeshDifference(*model.mesh, *content.mesh)) {
        std::cerr << *difference << "\n";
        return 1;
    }
    std::cout << "saved and loaded: equal\n";

    // 3.
    MMeshBaseManager manager;
    manager.Add(L"head", std::move(content.mesh));
    std::size_t const before = manager.MemoryUsed();
    if (!manager.SwapOut(L"head"))
        return 1;
    std::cout << before << " bytes in memory, " << manager.MemoryUsed() << " while it is swapped out\n";
    if (FindMeshDifference(*model.mesh, *manager.Get(L"head")))
        return 1;

    // 4.
    std::filesystem::resize_file(argv[2], std::filesystem::file_size(argv[2]) / 2);
    try {
        MMeshFile::Load(file, nullptr);
        return 1;
    } catch (MMeshFileError const& error) {
        std::cout << "half of the file is refused: " << error.what() << "\n";
        return error.GetFault() == MMeshFileError::ChecksumDiffers ? 0 : 1;
    }
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "save_and_swap: " << error.what() << "\n";
    return 1;
}
