#include "corvane/infra/PropertyList.h"

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

namespace corvane {

void PrintTo(const Value& value, std::ostream* out) {
  *out << writePropertyList(value, PropertyListFormat::XML).value_or("a value that XML cannot hold");
}

namespace {

using namespace std::string_literals;
using Array = Value::Array;
using Dictionary = Value::Dictionary;

constexpr auto XML = PropertyListFormat::XML;
constexpr auto BINARY = PropertyListFormat::BINARY;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

std::string xml(const std::string& body) {
  return "<?xml version=\"1.0\"?>\n<plist>" + body + "</plist>";
}

std::string bigEndian(std::uint64_t number, int size) {
  std::string bytes;
  while (size-- > 0) bytes += static_cast<char>(number >> 8 * size);
  return bytes;
}

/// A binary list of the objects, whose first is the top and whose references take one byte.
std::string binary(const std::vector<std::string>& objects, int offsetSize = 1) {
  std::string list = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(list.size(), offsetSize);
    list += object;
  }
  const std::size_t tableOffset = list.size();
  return list + table + bigEndian(0, 6) + bigEndian(static_cast<unsigned>(offsetSize), 1) + "\1" +
         bigEndian(objects.size(), 8) + bigEndian(0, 8) + bigEndian(tableOffset, 8);
}

/// What reading gives as the description of the failure; empty when it succeeds.
std::string readError(std::string_view bytes, const PropertyListLimits& limits = {}) {
  const auto result = readPropertyList(bytes, limits);
  EXPECT_TRUE(result || result.error().domain == "propertylist");
  return result ? "" : result.error().description;
}

Value read(std::string_view bytes) {
  const auto result = readPropertyList(bytes);
  if (!result) ADD_FAILURE() << result.error().description;
  return result.value_or(Value());
}

Value nested(std::size_t depth) {
  Value value = "core";
  while (depth-- > 0) value = Array{std::move(value), 1};
  return value;
}

Value everything() {
  std::vector<std::uint8_t> bytes(256);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i);
  const std::string longText(70000, 'x');
  return Dictionary{
      {"", "empty key"},
      {"dates", Array{Date{0}, Date{-1}, Date{1262304000}, Date{-63145526400}, Date{252423993599}}},
      {"data", Array{Data{}, Data{{0}}, Data{{1, 2}}, Data{bytes}}},
      {"empty", Array{Array{}, Dictionary{}, ""}},
      {"integers", Array{0, -1, 255, 256, 65535, 65536, 4294967295, 4294967296, INT64_MAX, INT64_MIN}},
      {"reals", Array{0.0, 0.1, -2.5, 5e-324, 1.7976931348623157e308, INF, -INF, NOT_A_NUMBER}},
      {"texts", Array{"\t a\r\n\rb ", "<&>\"'", "]]>", "h\u00e9 \u2020 \U0001F600", longText}},
      {"truths", Array{true, false}},
  };
}

TEST(Value, TellsItsKindAndContent) {
  EXPECT_TRUE(Value().isDictionary() && Value().asDictionary()->empty());
  const Value value = Dictionary{{"a", 1}, {"b", Array{true}}};
  EXPECT_EQ(*value.find("a"), 1);
  EXPECT_EQ(*value.find("b")->asArray()->at(0).asBool(), true);
  EXPECT_EQ(value.find("c"), nullptr);
  EXPECT_EQ(Value("a").find("a"), nullptr);
  EXPECT_TRUE(Value("a").isString() && !Value("a").isBool() && !Value("a").isData());
  EXPECT_TRUE(Value(1).isInteger() && !Value(1).isReal() && Value(1.0F).isReal());
  EXPECT_TRUE(Value(Data{}).isData() && Value(Date{}).isDate() && Value(Array{}).isArray());
}

TEST(Value, EqualsTheSameKindAndContentOnly) {
  EXPECT_NE(Value(1), Value(1.0));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value(1), Value(2));
  EXPECT_NE(Value(NOT_A_NUMBER), Value(1.0));
  EXPECT_NE(Value(1.0), Value(NOT_A_NUMBER));
  EXPECT_NE(Value(Array{}), Value(Dictionary{}));
  EXPECT_EQ(everything(), Value(everything()));
}

TEST(Value, ConvertsDates) {
  EXPECT_EQ(Date::fromUnixSeconds(0).seconds, -978307200);
  EXPECT_EQ(Date{1.5}.unixSeconds(), 978307201.5);
}

