#pragma once

#include <memory>

#include "qx_platform/Export.h"
#include "qx_platform/ThreadAnnotations.h"

namespace qxp {

// Thread locks of the host, over ACE. A lock that cannot be taken does not stop the caller:
// the guards below record the failure in errno, run unlocked and skip the release.

class QXP_CAPABILITY("mutex") QXP_API Mutex {
  public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    int acquire() QXP_ACQUIRE();  // 0 on success, -1 with errno set
    int release() QXP_RELEASE();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class RecursiveMutex;
QXP_API RecursiveMutex& StaticObjectLock();

// Recursive mutex: the same thread may take it again.
class QXP_CAPABILITY("mutex") QXP_API RecursiveMutex {
  public:
    RecursiveMutex();
    ~RecursiveMutex();
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;
    int acquire() QXP_ACQUIRE();
    int release() QXP_RELEASE();

  private:
    friend RecursiveMutex& StaticObjectLock();
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class QXP_CAPABILITY("mutex") QXP_API RWMutex {
  public:
    RWMutex();
    ~RWMutex();
    RWMutex(const RWMutex&) = delete;
    RWMutex& operator=(const RWMutex&) = delete;
    int acquire_read() QXP_ACQUIRE_SHARED();
    int acquire_write() QXP_ACQUIRE();
    int release() QXP_RELEASE_GENERIC();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The analysis takes a guard's lock as held even when it could not be taken, since the caller
// goes on either way.
template <class M>
class QXP_SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(M& m) QXP_ACQUIRE(m) QXP_NO_THREAD_SAFETY_ANALYSIS
        : m_(m),
          locked_(m.acquire() == 0) {}
    ~LockGuard() QXP_RELEASE() QXP_NO_THREAD_SAFETY_ANALYSIS {
        if (locked_) m_.release();
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    bool locked() const { return locked_; }

  private:
    M& m_;
    bool locked_;
};

class QXP_SCOPED_CAPABILITY ReadGuard {
  public:
    explicit ReadGuard(RWMutex& m) QXP_ACQUIRE_SHARED(m) QXP_NO_THREAD_SAFETY_ANALYSIS
        : m_(m),
          locked_(m.acquire_read() == 0) {}
    ~ReadGuard() QXP_RELEASE() QXP_NO_THREAD_SAFETY_ANALYSIS {
        if (locked_) m_.release();
    }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;
    bool locked() const { return locked_; }

  private:
    RWMutex& m_;
    bool locked_;
};

class QXP_SCOPED_CAPABILITY WriteGuard {
  public:
    explicit WriteGuard(RWMutex& m) QXP_ACQUIRE(m) QXP_NO_THREAD_SAFETY_ANALYSIS
        : m_(m),
          locked_(m.acquire_write() == 0) {}
    ~WriteGuard() QXP_RELEASE() QXP_NO_THREAD_SAFETY_ANALYSIS {
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
