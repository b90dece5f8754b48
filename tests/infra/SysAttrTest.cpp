#include "corvane/infra/SysAttr.h"

#include <gmock/gmock.h>
#include <locale.h>
#include <sys/stat.h>

#include <thread>

#include "tests/support/TempHome.h"

// With LOCPATH set, glibc's newlocale() loses its copy of it.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:__argz_add_sep\n";
}

namespace corvane {
namespace {

TEST(SysAttr, UsersAndGroupsByNameOrElseByNumber) {
  for (const auto& [id, name] : {std::pair{0U, "root"}, {4242U, "4242"}, {4'294'967'294U, "4294967294"}}) {
    EXPECT_EQ(SysAttr::username(id), name);
    EXPECT_EQ(SysAttr::groupname(id), name);
  }
}

TEST(SysAttr, Permissions) {
  const std::pair<mode_t, std::string> rows[] = {{S_IFDIR | 0755, "drwxr-xr-x"}, {S_IFREG | 0644, "-rw-r--r--"},
                                                 {S_IFLNK | 0777, "-rwxrwxrwx"}, {S_IFREG | 07000, "----------"},
                                                 {S_IFBLK | 0421, "-r---w---x"}, {S_IFSOCK | 0124, "---x-w-r--"}};
  for (const auto& [mode, text] : rows) {
    EXPECT_EQ(SysAttr::modePermissions(mode), text);
    EXPECT_EQ(SysAttr::isdir(mode), text[0] == 'd');
  }
}

struct SysAttrKinds : testing::Test {
  SysAttrKinds() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) home.set(variable, nullptr);
    fs::create_directory(home / "locales");
    home.set("LOCPATH", (home / "locales").c_str());
  }

  // Compiles a locale from the system's sources, for the C library to find.
  void makeLocale(const std::string& name, const std::string& encoding) const {
    const std::string command =
        "localedef -i " + name + " -f " + encoding + " --no-archive " + (home / "locales/") + name + "." + encoding;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
  }

  TempHome home;
};

TEST_F(SysAttrKinds, EnglishWithoutATranslation) {
  for (const char* locale : {"", "C", "xx_XX.UTF-8", "/etc", "de_DE"}) {
    home.set("LC_ALL", locale);
    std::string texts;
    for (const int type : {S_IFIFO, S_IFCHR, S_IFDIR, S_IFBLK, S_IFREG, S_IFLNK, S_IFSOCK, 0160000})
      texts += SysAttr::modeKind(static_cast<mode_t>(type) | 0644U) + ",";
    EXPECT_EQ(texts,
              "Named pipe,Character special,Directory,Block special,Regular file,Symbolic link,Socket,Whiteout,");
  }
  for (const mode_t mode : {0U, 0644U, 0030000U, 0150000U, 0170000U}) EXPECT_EQ(SysAttr::modeKind(mode), "");
}

TEST_F(SysAttrKinds, InTheUsersLanguage) {
  const auto texts = [] { return SysAttr::modeKind(S_IFDIR) + ", " + SysAttr::modeKind(S_IFREG); };
  makeLocale("de_DE", "ISO-8859-1");
  makeLocale("fr_FR", "UTF-8");
  const std::string german = "Verzeichnis, Reguläre Datei", french = "Répertoire, Fichier ordinaire";
  // Without setlocale(), by the first variable that is set; the application's locale stays its own.
  home.set("LANG", "fr_FR.UTF-8");
  std::thread([&] { EXPECT_EQ(texts(), french); }).join();
  home.set("LC_MESSAGES", "de_DE.ISO-8859-1");
  EXPECT_EQ(texts(), german) << "UTF-8 in any locale";
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C");
  // After it, by the application's.
  ASSERT_TRUE(setlocale(LC_ALL, "fr_FR.UTF-8"));
  EXPECT_EQ(texts(), french);
}

TEST_F(SysAttrKinds, LanguageTakesPrecedenceOverTheLocale) {
  home.set("LOCPATH", nullptr);
  home.set("LANG", "C.UTF-8");
  home.set("LANGUAGE", "xx:ja:de");
  EXPECT_EQ(SysAttr::modeKind(S_IFDIR), "ディレクトリ");
}

}  // namespace
}  // namespace corvane
