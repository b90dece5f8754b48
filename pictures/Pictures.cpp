#include "pictures/Pictures.h"

#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QLoggingCategory>
#include <QPixmap>
#include <QTest>
#include <algorithm>
#include <cstdio>

#include "corvane/ui/Appearance.h"
#include "corvane/ui/Translator.h"
#include "tests/support/TempHome.h"

namespace corvane {

namespace {

// How pictures are taken. Each in a process of its own, because some things are settled when a program starts.
struct Variant {
  const char* suffix;
  std::function<void()> before = {};  // the application object is created
  std::function<void()> after = {};
};

const std::vector<Variant> VARIANTS = {
    {""},
    {"-dark",
     {},
     [] {
       QApplication::setPalette(paletteFor({ColorScheme::DARK, false}));
     }},
    {"-contrast",
     {},
     [] {
       QApplication::setPalette(paletteFor({ColorScheme::LIGHT, true}));
     }},
    {"-german", [] { qputenv("LANGUAGE", "de"); }, [] { QLocale::setDefault(QLocale("de_DE")); }},
    {"-right-to-left", {}, [] { QApplication::setLayoutDirection(Qt::RightToLeft); }},
    {"-large", [] { qputenv("QT_SCALE_FACTOR", "2"); }},
};

bool take(int argc, char** argv, const std::vector<Picture>& pictures, const Variant& variant,
          const std::string& catalogue) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("LC_ALL", "en_US.UTF-8");
  qputenv("LANGUAGE", "");
  QLocale::setDefault(QLocale("en_US"));
  QLoggingCategory::setFilterRules("default.warning=false");  // what a platform without a display cannot do
  if (variant.before) variant.before();
  const QApplication application(argc, argv);
  QApplication::setStyle("Fusion");
  QApplication::setQuitOnLastWindowClosed(false);
  if (variant.after) variant.after();
  Translator translator(catalogue);
  QCoreApplication::installTranslator(&translator);
  bool isDone = true;
  const std::vector<std::string> wanted(argv + 2, argv + argc);
  for (const Picture& picture : pictures) {
    if (!wanted.empty() && std::ranges::find(wanted, picture.name) == wanted.end()) continue;
    QWidget* const window = picture.open();
    const QString file = QString("%1/%2%3.png").arg(argv[1], picture.name, variant.suffix);
    isDone &= QTest::qWaitForWindowExposed(window) && window->grab().save(file);
    std::puts(qPrintable(file));
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->close();
  }
  return isDone;
}

}  // namespace

int takePictures(int argc, char** argv, const std::vector<Picture>& pictures, const std::string& catalogue) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: %s FOLDER [NAME]...\n", argv[0]);
    return 2;
  }
  TempHome home;
  home.installLocale();
  bool isDone = true;
  for (const Variant& variant : VARIANTS) {
    const pid_t child = fork();
    if (child == 0) {
      const bool isTaken = take(argc, argv, pictures, variant, catalogue);
      std::fflush(stdout);
      _exit(isTaken ? 0 : 1);
    }
    int status = 0;
    isDone &= child > 0 && waitpid(child, &status, 0) == child && status == 0;
  }
  return isDone ? 0 : 1;
}

}  // namespace corvane
