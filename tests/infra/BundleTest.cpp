#include "corvane/infra/Bundle.h"

#include <elf.h>
#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <sstream>

#include "corvane/infra/PropertyList.h"
#include "corvane/platform/Platform.h"
#include "corvane/platform/fake/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

std::string plist(const Value& value) {
  return writePropertyList(value, PropertyListFormat::XML).value();
}

std::string infoOf(const std::string& identifier) {
  return plist(Value::Dictionary{{"CFBundleIdentifier", identifier}});
}

// --- The rules that hold on every system.

TEST(Bundle, DescribesItselfByTheTextEntriesOfItsDictionary) {
  const Value::Dictionary whole{{"CFBundleIdentifier", "a.b.MyApp"},
                                {"CFBundleName", "MyApp"},
                                {"CFBundleShortVersionString", "2.1"},
                                {"CFBundleVersion", "345"}};
  const auto changed = [&whole](const char* key, std::optional<Value> value) {
    Value::Dictionary dictionary = whole;
    dictionary.erase(key);
    if (value) dictionary.emplace(key, *value);
    return plist(dictionary);
  };
  const struct {
    std::optional<std::string> info;
    std::optional<std::string> name, version, identifier;
  } cases[] = {
      {plist(whole), "MyApp", "MyApp-2.1(345)", "a.b.MyApp"},
      {changed("CFBundleVersion", {}), "MyApp", {}, "a.b.MyApp"},
      {changed("CFBundleVersion", 345), "MyApp", {}, "a.b.MyApp"},
      {changed("CFBundleShortVersionString", {}), "MyApp", {}, "a.b.MyApp"},
      {changed("CFBundleShortVersionString", 2.1), "MyApp", {}, "a.b.MyApp"},
      {changed("CFBundleName", {}), {}, {}, "a.b.MyApp"},
      {changed("CFBundleName", Value::Array{"MyApp"}), {}, {}, "a.b.MyApp"},
      {changed("CFBundleIdentifier", {}), "MyApp", "MyApp-2.1(345)", {}},
      {{}, {}, {}, {}},
      {"", {}, {}, {}},
      {"<plist><dict><key>CFBundleName", {}, {}, {}},
      {plist(Value::Array{"CFBundleName", "MyApp"}), {}, {}, {}},
  };
  for (const auto& [info, name, version, identifier] : cases) {
    SCOPED_TRACE(info.value_or("no dictionary"));
    const Bundle bundle({.path = {}, .executable = {}, .resources = {}, .info = info});
    EXPECT_EQ(bundle.bundleName(), name);
    EXPECT_EQ(bundle.appVersionName(), version);
    EXPECT_EQ(bundle.identifier(), identifier);
    EXPECT_EQ(bundle.infoDictionary() != nullptr, name || identifier);
  }
}

TEST(Bundle, MainBundleIsThatOfThePlatformInForce) {
  const auto identifier = [] { return Bundle::mainBundle()->identifier(); };
  EXPECT_EQ(identifier(), std::nullopt);
  for (const char* name : {"first", "second"}) {
    FakePlatform fake;  // at the same address each time
    fake.bundles->main.info = infoOf(name);
    EXPECT_EQ(identifier(), name);
    {
      FakePlatform inner;
      inner.bundles->main.info = infoOf("inner");
      EXPECT_EQ(identifier(), "inner");
    }
    EXPECT_EQ(identifier(), name);
    EXPECT_EQ(Bundle::mainBundle(), Bundle::mainBundle()) << "read once";
  }
  EXPECT_EQ(identifier(), std::nullopt);
}

TEST(Bundle, ReportsADamagedDictionaryOnce) {
  FakePlatform fake;
  fake.bundles->main = {.path = "/x", .executable = "/x/program", .resources = {}, .info = "junk"};
  testing::internal::CaptureStderr();
  EXPECT_EQ(Bundle::mainBundle()->infoDictionary(), nullptr);
  EXPECT_EQ(Bundle::mainBundle()->infoDictionary(), nullptr);
  const std::string report = testing::internal::GetCapturedStderr();
  EXPECT_THAT(report, HasSubstr("/x/program is damaged"));
  EXPECT_EQ(std::ranges::count(report, '\n'), 1) << report;
}

