#include "corvane/testing/FakeDesktopPicture.h"

namespace corvane {

Result<ScreenPicture> FakeDesktopPicture::picture(const std::string&) {
  if (!tells) return failure("fake", ENOTSUP, "The fake desktop does not tell its picture");
  return current;
}

Result<void> FakeDesktopPicture::setPicture(const std::string&, const ScreenPicture& picture) {
  shown.push_back(picture);
  if (refusal != 0) return failure("fake", refusal, "The fake desktop takes no picture");
  current = picture;
  return {};
}

Result<std::uint32_t> FakeDesktopPicture::fileFlags(const std::string& path) {
  const auto file = flags.find(path);
  if (file == flags.end()) return failure("posix", ENOENT, path + ": no such file");
  return file->second;
}

Result<void> FakeDesktopPicture::setFileFlags(const std::string& path, std::uint32_t value) {
  if (!flags.contains(path)) return failure("posix", ENOENT, path + ": no such file");
  flags[path] = value;
  flagsSet.push_back(value);
  return {};
}

}  // namespace corvane
