// What is in force for the whole process: one object of each kind. Its first one is made when it is first
// asked for; while a Scoped lives, another takes its place.
//
// The program's own objects are parts of the program state (program/program_state.h), which puts them in
// force together.
#pragma once

#include <utility>

namespace vnt::platform {

namespace internal {
template <class T>
T*& Slot() {
  static T first;
  static T* in_force = &first;
  return in_force;
}
}  // namespace internal

template <class T>
T& InForce() {
  return *internal::Slot<T>();
}

// Puts an object in force, and the former one back when it goes.
template <class T>
class Scoped {
 public:
  explicit Scoped(T& object) : former_(std::exchange(internal::Slot<T>(), &object)) {}
  ~Scoped() { internal::Slot<T>() = former_; }
  Scoped(const Scoped&) = delete;
  Scoped& operator=(const Scoped&) = delete;

 private:
  T* former_;
};

}  // namespace vnt::platform
