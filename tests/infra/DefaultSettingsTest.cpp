#include "corvane/infra/settings/DefaultSettings.h"

#include <gmock/gmock.h>

#include <cmath>

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

TEST_F(DefaultSettingsTest, SavedValuesKeepTheirKindAndAreLoaded) {
  settings.saveString("s", "text");
  settings.saveInteger("i", -5);
  settings.saveDouble("d", 2);
  settings.saveBool("b", true);
  settings.saveData("x", Data{{1, 2}});
  settings.saveDictionary("m", {{"a", 1}});
  settings.saveStringArray("l", {"a", "b"});
  const Value::Dictionary dictionary = {{"a", 1}};
  const Value::Array list = {"a", "b"};
  const std::pair<const char*, Value> stored[] = {{"s", "text"},       {"i", -5},         {"d", 2.0}, {"b", true},
                                                  {"x", Data{{1, 2}}}, {"m", dictionary}, {"l", list}};
  for (const auto& [key, value] : stored) EXPECT_EQ(*store->value(key), value);
  EXPECT_EQ(settings.loadString("s", ""), "text");
  EXPECT_EQ(settings.loadInteger("i", 0), -5);
  EXPECT_EQ(settings.loadDouble("d", 0), 2.0);
  EXPECT_TRUE(settings.loadBool("b", false));
  EXPECT_EQ(settings.loadData("x", std::nullopt), (Data{{1, 2}}));
  EXPECT_EQ(settings.loadDictionary("m"), dictionary);
  EXPECT_EQ(settings.loadStringArray("l"), (std::vector<std::string>{"a", "b"}));
}

TEST_F(DefaultSettingsTest, MissingKeysGiveTheDefaultsAndOtherKindsAreConverted) {
  EXPECT_EQ(settings.loadString("k", "x"), "x");
  EXPECT_EQ(settings.loadInteger("k", 7), 7);
  EXPECT_EQ(settings.loadDouble("k", 0.5), 0.5);
  EXPECT_TRUE(settings.loadBool("k", true));
  EXPECT_EQ(settings.loadTimeval("k", Timeval::nsec(3)), Timeval::nsec(3));
  EXPECT_EQ(settings.loadData("k", Data{{1}}), Data{{1}});
  EXPECT_EQ(settings.loadColor("k", Color::named("x")), Color::named("x"));
  EXPECT_FALSE(settings.loadStringArray("k") || settings.loadColorArray("k") || settings.loadFont("k"));
  put("k", "12");
  EXPECT_EQ(settings.loadInteger("k", 7), 12);
  EXPECT_EQ(settings.loadData("k", Data{{1}}), std::nullopt) << "the default is for missing keys";
}

TEST_F(DefaultSettingsTest, TimesAreWholeMicroseconds) {
  for (const auto& [saved, stored] : {std::pair{-1500, -1}, {999, 0}, {2'000'000, 2000}}) {
    settings.saveTimeval("t", Timeval::nsec(saved));
    EXPECT_EQ(*store->value("t"), stored);
    EXPECT_EQ(settings.loadTimeval("t", Timeval()), Timeval::nsec(stored * 1000));
  }
}

TEST_F(DefaultSettingsTest, WhatCannotBeReadAsAskedIsFatal) {
  put("k", Value::Dictionary{});
  EXPECT_DEATH(settings.loadString("k", ""), "fatal: loadString: the value of k cannot be read as text");
  put("k", std::numeric_limits<std::int64_t>::max() / 1000 + 1);
  EXPECT_DEATH(settings.loadTimeval("k", Timeval()), "fatal: overflow");
}

