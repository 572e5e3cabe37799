// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/ArrayRoom.h>

#include <KetSDK/Support/MArenaAllocator.h>

#include <vtkAbstractArray.h>
#include <vtkBitArray.h>
#include <vtkDataArray.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::size_t Fewest = std::size_t{4} << 20;     // bytes of all arrays
constexpr std::size_t Shortest = std::size_t{1} << 17;   // array
constexpr std::size_t PieceSize = std::size_t{16} << 20; // but for longer arrays
constexpr std::size_t Alignment = 64;

} // namespace

struct ArrayRoom::Piece {
    explicit Piece(std::size_t size)
        : bytes(size)
        , memory(static_cast<std::byte*>(Support::AllocateInLargePages(size))) {}
    Piece(Piece const&) = delete;
    Piece& operator=(Piece const&) = delete;
    ~Piece() { Support::FreeInLargePages(memory, bytes); }

    std::size_t bytes;
    std::byte* memory;
};

// Which piece the memory of each array lies in: VTK says no more than its place when it is free. Never
// destroyed, since arrays may live as long as the process.
class ArrayRoom::Owners {
public:
    static Owners& Get() {
        static auto* const owners = new Owners;
        return *owners;
    }
    void Add(void* memory, std::shared_ptr<Piece> piece) {
        std::scoped_lock const lock(m_lock);
        m_pieces.emplace(memory, std::move(piece));
    }
    static void Remove(void* memory) {
        Owners& owners = Get();
        std::unordered_map<void*, std::shared_ptr<Piece>>::node_type last; // outlives the lock
        std::scoped_lock const lock(owners.m_lock);
        last = owners.m_pieces.extract(memory);
    }

private:
    std::mutex m_lock;
    std::unordered_map<void*, std::shared_ptr<Piece>> m_pieces;
};

ArrayRoom::ArrayRoom(std::size_t expected)
    : m_is_needed(expected >= Fewest) {}

void ArrayRoom::Take(vtkDataArray& array, vtkIdType kept) {
    auto const count = array.GetNumberOfValues();
    auto const value_bytes = static_cast<std::size_t>(array.GetDataTypeSize());
    std::size_t const bytes = static_cast<std::size_t>(count) * value_bytes;
    if (!m_is_needed || bytes < Shortest || !array.HasStandardMemoryLayout() ||
        vtkBitArray::SafeDownCast(&array))
        return;
    if (!m_piece || m_piece->bytes - m_used < bytes) {
        m_piece = std::make_shared<Piece>(std::max(bytes, PieceSize));
        m_used = 0;
    }
    std::byte* const memory = m_piece->memory + m_used;
    Owners::Get().Add(memory, m_piece);
    m_used = std::min((m_used + bytes + Alignment - 1) / Alignment * Alignment, m_piece->bytes);
    std::memcpy(memory, array.GetVoidPointer(0), static_cast<std::size_t>(kept) * value_bytes);
    array.SetVoidArray(memory, count, 0, vtkAbstractArray::VTK_DATA_ARRAY_USER_DEFINED);
    array.SetArrayFreeFunction(Owners::Remove);
}

} // namespace KetSDK::MeshVTK::Detail
