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
#include "apps/inspector/window/QueuesPage.h"
#include "apps/inspector/window/RepeatersPage.h"
#include "apps/inspector/window/SettingsPage.h"
#include "apps/inspector/window/TimelinePage.h"

namespace corvane::inspector {

namespace {

template <class AnyPage>
Page* make(Source& source) {
  return new AnyPage(source);
}

constexpr std::array KINDS = {
    PageKind{"overview", QT_TRANSLATE_NOOP("Page", "Overview"), false, make<OverviewPage>},
    PageKind{"repeaters", QT_TRANSLATE_NOOP("Page", "Repeaters"), true, make<RepeatersPage>},
    PageKind{"processes", QT_TRANSLATE_NOOP("Page", "Processes"), false, make<ProcessPage>},
    PageKind{"log", QT_TRANSLATE_NOOP("Page", "Log"), true, make<LogPage>},
    PageKind{"settings", QT_TRANSLATE_NOOP("Page", "Settings"), true, make<SettingsPage>},
    PageKind{"broadcaster", QT_TRANSLATE_NOOP("Page", "Broadcaster"), true, make<BroadcasterPage>},
    PageKind{"power", QT_TRANSLATE_NOOP("Page", "Power"), false, make<PowerPage>},
    PageKind{"devices", QT_TRANSLATE_NOOP("Page", "Devices"), false, make<DevicesPage>},
    PageKind{"disks", QT_TRANSLATE_NOOP("Page", "Disks"), false, make<DisksPage>},
    PageKind{"helper", QT_TRANSLATE_NOOP("Page", "Helper"), false, make<HelperPage>},
    PageKind{"queues", QT_TRANSLATE_NOOP("Page", "Queues"), true, make<QueuesPage>},
    PageKind{"timeline", QT_TRANSLATE_NOOP("Page", "Timeline"), true, make<TimelinePage>},
};

}  // namespace

std::span<const PageKind> pageKinds() {
  return KINDS;
}

}  // namespace corvane::inspector
