#include "apps/inspector/window/Guide.h"

#include <QCoreApplication>
#include <filesystem>

#include "corvane/ui/HelpViewer.h"

namespace corvane::inspector {

namespace {

namespace fs = std::filesystem;

// The guide together with the reference, as it is installed, or in the build tree; empty if it is neither.
std::string completeGuide() {
  const fs::path program(QCoreApplication::applicationDirPath().toStdString());
  std::error_code ignored;
  for (const char* place : {"../share/doc/corvane/html", "../docs/html"})
    if (fs::path folder = program / place; fs::exists(folder / "reference/index.html", ignored)) return folder;
  return {};
}

}  // namespace

void showGuide(const std::string& page) {
  HelpViewer::setFolder(completeGuide());
  HelpViewer::openPage(page);
}

void showReference() {
  showGuide(completeGuide().empty() ? "no-reference" : "reference/index");
}

}  // namespace corvane::inspector
