#include "corvane/system/TryCatch.h"

#include <utility>

namespace corvane {

Exception::Exception(std::string name, std::string reason) : m_name(std::move(name)), m_reason(std::move(reason)) {}

Exception::~Exception() = default;

void TryCatch::tryRun(const std::function<void()>& body, const std::function<void(const Exception&)>& catchRun,
                      const std::function<void()>& finallyRun) {
  try {
    try {
      if (body) body();
    } catch (const Exception& exception) {
      if (catchRun) catchRun(exception);
    }
  } catch (...) {
    if (finallyRun) finallyRun();
    throw;
  }
  if (finallyRun) finallyRun();
}

void TryCatch::throwString(const std::string& text) {
  throw Exception(text, text);
}

void TryCatch::throwException(const Exception& exception) {
  throw exception;
}

}  // namespace corvane
