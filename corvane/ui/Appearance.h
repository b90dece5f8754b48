#pragma once

#include <QPalette>

#include "corvane/platform/Appearance.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Whether the user wants applications to look dark: what the desktop says or, as long as it says nothing, whether the
/// application's palette is dark. ThemeChanged tells of changes. Main thread, with a QApplication.
CORVANE_API bool isDarkAppearance();

/// Whether the user wants no animations: what the desktop says, or the style. Nothing that takes part in it needs to
/// ask for changes: ask before each animation. Main thread, with a QApplication.
CORVANE_API bool prefersReducedMotion();

/// From now on the application looks light or dark as the desktop says, and has more contrast if the desktop asks for
/// it. For desktops whose theme does this itself, the call does nothing: it knows them by the application's palette,
/// which then is not that of its style. Otherwise the application gets paletteFor() what the desktop says whenever that
/// is not what the style looks like anyway. Call it once, at the start, after the style has been chosen. Main thread.
///
///     QApplication application(argc, argv);
///     QApplication::setStyle("Fusion");
///     followAppearance();
///
/// What the desktop says is known some milliseconds later: nothing waits for it.
CORVANE_API void followAppearance();

/// The colours of such an appearance, made for the style Fusion; UNKNOWN counts as light. Text has a contrast of at
/// least 7 to 1, links, placeholders and selected text of 4.5 to 1, disabled text of 3 to 1 (WCAG 2.1, 1.4.3 and
/// 1.4.6); with high contrast all of them have 7 to 1.
CORVANE_API QPalette paletteFor(const DesktopAppearance& appearance);

}  // namespace corvane
