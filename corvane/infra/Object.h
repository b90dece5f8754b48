#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// The base of classes whose objects pass through C callbacks as untyped pointers or have other objects associated with
/// them: see corvane/infra/Pointers.h. Held by std::shared_ptr. An object without associated ones has the cost of one
/// pointer.
class CORVANE_API Object : public std::enable_shared_from_this<Object> {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  /// Releases the associated objects, on this thread.
  virtual ~Object();

 protected:
  Object() = default;

 private:
  friend struct Pointers;
  struct Associations;
  using Key = const std::uint8_t*;

  Associations& associations();

  // The associated object if it fits, otherwise a new one.
  std::shared_ptr<Object> associated(Key key, bool (*fits)(const Object*),
                                     const std::function<std::shared_ptr<Object>()>& make);
  void associate(Key key, std::shared_ptr<Object> value);

  std::atomic<Associations*> m_associations = nullptr;  // created with the first one
};

}  // namespace corvane
