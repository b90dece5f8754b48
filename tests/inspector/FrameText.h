#pragma once

#include <string>

#include "apps/inspector/text/Frame.h"

namespace corvane::inspector {

inline std::string textOf(const Frame& frame) {
  std::string text;
  for (const Line& line : frame) {
    for (const Span& span : line) text += span.text;
    text += '\n';
  }
  return text;
}

}  // namespace corvane::inspector
