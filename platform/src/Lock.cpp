#include "qx_platform/Lock.h"

#include <ace/Object_Manager.h>
#include <ace/RW_Thread_Mutex.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

namespace qxp {

struct Mutex::Impl {
    ACE_Thread_Mutex m;
};
Mutex::Mutex() : impl_(new Impl) {}
Mutex::~Mutex() = default;
int Mutex::acquire() { return impl_->m.acquire(); }
int Mutex::release() { return impl_->m.release(); }

struct RecursiveMutex::Impl {
    ACE_Recursive_Thread_Mutex m;
};
RecursiveMutex::RecursiveMutex() : impl_(new Impl) {}
RecursiveMutex::~RecursiveMutex() = default;
int RecursiveMutex::acquire() { return impl_->m.acquire(); }
int RecursiveMutex::release() { return impl_->m.release(); }

struct RWMutex::Impl {
    ACE_RW_Thread_Mutex m;
};
RWMutex::RWMutex() : impl_(new Impl) {}
RWMutex::~RWMutex() = default;
int RWMutex::acquire_read() { return impl_->m.acquire_read(); }
int RWMutex::acquire_write() { return impl_->m.acquire_write(); }
int RWMutex::release() { return impl_->m.release(); }

RecursiveMutex& StaticObjectLock() {
    // Never destroyed: singletons may be torn down by static destructors after this one ran.
    static RecursiveMutex* lock = new RecursiveMutex;
    return *lock;
}

}  // namespace qxp