TEST(PropertyList, ReadsWhatItWrote) {
  const std::vector<Value> values = {everything(), nested(MAX_PROPERTY_LIST_DEPTH), "text", 1, Value()};
  for (const auto format : {XML, BINARY}) {
    for (const Value& value : values) EXPECT_EQ(read(*writePropertyList(value, format)), value);
  }
  // References and offsets of every size that a test can afford.
  for (const int count : {10, 300, 70000}) {
    Array numbers;
    for (int i = 0; i < count; ++i) numbers.push_back(i);
    EXPECT_EQ(read(*writePropertyList(numbers, BINARY)), Value(numbers));
  }
  const Value control = Array{"nul\0"s, "\x01", "\uFFFE", Date{0.25}, Date{1e300}};
  EXPECT_EQ(read(*writePropertyList(control, BINARY)), control);
  for (const double instant : {0.25, 1e-13}) EXPECT_EQ(read(*writePropertyList(Date{-instant}, XML)), Value(Date{-1}));
}

TEST(PropertyList, WritesXmlInTheUsualForm) {
  const Value value = Dictionary{{"b", Array{1.5, true, Date{-0.5}}}, {"a&", Data{std::vector<std::uint8_t>(58)}}};
  EXPECT_EQ(*writePropertyList(value, XML),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>a&amp;</key>
	<data>
	AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA
	AA==
	</data>
	<key>b</key>
	<array>
		<real>1.5</real>
		<true/>
		<date>2000-12-31T23:59:59Z</date>
	</array>
</dict>
</plist>
)");
}

TEST(PropertyList, WritesBinaryWithoutRepeatingItself) {
  EXPECT_EQ(*writePropertyList(Dictionary{{"a", "a"}, {"\u00e9", Array{"a", 7}}}, BINARY),
            binary({"\xD2\1\2\1\3", "\x51"s + "a", "\x61\0\xE9"s, "\xA2\1\4", "\x10\7"}));
}

TEST(PropertyList, ReadsXml) {
  const std::vector<std::pair<std::string, Value>> cases = {
      {"<true/>", true},
      {"<true> </true>", true},
      {" \n<!-- c --><false></false><?pi?>", false},
      {"<string/>", ""},
      {"<string>a&#x20AC;<!-- c -->&lt;&amp;<![CDATA[<&]]></string>", "a\u20ac<&<&"},
      {"<integer> +12\n</integer>", 12},
      {"<integer>-9223372036854775808</integer>", INT64_MIN},
      {"<integer>0x7fffFFFFffffFFFF</integer>", INT64_MAX},
      {"<integer>-0X10</integer>", -16},
      {"<real>+1.5e3</real>", 1500.0},
      {"<real>-Infinity</real>", -INF},
      {"<real>inf</real>", INF},
      {"<real>NaN</real>", NOT_A_NUMBER},
      {"<date>1970-01-01T00:00:00Z</date>", Date{-978307200}},
      {"<date>2040-02-29T23:59:59Z</date>", Date{1235865599}},
      {"<date>0000-12-30T00:00:00Z</date>", Date{-63114076800}},
      {"<data> AP\n\t8= </data>", Data{{0, 255}}},
      {"<dict><key>k</key><integer>1</integer><key>k</key><true/></dict>", Dictionary{{"k", true}}},
      {"<array x='y'><array/><dict/></array>", Array{Array{}, Dictionary{}}},
  };
  for (const auto& [body, value] : cases) EXPECT_EQ(read(xml(body)), value) << body;
  EXPECT_EQ(read("\xEF\xBB\xBF \n" + *writePropertyList(everything(), XML)), everything());
}

