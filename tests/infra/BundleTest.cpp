#include "corvane/infra/Bundle.h"

#include <elf.h>
#include <gmock/gmock.h>

#include "corvane/platform/Platform.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

std::string infoOf(const std::string& identifier) {
  return infoPlist(Value::Dictionary{{"CFBundleIdentifier", identifier}});
}

// --- The rules that hold on every system.

TEST(Bundle, DescribesItselfByTheTextEntriesOfItsDictionary) {
  const auto changed = [](const std::string& key, std::optional<Value> value) {
    Value::Dictionary dictionary = {{"CFBundleIdentifier", "a.b.MyApp"},
                                    {"CFBundleName", "MyApp"},
                                    {"CFBundleShortVersionString", "2.1"},
                                    {"CFBundleVersion", "345"}};
    dictionary.erase("CFBundle" + key);
    if (value) dictionary.emplace("CFBundle" + key, *value);
    return infoPlist(dictionary);
  };
  using Text = std::optional<std::string>;
  const std::tuple<std::string, Text, Text, Text> cases[] = {
      {changed("", {}), "MyApp", "MyApp-2.1(345)", "a.b.MyApp"},
      {changed("Version", {}), "MyApp", {}, "a.b.MyApp"},
      {changed("ShortVersionString", 2.1), "MyApp", {}, "a.b.MyApp"},
      {changed("Name", {}), {}, {}, "a.b.MyApp"},
      {changed("Identifier", ""), "MyApp", "MyApp-2.1(345)", {}},
      {infoPlist(Value::Array{"CFBundleName", "MyApp"}), {}, {}, {}}};
  for (const auto& [info, name, version, identifier] : cases) {
    const Bundle bundle({.path = {}, .executable = {}, .resources = {}, .info = info});
    EXPECT_EQ(std::tuple(bundle.bundleName(), bundle.appVersionName(), bundle.identifier()),
              std::tuple(name, version, identifier))
        << info;
  }
}

TEST(Bundle, MainBundleIsReadOnceForThePlatformInForce) {
  const auto identifier = [] { return Bundle::mainBundle()->identifier(); };
  for (const char* name : {"first", "second"}) {
    FakePlatform fake;  // at the same address each time
    fake.bundles->main.info = infoOf(name);
    EXPECT_EQ(identifier(), name);
  }
  FakePlatform damaged;
  damaged.bundles->main = {.path = "/x", .executable = "/x/program", .resources = {}, .info = "junk"};
  EXPECT_THAT(standardErrorOf([&] { EXPECT_EQ(identifier(), std::nullopt); }), HasSubstr("/x/program is damaged"));
  EXPECT_EQ(standardErrorOf([&] { EXPECT_EQ(identifier(), std::nullopt); }), "") << "it is reported once";
  EXPECT_DEATH(Bundle::mainBundle()->requiredIdentifier("Part"), "fatal: Part: .*no identifier.*corvane_application");
}

TEST(Bundle, FindsAndLaunchesOtherApplications) {
  FakePlatform fake;
  fake.workspace->applications = {{"a.App", "/apps/a"}, {"a.Plain", "/apps/plain"}, {"a.Empty", ""}};
  fake.workspace->icons = {{"/apps/a", "/icons/a.png"}, {"/apps/invalid", ""}, {"", "/icons/never.png"}};
  EXPECT_EQ(Bundle::path("a.App"), "/apps/a");
  EXPECT_EQ(Bundle::url("a.Unknown"), std::nullopt);
  EXPECT_EQ(Bundle::bundleIcon("a.App"), Image("/icons/a.png"));
  for (const char* path : {"/apps/invalid", "/apps/plain", ""}) EXPECT_EQ(Bundle::icon(path), std::nullopt) << path;
  for (const char* app : {"a.Plain", "a.Empty", "a.Unknown"}) EXPECT_EQ(Bundle::bundleIcon(app), std::nullopt) << app;

  EXPECT_TRUE(Bundle::launch("a.App"));
  fake.workspace->error = Error{"fake", 1, "no such thing"};
  EXPECT_THAT(standardErrorOf([] { EXPECT_FALSE(Bundle::launch("b.App", LaunchOptions::NEW_INSTANCE)); }),
              HasSubstr("Cannot launch b.App: no such thing"));
  EXPECT_THAT(fake.workspace->calls, ElementsAre("launch a.App", "launch b.App"));
}

TEST(Bundle, UrlEscapesWhatAPathInAURLMayNotContain) {
  FakePlatform fake;
  fake.workspace->applications["a.App"] = "/aZ09-._~!$&'()*+,;=:@ \"#%<>?\\^`{|}\x01\x7f\x80\xff";
  EXPECT_EQ(Bundle::url("a.App"), "file:///aZ09-._~!$&'()*+,;=:@%20%22%23%25%3C%3E%3F%5C%5E%60%7B%7C%7D%01%7F%80%FF");
}

