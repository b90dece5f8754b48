#pragma once

#include <string>
#include <string_view>

namespace corvane::inspector {

/// Writes a picture to a file, "-" being standard output; returns the exit status.
int writePicture(const std::string& file, std::string_view svg);

}  // namespace corvane::inspector
