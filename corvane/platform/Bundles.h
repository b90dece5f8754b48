#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// The locations of a bundle's parts. Paths are absolute; the path of a missing part is empty.
struct BundleFiles {
  std::string path;        ///< its folder (for a lone executable, the one that contains it), or its desktop entry
  std::string executable;  ///< its executable
  std::string resources;   ///< its resources folder, whether or not it exists
  std::optional<std::string> info;  ///< the bytes of its information dictionary, a property list
};

/// Finds bundles on disk. Any thread. Reads files; never waits for another process.
///
/// @feature `Bundle`.
/// @needs Files only: the program's information dictionary, desktop entries.
/// @without A bundle without identifier.
class Bundles {
 public:
  virtual ~Bundles() = default;

  /// The bundle of the running executable X/exe, determined by the first of these that exists: the wrapper
  /// X/Contents/MacOS/exe with X/Contents/Info.plist; prefix/bin/exe or prefix/libexec/exe with
  /// prefix/share/exe/Info.plist;
  /// X/exe.resources/Info.plist; a section .info_plist in the executable itself. Otherwise a bundle without an
  /// information dictionary.
  virtual BundleFiles mainBundle() = 0;

  /// The library's own bundle: the files that its parts need at run time. On Linux the nearest folder share/corvane
  /// above the library; without resources if there is none.
  virtual BundleFiles libraryBundle() = 0;

  /// The bundle at a path: a wrapper folder, or an executable, looked up as for mainBundle(). On Linux also a desktop
  /// entry, combined with the bundle of the program that it starts, if any. An Error if nothing is there.
  virtual Result<BundleFiles> bundleAt(const std::string& path) = 0;
};

template <>
CORVANE_API std::shared_ptr<Bundles> makeService<Bundles>();

}  // namespace corvane
