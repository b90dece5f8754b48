#pragma once

#include <QMessageBox>
#include <functional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/system/RuntimeRequirement.h"

namespace corvane {

/// Tells the user that a library is missing and what it is for, and offers to get it or to quit.
///
///     const RuntimeRequirement pages = {"libviewer-pages.so.1", "the help pages", "appstream:org.example.Pages"};
///     if (const auto missing = missingLibrary(pages)) RuntimeNotice::show(pages, *missing, {.isOptional = true});
///
/// A program that is linked with a library does not even start without it: for those, and for programs whose toolkit
/// may be missing, see REQUIRES of corvane_application (CMake) and noticeWithoutToolkit(). Main thread.
class CORVANE_API RuntimeNotice {
 public:
  /// What else to say.
  struct Options {
    bool isOptional = false;    ///< the program can do without it: the user may go on
    QWidget* parent = nullptr;  ///< the window that the notice belongs to
    double limit = 600;         ///< seconds; if there is no choice by then, it is as if the window were closed
    std::function<void(RuntimeChoice choice)> done = {};  ///< told once; not if the notice is deleted
  };

  /// Opens a window, and returns at once. The missing library is what missingLibrary() gave.
  ///
  /// "Download" opens the address in the user's application for it, in the background; without an address there is no
  /// such button. "Quit" ends the application, and so does "Download" unless the library is optional. Closing the
  /// window continues if it is optional, and quits otherwise. The window deletes itself.
  static QMessageBox* show(const RuntimeRequirement& requirement, const std::string& missing, Options options);
};

}  // namespace corvane