TEST(PropertyList, RefusesMalformedXml) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "neither"},
      {"  { a = b; }", "neither"},
      {"\xFF\xFE<\0"s, "UTF-16"},
      {"\0<\0p"s, "UTF-16"},
      {"<!-- nothing -->", "holds no <plist>"},
      {"<dict/>", "<dict> where only one <plist>"},
      {"<plist><true/></plist><plist/>", "<plist> where only one"},
      {"<plist><true/></plist>\nrest", "line 2"},
      {"<plist><true/>", "ended unexpectedly"},
      {"<plist>\n<string>\xC3</string></plist>", "line 2: not valid UTF-8"},
      {xml(""), "holds no value"},
      {xml("<true/>\n<true/>"), "line 3"},
      {xml("<true/><true/>"), "second value"},
      {xml("text"), "text outside of a value"},
      {xml("<set/>"), "<set> is not known"},
      {xml("<plist/>"), "<plist> is not known"},
      {xml("<key>a</key>"), "<key> where a value"},
      {xml("<dict><true/></dict>"), "<true> where a <key>"},
      {xml("<dict><key>a</key><key>b</key></dict>"), "<key> where a value"},
      {xml("<dict><key>a</key></dict>"), "has no value"},
      {xml("<dict>a</dict>"), "text outside of a value"},
      {xml("<true>yes</true>"), "<true> holds text"},
      {xml("<string><b/></string>"), "<b> inside <string>"},
      {xml("<string>&nbsp;</string>"), "nbsp"},
      {xml("<string>\x01</string>"), "a character that XML does not allow"},
      {xml("<string>&#xFFFF;</string>"), "FFFF"},
      {xml("<string>&#1;</string>"), "a character that XML does not allow"},
      {xml("<string>&#0;</string>"), "line 2"},
      {xml("<dict><key>\x01</key><true/></dict>"), "<key> holds"},
      {xml("<integer></integer>"), "not a whole number"},
      {xml("<integer>1 2</integer>"), "not a whole number"},
      {xml("<integer>--1</integer>"), "not a whole number"},
      {xml("<integer>0x</integer>"), "not a whole number"},
      {xml("<integer>1.5</integer>"), "not a whole number"},
      {xml("<integer>9223372036854775808</integer>"), "64 bits"},
      {xml("<integer>-0x8000000000000001</integer>"), "64 bits"},
      {xml("<integer>99999999999999999999</integer>"), "64 bits"},
      {xml("<real>1,5</real>"), "not a number"},
      {xml("<real>+-1</real>"), "not a number"},
      {xml("<real>nan(1)</real>"), "not a number"},
      {xml("<real></real>"), "not a number"},
      {xml("<real>1e999</real>"), "range of a double"},
      {xml("<date>2001-01-01T00:00:00</date>"), "form"},
      {xml("<date>12001-01-01T00:00:00Z</date>"), "form"},
      {xml("<date>2001-01-01 00:00:00Z</date>"), "form"},
      {xml("<date>2001-01-0xT00:00:00Z</date>"), "form"},
      {xml("<date>2001-02-29T00:00:00Z</date>"), "calendar"},
      {xml("<date>2001-13-01T00:00:00Z</date>"), "calendar"},
      {xml("<date>2001-01-01T24:00:00Z</date>"), "calendar"},
      {xml("<date>2001-01-01T00:60:00Z</date>"), "calendar"},
      {xml("<date>2001-01-01T00:00:60Z</date>"), "calendar"},
      {xml("<data>AP8</data>"), "Base64"},
      {xml("<data>AP8=AP8=</data>"), "Base64"},
      {xml("<data>A*P8</data>"), "Base64"},
      {xml("<data>AP9=</data>"), "Base64"},
  };
  for (const auto& [bytes, fragment] : cases) {
    const std::string error = readError(bytes);
    EXPECT_TRUE(!error.empty() && error.find(fragment) != error.npos) << bytes << "\n" << fragment << "\n" << error;
  }
}

TEST(PropertyList, ReadsBinary) {
  const std::vector<std::pair<std::vector<std::string>, Value>> cases = {
      {{"\x08"}, false},
      {{"\x09"}, true},
      {{"\x10\xFF"}, 255},
      {{"\x11\xFF\xFF"}, 65535},
      {{"\x12" + bigEndian(4294967295, 4)}, 4294967295},
      {{"\x13" + bigEndian(~0ULL, 8)}, -1},
      {{"\x14" + bigEndian(0, 8) + bigEndian(INT64_MAX, 8)}, INT64_MAX},
      {{"\x14" + bigEndian(~0ULL, 8) + bigEndian(1ULL << 63, 8)}, INT64_MIN},
      {{"\x22\x3F\xC0\0\0"s}, 1.5},
      {{"\x23\xBF\xF8\0\0\0\0\0\0"s}, -1.5},
      {{"\x33\x3F\xF8\0\0\0\0\0\0"s}, Date{1.5}},
      {{"\x42\0\xFF"s}, Data{{0, 255}}},
      {{"\x4F\x11\0\1z"s}, Data{{'z'}}},
      {{"\x5F\x10\2hi"}, "hi"},
      {{"\x62\xD8\x3D\xDE\0"s}, "\U0001F600"},
      {{"\x80\5"}, Dictionary{{"CF$UID", 5}}},
      {{"\x81\1\1"}, Dictionary{{"CF$UID", 257}}},
      {{"\xC2\1\1", "\x10\1"}, Array{1, 1}},
      {{"\xD2\1\1\2\3", "\x51k", "\x08", "\x09"}, Dictionary{{"k", true}}},
      {{"\xA2\1\1", "\xA1\2", "\x51k"}, Array{Array{"k"}, Array{"k"}}},
  };
  for (const auto& [objects, value] : cases) {
    EXPECT_EQ(read(binary(objects)), value);
    EXPECT_EQ(read(binary(objects, 3)), value);
  }
}

