// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryReader.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/Mesh/persistence/MMeshFrameArray.h>
#include <KetSDK/Mesh/persistence/MSAXMeshBase.h>
#include <KetSDK/Mesh/persistence/detail/Checksum.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

using KetSDK::Common::IncrementalProgressReporter;
using KetSDK::Common::IProgressDelegate;

// A binary file is the signature, the version and a zero (32 bits each), the document in the binary encoding,
// and the checksum (64 bits). A text file is the document, whose outermost tag carries the version, and the
// checksum in a comment. The checksum is XXH3 of all bytes before it, its comment included.

namespace {

constexpr std::string_view BinarySignature = "\x89KMESH\r\n";
constexpr std::string_view TextSignature = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<KetMesh Version=\"";
constexpr std::string_view CommentBegin = "<!--XXH3 ";
constexpr std::string_view CommentEnd = "-->\n";
constexpr std::size_t HashDigits = 16;
constexpr std::size_t BinaryTrailerSize = sizeof(std::uint64_t);
constexpr std::size_t TextTrailerSize = CommentBegin.size() + HashDigits + CommentEnd.size();

constexpr wchar_t const* DocumentTag = L"KetMesh";
constexpr wchar_t const* MeshTag = L"MeshBase";
constexpr wchar_t const* ArrayTag = L"Array";

using Fault = MMeshFileError;

[[noreturn]] void Throw(MMeshFileError::Fault fault, std::uint32_t version = 0) {
    throw MMeshFileError(fault, version);
}

// The checksum of the bytes of a file that pass by, up to its trailer, and its progress.
class Watch : public MFileObserver {
public:
    // Bytes from `hashed_size` on belong to the trailer.
    Watch(std::uint64_t hashed_size, IncrementalProgressReporter& reporter)
        : m_hashed_size(hashed_size)
        , m_reporter(reporter) {}

    bool OnBytes(std::byte const* bytes, std::size_t size) override {
        std::uint64_t const left = m_hashed_size - std::min(m_position, m_hashed_size);
        auto const hashed = static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
        m_checksum.Add(bytes, hashed);
        m_trailer.append(reinterpret_cast<char const*>(bytes) + hashed, size - hashed);
        m_position += size;
        m_reporter = m_position;
        m_cancelled = m_cancelled || m_reporter.IsCancelled();
        return !m_cancelled;
    }

    std::uint64_t GetHash() const noexcept { return m_checksum.Get(); }
    bool IsCancelled() const noexcept { return m_cancelled; }
    std::string const& GetTrailer() const noexcept { return m_trailer; }

private:
    KetSDK::Mesh::Detail::Checksum m_checksum;
    std::uint64_t m_hashed_size;
    std::uint64_t m_position = 0;
    std::string m_trailer;
    bool m_cancelled = false;
    IncrementalProgressReporter& m_reporter;
};

std::string Trailer(MMeshFile::Encoding encoding, std::uint64_t hash) {
    std::string trailer;
    if (encoding == MMeshFile::Binary) {
        for (unsigned int shift = 0; shift < 64; shift += 8)
            trailer.push_back(static_cast<char>((hash >> shift) & 0xFF));
        return trailer;
    }
    trailer = CommentBegin;
    for (unsigned int shift = 64; shift > 0; shift -= 4)
        trailer.push_back("0123456789abcdef"[(hash >> (shift - 4)) & 0xF]);
    return trailer.append(CommentEnd);
}

// Arrays

bool FitsMesh(MMeshArray const& array, MMeshBase const& mesh) {
    std::size_t const size = std::visit([](auto const& values) { return values.size(); }, array.values);
    if (array.components == 0 || size % array.components != 0)
        return false;
    std::uint64_t const objects = size / array.components;
    switch (array.place) {
    case MMeshArray::OnNodes:
        return objects == static_cast<std::uint64_t>(mesh.NumberOfPoints());
    case MMeshArray::OnElements:
        return objects == mesh.Elements().GetNumElements();
    default:
        return array.place == MMeshArray::OnMesh;
    }
}

// An array as a tag.
class ArrayReader : public ISAXPersistBase {
public:
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override {
        std::int32_t place = 0;
        if (tag == L"Name") {
            reader.Read(array.name);
        } else if (tag == L"Place") {
            reader.Read(place);
            array.place = static_cast<MMeshArray::Place>(place);
        } else if (tag == L"Components") {
            reader.Read(array.components);
        } else if (tag == L"Type") {
            reader.Read(array.type);
        } else if (tag == L"Integers") {
            reader.ReadArray(array.values.emplace<std::vector<std::int32_t>>());
        } else if (tag == L"Reals") {
            reader.ReadArray(array.values.emplace<std::vector<double>>());
        } else {
            return false;
        }
        return true;
    }

