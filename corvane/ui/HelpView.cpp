#include "corvane/ui/HelpView.h"

#include <dlfcn.h>

#include <QTimer>
#include <filesystem>
#include <string_view>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/ui/RuntimeNotice.h"
#include "corvane/ui/TextHelpView.h"

namespace corvane {

namespace {

// Beside this library; a static one has none.
std::string modulePath() {
  Dl_info info = {};
  dladdr(reinterpret_cast<const void*>(&makeHelpView), &info);
  return std::filesystem::path(info.dli_fname).parent_path() / CORVANE_HELP_MODULE;
}

// When the window is there.
void noticeOnce(const RuntimeRequirement& requirement, const std::string& missing, QWidget* window) {
  static bool isNoticed = false;
  if (std::exchange(isNoticed, true)) return;
  const std::string name = std::filesystem::path(missing).filename();
  QTimer::singleShot(0, window,
                     [=] { RuntimeNotice::show(requirement, name, {.isOptional = true, .parent = window}); });
}

}  // namespace

HelpView* makeHelpView(const HelpView::Options& options, QWidget* window) {
  if (std::string_view(CORVANE_HELP_MODULE).empty()) return new TextHelpView(options);
  const std::string module = modulePath();
  std::string reason;
  if (void* const handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL)) {  // stays: the engine cannot be unloaded
    const auto make = reinterpret_cast<MakeWebHelpView*>(dlsym(handle, MAKE_WEB_HELP_VIEW));
    if (auto* const view = make ? make(options, reason) : nullptr) return view;
  } else {
    reason = dlerror();
    noticeOnce({module, HelpView::tr("its help pages").toStdString(), CORVANE_HELP_DOWNLOAD}, libraryInError(reason),
               window);
  }
  logNotice("HelpViewer: pages are shown as text: " + reason);
  return new TextHelpView(options);
}

}  // namespace corvane
