#pragma once

#include <string>

namespace corvane {

/// The nearest folder share/NAME above a file: prefix/share/NAME for one in prefix/bin, prefix/lib or below, and the
/// build folder's own; empty if there is none.
std::string sharedFolder(const std::string& file, const std::string& name);

/// The same, above the library itself.
std::string librarysFolder(const std::string& name);

}  // namespace corvane
