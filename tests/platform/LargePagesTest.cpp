// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/MArenaAllocator.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <new>
#include <thread>
#include <utility>
#include <vector>

using namespace KetSDK::Support;

namespace {

constexpr std::size_t Megabyte = std::size_t{1} << 20;

bool IsFilledWith(void const* memory, unsigned char value, std::size_t bytes) {
    auto const* const all = static_cast<unsigned char const*>(memory);
    for (std::size_t i = 0; i < bytes; i += 4096)
        if (all[i] != value)
            return false;
    return all[bytes - 1] == value;
}

// Bytes of memory that the process holds.
std::int64_t Resident() {
    std::int64_t all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

} // namespace

TEST(LargePages, PiecesInUseNeverOverlap) {
    // Freed pieces go from thread to thread: who gets one twice would find another's bytes in it.
    auto const work = [](unsigned char value, bool& intact) {
        std::vector<std::pair<void*, std::size_t>> pieces;
        for (unsigned int round = 0; round < 200; ++round) {
            std::size_t const unit = round % 2 == 0 ? Megabyte : Megabyte / 16;
            std::size_t const bytes = (2 + (round * value) % 3) * unit + round % 7;
            pieces.emplace_back(AllocateInLargePages(bytes), bytes);
            std::memset(pieces.back().first, value, bytes);
            if (pieces.size() < 4)
                continue;
            auto const [memory, size] = pieces[round % 4];
            intact = intact && IsFilledWith(memory, value, size);
            FreeInLargePages(memory, size);
            pieces.erase(pieces.begin() + round % 4);
        }
        for (auto const& [memory, size] : pieces)
            FreeInLargePages(memory, size);
    };
    bool intact[3] = {true, true, true};
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < 3; ++i)
        threads.emplace_back([&, i] { work(static_cast<unsigned char>(i + 1), intact[i]); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(intact[0] && intact[1] && intact[2]);
    ReleaseKeptMemory();
}

TEST(LargePages, MoreThanCanBeAddressedIsRefused) {
    EXPECT_THROW((void)MLargePageAllocator<std::uint64_t>().allocate(SIZE_MAX / 8), std::bad_alloc);
}

TEST(LargePages, NoMoreIsKeptThanTheProcessSays) {
    if (!KeepsFreedMemory())
        GTEST_SKIP() << "nothing is kept in this build";
    constexpr std::size_t bytes = 64 * Megabyte;
    constexpr std::int64_t half = bytes / 2;
    std::int64_t const before = Resident();
    auto const use = [] {
        void* const piece = AllocateInLargePages(bytes);
        std::memset(piece, 1, bytes);
        FreeInLargePages(piece, bytes);
    };
    SetMostKeptMemory(bytes - 1);
    use();
    EXPECT_LT(Resident() - before, half);
    SetMostKeptMemory(bytes);
    use();
    EXPECT_GT(Resident() - before, half);
    SetMostKeptMemory(bytes - 1); // less than is kept
    EXPECT_LT(Resident() - before, half);
    SetMostKeptMemory(256 * Megabyte);
}
