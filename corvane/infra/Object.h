#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// The root of classes whose objects travel through C callbacks as untyped pointers or carry other objects along: see
/// corvane/infra/Pointers.h. Held by std::shared_ptr. An object that carries none pays a pointer for it.
class CORVANE_API Object : public std::enable_shared_from_this<Object> {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  /// Lets go of the objects that are associated with it, on this thread.
  virtual ~Object();

 protected:
  Object() = default;

 private:
  friend struct Pointers;
  struct Associations;
  using Key = const std::uint8_t*;

  Associations& associations();

  // The associated object if it fits, else a new one.
  std::shared_ptr<Object> associated(Key key, bool (*fits)(const Object*),
                                     const std::function<std::shared_ptr<Object>()>& make);
  void associate(Key key, std::shared_ptr<Object> value);

  std::atomic<Associations*> m_associations = nullptr;  // made with the first one
};

}  // namespace corvane