// --- Where Linux programs keep their bundles.

class LinuxBundle : public Test {
 protected:
  // Copies a program into the home folder.
  std::string install(const std::string& program, const std::string& to) const {
    const std::string path = m_home / to;
    fs::create_directories(fs::path(path).parent_path());
    fs::copy_file(std::string(CORVANE_TEST_BIN "/") + program, path, fs::copy_options::overwrite_existing);
    return path;
  }

  // What a program reports about its main bundle: identifier, path, executable, resources, version.
  std::vector<std::string> run(const std::string& program, const std::string& arguments = {}) const {
    EXPECT_EQ(std::system(("'" + program + "' " + arguments + " > " + (m_home / "out")).c_str()), 0);
    std::vector<std::string> lines(5);
    std::ifstream out(m_home / "out");
    for (std::string& line : lines) std::getline(out, line);
    return lines;
  }

  // The name of the bundle of a program with these bytes; "none" if it has no dictionary.
  std::string identifierOf(const std::string& bytes) {
    const auto bundle = Bundle::at(m_home.write("program", bytes));
    return bundle ? bundle->identifier().value_or("none") : "none";
  }

  const TempHome m_home;
};

TEST_F(LinuxBundle, TheMainBundleIsFoundInFourWays) {
  // Program, executable, folder of the dictionary; identifier, path, resources.
  const std::array<std::string, 6> cases[] = {
      {"_embedded", "X.app/Contents/MacOS/x", "X.app/Contents", "test", "X.app", "X.app/Contents/Resources"},
      {"", "Y.app/MacOS/x", "Y.app", "none", "Y.app/MacOS", "Y.app/MacOS/x.resources"},
      {"", "usr/bin/x", "usr/share/x", "test", "usr/bin", "usr/share/x"},
      {"_small", "small/x", "", "test.small", "small", "small/x.resources"},
      {"_embedded", "odd/x (deleted)", "", "test.embedded", "odd", "odd/x (deleted).resources"},
      // The earlier way takes precedence.
      {"_embedded", "W/bin/x", "W/bin/x.resources", "test", "W/bin", "W/bin/x.resources"},
      {"_embedded", "W/bin/x", "W/share/x", "test", "W/bin", "W/share/x"},
  };
  for (const auto& [program, executable, info, identifier, path, resources] : cases) {
    SCOPED_TRACE(executable);
    const std::string installed = install("bundle_probe" + program, executable);
    if (!info.empty()) m_home.write(info + "/Info.plist", infoOf("test"));
    EXPECT_THAT(run(installed), ElementsAre(identifier, m_home / path, installed, m_home / resources, _));
    const auto outside = Bundle::at(installed);
    EXPECT_EQ(outside->identifier().value_or("none"), identifier);
  }
}

TEST_F(LinuxBundle, TheBuildGivesAProgramItsDictionaryAndResources) {
  const std::string program = CORVANE_TEST_BIN "/bundle_probe_beside";
  EXPECT_THAT(run(program), ElementsAre("test.beside", CORVANE_TEST_BIN, program, program + ".resources",
                                        "B & <Sons>; \"Co\"-2.1(345)"));
  const auto bundle = Bundle::at(program);
  EXPECT_EQ(bundle->string("CFBundleExecutable"), "bundle_probe_beside");
  EXPECT_EQ(bundle->resource("BundleProbe.cpp"), program + ".resources/BundleProbe.cpp");
  EXPECT_EQ(bundle->resource("other"), std::nullopt);
}

TEST_F(LinuxBundle, AProgramThatIsDeletedOrReplacedWhileItRunsKeepsItsBundle) {
  std::string program = install("bundle_probe_embedded", "a/x");
  EXPECT_EQ(run(program, "replace-by " + install("bundle_probe", "a/y"))[0], "test.embedded");
  EXPECT_EQ(run(program)[0], "none");

  program = install("bundle_probe", "W/Contents/MacOS/x");
  m_home.write("W/Contents/Info.plist", infoOf("wrapper"));
  EXPECT_THAT(run(program, "unlink " + program),
              ElementsAre("wrapper", m_home / "W", program, m_home / "W/Contents/Resources", "none"));
}

