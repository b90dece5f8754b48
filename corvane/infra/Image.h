#pragma once

#include <string>

namespace corvane {

/// A picture that is independent of any toolkit: it names the file that it comes from (PNG or SVG), and the
/// user-interface layer loads it. A plain value.
class Image {
 public:
  Image() = default;
  /// The image in this file; the file is not read.
  explicit Image(std::string sourceFile) : m_sourceFile(std::move(sourceFile)) {}

  /// Path of the picture file; empty for an invalid image.
  const std::string& sourceFile() const { return m_sourceFile; }

  /// True if there is a picture.
  bool isValid() const { return !m_sourceFile.empty(); }

  bool operator==(const Image&) const = default;

 private:
  std::string m_sourceFile;
};

}  // namespace corvane