TEST_F(DefaultSettingsTest, ColorsWithoutComponentsAreNotStoredAndDamagedOnesNotRead) {
  const Color ink = Color::rgba(0.1, 1.5, -0.25, 0.7);
  for (const Color& color : {ink, Color::named("window"), Color::rgba(0, NAN, 0)}) {
    settings.saveColor("c", color);
    EXPECT_EQ(settings.loadColor("c", Color()), ink) << "the earlier value stays";
  }
  settings.saveColorArray("cs", {ink, Color::named("window"), Color()});
  EXPECT_EQ(settings.loadColorArray("cs"), (std::vector<Color>{ink, Color()}));

  const auto color = [](const Value& red, const char* last) {
    return Value::Dictionary{{"red", red}, {"green", 0.5}, {"blue", 0.0}, {last, 1.0}};
  };
  const Value good = color(1, "alpha");
  put("cs", Value::Array{good});
  EXPECT_EQ(settings.loadColorArray("cs"), std::vector{Color::rgba(1, 0.5, 0)});
  for (const Value& bad : Value::Array{color(1, "more"), color("1", "alpha"), color(true, "alpha"), "red"}) {
    put("c", bad);
    put("cs", Value::Array{good, bad});
    EXPECT_EQ(settings.loadColor("c", ink), ink);
    EXPECT_EQ(settings.loadColorArray("cs"), std::nullopt) << "none, not a shorter list";
  }
}

TEST_F(DefaultSettingsTest, FontsComeBackAsTheirFamilysDefaultFace) {
  const auto bold = Font::named("DejaVu Sans Bold", 12.5);
  ASSERT_TRUE(bold) << "the package fonts-dejavu-core is missing";
  EXPECT_EQ(*bold, (Font{"DejaVu Sans", "DejaVuSans-Bold", 12.5}));
  settings.saveFont("f", *bold);
  EXPECT_EQ(settings.loadDictionary("f"), (Value::Dictionary{{"fontName", "DejaVu Sans"}, {"fontSize", 12.5}}));
  EXPECT_EQ(settings.loadFont("f"), (Font{"DejaVu Sans", "DejaVuSans", 12.5}));
  EXPECT_EQ(Font::named("DejaVuSans-Bold", 12.5), bold);
  for (const char* name : {"No Such Font", "", "sans-serif", "DejaVu"}) EXPECT_EQ(Font::named(name, 12), std::nullopt);
  for (const double size : {0.0, std::nan(""), HUGE_VAL}) EXPECT_EQ(Font::named("DejaVu Sans", size), std::nullopt);
  settings.saveFont("f", Font{"", "Lone", 9});
  EXPECT_EQ(settings.loadDictionary("f"), (Value::Dictionary{{"fontSize", 9.0}}));
  for (const auto& [name, size] : {std::pair<Value, Value>{1, 9}, {"DejaVu Sans", "9"}}) {
    put("f", Value::Dictionary{{"fontName", name}, {"fontSize", size}});
    EXPECT_EQ(settings.loadFont("f"), std::nullopt);
  }
}

TEST_F(DefaultSettingsTest, KeysAreDeletedByWholeCharacters) {
  using Keys = std::vector<std::string>;
  const std::tuple<const char*, Keys, Keys> rows[] = {
      {"win.", {"win.x", "win.y", "win.\u00e9"}, {"Win.x", "awin.x", "win.", "window"}},
      {"e\u0301", {"e\u0301x", "\u00e9y"}, {"e", "ex", "e\u0301", "e\u0301\u0302x"}},
      {"\U0001F469", {"\U0001F469x"}, {"\U0001F469\u200D\U0001F680x"}},
      {"", {"a", "\u00e9"}, {""}}};
  for (const auto& [prefix, gone, kept] : rows) {
    settings.removeAll();
    for (const Keys& keys : {gone, kept})
      for (const std::string& key : keys) settings.saveInteger(key, 1);
    settings.deleteKeys(prefix);
    Keys left;
    for (const auto& [key, value] : store->dictionaryRepresentation()) left.push_back(key);
    EXPECT_EQ(left, kept) << prefix;
  }
}

TEST_F(DefaultSettingsTest, TheGlobalAndItsCopiesActOnTheSharedSettingsAlone) {
  UserDefaults::setShared(store);
  ASSERT_TRUE(UserDefaults(".global").set("g", 2));
  Defaults.saveInteger("g", 3);
  EXPECT_EQ(s_early.loadInteger("g", 0), 3);
  settings.remove("g");
  EXPECT_EQ(settings.loadInteger("g", 0), 2);
}

}  // namespace
}  // namespace corvane
