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
  observer.reset();
  EXPECT_EQ(told(), 0);
}

double luminance(const QColor& color) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

TEST(AppearanceTest, TextCanBeReadOnItsBackground) {
  using Palette = QPalette;
  const auto expectContrast = [](const Palette& palette, Palette::ColorGroup group, Palette::ColorRole text,
                                 Palette::ColorRole ground, double least) {
    const double one = luminance(palette.color(group, text)), other = luminance(palette.color(group, ground));
    EXPECT_GE((std::max(one, other) + 0.05) / (std::min(one, other) + 0.05), least)
        << group << ' ' << text << ' ' << ground;
  };
  for (const ColorScheme scheme : {ColorScheme::LIGHT, ColorScheme::DARK})
    for (const bool isHigh : {false, true}) {
      const Palette palette = paletteFor({scheme, isHigh});
      for (const auto& [text, ground, least] :
           std::initializer_list<std::tuple<Palette::ColorRole, Palette::ColorRole, double>>{
               {Palette::WindowText, Palette::Window, 7},
               {Palette::Text, Palette::Base, 7},
               {Palette::Text, Palette::AlternateBase, 7},
               {Palette::ButtonText, Palette::Button, 7},
               {Palette::ToolTipText, Palette::ToolTipBase, 7},
               {Palette::PlaceholderText, Palette::Base, 4.5},
               {Palette::Link, Palette::Base, 4.5},
               {Palette::Link, Palette::Window, 4.5},
               {Palette::LinkVisited, Palette::Window, 4.5},
               {Palette::HighlightedText, Palette::Highlight, 4.5},
           })
        expectContrast(palette, Palette::Active, text, ground, isHigh ? 7 : least);
      for (const auto ground : {Palette::Window, Palette::Base, Palette::AlternateBase})
        for (const auto text : {Palette::WindowText, Palette::Text, Palette::PlaceholderText, Palette::Link})
          expectContrast(palette, Palette::Disabled, text, ground, isHigh ? 7 : 3);
      expectContrast(palette, Palette::Disabled, Palette::ButtonText, Palette::Button, 3);
    }
}

}  // namespace
}  // namespace corvane
