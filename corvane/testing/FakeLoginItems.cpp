#include "corvane/testing/FakeLoginItems.h"

namespace corvane {

Result<void> FakeLoginItems::add(const LoginItem& item) {
  if (error) return tl::unexpected<Error>(*error);
  items[item.label] = item;
  return {};
}

Result<void> FakeLoginItems::remove(const std::string& label) {
  if (error) return tl::unexpected<Error>(*error);
  items.erase(label);
  return {};
}

}  // namespace corvane
