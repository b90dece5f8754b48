#include "corvane/infra/values/PropertyList.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>
#include <numeric>

#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {

void PrintTo(const Value& value, std::ostream* out) {
  *out << writePropertyList(value, PropertyListFormat::XML).value_or("a value that XML cannot hold");
}

namespace {

using namespace std::string_literals;
using Array = Value::Array;
using Dictionary = Value::Dictionary;
using Strings = std::vector<std::string>;

constexpr auto XML = PropertyListFormat::XML;
constexpr auto BINARY = PropertyListFormat::BINARY;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

// A list of one element of this name; without a name, the list with this content.
std::string xml(const std::string& content, const std::string& name = {}) {
  return "<plist>" + (name.empty() ? content : "<" + name + ">" + content + "</" + name + ">") + "</plist>";
}

std::string bigEndian(std::uint64_t number, int size = 8) {
  std::string bytes;
  while (size-- > 0) bytes += static_cast<char>(number >> 8 * size);
  return bytes;
}

// A binary list of the objects, whose first is the top and whose references take one byte.
std::string binary(const Strings& objects, int offsetSize = 1) {
  std::string list = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(list.size(), offsetSize);
    list += object;
  }
  const std::size_t tableOffset = list.size();
  return list + table + bigEndian(static_cast<unsigned>(offsetSize), 7) + "\1" + bigEndian(objects.size()) +
         bigEndian(0) + bigEndian(tableOffset);
}

Value read(std::string_view bytes, const PropertyListLimits& limits = {}) {
  const auto result = readPropertyList(bytes, limits);
  EXPECT_TRUE(result) << result.error().description;
  return result.value_or(Value());
}

void expectError(const std::string& list, const std::string& fragment, const PropertyListLimits& limits = {}) {
  const auto result = readPropertyList(list, limits);
  ASSERT_FALSE(result) << list << " should fail: " << fragment;
  EXPECT_EQ(result.error().domain, "propertylist");
  EXPECT_THAT(result.error().description, testing::HasSubstr(fragment)) << list.substr(0, 200);
}

Value nested(std::size_t depth) {
  Value value = "core";
  while (depth-- > 0) value = Array{std::move(value), 1};
  return value;
}

Value everything() {
  std::vector<std::uint8_t> bytes(256);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return Dictionary{
      {"", "empty key"},
      {"dates", Array{Date{0}, Date{-1}, Date{1262304000}, Date{-63145526400}, Date{252423993599}}},
      {"data", Array{Data{}, Data{{0}}, Data{{1, 2}}, Data{bytes}}},
      {"empty", Array{Array{}, Dictionary{}, ""}},
      {"integers", Array{0, -1, 255, 256, 65535, 65536, 4294967295, 4294967296, INT64_MAX, INT64_MIN}},
      {"reals", Array{0.0, 0.1, -2.5, 5e-324, 1.7976931348623157e308, INF, -INF, NOT_A_NUMBER}},
      {"texts", Array{"\t a\r\n\rb ", "<&>\"'", "]]>", "h\u00e9 \uD7FF\uE000 \U00010000\U0010FFFF",
                      std::string(15, 'x'), std::string(70000, 'x')}},
      {"truths", Array{true, false}},
  };
}

TEST(Value, FindsEntriesAndEqualsOnlyTheSameKindAndContent) {
  for (const Value& value : Array{Value(), Dictionary{{"b", 1}}, "a"}) EXPECT_EQ(value.find("a"), nullptr);
  EXPECT_EQ(*Value(Dictionary{{"a", 1}}).find("a"), 1);
  const Array different = {1, 2, 1.0, true, NOT_A_NUMBER, "1", Data{{1}}, Date{1}, Array{}, Dictionary{}};
  for (std::size_t i = 0; i < different.size(); ++i)
    for (std::size_t j = 0; j < different.size(); ++j) EXPECT_EQ(different[i] == different[j], i == j) << i << j;
  EXPECT_EQ(Date::fromUnixSeconds(0).seconds, -978307200);
  EXPECT_EQ(Date{1.5}.unixSeconds(), 978307201.5);
}