TEST(Bundle, FindsOtherApplicationsAndTheirIcons) {
  FakePlatform fake;
  fake.workspace->applications = {{"a.App", "/apps/a"}, {"a.Plain", "/apps/plain"}, {"a.Empty", ""}};
  fake.workspace->icons = {{"/apps/a", "/icons/a.png"}, {"/apps/invalid", ""}, {"", "/icons/never.png"}};
  EXPECT_EQ(Bundle::path("a.App"), "/apps/a");
  EXPECT_EQ(Bundle::path("a.Unknown"), std::nullopt);
  EXPECT_EQ(Bundle::url("a.Unknown"), std::nullopt);
  EXPECT_EQ(Bundle::icon("/apps/a"), Image("/icons/a.png"));
  EXPECT_EQ(Bundle::icon("/apps/invalid"), std::nullopt);
  EXPECT_EQ(Bundle::icon("/apps/plain"), std::nullopt);
  EXPECT_EQ(Bundle::icon(""), std::nullopt) << "the workspace must not be asked";
  EXPECT_EQ(Bundle::bundleIcon("a.App"), Image("/icons/a.png"));
  EXPECT_EQ(Bundle::bundleIcon("a.Plain"), std::nullopt);
  EXPECT_EQ(Bundle::bundleIcon("a.Empty"), std::nullopt);
  EXPECT_EQ(Bundle::bundleIcon("a.Unknown"), std::nullopt);
}

TEST(Bundle, UrlEscapesWhatAPathInAURLMayNotHold) {
  std::string every = "/";
  for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
  for (const std::string& path : {std::string("/apps/Füße & 100% #1?.desktop"), every}) {
    FakePlatform fake;
    fake.workspace->applications["a.App"] = path;
    const std::string url = Bundle::url("a.App").value();
    EXPECT_THAT(url, testing::MatchesRegex("file://[][A-Za-z0-9%/._~!$&'()*+,;=:@-]*"));
    const std::unique_ptr<char, decltype(&g_free)> back(g_filename_from_uri(url.c_str(), nullptr, nullptr), g_free);
    ASSERT_TRUE(back) << url;
    EXPECT_EQ(back.get(), path);
  }
}

TEST(Bundle, LaunchTellsWhetherItSucceededAndLogsWhyNot) {
  FakePlatform fake;
  EXPECT_TRUE(Bundle::launch("a.App"));
  fake.workspace->error = Error{"fake", 1, "no such thing"};
  testing::internal::CaptureStderr();
  EXPECT_FALSE(Bundle::launch("b.App", LaunchOptions::NEW_INSTANCE));
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Cannot launch b.App: no such thing"));
  EXPECT_THAT(fake.workspace->calls, testing::ElementsAre("launch a.App", "launch b.App"));
}

// --- Where Linux programs keep their bundles.

class LinuxBundle : public testing::Test {
 protected:
  // Copies a program into the home folder.
  std::string install(const std::string& program, const std::string& to) const {
    const std::string path = m_home / to;
    fs::create_directories(fs::path(path).parent_path());
    fs::copy_file(std::string(CORVANE_TEST_BIN "/") + program, path, fs::copy_options::overwrite_existing);
    return path;
  }

  struct Seen {
    std::string identifier, path, executable, resources, version;
  };

  static Seen run(const std::string& program, const std::string& arguments = {}) {
    const std::string command = "'" + program + "' " + arguments;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    for (int c = 0; (c = std::fgetc(pipe.get())) != EOF;) output += static_cast<char>(c);
    std::istringstream lines(output);
    Seen seen;
    for (std::string* line : {&seen.identifier, &seen.path, &seen.executable, &seen.resources, &seen.version})
      std::getline(lines, *line);
    return seen;
  }

  const TempHome m_home;
};

TEST_F(LinuxBundle, TheMainBundleIsFoundInFourWays) {
  const struct {
    std::string program, executable, info, identifier, path, resources;
  } cases[] = {
      {"bundle_probe", "X.app/Contents/MacOS/x", "X.app/Contents/Info.plist", "test", "X.app",
       "X.app/Contents/Resources"},
      {"bundle_probe", "usr/bin/x", "usr/share/x/Info.plist", "test", "usr/bin", "usr/share/x"},
      {"bundle_probe", "beside/x", "beside/x.resources/Info.plist", "test", "beside", "beside/x.resources"},
      {"bundle_probe", "usr2/bin/x", "usr2/bin/x.resources/Info.plist", "test", "usr2/bin", "usr2/bin/x.resources"},
      {"bundle_probe_embedded", "in/x", "", "test.embedded", "in", "in/x.resources"},
      {"bundle_probe_small", "in/x", "", "test.small", "in", "in/x.resources"},
      {"bundle_probe_embedded", "in2/x", "in2/x.resources/Info.plist", "test", "in2", "in2/x.resources"},
      {"bundle_probe", "none/x", "", "none", "none", "none/x.resources"},
      {"bundle_probe_embedded", "odd/x (deleted)", "", "test.embedded", "odd", "odd/x (deleted).resources"},
      {"bundle_probe", "Y.app/MacOS/x", "Y.app/Info.plist", "none", "Y.app/MacOS", "Y.app/MacOS/x.resources"},
  };
  for (const auto& [program, executable, info, identifier, path, resources] : cases) {
    SCOPED_TRACE(program + " as " + executable);
    const std::string installed = install(program, executable);
    if (!info.empty()) m_home.write(info, infoOf("test"));
    const Seen seen = run(installed);
    EXPECT_EQ(seen.identifier, identifier);
    EXPECT_EQ(seen.path, m_home / path);
    EXPECT_EQ(seen.executable, installed);
    EXPECT_EQ(seen.resources, m_home / resources);
    // Asked from outside, the same is found.
    const auto bundle = Bundle::at(installed);
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->identifier().value_or("none"), identifier);
    EXPECT_EQ(bundle->resourcesPath(), m_home / resources);
  }
}

