#include "apps/inspector/window/Pages.h"

#include <array>

#include "apps/inspector/window/BroadcasterPage.h"
#include "apps/inspector/window/DevicesPage.h"
#include "apps/inspector/window/DisksPage.h"
#include "apps/inspector/window/HelperPage.h"
#include "apps/inspector/window/LogPage.h"
#include "apps/inspector/window/OverviewPage.h"
#include "apps/inspector/window/PowerPage.h"
#include "apps/inspector/window/ProcessPage.h"
#include "apps/inspector/window/RepeatersPage.h"
#include "apps/inspector/window/SettingsPage.h"

namespace corvane::inspector {

namespace {

template <class AnyPage>
Page* make(Source& source) {
  return new AnyPage(source);
}

constexpr std::array KINDS = {
    PageKind{"overview", QT_TRANSLATE_NOOP("Page", "Overview"), make<OverviewPage>},
    PageKind{"repeaters", QT_TRANSLATE_NOOP("Page", "Repeaters"), make<RepeatersPage>},
    PageKind{"processes", QT_TRANSLATE_NOOP("Page", "Processes"), make<ProcessPage>},
    PageKind{"log", QT_TRANSLATE_NOOP("Page", "Log"), make<LogPage>},
    PageKind{"settings", QT_TRANSLATE_NOOP("Page", "Settings"), make<SettingsPage>},
    PageKind{"broadcaster", QT_TRANSLATE_NOOP("Page", "Broadcaster"), make<BroadcasterPage>},
    PageKind{"power", QT_TRANSLATE_NOOP("Page", "Power"), make<PowerPage>},
    PageKind{"devices", QT_TRANSLATE_NOOP("Page", "Devices"), make<DevicesPage>},
    PageKind{"disks", QT_TRANSLATE_NOOP("Page", "Disks"), make<DisksPage>},
    PageKind{"helper", QT_TRANSLATE_NOOP("Page", "Helper"), make<HelperPage>},
};

}  // namespace

std::span<const PageKind> pageKinds() {
  return KINDS;
}

}  // namespace corvane::inspector
