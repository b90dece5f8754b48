#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "corvane/core/fatal.h"
#include "corvane/infra/Object.h"

namespace corvane {

/// Conversions between objects and untyped pointers for C callbacks, objects that are associated with other objects,
/// and C arrays as values.
///
///     const auto onEvent = [](void* context) { Pointers::bridge<Window>(context)->update(); };
///     c_library_on_event(onEvent, Pointers::bridge(*window));
///
/// Every function: any thread.
struct Pointers {
  Pointers() = delete;

  /// An untyped pointer to an object. Takes no reference: the caller must keep the object alive for as long as the
  /// pointer is used.
  static void* bridge(Object& object) { return &object; }

  /// The object behind a pointer made by bridge(), as a new strong reference. Fatal: a null pointer, an object that is
  /// not a T or is not held by a shared_ptr. Any other pointer is undefined behaviour.
  template <std::derived_from<Object> T>
  static std::shared_ptr<T> bridge(void* pointer) {
    if (!pointer) fatal("Pointers::bridge: the pointer is null");
    const auto object = static_cast<Object*>(pointer)->weak_from_this().lock();
    if (!object) fatal("Pointers::bridge: no shared_ptr holds the object");
    auto result = std::dynamic_pointer_cast<T>(object);
    if (!result) fatal("Pointers::bridge: the object is of another class");
    return result;
  }

  /// The object that is associated with `base` under a key, if there is one and it is a T. Otherwise the object that
  /// `initialiser` returns (a callable without arguments that returns a std::shared_ptr<T>); it is then associated in
  /// place of any previous one. Keys are compared by address.
  ///
  ///     static const std::uint8_t KEY = 0;
  ///     auto badge = Pointers::associatedObject(*window, &KEY, [] { return std::make_shared<Badge>(); });
  ///
  /// Threads that ask at the same time get the same object: one runs its initialiser, without any lock, and the others
  /// wait for it. An initialiser may associate and ask for other objects, including those of this base; asking for its
  /// own is fatal, and so is returning null. If an object is associated under the key meanwhile, by the initialiser or
  /// by another thread, that object is used if it is a T. An exception from the initialiser reaches the caller, and
  /// nothing is associated.
  ///
  /// Associated objects are released when their base is destroyed, on the thread that destroys it; they must not hold
  /// the base strongly, or neither is ever destroyed.
  template <class Initialiser, class T = typename std::invoke_result_t<Initialiser&>::element_type>
    requires std::derived_from<T, Object>
  static std::shared_ptr<T> associatedObject(Object& base, const std::uint8_t* key, Initialiser&& initialiser) {
    const auto isT = [](const Object* object) { return dynamic_cast<const T*>(object) != nullptr; };
    return std::dynamic_pointer_cast<T>(base.associated(key, isT, std::ref(initialiser)));
  }

  /// Associates `value` with `base` under a key, replacing any previous object; null removes it.
  static void associateObject(Object& base, const std::uint8_t* key, std::shared_ptr<Object> value) {
    base.associate(key, std::move(value));
  }

  /// Copies of `count` elements. Fatal: a null pointer, unless `count` is 0.
  template <class T>
  static std::vector<T> convertptr(const T* data, std::size_t count) {
    if (!data && count > 0) fatal("Pointers::convertptr: the pointer is null");
    return std::vector<T>(data, data + count);
  }
};

}  // namespace corvane
