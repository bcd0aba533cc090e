#include "qx_platform/Lock.h"

#include <ace/Init_ACE.h>
#include <ace/Object_Manager.h>
#include <ace/RW_Thread_Mutex.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Static_Object_Lock.h>
#include <ace/Thread_Mutex.h>

#include <cerrno>

namespace qxp {

struct Mutex::Impl {
    ACE_Thread_Mutex m;
};
Mutex::Mutex() : impl_(new Impl) {}
Mutex::~Mutex() = default;
int Mutex::acquire() {
    return impl_->m.acquire();
}
int Mutex::release() {
    return impl_->m.release();
}

// Either owns its mutex or stands for ACE's static-object lock. The latter is looked up on
// every call rather than cached: while ACE's object manager starts or shuts down, ACE hands out
// a separately allocated lock instead of the preallocated one.
struct RecursiveMutex::Impl {
    ACE_Recursive_Thread_Mutex own;
    bool aceStatic = false;

    ACE_Recursive_Thread_Mutex* Get() {
        if (!aceStatic) return &own;
        return ACE_Static_Object_Lock::instance();
    }
};
RecursiveMutex::RecursiveMutex() : impl_(new Impl) {}
RecursiveMutex::~RecursiveMutex() = default;
int RecursiveMutex::acquire() {
    ACE_Recursive_Thread_Mutex* m = impl_->Get();
    if (m == nullptr) {
        errno = ENOLCK;
        return -1;
    }
    return m->acquire();
}
int RecursiveMutex::release() {
    ACE_Recursive_Thread_Mutex* m = impl_->Get();
    return m == nullptr ? -1 : m->release();
}

struct RWMutex::Impl {
    ACE_RW_Thread_Mutex m;
};
RWMutex::RWMutex() : impl_(new Impl) {}
RWMutex::~RWMutex() = default;
int RWMutex::acquire_read() {
    return impl_->m.acquire_read();
}
int RWMutex::acquire_write() {
    return impl_->m.acquire_write();
}
int RWMutex::release() {
    return impl_->m.release();
}

RecursiveMutex& StaticObjectLock() {
    // ACE's object manager is normally set up when libACE is loaded; ACE::init makes sure of it
    // in a process that links ACE in some other way. It is never paired with ACE::fini, so the
    // object manager stays up until the process exits.
    // Never destroyed: singletons may be torn down by static destructors after this one ran.
    static RecursiveMutex* lock = [] {
        ACE::init();
        auto* m = new RecursiveMutex;
        m->impl_->aceStatic = true;
        return m;
    }();
    return *lock;
}

}  // namespace qxp
