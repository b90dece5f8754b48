#include "corvane/ui/Appearance.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <cmath>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/ThemeChanged.h"
#include "tests/support/BusService.h"
#include "tests/support/PrivateBus.h"

namespace corvane {
namespace {

constexpr const char* PORTAL = "org.freedesktop.portal.Desktop";
constexpr DesktopAppearance LIGHT{ColorScheme::LIGHT, false};
constexpr DesktopAppearance DARK{ColorScheme::DARK, false};

void change(BusService& portal, const std::string& values) {
  portal.send("/org/freedesktop/portal/desktop", "org.freedesktop.portal.Settings", "SettingChanged", values);
}

// A desktop that becomes dark and light again, and whose portal starts late, tells nonsense and starts again.
TEST(AppearanceTest, FollowsTheDesktopPortal) {
  PrivateBus bus;
  int changes = 0;
  const ThemeChanged observer([&changes] { ++changes; });
  followAppearance();
  const auto becomes = [&](int count, const QPalette& palette) {
    return QTest::qWaitFor([&] { return changes == count && QApplication::palette() == palette; });
  };
  const QPalette standard = QApplication::palette();
  {
    BusService portal(PORTAL);
    portal.answer("ReadAll", "({'org.freedesktop.appearance': {'color-scheme': <uint32 2>, 'contrast': <'much'>}},)");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !portal.calls().empty(); }));
    change(portal, "('org.freedesktop.appearance', 'color-scheme', <uint32 1>)");
    EXPECT_TRUE(becomes(1, paletteFor(DARK)));
    EXPECT_TRUE(isDarkAppearance());
    change(portal, "('org.freedesktop.appearance', 'color-scheme', <uint32 1>)");
    change(portal, "('org.freedesktop.appearance', 'accent-color', <uint32 2>)");
    change(portal, "('org.gnome.desktop.interface', 'enable-animations', <false>)");
    EXPECT_TRUE(QTest::qWaitFor(prefersReducedMotion));
    change(portal, "('org.gnome.desktop.interface', 'enable-animations', <true>)");
    EXPECT_TRUE(QTest::qWaitFor([] { return !prefersReducedMotion(); }));
    change(portal, "('org.freedesktop.appearance', 'reduced-motion', <uint32 1>)");
    EXPECT_TRUE(QTest::qWaitFor(prefersReducedMotion));
    change(portal, "('org.gnome.appearance', 'color-scheme', <uint32 2>)");
    change(portal, "('org.freedesktop.appearance', 'color-scheme')");
    change(portal, "('org.freedesktop.appearance', 'color-scheme', <uint32 2>)");
    EXPECT_TRUE(becomes(2, standard));
    change(portal, "('org.freedesktop.appearance', 'contrast', <uint32 1>)");
    EXPECT_TRUE(becomes(3, paletteFor({ColorScheme::LIGHT, true})));
  }
  BusService portal(PORTAL);
  portal.answer("ReadAll", "({'org.freedesktop.appearance': {'color-scheme': <uint32 7>, 'contrast': <uint32 0>}},)");
  EXPECT_TRUE(becomes(4, standard));
  EXPECT_FALSE(isDarkAppearance());
}

TEST(AppearanceTest, OneChangeIsToldOnce) {
  FakePlatform fake;
  int changes = 0;
  auto observer = std::make_unique<ThemeChanged>([&] { ++changes; });
  const ThemeChanged silent;
  const auto told = [&] {
    QTest::qWait(0);
    return std::exchange(changes, 0);
  };
  QApplication::setPalette(paletteFor(DARK));  // as desktops do that tell only the toolkit
  EXPECT_TRUE(isDarkAppearance());
  EXPECT_EQ(told(), 1);
  fake.appearance->set(DARK);
  EXPECT_EQ(told(), 0);
  followAppearance();  // no need to
  fake.appearance->set(LIGHT);
  QApplication::setPalette(paletteFor(LIGHT));
  EXPECT_EQ(told(), 1);
  fake.appearance->set(DARK);
  EXPECT_EQ(QApplication::palette(), paletteFor(LIGHT));
  observer.reset();  // before it was told
  EXPECT_EQ(told(), 0);
}

double luminance(const QColor& color) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

TEST(AppearanceTest, TextCanBeReadOnItsBackground) {
  using P = QPalette;
  struct Row {
    P::ColorGroup group;
    P::ColorRole text, ground;
    double least;
  };
  for (const bool isDark : {false, true})
    for (const bool isHigh : {false, true})
      for (const auto& [group, text, ground, least] : std::initializer_list<Row>{
               {P::Active, P::WindowText, P::Window, 7},
               {P::Active, P::Text, P::AlternateBase, 7},
               {P::Active, P::ButtonText, P::Button, 7},
               {P::Active, P::PlaceholderText, P::Base, isHigh ? 7.0 : 4.5},
               {P::Active, P::Link, P::Window, isHigh ? 7.0 : 4.5},
               {P::Active, P::LinkVisited, P::Window, isHigh ? 7.0 : 4.5},
               {P::Active, P::HighlightedText, P::Highlight, isHigh ? 7.0 : 4.5},
               {P::Disabled, P::Text, P::Base, isHigh ? 7.0 : 3.0},
               {P::Disabled, P::WindowText, P::Window, isHigh ? 7.0 : 3.0},
               {P::Disabled, P::ButtonText, P::Button, 3},
           }) {
        const P palette = paletteFor({isDark ? ColorScheme::DARK : ColorScheme::LIGHT, isHigh});
        const auto [dim, bright] =
            std::minmax({luminance(palette.color(group, text)), luminance(palette.color(group, ground))});
        EXPECT_GE((bright + 0.05) / (dim + 0.05), least) << isDark << isHigh << ' ' << group << ' ' << text;
      }
}

}  // namespace
}  // namespace corvane
