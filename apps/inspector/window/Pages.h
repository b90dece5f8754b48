#pragma once

#include <span>

#include "apps/inspector/window/Page.h"

namespace corvane::inspector {

/// A kind of page: how it is called and made.
struct PageKind {
  const char* id;     ///< on the command line and in the settings
  const char* title;  ///< to be translated in the context "Page"
  bool isOfProgram;   ///< shows a program; otherwise the machine
  Page* (*make)(Source& source);
};

/// All pages, in the order of the list at the window's side. New ones come last, because the first ten have numbers as
/// shortcuts.
std::span<const PageKind> pageKinds();

}  // namespace corvane::inspector