TEST(PropertyList, ReadsWhatItWrote) {
  Array values = {everything(), nested(MAX_PROPERTY_LIST_DEPTH), "text", 1, Value()};
  // References and offsets of every size that a test can afford.
  for (const std::size_t count : {15U, 16U, 300U, 70000U}) {
    Array numbers(count);
    for (std::size_t i = 0; i < count; ++i) numbers[i] = static_cast<int>(i);
    values.emplace_back(numbers);
  }
  for (const auto format : {XML, BINARY})
    for (const Value& value : values) EXPECT_EQ(read(*writePropertyList(value, format)), value);
  for (const double instant : {0.25, 1e-13}) EXPECT_EQ(read(*writePropertyList(Date{-instant}, XML)), Value(Date{-1}));
}

TEST(PropertyList, WritesTheUsualForms) {
  EXPECT_EQ(*writePropertyList(Dictionary{{"a&", Array{1.5}}}, XML),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>a&amp;</key>
	<array>
		<real>1.5</real>
	</array>
</dict>
</plist>
)");
  // Equal values are written once.
  EXPECT_EQ(*writePropertyList(Dictionary{{"a", "a"}, {"\u00e9", Array{"a", 7}}}, BINARY),
            binary({"\xD2\1\2\1\3", "\x51"s + "a", "\x61\0\xE9"s, "\xA2\1\4", "\x10\7"}));
}

TEST(PropertyList, ReadsXml) {
  const std::pair<std::string, Value> cases[] = {
      {" \n<!-- c --><array x='y'><false></false><true> </true></array><?pi?>", Array{false, true}},
      {"<string>a&#x20AC;<!-- c -->&lt;&amp;<![CDATA[<&\r\n]]><?pi?>&#x1F600;</string >", "a\u20ac<&<&\n\U0001F600"},
      {"<string>\u20ac\r\n\rb\n</string>", "\u20ac\n\nb\n"},
      {"<dict><key>k</key><integer>1</integer><key>k</key><true/></dict>", Dictionary{{"k", true}}},
  };
  for (const auto& [content, value] : cases) EXPECT_EQ(read(xml(content)), value);
  EXPECT_EQ(read("\xEF\xBB\xBF \n" + *writePropertyList(everything(), XML)), everything());
  EXPECT_EQ(read("<!DOCTYPE plist SYSTEM \"[>\"><plist a = '>' b=''><string/></plist>"), Value(""));

  const std::tuple<const char*, Strings, Array> plain[] = {
      {"integer", {" +12\n", "-9223372036854775808", "0x7fffFFFFffffFFFF", "-0X10"}, {12, INT64_MIN, INT64_MAX, -16}},
      {"real", {"+1.5e3", "-Infinity", "inf", "NaN"}, {1500.0, -INF, INF, NOT_A_NUMBER}},
      {"date", {"1970-01-01T00:00:00Z", "2040-02-29T23:59:59Z"}, {Date{-978307200}, Date{1235865599}}},
      {"data", {" AP\n\t8= "}, {Data{{0, 255}}}},
  };
  for (const auto& [name, texts, values] : plain)
    for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_EQ(read(xml(texts[i], name)), values[i]);
}

