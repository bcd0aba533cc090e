#pragma once

#include <memory>

#include "qx_platform/Export.h"

namespace qxp {

// Thread locks of the host, over ACE. A lock that cannot be taken does not stop the caller:
// the guards below record the failure in errno, run unlocked and skip the release.

class QXP_API Mutex {
  public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    int acquire();  // 0 on success, -1 with errno set
    int release();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class RecursiveMutex;
QXP_API RecursiveMutex& StaticObjectLock();

// Recursive mutex: the same thread may take it again.
class QXP_API RecursiveMutex {
  public:
    RecursiveMutex();
    ~RecursiveMutex();
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;
    int acquire();
    int release();

  private:
    friend RecursiveMutex& StaticObjectLock();
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class QXP_API RWMutex {
  public:
    RWMutex();
    ~RWMutex();
    RWMutex(const RWMutex&) = delete;
    RWMutex& operator=(const RWMutex&) = delete;
    int acquire_read();
    int acquire_write();
    int release();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

template <class M>
class LockGuard {
  public:
    explicit LockGuard(M& m) : m_(m), locked_(m.acquire() == 0) {}
    ~LockGuard() {
        if (locked_) m_.release();
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    bool locked() const { return locked_; }

  private:
    M& m_;
    bool locked_;
};

class ReadGuard {
  public:
    explicit ReadGuard(RWMutex& m) : m_(m), locked_(m.acquire_read() == 0) {}
    ~ReadGuard() {
        if (locked_) m_.release();
    }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;
    bool locked() const { return locked_; }

  private:
    RWMutex& m_;
    bool locked_;
};

class WriteGuard {
  public:
    explicit WriteGuard(RWMutex& m) : m_(m), locked_(m.acquire_write() == 0) {}
    ~WriteGuard() {
        if (locked_) m_.release();
    }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;
    bool locked() const { return locked_; }

  private:
    RWMutex& m_;
    bool locked_;
};

// StaticObjectLock(): the process-wide lock under which singletons are created and destroyed
// (ACE's static-object lock). Recursive, so that one singleton's constructor may ask for
// another. The wrapper lives for the whole process.

}  // namespace qxp
