#pragma once

#include <string>

namespace corvane::inspector {

/// Shows a page of the guide.
void showGuide(const std::string& page);

/// Shows the reference of the public headers, or how to get it.
void showReference();

}  // namespace corvane::inspector