TEST(PropertyList, RefusesMalformedXml) {
  const std::pair<std::string, Strings> lists[] = {
      {"neither", {"", "  { a = b; }"}},
      {"UTF-16", {"\xFF\xFE<\0"s, "\0<\0p"s}},
      {"holds no <plist>", {"<!-- nothing -->"}},
      {"where only one <plist>", {"<dict/>", "<plist><true/></plist><plist/>"}},
      {"line 2: text", {"<plist><true/></plist>\nrest", "<plist>\n&#32;</plist>", "<plist><dict>\n<![CDATA[ ]]>"}},
      {"line 2: <string> holds text that is not", {"<plist>\n<string>\xC3</string></plist>"}},
      {"line 3: the last <key>", {"<plist><dict>\n<key>k</key>\n</dict></plist>"}},
      {"line 2: <plist> is not closed", {"<plist><true/>\n"}},
      {"is not closed",
       {"<plist><true/></plist><!-- ", "<?xml ", "<!DOCTYPE plist", "<!DOCTYPE plist '>", "<plist><string>\u20ac"}},
      {"declares something", {"<!DOCTYPE plist [<!ENTITY e 'e'>]><plist><string>&e;</string></plist>"}},
      {"document type behind", {"<plist><!DOCTYPE plist><true/></plist>"}},
      {"holds text that is not", {"<!-- \xC3 --><plist><true/></plist>"}},
  };
  for (const auto& [fragment, bytes] : lists)
    for (const std::string& list : bytes) expectError(list, fragment);

  // The name of the element that holds the texts, or "" for the list itself.
  const std::tuple<const char*, const char*, Strings> contents[] = {
      {"", "holds no value", {""}},
      {"", "second value", {"<true/><true/>"}},
      {"", "text outside of a value", {"text", "<dict>a</dict>"}},
      {"", "is not known", {"<set/>", "<plist/>"}},
      {"", "closes nothing", {"<true/></array>", "<true/></plist></plist>"}},
      {"",
       "a tag is damaged",
       {"<true a/>", "<true a=/>", "<true a='/>", "<true a=bxb/>", "<true a='<'/>", "<true a='\x01'/>", "<true/ >"}},
      {"", "<key> where a value", {"<key>a</key>", "<dict><key>a</key><key>b</key></dict>"}},
      {"", "<true> holds text", {"<true>yes</true>"}},
      {"dict", "<true> where a <key>", {"<true/>"}},
      {"dict", "has no value", {"<key>a</key>"}},
      {"dict", "<key> holds", {"<key>\x01</key><true/>"}},
      {"string", "<b> inside <string>", {"<b/>"}},
      {"string", "an entity that is not known", {"&nbsp;", "&", "&lt"}},
      {"string", "<string> is not closed", {"</strin", "</key>"}},
      {"string", "a character that XML does not allow", {"\x01", "\uFFFE", "<![CDATA[\x01]]>"}},
      {"string", "a character that XML does not allow", {"&#0;", "&#1;", "&#xD800;", "&#xFFFF;", "&#x110000;", "&#x;"}},
      {"integer", "not a whole number", {"", "1 2", "--1", "0x", "1.5"}},
      {"integer", "64 bits", {"9223372036854775808", "-0x8000000000000001", "99999999999999999999"}},
      {"real", "not a number", {"", "1,5", "+-1", "nan(1)"}},
      {"real", "range of a double", {"1e999"}},
      {"date", "form", {"2001-01-01T00:00:00", "12001-01-01T00:00:00Z", "2001-01-0xT00:00:00Z"}},
      {"date", "calendar", {"2001-02-29T00:00:00Z", "2001-01-01T24:00:00Z"}},
      {"date", "calendar", {"2001-01-01T00:60:00Z", "2001-01-01T00:00:60Z"}},
      {"data", "Base64", {"AP8", "AP8=AP8=", "A*P8", "AP9="}},
  };
  for (const auto& [name, fragment, texts] : contents)
    for (const std::string& text : texts) expectError(xml(text, name), fragment);
}

TEST(PropertyList, ReadsBinary) {
  // Each list is an array of the first objects; the other objects are parts of these.
  const std::pair<Strings, Array> cases[] = {
      {{"\x08", "\x09"}, {false, true}},
      {{"\x10\xFF", "\x11\xFF\xFF", "\x12\xFF\xFF\xFF\xFF", "\x13" + bigEndian(~0ULL)}, {255, 65535, 4294967295, -1}},
      {{"\x14" + bigEndian(0) + bigEndian(0), "\x14" + bigEndian(~0ULL) + bigEndian(1ULL << 63)}, {0, INT64_MIN}},
      {{"\x22\x3F\xC0\0\0"s, "\x23\xBF\xF8\0\0\0\0\0\0"s, "\x33\x3F\xF8\0\0\0\0\0\0"s}, {1.5, -1.5, Date{1.5}}},
      {{"\x42\0\xFF"s, "\x4F\x11\0\1z"s}, {Data{{0, 255}}, Data{{'z'}}}},
      {{"\x5F\x10\2hi", "\x62\xD8\x3D\xDE\0"s}, {"hi", "\U0001F600"}},
      {{"\x80\5", "\x81\1\1"}, {Dictionary{{"CF$UID", 5}}, Dictionary{{"CF$UID", 257}}}},
      {{"\xD2\2\2\3\4", "\x51k", "\x08", "\x09"}, {Dictionary{{"k", true}}}},
      {{"\xA1\3", "\xC2\3\3", "\x51k"}, {Array{"k"}, Array{"k", "k"}}},
      {{"\xA2\3\3", "\x08", "\xD0"}, {Array{Value(), Value()}, false}},
  };
  for (auto [objects, values] : cases) {
    std::string top(1, static_cast<char>(0xA0 + values.size()));
    for (char i = 1; top.size() <= values.size(); ++i) top += i;
    objects.insert(objects.begin(), top);
    for (const int offsetSize : {1, 3}) EXPECT_EQ(read(binary(objects, offsetSize)), Value(values));
  }
}