TEST(PropertyList, RefusesMalformedBinary) {
  const std::string huge = "\x13" + bigEndian(1ULL << 63, 8);
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{std::string(1, '\0')}, "object 0 at byte 8: is neither true nor false"},
      {{"\x0F"}, "neither true nor false"},
      {{"\x15" + std::string(32, '\1')}, "integer of an unknown size"},
      {{"\x14" + bigEndian(0, 8) + bigEndian(1ULL << 63, 8)}, "64 bits"},
      {{"\x14" + bigEndian(1, 8) + bigEndian(1, 8)}, "64 bits"},
      {{"\x11\1"}, "runs past the end"},
      {{"\x21\1\1"}, "real of an unknown size"},
      {{"\x32" + bigEndian(0, 4)}, "date of an unknown size"},
      {{"\x33\x7F\xF0\0\0\0\0\0\0"s}, "date that is not finite"},
      {{"\x42z"}, "runs past the end"},
      {{"\x4F\x51z"}, "count that is not an integer"},
      {{"\x4F\x14" + bigEndian(0, 8) + bigEndian(1, 8) + "z"}, "count that is not an integer"},
      {{"\x4F"}, "runs past the end"},
      {{"\x4F" + huge}, "runs past the end"},
      {{"\x6F" + huge}, "runs past the end"},
      {{"\xAF" + huge}, "runs past the end"},
      {{"\xDF" + huge}, "runs past the end"},
      {{"\x51\x80"}, "not ASCII"},
      {{"\x61\xD8\x3D"}, "surrogate"},
      {{"\x61\xDE\0"s}, "surrogate"},
      {{"\x62\xD8\x3D\0z"s}, "surrogate"},
      {{"\x70"}, "unknown kind"},
      {{"\xB0"}, "unknown kind"},
      {{"\x87" + bigEndian(~0ULL, 8)}, "63 bits"},
      {{"\x88" + std::string(9, '\0')}, "63 bits"},
      {{"\xA1\7"}, "names object 7"},
      {{"\xD1\7\0"s}, "names object 7"},
      {{"\xA1\1", "\xA2\2\2", "\x12"}, "object 2 at byte 13: runs past the end"},
      {{"\xD1\1\1", "\x10\1"}, "object 1 at byte 11: is a key but not a string"},
      {{"\xA1\0"s}, "object 0 at byte 8: contains itself"},
      {{"\xA1\1", "\xD1\2\0"s, "\x51k"}, "contains itself"},
  };
  for (const auto& [objects, fragment] : cases) {
    const std::string error = readError(binary(objects));
    EXPECT_TRUE(!error.empty() && error.find(fragment) != error.npos) << fragment << "\n" << error;
  }
}

TEST(PropertyList, RefusesImpossibleTrailers) {
  const std::string list = binary({"\x09"});  // 8 magic, 1 object, 1 offset, 32 trailer
  ASSERT_EQ(read(list), Value(true));
  struct Patch {
    std::size_t position;
    char byte;
    std::string fragment;
  };
  const std::vector<Patch> patches = {
      {6, '1', "unknown version"}, {9, 7, "lies outside"},      {9, 9, "lies outside"},
      {16, 0, "impossible sizes"}, {16, 9, "impossible sizes"}, {17, 0, "impossible sizes"},
      {17, 9, "impossible sizes"}, {16, 2, "does not match"},   {18, 1, "does not match"},
      {25, 0, "does not match"},   {25, 2, "does not match"},   {33, 1, "top object"},
      {41, 7, "does not match"},   {41, 10, "does not match"},  {34, '\x80', "does not match"},
  };
  for (const Patch& patch : patches) {
    std::string patched = list;
    patched[patch.position] = patch.byte;
    EXPECT_NE(readError(patched).find(patch.fragment), std::string::npos) << patch.position << readError(patched);
  }
  EXPECT_NE(readError(binary({"\x09"}, 2).insert(11, 1, '\0')).find("does not match"), std::string::npos);
  EXPECT_NE(readError("bplist00").find("too short"), std::string::npos);
}