    MMeshArray array;
};

void Write(MSAXWriter& writer, MMeshArray const& array) {
    MSAXTagWriter const tag(writer, ArrayTag);
    writer.WriteTag(L"Name", array.name);
    writer.WriteTag(L"Place", static_cast<std::int32_t>(array.place));
    writer.WriteTag(L"Components", array.components);
    writer.WriteTag(L"Type", array.type);
    bool const integers = std::holds_alternative<std::vector<std::int32_t>>(array.values);
    MSAXTagWriter const values(writer, integers ? L"Integers" : L"Reals");
    // In pieces, between which the user can cancel.
    std::visit(
        [&writer](auto const& all) {
            constexpr std::size_t piece = 1 << 16;
            for (std::size_t i = 0; i < all.size(); i += piece)
                writer.WriteArray(std::span(all).subspan(i, std::min(piece, all.size() - i)));
        },
        array.values);
}

// The document

class DocumentReader : public ISAXPersistBase {
public:
    DocumentReader(MMeshBase& mesh, bool parallel)
        : m_receiver(mesh)
        , m_mesh(&mesh) {
        m_mesh.SetParallel(parallel);
    }

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override {
        if (tag == MeshTag && !std::exchange(m_has_mesh, true))
            reader.Read(m_mesh);
        else if (tag == ArrayTag)
            reader.Read(*m_arrays.emplace_back(std::make_unique<ArrayReader>()));
        else
            return false;
        return true;
    }

    void InitAfterLoading() override {
        bool const fit = std::all_of(m_arrays.begin(), m_arrays.end(), [this](auto const& reader) {
            return FitsMesh(reader->array, m_receiver);
        });
        if (!m_has_mesh || !fit)
            throw std::runtime_error("invalid state");
    }

    void HandOver(MMeshFile::Content& content) {
        content.fields = m_mesh.TakeFields();
        for (auto const& reader : m_arrays)
            content.arrays.push_back(std::move(reader->array));
        content.frame = TakeFrame(content.arrays);
    }

private:
    MMeshBase& m_receiver;
    MSAXMeshBase m_mesh;
    bool m_has_mesh = false;
    std::vector<std::unique_ptr<ArrayReader>> m_arrays;
};

bool WriteDocument(MSAXWriter& writer, MMeshBase const& mesh, std::vector<MMeshArray> const& arrays,
                   std::optional<KetSDK::Mesh::CoordinateFrame> frame, bool parallel) {
    MSAXTagWriter const document(writer, DocumentTag);
    writer.WriteAttribute(L"Version", std::uint64_t{MMeshFile::Version});
    MSAXMeshBase tags(&mesh);
    tags.SetParallel(parallel);
    bool const written = tags.Write(writer);
    for (MMeshArray const& array : arrays)
        Write(writer, array);
    if (frame)
        Write(writer, MakeFrameArray(*frame));
    return written;
}

// Header

struct Header {
    MMeshFile::Encoding encoding;
    std::uint32_t version;
};

std::string Beginning(MFileName const& path) {
    MFile file(path, MFile::Mode::Read);
    if (!file.IsGood())
        Throw(Fault::CannotOpen);
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(file.Size(), 80)), '\0');
    file.Read(bytes.data(), bytes.size());
    if (!file.IsGood())
        Throw(Fault::CannotOpen);
    return bytes;
}

// What is left of a mesh file that was cut off in its header.
bool IsCutHeader(std::string_view bytes) {
    return !bytes.empty() && (BinarySignature.starts_with(bytes) || TextSignature.starts_with(bytes));
}

Header ReadHeader(MFileName const& path) {
    std::string const bytes = Beginning(path);
    std::string_view const view = bytes;
    std::uint32_t version = 0;
    if (view.starts_with(BinarySignature)) {
        std::string_view const number = view.substr(BinarySignature.size(), sizeof version);
        if (number.size() < sizeof version)
            Throw(Fault::ChecksumDiffers);
        for (unsigned int i = 0; i < sizeof version; ++i)
            version |= static_cast<std::uint32_t>(static_cast<unsigned char>(number[i])) << (8 * i);
        return {MMeshFile::Binary, version};
    }
    if (view.starts_with(TextSignature)) {
        char const* const begin = view.data() + TextSignature.size();
        auto const [end, error] = std::from_chars(begin, view.data() + view.size(), version);
        if (end == view.data() + view.size())
            Throw(Fault::ChecksumDiffers);
        if (error != std::errc() || *end != '"')
            Throw(Fault::NotAMeshFile);
        return {MMeshFile::Text, version};
    }
    Throw(IsCutHeader(view) ? Fault::ChecksumDiffers : Fault::NotAMeshFile);
}