TEST_F(LinuxBundle, TheEarlierWayWins) {
  const std::string program = install("bundle_probe_embedded", "W/Contents/MacOS/x");
  EXPECT_EQ(run(program).identifier, "test.embedded");
  m_home.write("W/Contents/MacOS/x.resources/Info.plist", infoOf("beside"));
  EXPECT_EQ(run(program).identifier, "beside");
  m_home.write("W/Contents/Info.plist", infoOf("wrapper"));
  EXPECT_EQ(run(program).identifier, "wrapper");
}

TEST_F(LinuxBundle, TheBuildGivesAProgramItsDictionaryAndResources) {
  const std::string program = CORVANE_TEST_BIN "/bundle_probe_beside";
  const Seen seen = run(program);
  EXPECT_EQ(seen.identifier, "test.beside");
  EXPECT_EQ(seen.version, "B & <Sons>; \"Co\"-2.1(345)");
  const auto bundle = Bundle::at(program);
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->string("CFBundleExecutable"), "bundle_probe_beside");
  EXPECT_EQ(bundle->resource("BundleProbe.cpp"), program + ".resources/BundleProbe.cpp");
  EXPECT_EQ(bundle->resource("other"), std::nullopt);
  EXPECT_EQ(run(CORVANE_TEST_BIN "/bundle_probe_embedded").version, "Embedded-1.0(7)");
}

TEST_F(LinuxBundle, AProgramThatIsDeletedOrReplacedWhileItRunsKeepsItsBundle) {
  std::string program = install("bundle_probe_embedded", "a/x");
  Seen seen = run(program, "unlink " + program);
  EXPECT_EQ(seen.identifier, "test.embedded");
  EXPECT_EQ(seen.executable, program);

  program = install("bundle_probe_embedded", "a/x");
  const std::string other = install("bundle_probe", "a/y");
  EXPECT_EQ(run(program, "replace-by " + other).identifier, "test.embedded");
  EXPECT_EQ(run(program).identifier, "none");

  program = install("bundle_probe", "W/Contents/MacOS/x");
  m_home.write("W/Contents/Info.plist", infoOf("wrapper"));
  seen = run(program, "unlink " + program);
  EXPECT_EQ(seen.identifier, "wrapper");
  EXPECT_EQ(seen.path, m_home / "W");
}

TEST_F(LinuxBundle, AtFindsWrappersAndExecutablesAndNothingElse) {
  m_home.write("X.app/Contents/Info.plist", infoOf("wrapper"));
  const std::string program = m_home.write("X.app/Contents/MacOS/X", "#!/bin/sh\n", 0755);
  m_home.write("X.app/Contents/MacOS/helper", "#!/bin/sh\n", 0755);
  fs::create_symlink(m_home / "X.app", m_home / "link");
  for (const char* path : {"X.app", "X.app/", "link"}) {
    const auto bundle = Bundle::at(m_home / path);
    ASSERT_TRUE(bundle) << path;
    EXPECT_EQ(bundle->identifier(), "wrapper");
    EXPECT_EQ(bundle->path(), m_home / "X.app");
    EXPECT_EQ(bundle->executablePath(), program);
  }
  EXPECT_EQ(Bundle::at(program)->identifier(), "wrapper");
  EXPECT_EQ(Bundle::at(m_home.write("script", "#!/bin/sh\n", 0755))->infoDictionary(), nullptr);

  ASSERT_EQ(mkfifo((m_home / "pipe").c_str(), 0600), 0);
  for (const char* path : {"", "/", "missing", "pipe", "X.app/Contents"})
    EXPECT_FALSE(Bundle::at(*path ? m_home / path : "")) << path;
}

// --- Executables that somebody made up.

template <class HeaderT, class SectionT, int CLASS>
struct Elf {
  using Header = HeaderT;
  using Section = SectionT;

  struct Parts {
    Header header{};
    std::array<Section, 3> sections{};  // nothing, the dictionary, the names
  };

