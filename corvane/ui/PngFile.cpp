#include "corvane/ui/PngFile.h"

#include <png.h>

namespace corvane {

bool writePngFile(const QImage& image, const std::string& path) {
  const bool hasAlpha = image.hasAlphaChannel();
  const QImage pixels = image.convertToFormat(hasAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
  if (pixels.isNull()) return false;
  png_image header{};
  header.version = PNG_IMAGE_VERSION;
  header.width = static_cast<png_uint_32>(pixels.width());
  header.height = static_cast<png_uint_32>(pixels.height());
  header.format = hasAlpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  header.flags = PNG_IMAGE_FLAG_FAST;
  const auto rowBytes = static_cast<png_int_32>(pixels.bytesPerLine());
  return png_image_write_to_file(&header, path.c_str(), 0, pixels.constBits(), rowBytes, nullptr) != 0;
}

}  // namespace corvane
