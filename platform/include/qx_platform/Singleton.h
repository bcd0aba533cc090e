#pragma once

#include <atomic>

#include "qx_platform/Lock.h"

namespace qxp {

// The double-checked creation every singleton of the script library uses: the slot is read
// without a lock, and only an empty slot is filled under the static-object lock.
template <class T, class Make>
T* DoubleCheckedInstance(std::atomic<T*>& slot, Make make) {
    T* p = slot.load(std::memory_order_acquire);
    if (p == nullptr) {
        LockGuard<RecursiveMutex> guard(StaticObjectLock());
        p = slot.load(std::memory_order_relaxed);
        if (p == nullptr) {
            p = make();
            slot.store(p, std::memory_order_release);
        }
    }
    return p;
}

template <class T>
T* DoubleCheckedInstance(std::atomic<T*>& slot) {
    return DoubleCheckedInstance(slot, [] { return new T(); });
}

// Deletes the instance under the static-object lock and empties the slot.
template <class T>
void DoubleCheckedDestroy(std::atomic<T*>& slot) {
    if (slot.load(std::memory_order_acquire) == nullptr) return;
    LockGuard<RecursiveMutex> guard(StaticObjectLock());
    T* p = slot.exchange(nullptr, std::memory_order_acq_rel);
    delete p;
}

}  // namespace qxp
