#include "corvane/ui/Translator.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/RepeaterStatsWindow.h"
#include "tests/support/TempHome.h"
#include "ui_Shop.h"

namespace corvane {
namespace {

class TranslatorTest : public testing::Test {
 protected:
  void speak(const char* language) {
    home.installLocale();
    setlocale(LC_ALL, "en_US.UTF-8");  // in place of what Qt has set
    home.set("LANGUAGE", language);
  }

  TempHome home;
};

TEST_F(TranslatorTest, TextsOfTheApplicationComeFromItsCatalogue) {
  speak("de");
  const QByteArray folder = QCoreApplication::applicationDirPath().toUtf8() + "/../share/locale";
  const auto translate = [](const char* context, const char* text, const char* comment = nullptr, int count = -1) {
    return QCoreApplication::translate(context, text, comment, count);
  };
  for (const std::string& given : {std::string(), folder.toStdString()}) {
    Translator translator("translator-test", given);
    QCoreApplication::installTranslator(&translator);
    EXPECT_EQ(translate("Page", "%n file(s) of %1", "", 1), "eine Datei von %1");
    EXPECT_EQ(translate("Page", "%n file(s) of %1", "", 0), "0 Dateien von %1");
    EXPECT_EQ(translate("Page", "Open"), "Geöffnet");
    EXPECT_EQ(translate("Page", "Open", "command"), "Aufmachen");
    EXPECT_EQ(translate("Page", "Open", "other"), "Geöffnet");
    EXPECT_EQ(translate("QPlatformTheme", "Open"), "Öffnen");
    EXPECT_EQ(translate("QShortcut", "Delete"), "Entf");
    EXPECT_EQ(translate("Window", "Close"), "Fenster zu");
    EXPECT_EQ(translate("Page", "Close"), "Schließen");  // the library's
    EXPECT_EQ(translate("Page", "%n unknown", "", 3), "3 unknown");
    EXPECT_EQ(translate("Page", ""), "");

    QPushButton button;
    Ui::Shop().setupUi(&button);
    EXPECT_EQ(button.text() + button.toolTip() + button.statusTip() + button.whatsThis(), "An&sehen ...ZuCorvane");
  }
  EXPECT_EQ(translate("Page", "Open"), "Open");
}

struct Language {
  const char *code, *yes, *copy, *title;
};
class LanguageTest : public TranslatorTest, public testing::WithParamInterface<Language> {};

TEST_P(LanguageTest, IsSpokenByWidgetsOfTheLibraryAndOfQt) {
  const FakePlatform fake;  // for the settings
  speak(GetParam().code);
  Translator translator;
  QCoreApplication::installTranslator(&translator);
  const QMessageBox question(QMessageBox::Question, "", "", QMessageBox::Yes);
  EXPECT_EQ(question.button(QMessageBox::Yes)->text(), GetParam().yes);
  QLineEdit field;
  const std::unique_ptr<QMenu> menu(field.createStandardContextMenu());
  EXPECT_TRUE(std::ranges::any_of(menu->actions(),
                                  [](const QAction* action) { return action->text().startsWith(GetParam().copy); }));
  RepeaterStatsWindow::show();
  EXPECT_EQ(RepeaterStatsWindow::shared()->window()->windowTitle(), GetParam().title);
  RepeaterStatsWindow::shared()->window()->close();
}

INSTANTIATE_TEST_SUITE_P(All, LanguageTest,
                         testing::Values(Language{"de", "&Ja", "&Kopieren", "Repeater-Statistik"},
                                         Language{"es", "&Sí", "&Copiar", "Estadísticas de repetidores"},
                                         Language{"fr", "&Oui", "&Copier", "Statistiques des répéteurs"},
                                         Language{"ja", "はい(&Y)", "コピー(&C)", "リピーターの統計"},
                                         Language{"xx", "&Yes", "&Copy", "Repeater Statistics"}),
                         [](const auto& language) { return language.param.code; });

}  // namespace
}  // namespace corvane
