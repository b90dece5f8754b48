#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "corvane/platform/DesktopPicture.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A desktop that remembers its picture, and files with flags. Read and change its fields while nothing uses it.
class CORVANE_API FakeDesktopPicture : public DesktopPicture {
 public:
  ScreenPicture current;                       ///< what is shown
  bool tells = true;                           ///< whether it tells what it shows
  std::atomic<int> refusal = 0;                ///< the code with which it refuses pictures; 0: it takes them
  std::vector<ScreenPicture> shown;            ///< what it was given to show, in order, even if it did not take it
  std::map<std::string, std::uint32_t> flags;  ///< path → flags of the files that there are
  std::vector<std::uint32_t> flagsSet;         ///< what files' flags were set to, in order

  Result<ScreenPicture> picture(const std::string& screen) override;
  Result<void> setPicture(const std::string& screen, const ScreenPicture& picture) override;
  Result<std::uint32_t> fileFlags(const std::string& path) override;
  Result<void> setFileFlags(const std::string& path, std::uint32_t flags) override;
};

}  // namespace corvane
