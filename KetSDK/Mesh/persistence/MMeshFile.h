// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Base/MFileName.h>
#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

// Why a mesh file could not be read or written; what() is "invalid state".
class KETSDK_MESH_API MMeshFileError : public std::runtime_error {
public:
    enum Fault : int {
        CannotOpen = 0,      // there is no such file, or it may not be read or written
        NotAMeshFile = 1,    // something else than a mesh file
        NewerVersion = 2,    // written by a newer program; see GetVersion
        ChecksumDiffers = 3, // cut off or changed after it was written
        BadContent = 4,      // whole, but what it holds makes no mesh
        CannotWrite = 5,     // the disk is full or gone
    };
    explicit MMeshFileError(Fault fault, std::uint32_t version = 0);
    ~MMeshFileError() override;

    Fault GetFault() const noexcept { return m_fault; }
    // The format version of a file that is too new; 0 otherwise.
    std::uint32_t GetVersion() const noexcept { return m_version; }

private:
    Fault m_fault;
    std::uint32_t m_version;
};

// A whole mesh in one file: a header with the format version, the tags of the mesh, further arrays, and a
// checksum over all of it.
class KETSDK_MESH_API MMeshFile {
public:
    enum Encoding : int { Binary = 0, Text = 1 };
    static constexpr std::uint32_t Version = 1;

    struct Content {
        std::unique_ptr<MMeshBase> mesh;
        // The named scalar fields that were registered with the mesh, registered with the new one.
        std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> fields;
        std::vector<MMeshArray> arrays;
        std::optional<KetSDK::Mesh::CoordinateFrame> frame; // of the coordinates, where the file says it
        Encoding encoding = Binary;
    };

    // Writes a mesh, its named scalar fields, the arrays and the frame of the coordinates under exactly this
    // name. Writing beside and renaming is the caller's, and so is what is left of a file that could not be
    // finished. Throws MMeshFileError: BadContent when the mesh is not consistent or an array does not fit
    // it. False when the user cancelled. The delegate may be null. Works on several threads when parallel;
    // the file is the same.
    static bool Save(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays, MFileName const& path,
                     Encoding encoding, std::shared_ptr<KetSDK::Common::IProgressDelegate> progress,
                     std::optional<KetSDK::Mesh::CoordinateFrame> frame = std::nullopt,
                     bool parallel = false);
    // Reads what Save wrote; the encoding is seen from the file. Throws MMeshFileError. The mesh is null when
    // the user cancelled. Memory grows with what was really read; from a binary file the mesh is read
    // without being held twice. Works on several threads when parallel; the mesh is the same.
    static Content Load(MFileName const& path, std::shared_ptr<KetSDK::Common::IProgressDelegate> progress,
                        bool parallel = false);
};