  static std::string make(const std::function<void(Parts&)>& change = [](Parts&) {}) {
    const std::string info = infoOf("elf");
    const std::string names("\0.info_plist\0", 13);
    Parts parts;
    std::memcpy(parts.header.e_ident, ELFMAG, SELFMAG);
    parts.header.e_ident[EI_CLASS] = CLASS;
    parts.header.e_ident[EI_DATA] = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
    parts.header.e_shoff = sizeof(Header);
    parts.header.e_shentsize = sizeof(Section);
    parts.header.e_shnum = 3;
    parts.header.e_shstrndx = 2;
    parts.sections[1].sh_name = 1;
    parts.sections[1].sh_type = SHT_PROGBITS;
    parts.sections[1].sh_offset = sizeof(Header) + sizeof parts.sections;
    parts.sections[1].sh_size = static_cast<decltype(Section::sh_size)>(info.size());
    parts.sections[2].sh_offset = static_cast<decltype(Section::sh_offset)>(parts.sections[1].sh_offset + info.size());
    parts.sections[2].sh_size = static_cast<decltype(Section::sh_size)>(names.size());
    change(parts);
    std::string file(reinterpret_cast<const char*>(&parts.header), sizeof(Header));
    file.append(reinterpret_cast<const char*>(parts.sections.data()), sizeof parts.sections);
    return file + info + names;
  }
};

template <class T>
class ElfBundle : public LinuxBundle {
 protected:
  std::shared_ptr<const Bundle> bundle(const std::string& bytes) {
    return Bundle::at(m_home.write("program", bytes, 0755));
  }
};
using ElfKinds = testing::Types<Elf<Elf64_Ehdr, Elf64_Shdr, ELFCLASS64>, Elf<Elf32_Ehdr, Elf32_Shdr, ELFCLASS32>>;
TYPED_TEST_SUITE(ElfBundle, ElfKinds);

TYPED_TEST(ElfBundle, HostileExecutablesHaveNoBundle) {
  using Parts = typename TypeParam::Parts;
  ASSERT_TRUE(this->bundle(TypeParam::make()));
  EXPECT_EQ(this->bundle(TypeParam::make())->identifier(), "elf");

  const std::pair<const char*, void (*)(Parts&)> hostile[] = {
      {"section headers beyond the end", [](Parts& p) { p.header.e_shoff = 100'000; }},
      {"section headers far beyond the end", [](Parts& p) { p.header.e_shoff -= 2 * p.header.e_shoff + 8; }},
      {"too many sections", [](Parts& p) { p.header.e_shnum = 0xFFFF; }},
      {"section headers of no size", [](Parts& p) { p.header.e_shentsize = 0; }},
      {"names in no section", [](Parts& p) { p.header.e_shstrndx = 3; }},
      {"names beyond the end", [](Parts& p) { p.sections[2].sh_offset = 100'000; }},
      {"dictionary beyond the end", [](Parts& p) { p.sections[1].sh_offset = 100'000; }},
      {"dictionary that ends beyond the end", [](Parts& p) { p.sections[1].sh_size = 100'000; }},
      {"dictionary whose end wraps", [](Parts& p) { p.sections[1].sh_size -= p.sections[1].sh_size + 8; }},
      {"dictionary without bytes", [](Parts& p) { p.sections[1].sh_type = SHT_NOBITS; }},
      {"compressed dictionary", [](Parts& p) { p.sections[1].sh_flags = SHF_COMPRESSED; }},
  };
  for (const auto& [what, change] : hostile) EXPECT_FALSE(this->bundle(TypeParam::make(change))) << what;
  const std::string whole = TypeParam::make();
  EXPECT_FALSE(this->bundle(whole.substr(0, sizeof(typename TypeParam::Header) - 1))) << "half a header";
}

TYPED_TEST(ElfBundle, NoDamageMakesTheReaderFail) {
  const std::string whole = TypeParam::make();
  const std::string path = this->m_home.write("program", whole, 0755);
  testing::internal::CaptureStderr();  // most damage to the names and offsets leaves a dictionary that is junk
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  const auto put = [&file](std::size_t at, char byte) {
    file.seekp(static_cast<std::streamoff>(at)).put(byte).flush();
  };
  for (std::size_t at = 0; at < sizeof(typename TypeParam::Parts); ++at) {
    for (const int value : {0, 1, 0x7F, 0x80, 0xFF}) {
      put(at, static_cast<char>(value));
      const auto bundle = Bundle::at(path);
      if (bundle && bundle->infoDictionary()) {
        EXPECT_EQ(bundle->identifier(), "elf") << "byte " << at;
      }
    }
    put(at, whole[at]);
  }
  EXPECT_EQ(Bundle::at(path)->identifier(), "elf");
  for (std::size_t length = whole.size(); length-- > 0;) {
    fs::resize_file(path, length);
    const auto bundle = Bundle::at(path);
    EXPECT_FALSE(bundle && bundle->infoDictionary()) << length << " bytes";
  }
  testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace corvane
