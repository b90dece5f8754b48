#include "apps/inspector/window/Pages.h"

#include <array>

#include "apps/inspector/window/BroadcasterPage.h"
#include "apps/inspector/window/OverviewPage.h"

namespace corvane::inspector {

namespace {

template <class AnyPage>
Page* make(Source& source) {
  return new AnyPage(source);
}

constexpr std::array KINDS = {
    PageKind{"overview", QT_TRANSLATE_NOOP("Page", "Overview"), make<OverviewPage>},
    PageKind{"broadcaster", QT_TRANSLATE_NOOP("Page", "Broadcaster"), make<BroadcasterPage>},
};

}  // namespace

std::span<const PageKind> pageKinds() {
  return KINDS;
}

}  // namespace corvane::inspector
