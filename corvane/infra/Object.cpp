#include "corvane/infra/Object.h"

#include <map>
#include <thread>
#include <utility>

#include "corvane/core/Mutex.h"
#include "corvane/core/fatal.h"

namespace corvane {

struct Object::Associations {
  struct Slot {
    std::shared_ptr<Object> value;
    std::thread::id maker;  // the thread whose initialiser is running, if any
  };

  Mutex mutex;
  std::map<Key, Slot> slots CORVANE_GUARDED_BY(mutex);  // a map, because its elements stay in place
};

Object::~Object() {
  delete m_associations.exchange(nullptr, std::memory_order_acquire);
}

Object::Associations& Object::associations() {
  if (Associations* present = m_associations.load(std::memory_order_acquire)) return *present;
  auto made = std::make_unique<Associations>();
  Associations* present = nullptr;
  if (m_associations.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel)) present = made.release();
  return *present;
}

std::shared_ptr<Object> Object::associated(Key key, bool (*fits)(const Object*),
                                           const std::function<std::shared_ptr<Object>()>& make) {
  Associations& all = associations();
  std::shared_ptr<Object> made;  // like a replaced value, released without the lock
  MutexLock lock(all.mutex);
  Associations::Slot& slot = all.slots[key];
  const auto self = std::this_thread::get_id();
  while (!fits(slot.value.get()) && slot.maker != std::thread::id()) {
    if (slot.maker == self) fatal("Pointers::associatedObject: an initialiser asks for the object that it makes");
    all.mutex.wait();
  }
  if (fits(slot.value.get())) return slot.value;

  slot.maker = self;
  const auto finish = [&] {
    slot.maker = {};
    all.mutex.broadcast();
  };
  try {
    made = all.mutex.release_block(make);
  } catch (...) {
    finish();
    throw;
  }
  if (!made) fatal("Pointers::associatedObject: the initialiser made no object");
  finish();
  if (!fits(slot.value.get())) slot.value.swap(made);  // unless one has been associated meanwhile
  return slot.value;
}

void Object::associate(Key key, std::shared_ptr<Object> value) {
  Associations& all = associations();
  MutexLock lock(all.mutex);
  all.slots[key].value.swap(value);
  all.mutex.broadcast();
}

}  // namespace corvane
