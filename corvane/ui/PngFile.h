#pragma once

#include <QImage>
#include <string>

namespace corvane {

/// Writes a picture to a PNG file, with little compression but several times faster than QImage::save. False if the
/// file cannot be created or written; then nothing is left of it. Any thread.
bool writePngFile(const QImage& image, const std::string& path);

}  // namespace corvane