// Reads the document; false when it makes no mesh. Where the file is whole nothing but the trailer is left.
bool ReadDocument(MFile& file, MMeshFile::Encoding encoding, MMeshFile::Content& content, bool parallel) {
    DocumentReader document(*content.mesh, parallel);
    try {
        if (encoding == MMeshFile::Binary) {
            std::array<char, BinarySignature.size() + 2 * sizeof(std::uint32_t)> header;
            file.Read(header.data(), header.size());
            MSAXBinaryReader(file).ReadDocument(DocumentTag, document);
            if (file.BytesLeft() != BinaryTrailerSize)
                return false;
        } else {
            MSAXTextReader(file, parallel).ReadDocument(DocumentTag, document);
        }
    } catch (std::runtime_error const&) {
        return false;
    }
    document.HandOver(content);
    return true;
}

void ReadToTheEnd(MFile& file) {
    std::byte bytes[4096];
    while (file.BytesLeft() > 0 && file.IsGood())
        file.Read(bytes, static_cast<std::size_t>(std::min<std::uint64_t>(file.BytesLeft(), sizeof bytes)));
}

// About as many bytes as the mesh takes in a file, for the progress.
std::uint64_t ExpectedSize(MMeshBase const& mesh, MMeshFile::Encoding encoding) {
    auto const points = static_cast<std::uint64_t>(mesh.NumberOfPoints());
    std::uint64_t const elements = mesh.Elements().GetNumElements();
    std::uint64_t const nodes = elements > 0 ? mesh.GetElement(0)->GetNodeCount() : 0;
    return (encoding == MMeshFile::Binary ? 4 : 7) * (3 * points + (1 + nodes + 4) * elements) + 1024;
}

} // namespace

MMeshFileError::MMeshFileError(Fault fault, std::uint32_t version)
    : std::runtime_error("invalid state")
    , m_fault(fault)
    , m_version(version) {}

MMeshFileError::~MMeshFileError() = default;

bool MMeshFile::Save(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays, MFileName const& path,
                     Encoding encoding, std::shared_ptr<IProgressDelegate> progress,
                     std::optional<KetSDK::Mesh::CoordinateFrame> frame, bool parallel) {
    if (!std::all_of(arrays.begin(), arrays.end(),
                     [&mesh](MMeshArray const& array) { return FitsMesh(array, mesh); }))
        Throw(Fault::BadContent);
    MFile file(path, MFile::Mode::Write);
    if (!file.IsGood())
        Throw(Fault::CannotOpen);
    IncrementalProgressReporter reporter(progress, "Saving mesh", ExpectedSize(mesh, encoding), true);
    Watch watch(std::numeric_limits<std::uint64_t>::max(), reporter);
    file.SetObserver(&watch);
    bool written = false;
    if (encoding == Binary) {
        file.Write(BinarySignature.data(), BinarySignature.size());
        file.WRITE(Version);
        file.WRITE(std::uint32_t{0});
        MSAXBinaryWriter writer(file);
        written = WriteDocument(writer, mesh, arrays, frame, parallel);
    } else {
        MSAXTextWriter writer(file, parallel);
        written = WriteDocument(writer, mesh, arrays, frame, parallel);
    }
    file.Flush();
    if (watch.IsCancelled())
        return false;
    file.SetObserver(nullptr);
    std::string const trailer = Trailer(encoding, watch.GetHash());
    file.Write(trailer.data(), trailer.size());
    if (!file.Close())
        Throw(Fault::CannotWrite);
    if (!written)
        Throw(Fault::BadContent);
    return true;
}

MMeshFile::Content MMeshFile::Load(MFileName const& path, std::shared_ptr<IProgressDelegate> progress,
                                   bool parallel) {
    Header const header = ReadHeader(path);
    if (header.version > Version)
        Throw(Fault::NewerVersion, header.version);
    std::size_t const trailer_size = header.encoding == Binary ? BinaryTrailerSize : TextTrailerSize;
    MFile file(path, MFile::Mode::Read);
    if (!file.IsGood())
        Throw(Fault::CannotOpen);
    if (file.Size() < trailer_size)
        Throw(Fault::ChecksumDiffers);

    Content content;
    content.mesh = std::make_unique<MMeshBase>();
    content.encoding = header.encoding;
    IncrementalProgressReporter reporter(progress, "Loading mesh", file.Size(), true);
    Watch watch(file.Size() - trailer_size, reporter);
    file.SetObserver(&watch);
    bool const read = ReadDocument(file, header.encoding, content, parallel);
    ReadToTheEnd(file);
    if (watch.IsCancelled())
        return Content();
    // A document that makes no mesh is mostly one that was damaged: the checksum tells.
    if (watch.GetTrailer() != Trailer(header.encoding, watch.GetHash()))
        Throw(Fault::ChecksumDiffers);
    if (!read)
        Throw(Fault::BadContent);
    return content;
}