TEST(PropertyList, RefusesMalformedBinary) {
  const std::string huge = "\x13" + bigEndian(1ULL << 63);
  const std::pair<std::string, std::vector<Strings>> cases[] = {
      {"neither true nor false", {{"\0"s}, {"\x0F"}}},
      {"of an unknown size", {{"\x15" + std::string(32, '\1')}, {"\x21\1\1"}, {"\x32" + bigEndian(0, 4)}}},
      {"64 bits", {{"\x14" + bigEndian(0) + bigEndian(1ULL << 63)}, {"\x14" + bigEndian(1) + bigEndian(1)}}},
      {"date that is not finite", {{"\x33\x7F\xF0\0\0\0\0\0\0"s}}},
      {"runs past the end", {{"\x11\1"}, {"\x22z"}, {"\x33z"}, {"\x42z"}, {"\x4F"}, {"\x4F\x11z"}, {"\x81z"}}},
      {"runs past the end", {{"\x4F" + huge}, {"\x6F" + huge}, {"\xAF" + huge}, {"\xDF" + huge}}},
      {"count that is not an integer", {{"\x4F\x51z"}, {"\x4F\x14" + bigEndian(0) + bigEndian(1) + "z"}}},
      {"not ASCII", {{"\x51\x80"}}},
      {"surrogate", {{"\x61\xD8\0"s}, {"\x61\xDF\xFF"}, {"\x62\xD8\x3D\0z"s}, {"\x62\xD8\x3D\xE0\0"s}}},
      {"unknown kind", {{"\x70"}, {"\xB0"}}},
      {"63 bits", {{"\x87" + bigEndian(~0ULL)}, {"\x88" + std::string(9, '\0')}}},
      {"names object 1", {{"\xA1\1"}}},
      {"names object 7", {{"\xA1\7"}, {"\xD1\7\0"s}}},
      {"object 2 at byte 13: runs past the end", {{"\xA1\1", "\xA2\2\2", "\x12"}}},
      {"is a key but not a string", {{"\xD1\1\1", "\x10\1"}}},
      {"contains itself", {{"\xA1\0"s}, {"\xA1\1", "\xD1\2\0"s, "\x51k"}}},
  };
  for (const auto& [fragment, lists] : cases)
    for (const Strings& objects : lists) expectError(binary(objects), fragment);
}

TEST(PropertyList, RefusesImpossibleTrailers) {
  const std::string list = binary({"\x09"});  // 8 magic, 1 object, 1 offset, 32 trailer
  ASSERT_EQ(read(list), Value(true));
  const std::tuple<std::size_t, char, const char*> patches[] = {
      {6, '1', "unknown version"}, {9, 7, "lies outside"},      {9, 9, "lies outside"},
      {16, 0, "impossible sizes"}, {16, 9, "impossible sizes"}, {17, 0, "impossible sizes"},
      {17, 9, "impossible sizes"}, {16, 2, "does not match"},   {18, 1, "does not match"},
      {25, 0, "does not match"},   {25, 2, "does not match"},   {34, '\x80', "does not match"},
      {41, 7, "does not match"},   {41, 10, "does not match"},  {33, 1, "top object"}};
  for (const auto& [position, byte, fragment] : patches) {
    std::string patched = list;
    patched[position] = byte;
    expectError(patched, fragment);
  }
  expectError(binary({"\x09"}, 2).insert(11, 1, '\0'), "does not match");
  // The table would start after its end.
  expectError(list.substr(0, 18) + bigEndian(~0ULL) + bigEndian(0) + bigEndian(11), "does not match");
}

