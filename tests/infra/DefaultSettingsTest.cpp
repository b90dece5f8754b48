#include "corvane/infra/DefaultSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "corvane/platform/fake/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

// Copied before main.
const DefaultSettings s_early = Defaults;

struct DefaultSettingsTest : testing::Test {
  TempHome home;
  std::shared_ptr<UserDefaults> store = std::make_shared<UserDefaults>("a.b.App");
  const DefaultSettings settings{store};

  void put(const char* key, Value value) const { ASSERT_TRUE(store->set(key, std::move(value))); }
};

TEST_F(DefaultSettingsTest, SavedValuesAreLoaded) {
  settings.saveString("s", "text");
  settings.saveInteger("i", -5);
  settings.saveDouble("d", 0.1);
  settings.saveBool("b", true);
  settings.saveData("x", Data{{1, 2}});
  settings.saveDictionary("m", {{"a", 1}});
  settings.saveStringArray("l", {"a", "b"});
  EXPECT_EQ(settings.loadString("s", ""), "text");
  EXPECT_EQ(settings.loadInteger("i", 0), -5);
  EXPECT_EQ(settings.loadDouble("d", 0), 0.1);
  EXPECT_TRUE(settings.loadBool("b", false));
  EXPECT_EQ(settings.loadData("x", std::nullopt), (Data{{1, 2}}));
  EXPECT_EQ(settings.loadDictionary("m"), (Value::Dictionary{{"a", 1}}));
  EXPECT_EQ(settings.loadStringArray("l"), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(store->value("i")->isInteger() && store->value("d")->isReal() && store->value("b")->isBool());
}

TEST_F(DefaultSettingsTest, AbsentKeysGiveTheDefaultsAndOthersConvert) {
  EXPECT_EQ(settings.loadString("k", "x"), "x");
  EXPECT_EQ(settings.loadInteger("k", 7), 7);
  EXPECT_EQ(settings.loadDouble("k", 0.5), 0.5);
  EXPECT_TRUE(settings.loadBool("k", true));
  EXPECT_EQ(settings.loadTimeval("k", Timeval::nsec(3)), Timeval::nsec(3));
  EXPECT_EQ(settings.loadData("k", Data{{1}}), Data{{1}});
  EXPECT_EQ(settings.loadDictionary("k"), std::nullopt);
  EXPECT_EQ(settings.loadStringArray("k"), std::nullopt);
  EXPECT_EQ(settings.loadColor("k", Color::named("x")), Color::named("x"));
  EXPECT_EQ(settings.loadColorArray("k"), std::nullopt);
  EXPECT_EQ(settings.loadFont("k"), std::nullopt);
  put("k", "12");
  EXPECT_EQ(settings.loadInteger("k", 7), 12);
  EXPECT_EQ(settings.loadData("k", Data{{1}}), std::nullopt) << "the default is for absent keys";
  put("k", "unreadable");
  EXPECT_EQ(settings.loadInteger("k", 7), 0);
  put("k", 5);
  EXPECT_EQ(settings.loadString("k", ""), "5");
  EXPECT_EQ(settings.loadColor("k", Color::named("x")), Color::named("x"));
  put("k", Value::Array{"a", 1});
  EXPECT_EQ(settings.loadStringArray("k"), std::nullopt);
}

TEST_F(DefaultSettingsTest, TimesAreWholeMicroseconds) {
  for (const auto& [saved, stored] : {std::pair{1500, 1}, {-1500, -1}, {999, 0}, {2'000'000, 2000}}) {
    settings.saveTimeval("t", Timeval::nsec(saved));
    EXPECT_EQ(settings.loadInteger("t", 0), stored);
    EXPECT_EQ(settings.loadTimeval("t", Timeval()), Timeval::nsec(stored * 1000));
  }
}

TEST_F(DefaultSettingsTest, WhatCannotBeReadAsAskedIsFatal) {
  put("k", Value::Dictionary{});
  EXPECT_DEATH(settings.loadString("k", ""), "fatal: loadString: the value of k cannot be read as text");
  put("k", std::numeric_limits<std::int64_t>::max() / 1000 + 1);
  EXPECT_DEATH(settings.loadTimeval("k", Timeval()), "fatal: overflow");
}

TEST_F(DefaultSettingsTest, Colors) {
  const Color ink = Color::rgba(0.1, 1.5, -0.25, 0.7);
  settings.saveColor("c", ink);
  EXPECT_EQ(settings.loadColor("c", Color()), ink);
  settings.saveColor("c", Color::named("window"));
  EXPECT_EQ(settings.loadColor("c", Color()), ink) << "nothing is stored, the earlier value stays";
  settings.saveColor("c", Color::rgba(0, NAN, 0));
  EXPECT_EQ(settings.loadColor("c", Color()), ink);
  settings.saveColorArray("cs", {ink, Color::named("window"), Color()});
  EXPECT_EQ(settings.loadColorArray("cs"), (std::vector<Color>{ink, Color()}));
  settings.saveColorArray("cs", {});
  EXPECT_EQ(settings.loadColorArray("cs"), std::vector<Color>());

  const Value::Dictionary good{{"red", 1}, {"green", 0.5}, {"blue", 0.0}, {"alpha", 1.0}};
  const auto with = [&good](const char* key, std::optional<Value> value) {
    Value::Dictionary changed = good;
    changed.erase(key);
    if (value) changed.emplace(key, *value);
    return changed;
  };
  put("cs", Value::Array{good, good});
  EXPECT_EQ(settings.loadColorArray("cs")->at(1), Color::rgba(1, 0.5, 0));
  for (const Value& bad : {Value(with("alpha", {})), Value(with("red", "1")), Value(with("red", true)),
                           Value(with("more", "x")), Value("red"), Value(Value::Array{})}) {
    put("c", bad);
    put("cs", Value::Array{good, bad});
    EXPECT_EQ(settings.loadColor("c", ink), ink);
    EXPECT_EQ(settings.loadColorArray("cs"), std::nullopt) << "none, not a shorter list";
  }
}

TEST_F(DefaultSettingsTest, FontsComeBackAsTheirFamilysDefaultFace) {
  const auto bold = Font::named("DejaVuSans-Bold", 12.5);
  ASSERT_TRUE(bold) << "the package fonts-dejavu-core is missing";
  EXPECT_EQ(*bold, (Font{"DejaVu Sans", "DejaVuSans-Bold", 12.5}));
  settings.saveFont("f", *bold);
  EXPECT_EQ(settings.loadDictionary("f"), (Value::Dictionary{{"fontName", "DejaVu Sans"}, {"fontSize", 12.5}}));
  EXPECT_EQ(settings.loadFont("f"), (Font{"DejaVu Sans", "DejaVuSans", 12.5}));
  EXPECT_EQ(Font::named("dejavu sans mono", 1)->name, "DejaVuSansMono");
  EXPECT_EQ(Font::named("DejaVu Sans Bold", 1)->name, "DejaVuSans-Bold");
  for (const char* name : {"No Such Font", "", "sans-serif", "DejaVu"}) EXPECT_EQ(Font::named(name, 12), std::nullopt);
  for (const double size : {0.0, -1.0, std::nan(""), HUGE_VAL})
    EXPECT_EQ(Font::named("DejaVu Sans", size), std::nullopt);

  settings.saveFont("f", Font{"", "Lone", 9});
  EXPECT_EQ(settings.loadDictionary("f"), (Value::Dictionary{{"fontSize", 9.0}}));
  EXPECT_EQ(settings.loadFont("f"), std::nullopt);
  const Value::Dictionary rows[] = {{{"fontName", "DejaVu Sans"}},
                                    {{"fontName", 1}, {"fontSize", 9}},
                                    {{"fontName", "DejaVu Sans"}, {"fontSize", "9"}},
                                    {{"fontName", "No Such Font"}, {"fontSize", 9}}};
  for (const auto& row : rows) {
    put("f", row);
    EXPECT_EQ(settings.loadFont("f"), std::nullopt);
  }
}

TEST_F(DefaultSettingsTest, KeysAreDeletedByWholeCharacters) {
  const struct {
    const char* prefix;
    std::vector<std::string> gone, kept;
  } rows[] = {
      {"win.", {"win.x", "win.y", "win.\u00e9"}, {"win.", "window", "Win.x", "awin.x"}},
      {"e", {"ex", "e.\u0301"}, {"e", "e\u0301x", "\u00e9x", "E"}},
      {"e\u0301", {"e\u0301x", "\u00e9y"}, {"e\u0301", "e", "ex", "e\u0301\u0302x"}},
      {"\U0001F469", {"\U0001F469x"}, {"\U0001F469\u200D\U0001F680x"}},
      {"a\r", {"a\rx"}, {"a\r\nx"}},
      {"", {"a", "\u00e9"}, {""}},
  };
  for (const auto& row : rows) {
    settings.removeAll();
    for (const auto* keys : {&row.gone, &row.kept})
      for (const std::string& key : *keys) settings.saveInteger(key, 1);
    settings.deleteKeys(row.prefix);
    for (const std::string& key : row.gone) EXPECT_EQ(settings.loadInteger(key, 0), 0) << row.prefix << ": " << key;
    for (const std::string& key : row.kept) EXPECT_EQ(settings.loadInteger(key, 0), 1) << row.prefix << ": " << key;
  }
}

TEST_F(DefaultSettingsTest, RemovalLeavesOtherDomainsAlone) {
  UserDefaults global{std::string(UserDefaults::GLOBAL_DOMAIN)};
  ASSERT_TRUE(global.set("win.g", "global"));
  store->registerDefaults({{"win.r", "registered"}});
  const auto refill = [&] {
    for (const char* key : {"win.g", "win.r", "win.o"}) settings.saveString(key, "own");
  };
  const auto look = [&] {
    EXPECT_EQ(settings.loadString("win.g", ""), "global");
    EXPECT_EQ(settings.loadString("win.r", ""), "registered");
    EXPECT_EQ(settings.loadString("win.o", "gone"), "gone");
  };
  refill();
  settings.removeAll();
  look();
  refill();
  settings.deleteKeys("win.");
  look();
  refill();
  for (const char* key : {"win.g", "win.r", "win.o"}) settings.remove(key);
  look();
}

TEST_F(DefaultSettingsTest, TheGlobalActsOnTheSharedSettings) {
  UserDefaults::setShared(store);
  Defaults.saveInteger("g", 3);
  EXPECT_EQ(settings.loadInteger("g", 0), 3);
  const DefaultSettings copy = Defaults;
  copy.saveInteger("g", 4);
  EXPECT_EQ(Defaults.loadInteger("g", 0), 4);
  EXPECT_EQ(s_early.loadInteger("g", 0), 4);
}

}  // namespace
}  // namespace corvane
