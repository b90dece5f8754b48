// tea-timer: an application with a window, on Qt: a bubble with a setting, help, the statistics of its repeaters, its
// place on the screen remembered, light or dark as the desktop is, and an entry with an icon in the desktop's menus.

#include <QApplication>
#include <QIcon>
#include <cstdio>
#include <string_view>

#include "TeaWindow.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/ui/Appearance.h"
#include "corvane/ui/Translator.h"

int main(int count, char** arguments) {
  if (count > 1 && std::string_view(arguments[1]) == "--help")
    return std::puts("Usage: tea-timer\nCounts down until the tea is ready.") < 0;
  QApplication application(count, arguments);
  QApplication::setDesktopFileName("org.example.TeaTimer");
  QApplication::setWindowIcon(QIcon::fromTheme("org.example.TeaTimer"));
  corvane::Translator translator;  // the texts of the library and of Qt in the user's language
  QApplication::installTranslator(&translator);
  corvane::followAppearance();
  corvane::MasterTimer::instance()->start();

  TeaWindow window;
  window.show();
  return QApplication::exec();
}
