#include "corvane/infra/SysAttr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "tests/support/TempHome.h"

namespace {
// What the system tells as the size of user and group entries, if not 0.
long s_sizeOfEntries = 0;
}  // namespace

// Stands in front of the C library's own, for the libraries too. The sanitizers call it before they are ready to be
// called themselves.
extern "C" long __sysconf(int name);
extern "C" __attribute__((visibility("default"), no_sanitize("address", "thread", "undefined"))) long sysconf(
    int name) noexcept {
  const bool ofEntries = name == _SC_GETPW_R_SIZE_MAX || name == _SC_GETGR_R_SIZE_MAX;
  return ofEntries && s_sizeOfEntries != 0 ? s_sizeOfEntries : __sysconf(name);
}

// With LOCPATH set, glibc's newlocale() loses its copy of it.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:__argz_add_sep\n";
}

namespace corvane {
namespace {

TEST(SysAttr, UsersAndGroupsByNameElseByNumber) {
  // A size of 1 makes the real database ask for more room.
  for (const long size : {0, 1}) {
    s_sizeOfEntries = size;
    EXPECT_EQ(SysAttr::username(0), "root");
    EXPECT_EQ(SysAttr::groupname(0), "root");
    EXPECT_EQ(SysAttr::username(4242), "4242");
    EXPECT_EQ(SysAttr::groupname(4242), "4242");
    EXPECT_EQ(SysAttr::username(4'294'967'294), "4294967294");
  }
  s_sizeOfEntries = -1;
  EXPECT_DEATH(SysAttr::username(0), "fatal: SysAttr: the system reports no maximum size");
  EXPECT_DEATH(SysAttr::groupname(0), "fatal: SysAttr: the system reports no maximum size");
  s_sizeOfEntries = 0;
}

TEST(SysAttr, Permissions) {
  const struct {
    mode_t mode;
    const char* text;
  } rows[] = {{S_IFDIR | 0755, "drwxr-xr-x"},
              {S_IFREG | 0644, "-rw-r--r--"},
              {S_IFLNK | 0777, "-rwxrwxrwx"},
              {S_IFREG | 07000, "----------"},
              {S_IFBLK | 0421, "-r---w---x"},
              {S_IFSOCK | 0124, "---x-w-r--"},
              {0, "----------"}};
  for (const auto& row : rows) {
    EXPECT_EQ(SysAttr::modePermissions(row.mode), row.text) << std::oct << row.mode;
    EXPECT_EQ(SysAttr::isdir(row.mode), row.text[0] == 'd');
  }
  struct stat status {};
  ASSERT_EQ(stat("/tmp", &status), 0);
  EXPECT_EQ(SysAttr::modePermissions(status.st_mode), "drwxrwxrwx");
}

std::vector<std::string> kinds() {
  std::vector<std::string> texts;
  for (const mode_t type :
       std::initializer_list<mode_t>{S_IFIFO, S_IFCHR, S_IFDIR, S_IFBLK, S_IFREG, S_IFLNK, S_IFSOCK, 0160000U})
    texts.push_back(SysAttr::modeKind(type | 0644U));
  return texts;
}

class SysAttrKinds : public testing::Test {
 protected:
  SysAttrKinds() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) home.set(variable, nullptr);
  }

  // Compiles locales of the system's sources and has the C library find those and no others.
  void makeLocales(const std::vector<std::array<std::string, 2>>& locales) {
    std::filesystem::create_directory(home / "locales");
    for (const auto& [name, encoding] : locales) {
      const std::string command =
          "localedef -i " + name + " -f " + encoding + " --no-archive " + (home / "locales/") + name + "." + encoding;
      ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    home.set("LOCPATH", (home / "locales").c_str());
  }

  TempHome home;
};

TEST_F(SysAttrKinds, EnglishWithoutATranslation) {
  const std::vector<std::string> english = {"Named pipe",   "Character special", "Directory", "Block special",
                                            "Regular file", "Symbolic link",     "Socket",    "Whiteout"};
  for (const char* locale : {"", "C", "xx_XX.UTF-8", "/etc", "de_DE"}) {
    makeLocales({});
    home.set("LC_ALL", locale);
    EXPECT_EQ(kinds(), english) << locale;
  }
  for (const mode_t mode : {0U, 0644U, 0030000U, 0150000U, 0170000U}) EXPECT_EQ(SysAttr::modeKind(mode), "");
}

TEST_F(SysAttrKinds, InTheUsersLanguage) {
  const struct {
    std::string locale;
    std::string encoding;
    std::vector<std::string> texts;
  } rows[] = {
      {"de_DE",
       "ISO-8859-1",
       {"Benannte Pipe", "Zeichenorientiertes Gerät", "Verzeichnis", "Blockorientiertes Gerät", "Reguläre Datei",
        "Symbolische Verknüpfung", "Socket", "Whiteout"}},
      {"es_ES",
       "UTF-8",
       {"Tubería con nombre", "Especial de caracteres", "Directorio", "Especial de bloques", "Archivo regular",
        "Enlace simbólico", "Socket", "Whiteout"}},
      {"fr_FR",
       "UTF-8",
       {"Tube nommé", "Fichier spécial caractère", "Répertoire", "Fichier spécial bloc", "Fichier ordinaire",
        "Lien symbolique", "Socket", "Whiteout"}},
      {"ja_JP",
       "UTF-8",
       {"名前付きパイプ", "キャラクタスペシャル", "ディレクトリ", "ブロックスペシャル", "通常ファイル",
        "シンボリックリンク", "ソケット", "ホワイトアウト"}},
  };
  for (const auto& row : rows) makeLocales({{row.locale, row.encoding}});

  // Without setlocale(), by the first variable that is set.
  home.set("LANG", "fr_FR.UTF-8");
  EXPECT_EQ(kinds(), rows[2].texts);
  home.set("LC_MESSAGES", "es_ES.UTF-8");
  EXPECT_EQ(kinds(), rows[1].texts);
  for (const auto& row : rows) {
    home.set("LC_ALL", (row.locale + "." + row.encoding).c_str());
    std::thread([&row] { EXPECT_EQ(kinds(), row.texts) << row.locale; }).join();
    EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C") << "the application's locale is its own";
  }

  // After it, by the application's.
  ASSERT_TRUE(setlocale(LC_ALL, "de_DE.ISO-8859-1"));
  EXPECT_EQ(kinds(), rows[0].texts) << "UTF-8 in any locale";
  ASSERT_TRUE(setlocale(LC_ALL, ""));
  EXPECT_EQ(kinds(), rows[3].texts);
  ASSERT_TRUE(setlocale(LC_ALL, "C"));
}

TEST_F(SysAttrKinds, LanguageGoesBeforeTheLocale) {
  home.set("LANG", "C.UTF-8");
  home.set("LANGUAGE", "xx:ja:de");
  EXPECT_EQ(SysAttr::modeKind(S_IFDIR), "ディレクトリ");
}

}  // namespace
}  // namespace corvane