TEST(PropertyList, RefusesEveryTruncation) {
  const Value value = Dictionary{{"a", Array{1, 2.5, "\u00e9", true, Data{{1}}, Date{1}}}, {"b", Dictionary{}}};
  for (const auto format : {XML, BINARY}) {
    const std::string list = *writePropertyList(value, format);
    const std::size_t complete = list.size() - (format == XML ? 1 : 0);  // XML ends with a line feed
    for (std::size_t size = 0; size < complete; ++size)
      EXPECT_NE(readError(std::string_view(list).substr(0, size)), "") << size;
  }
}

TEST(PropertyList, KeepsToItsLimits) {
  const std::string laughs = [] {
    std::vector<std::string> objects(8, "\xAA");
    for (std::size_t i = 0; i < objects.size(); ++i) objects[i].append(10, static_cast<char>(i + 1));
    objects.push_back("\x53lol");
    return binary(objects);
  }();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(readError(laughs).find("too many values"), std::string::npos);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

  const std::string xmlList = *writePropertyList(Array{Array{"four"}, Dictionary{{"k", Data{{1, 2}}}}}, XML);
  const std::string binaryList =
      *readPropertyList(xmlList).and_then([](const Value& value) { return writePropertyList(value, BINARY); });
  for (const std::string& list : {xmlList, binaryList}) {
    EXPECT_EQ(readError(list, {list.size(), 2, 5, 7}), "");
    EXPECT_NE(readError(list, {list.size() - 1, 2, 5, 7}).find("larger than"), std::string::npos);
    EXPECT_NE(readError(list, {list.size(), 1, 5, 7}).find("nested too deeply"), std::string::npos);
    EXPECT_NE(readError(list, {list.size(), 2, 4, 7}).find("too many values"), std::string::npos);
    EXPECT_NE(readError(list, {list.size(), 2, 5, 6}).find("too many bytes"), std::string::npos);
  }
  EXPECT_NE(readError(binaryList, {1000, 2, 0, 7}).find("too many values"), std::string::npos);

  std::string deepXml;
  for (int i = 0; i < 100000; ++i) deepXml += "<array>";
  EXPECT_NE(readError(xml(deepXml), {1 << 20, 1 << 20}).find("nested too deeply"), std::string::npos);
  std::vector<std::string> deep;
  for (char i = 1; i < 120; ++i) deep.push_back("\xA1"s + i);
  deep.push_back("\xA0");
  EXPECT_EQ(readError(binary(deep), {.maxDepth = 120}), "");
  EXPECT_NE(readError(binary(deep), {.maxDepth = 119}).find("nested too deeply"), std::string::npos);
}

TEST(PropertyList, RefusesToWriteWhatNoListCanHold) {
  struct Case {
    Value value;
    std::string error;
    bool onlyXml;
  };
  const std::vector<Case> cases = {
      {Dictionary{{"a", Array{1, "\xFF"}}}, "the property list/a/1: holds text that is not valid UTF-8", false},
      {"\xED\xA0\x80", "the property list: holds text that is not valid UTF-8", false},
      {Dictionary{{"\xC0\x80", 1}}, "the property list: has a key with text that is not valid UTF-8", false},
      {Date{INF}, "the property list: is a date that is not finite", false},
      {"a\0"s, "the property list: holds a character that XML does not allow", true},
      {"\uFFFE", "the property list: holds a character that XML does not allow", true},
      {"\uFFFF", "the property list: holds a character that XML does not allow", true},
      {Dictionary{{"\x1F", 1}}, "the property list: has a key with a character that XML does not allow", true},
      {Date{252423993600}, "the property list: is a date outside the years 0000 to 9999", true},
      {Date{-63145526400.5}, "the property list: is a date outside the years 0000 to 9999", true},
  };
  for (const auto format : {XML, BINARY}) {
    for (const auto& [value, error, onlyXml] : cases) {
      const auto written = writePropertyList(value, format);
      EXPECT_EQ(written ? "" : written.error().description, onlyXml && format == BINARY ? "" : error);
    }
    const auto deep = writePropertyList(nested(MAX_PROPERTY_LIST_DEPTH + 1), format);
    ASSERT_FALSE(deep);
    EXPECT_TRUE(deep.error().description.ends_with("/0/0: is nested too deeply"));
  }
}