TEST_F(LinuxBundle, AtFindsWrappersAndExecutablesAndNothingElse) {
  m_home.write("X.app/Contents/Info.plist", infoOf("wrapper"));
  const std::string program = m_home.write("X.app/Contents/MacOS/X", "#!/bin/sh\n", 0755);
  m_home.write("X.app/Contents/MacOS/helper", "#!/bin/sh\n", 0755);
  fs::create_symlink(m_home / "X.app", m_home / "link");
  for (const char* path : {"X.app", "X.app/", "link"}) {
    const auto bundle = Bundle::at(m_home / path);
    ASSERT_TRUE(bundle) << path;
    EXPECT_EQ(bundle->path(), m_home / "X.app");
    EXPECT_EQ(bundle->executablePath(), program);
  }
  EXPECT_EQ(Bundle::at(m_home.write("script", "#!/bin/sh\n", 0755))->infoDictionary(), nullptr);

  ASSERT_EQ(mkfifo((m_home / "pipe").c_str(), 0600), 0);
  for (const char* path : {"", "missing", "pipe", "X.app/Contents"})
    EXPECT_FALSE(Bundle::at(*path ? m_home / path : "")) << path;
}

TEST_F(LinuxBundle, ADesktopEntryBelongsToTheBundleOfItsProgram) {
  const std::string program = m_home.write("usr/bin/x", "#!/bin/sh\n", 0755);
  m_home.write("usr/share/x/Info.plist", infoOf("test"));
  const auto entry = [this](const std::string& name, const std::string& more) {
    return m_home.write(name + ".desktop", "[Desktop Entry]\nType=Application\nName=N\n" + more + "\n");
  };
  const std::tuple<std::string, const char*, std::string> cases[] = {
      {entry("a", "Exec=" + program + " --new %U"), "test", program},
      {entry("b", "Exec=sh -c true"), "none", fs::canonical("/bin/sh")},
      {entry("c", "DBusActivatable=true"), "none", ""}};
  for (const auto& [path, identifier, executable] : cases) {
    const auto bundle = Bundle::at(path);
    ASSERT_TRUE(bundle) << path;
    EXPECT_EQ(bundle->path(), path);
    EXPECT_EQ(bundle->identifier().value_or("none"), identifier);
    EXPECT_EQ(bundle->executablePath(), executable);
  }
  for (const std::string& path : {m_home.write("text.desktop", "text"), entry("gone", "Exec=/gone")})
    EXPECT_FALSE(Bundle::at(path)) << path;
}

// --- Forged executables.

constexpr std::string_view ELF_INFO = "<plist><dict><key>CFBundleIdentifier</key><string>elf</string></dict></plist>";
constexpr std::string_view ELF_NAMES("\0.info_plist\0", 13);
constexpr unsigned char ELF_DATA = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;

struct Elf {
  static constexpr std::uint16_t HEAD = sizeof(Elf64_Ehdr), SECTION = sizeof(Elf64_Shdr), START = HEAD + 3 * SECTION;
  Elf64_Ehdr header{{0x7F, 'E', 'L', 'F', ELFCLASS64, ELF_DATA}, 0, 0, 0, 0, 0, HEAD, 0, 0, 0, 0, SECTION, 3, 1};
  Elf64_Shdr info{1, SHT_PROGBITS, 0, 0, START, ELF_INFO.size(), 0, 0, 0, 0};
  Elf64_Shdr names{0, SHT_STRTAB, 0, 0, START + ELF_INFO.size(), ELF_NAMES.size(), 0, 0, 0, 0};
  Elf64_Shdr last{};

  std::string file() const {
    return std::string(reinterpret_cast<const char*>(this), sizeof *this).append(ELF_INFO).append(ELF_NAMES);
  }
};

TEST_F(LinuxBundle, DictionariesThatAreNotInTheFileAreNotRead) {
  const std::pair<const char*, void (*)(Elf&)> hostile[] = {
      {"section headers far beyond the end", [](Elf& elf) { elf.header.e_shoff -= 2 * elf.header.e_shoff + 8; }},
      {"section headers of no size", [](Elf& elf) { elf.header.e_shentsize = 0; }},
      {"names in no section", [](Elf& elf) { elf.header.e_shstrndx = 3; }},
      {"dictionary that ends beyond the end", [](Elf& elf) { elf.info.sh_size = 100'000; }},
      {"dictionary whose end wraps", [](Elf& elf) { (elf.info.sh_size = 0) -= 8; }},
      {"dictionary without bytes", [](Elf& elf) { elf.info.sh_type = SHT_NOBITS; }},
      {"compressed dictionary", [](Elf& elf) { elf.info.sh_flags = SHF_COMPRESSED; }}};
  EXPECT_EQ(identifierOf(Elf().file()), "elf");
  for (const auto& [what, change] : hostile) {
    Elf elf;
    change(elf);
    EXPECT_FALSE(Bundle::at(m_home.write("program", elf.file()))) << what;
  }
  for (const std::size_t length : {std::size_t{4}, sizeof(Elf64_Ehdr), sizeof(Elf), Elf().file().size() - 1})
    EXPECT_EQ(identifierOf(Elf().file().substr(0, length)), "none") << length;
}

}  // namespace
}  // namespace corvane
