#pragma once

#include <utility>

namespace NSQX_script {

// A member that belongs to its object alone (an open file, a working buffer): a copy of the
// object starts with a value-initialised one, and assignment gives the target a fresh one, so
// that the owner's copy operations can stay defaulted.
template <class T>
class NotCopied {
  public:
    NotCopied() = default;
    NotCopied(const NotCopied&) : value_() {}
    NotCopied(NotCopied&&) noexcept = default;
    NotCopied& operator=(const NotCopied& other) {
        if (this != &other) value_ = T();
        return *this;
    }
    NotCopied& operator=(NotCopied&&) noexcept = default;
    ~NotCopied() = default;

    T& get() { return value_; }
    const T& get() const { return value_; }

  private:
    T value_{};
};

}  // namespace NSQX_script