TEST(PropertyList, RespectsItsLimits) {
  Strings laughs(8, "\xAA");
  for (std::size_t i = 0; i < laughs.size(); ++i) laughs[i].append(10, static_cast<char>(i + 1));
  laughs.push_back("\x53lol");
  expectError(binary(laughs), "too many values");

  const std::string xmlList = *writePropertyList(Array{Array{"four"}, Dictionary{{"k", Data{{1, 2}}}}}, XML);
  const std::string binaryList = *writePropertyList(read(xmlList), BINARY);
  for (const std::string& list : {xmlList, binaryList}) {
    read(list, {list.size(), 2, 5, 7});
    expectError(list, "larger than", {list.size() - 1, 2, 5, 7});
    expectError(list, "nested too deeply", {list.size(), 1, 5, 7});
    expectError(list, "too many values", {list.size(), 2, 4, 7});
    expectError(list, "too many bytes", {list.size(), 2, 5, 6});
  }

  std::string deepXml;
  for (std::size_t i = 0; i <= MAX_PROPERTY_LIST_DEPTH; ++i) deepXml += "<array>";
  expectError(xml(deepXml), "nested too deeply", {.maxDepth = 1 << 20});
}

TEST(PropertyList, RefusesToWriteWhatNoListCanHold) {
  const Value badText = Dictionary{{"a", Array{1, "\xFF"}}};
  const Value badKey = Dictionary{{"\xC0\x80", 1}};
  for (const Value& value : Array{badText, badKey, "\xED\xA0\x80", Date{INF}, nested(MAX_PROPERTY_LIST_DEPTH + 1)})
    for (const auto format : {XML, BINARY}) EXPECT_FALSE(writePropertyList(value, format));
  EXPECT_EQ(writePropertyList(badText, XML).error().description,
            "the property list/a/1: holds text that is not valid UTF-8");

  const Value controlKey = Dictionary{{"\x1F", 1}};
  for (const Value& value : Array{"nul\0"s, "\uFFFF", controlKey, Date{252423993600}, Date{-63145526400.5}}) {
    EXPECT_FALSE(writePropertyList(value, XML));
    EXPECT_EQ(read(*writePropertyList(value, BINARY)), value);
  }
}

class PropertyListFile : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return m_home / ("run/" + name); }

  const TempHome m_home;
};

TEST_F(PropertyListFile, IsReplacedAsAWhole) {
  ::umask(027);
  for (const auto format : {XML, BINARY}) {
    EXPECT_TRUE(writePropertyListFile(everything(), path("a"), format));
    EXPECT_EQ(readPropertyListFile(path("a")), everything());
  }
  EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms(0640));
  EXPECT_EQ(namesIn(path("")), Strings{"a"});
}

TEST_F(PropertyListFile, IsRefusedIfItIsNotAPropertyList) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  m_home.write("run/large", xml("<true/>") + std::string(70000, ' '));
  const std::pair<std::string, std::string> cases[] = {{"missing", std::strerror(ENOENT)},
                                                       {".", std::strerror(EISDIR)},
                                                       {"pipe", "not a regular file"},
                                                       {"large", "larger than the 65536 bytes allowed"}};
  for (const auto& [name, error] : cases)
    EXPECT_EQ(readPropertyListFile(path(name), {65536}).error().description, path(name) + ": " + error);
}

TEST_F(PropertyListFile, IsKeptWhenWritingFails) {
  ASSERT_TRUE(writePropertyListFile("old", path("a"), XML));
  fs::create_directory(path("folder"));
  for (const char* left : {".corvane-1-1.tmp", ".corvane-1-2.tmp"}) std::ofstream(path(left)) << "by a killed process";
  fs::last_write_time(path(".corvane-1-1.tmp"), fs::file_time_type::clock::now() - std::chrono::hours(25));
  EXPECT_FALSE(writePropertyListFile("\xFF", path("a"), XML));
  const auto codeOf = [this](const std::string& name) {
    const FileSizeLimit full(1000);
    return writePropertyListFile(everything(), path(name), XML).error().code;
  };
  EXPECT_EQ(codeOf("a"), EFBIG);
  EXPECT_EQ(codeOf("none/a"), ENOENT);
  EXPECT_EQ(writePropertyListFile("new", path("folder"), XML).error().code, EISDIR);
  EXPECT_EQ(readPropertyListFile(path("a")), Value("old"));
  EXPECT_EQ(namesIn(path("")), (Strings{".corvane-1-2.tmp", "a", "folder"})) << "the old one is removed";
}

}  // namespace
}  // namespace corvane
