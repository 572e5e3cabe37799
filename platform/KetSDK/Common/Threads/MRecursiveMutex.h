// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <mutex>

// A mutex that the thread that holds it may lock again. Meets the standard's Lockable
// requirements, so that std::scoped_lock takes it. Safe to use from any thread.
class MRecursiveMutex {
public:
    MRecursiveMutex() = default;
    MRecursiveMutex(MRecursiveMutex const&) = delete;
    MRecursiveMutex& operator=(MRecursiveMutex const&) = delete;

    // Waits until the mutex is free or held by this thread.
    void Lock() { m_mutex.lock(); }
    // Gives back one lock; the mutex is free when all of this thread's are given back.
    void Unlock() { m_mutex.unlock(); }
    // Takes the mutex without waiting. False when another thread holds it.
    bool TryLock() { return m_mutex.try_lock(); }

    // The same under the names that the standard's lock classes call.
    void lock() { Lock(); }
    void unlock() { Unlock(); }
    bool try_lock() { return TryLock(); }

private:
    std::recursive_mutex m_mutex;
};
