#include "corvane/infra/SysAttr.h"

#include <gmock/gmock.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

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
    for (const auto& [id, name] : {std::pair{0U, "root"}, {4242U, "4242"}, {4'294'967'294U, "4294967294"}})
      EXPECT_EQ(std::pair(SysAttr::username(id), SysAttr::groupname(id)),
                std::pair(std::string(name), std::string(name)));
  }
  s_sizeOfEntries = -1;
  EXPECT_DEATH(SysAttr::username(0), "fatal: SysAttr: the system reports no maximum size");
  EXPECT_DEATH(SysAttr::groupname(0), "fatal: SysAttr: the system reports no maximum size");
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

  // Compiles a locale of the system's sources, for the C library to find.
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
  const struct {
    std::string locale, encoding, texts;
  } rows[] = {{"de_DE", "ISO-8859-1", "Verzeichnis, Reguläre Datei"},
              {"es_ES", "UTF-8", "Directorio, Archivo regular"},
              {"fr_FR", "UTF-8", "Répertoire, Fichier ordinaire"},
              {"ja_JP", "UTF-8", "ディレクトリ, 通常ファイル"}};
  const auto texts = [] { return SysAttr::modeKind(S_IFDIR) + ", " + SysAttr::modeKind(S_IFREG); };
  for (const auto& row : rows) makeLocale(row.locale, row.encoding);

  // Without setlocale(), by the first variable that is set.
  home.set("LANG", "fr_FR.UTF-8");
  EXPECT_EQ(texts(), rows[2].texts);
  home.set("LC_MESSAGES", "es_ES.UTF-8");
  EXPECT_EQ(texts(), rows[1].texts);
  for (const auto& row : rows) {
    home.set("LC_ALL", (row.locale + "." + row.encoding).c_str());
    std::thread([&] { EXPECT_EQ(texts(), row.texts); }).join();
    EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C") << "the application's locale is its own";
  }

  // After it, by the application's.
  ASSERT_TRUE(setlocale(LC_ALL, "de_DE.ISO-8859-1"));
  EXPECT_EQ(texts(), rows[0].texts) << "UTF-8 in any locale";
  ASSERT_TRUE(setlocale(LC_ALL, ""));
  EXPECT_EQ(texts(), rows[3].texts);
}

TEST_F(SysAttrKinds, LanguageGoesBeforeTheLocale) {
  home.set("LOCPATH", nullptr);
  home.set("LANG", "C.UTF-8");
  home.set("LANGUAGE", "xx:ja:de");
  EXPECT_EQ(SysAttr::modeKind(S_IFDIR), "ディレクトリ");
}

}  // namespace
}  // namespace corvane
