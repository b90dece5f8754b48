#include "corvane/core/TypeName.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace corvane {

std::string typeName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                    std::free);
  return text ? text.get() : type.name();
}

}  // namespace corvane