class PropertyListFile : public testing::Test {
 protected:
  void SetUp() override {
    std::string folder = testing::TempDir() + "plistXXXXXX";
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    m_folder = folder;
  }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  std::string path(const std::string& name) const { return m_folder / name; }
  std::size_t fileCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_folder), {}));
  }

  std::filesystem::path m_folder;
};

TEST_F(PropertyListFile, IsReplacedAsAWhole) {
  const mode_t previous = ::umask(027);
  for (const auto format : {XML, BINARY}) {
    EXPECT_TRUE(writePropertyListFile(everything(), path("a.plist"), format));
    EXPECT_EQ(readPropertyListFile(path("a.plist")), everything());
  }
  ::umask(previous);
  struct stat status = {};
  ASSERT_EQ(::stat(path("a.plist").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(fileCount(), 1U);
}

TEST_F(PropertyListFile, IsRefusedWhenItIsNone) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  std::ofstream(path("bad")) << "bad";
  std::ofstream(path("large")) << xml("<true/>") << std::string(70000, ' ');
  const auto errorOf = [this](const std::string& name, const PropertyListLimits& limits = {}) {
    const auto result = readPropertyListFile(path(name), limits);
    return result ? Error{} : result.error();
  };
  EXPECT_EQ(errorOf("missing").domain, "posix");
  EXPECT_EQ(errorOf("missing").code, ENOENT);
  EXPECT_TRUE(errorOf("missing").description.starts_with(path("missing") + ": "));
  EXPECT_EQ(errorOf(".").code, EISDIR);
  EXPECT_EQ(errorOf("pipe").description, path("pipe") + ": not a regular file");
  EXPECT_EQ(errorOf("bad").description, path("bad") + ": neither a binary nor an XML property list");
  EXPECT_EQ(errorOf("large", {65536}).description, path("large") + ": larger than the 65536 bytes allowed");
}

TEST_F(PropertyListFile, IsKeptWhenWritingFails) {
  ASSERT_TRUE(writePropertyListFile("old", path("a"), XML));
  EXPECT_TRUE(writePropertyListFile("\xFF", path("a"), XML).error().description.starts_with(path("a") + ": the prop"));

  // A limit on file sizes makes write() fail half way, whoever runs the tests.
  rlimit unlimited = {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &unlimited), 0);
  const rlimit limited = {1000, unlimited.rlim_max};
  const auto previous = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
  const auto result = writePropertyListFile(everything(), path("a"), XML);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &unlimited), 0);
  std::signal(SIGXFSZ, previous);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, EFBIG);

  EXPECT_EQ(readPropertyListFile(path("a")), Value("old"));
  EXPECT_EQ(writePropertyListFile("new", path("none/a"), XML).error().code, ENOENT);
  std::filesystem::create_directory(path("folder"));
  EXPECT_EQ(writePropertyListFile("new", path("folder"), XML).error().code, EISDIR);
  EXPECT_EQ(fileCount(), 2U);
}

TEST(PropertyList, AgreesWithAnotherImplementation) {
  const Value value = Dictionary{
      {"array", Array{0, -1, 255, 65536, INT64_MAX, INT64_MIN, true, false, Array{}, Dictionary{}}},
      {"data", Data{std::vector<std::uint8_t>(100, 0xA5)}},
      {"date", Date{700000000}},
      {"real", 0.1},
      {"text", Array{"", "<&>'\"", "h\u00e9 \u2020 \U0001F600", "a\nb"}},
  };
  for (const auto format : {XML, BINARY}) {
    const std::string ours = *writePropertyList(value, format);
    plist_t list = nullptr;
    plist_from_memory(ours.data(), static_cast<std::uint32_t>(ours.size()), &list);
    ASSERT_NE(list, nullptr);

    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(plist_dict_get_item(list, "date"), &seconds, &microseconds);
    EXPECT_EQ(seconds, 700000000);
    char* text = nullptr;
    plist_get_string_val(plist_array_get_item(plist_dict_get_item(list, "text"), 2), &text);
    EXPECT_STREQ(text, "h\u00e9 \u2020 \U0001F600");
    std::free(text);

    for (const auto write : {plist_to_xml, plist_to_bin}) {
      char* bytes = nullptr;
      std::uint32_t size = 0;
      write(list, &bytes, &size);
      EXPECT_EQ(read({bytes, size}), value);
      std::free(bytes);
    }
    plist_free(list);
  }
}

}  // namespace
}  // namespace corvane
