#include "corvane/ui/Appearance.h"

#include <QApplication>
#include <QStyle>
#include <utility>

#include "corvane/ui/AppearanceWatcher.h"

namespace corvane {

namespace {

struct Colors {
  QRgb window, base, alternate, button, text, disabled, placeholder, link, visited, selection, selected, inactive;
};

constexpr Colors LIGHT = {0xF2F2F3, 0xFFFFFF, 0xF7F7F8, 0xEBEBEC, 0x1C1D1F, 0x717377,
                          0x676A6E, 0x0B57B0, 0x6A3AA8, 0x2A6CB4, 0xFFFFFF, 0x808388};
constexpr Colors DARK = {0x2C2E31, 0x1F2022, 0x26282A, 0x3A3D41, 0xECEDEE, 0x8C9095,
                         0xA0A4A9, 0x7AB8FF, 0xC7A6FF, 0x2A6CB4, 0xFFFFFF, 0x5A5E63};
constexpr Colors LIGHT_CONTRAST = {0xFFFFFF, 0xFFFFFF, 0xF4F4F4, 0x9A9A9A, 0x000000, 0x494949,
                                   0x494949, 0x003C9E, 0x5A1A90, 0x002F7A, 0xFFFFFF, 0x494949};
constexpr Colors DARK_CONTRAST = {0x000000, 0x333333, 0x262626, 0x555555, 0xFFFFFF, 0xC8C8C8,
                                  0xD0D0D0, 0x8CD3FF, 0xE3BBFF, 0xFFE14D, 0x000000, 0xC8C8C8};

}  // namespace

bool isDarkAppearance() {
  return AppearanceWatcher::shared().isDark();
}

bool prefersReducedMotion() {
  return AppearanceWatcher::shared().reducesMotion() ||
         QApplication::style()->styleHint(QStyle::SH_Widget_Animation_Duration) == 0;
}

void followAppearance() {
  AppearanceWatcher::shared().follow();
}

QPalette paletteFor(const DesktopAppearance& appearance) {
  const bool isDark = appearance.scheme == ColorScheme::DARK;
  const Colors& colors = appearance.highContrast ? (isDark ? DARK_CONTRAST : LIGHT_CONTRAST) : isDark ? DARK : LIGHT;
  QPalette palette{QColor(colors.button), QColor(colors.window)};
  for (const auto& [role, color] : std::initializer_list<std::pair<QPalette::ColorRole, QRgb>>{
           {QPalette::Base, colors.base},
           {QPalette::AlternateBase, colors.alternate},
           {QPalette::WindowText, colors.text},
           {QPalette::Text, colors.text},
           {QPalette::ButtonText, colors.text},
           {QPalette::ToolTipBase, colors.base},
           {QPalette::ToolTipText, colors.text},
           {QPalette::PlaceholderText, colors.placeholder},
           {QPalette::Link, colors.link},
           {QPalette::LinkVisited, colors.visited},
           {QPalette::Highlight, colors.selection},
           {QPalette::HighlightedText, colors.selected},
       })
    palette.setColor(role, QColor(color));
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                                         QPalette::PlaceholderText, QPalette::Link, QPalette::LinkVisited})
    palette.setColor(QPalette::Disabled, role, QColor(colors.disabled));
  palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(colors.inactive));
  return palette;
}

}  // namespace corvane
