#include "apps/inspector/text/Format.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "apps/inspector/model/History.h"
#include "apps/inspector/text/Graph.h"
#include "apps/inspector/text/Report.h"
#include "apps/inspector/text/Table.h"
#include "tests/inspector/FrameText.h"

namespace corvane::inspector {

namespace {

TEST(Format, RatesChangeUnitBeforeTheyGrowLong) {
  EXPECT_EQ(rate(999.4), "999 B/s");
  EXPECT_EQ(rate(999.6), "1.0 kB/s");
  EXPECT_EQ(rate(999'940), "999.9 kB/s");
  EXPECT_EQ(rate(999'960), "1.0 MB/s");
  EXPECT_EQ(rate(2.5e15), "2500.0 TB/s");
}

TEST(Format, MemoryAndTimeHaveFittingUnits) {
  EXPECT_EQ(bytes(999 * 1024), "999 KiB");
  EXPECT_EQ(bytes(1000 * 1024), "1.0 MiB");
  EXPECT_EQ(bytes(1'572'864), "1.5 MiB");
  EXPECT_EQ(bytes(~0ULL), "16777216.0 TiB");
  EXPECT_EQ(duration(61'259'999), "1:01.25");
  EXPECT_EQ(duration(3'599'990'000), "59:59.99");
  EXPECT_EQ(duration(3'600'000'000), "1:00:00");
  EXPECT_EQ(duration(360'061'000'000), "100:01:01");
}

TEST(Format, PrintableTakesOneColumnForEachCharacter) {
  EXPECT_EQ(printable("a°é\tb\x1b[31m", Glyphs::UNICODE), "a°é?b?[31m");
  EXPECT_EQ(printable("a°", Glyphs::ASCII), "a?");
  EXPECT_EQ(printable("\xff\xc3", Glyphs::UNICODE), "??");
  EXPECT_EQ(printable("漢e\u0301\u200b\u00ad", Glyphs::UNICODE), "?e??\u00ad") << "wide, combining, of no width";
}

TEST(Format, ClipsAndAlignsByCharacter) {
  EXPECT_EQ(clipped("µ°x", 2), "µ°");
  EXPECT_EQ(clipped("ab", 9), "ab");
  EXPECT_EQ(alignedRight("µs", 4), "  µs");
  EXPECT_EQ(alignedLeft("µs", 1), "µs");
}

TEST(Format, WrapsAtBlanksWithoutLosingText) {
  EXPECT_EQ(wrapped("", 10), std::vector<std::string>({""}));
  EXPECT_EQ(wrapped("12 345678 90", 10), std::vector<std::string>({"12 345678 ", "  90"}));
  EXPECT_EQ(wrapped("0123456789abcdefghij", 10), std::vector<std::string>({"0123456789", "  abcdefgh", "  ij"}));
  EXPECT_EQ(wrapped("abc", 1), std::vector<std::string>({"a", "  b", "  c"}));
}

TEST(Format, JsonIsValidWhateverItContains) {
  EXPECT_EQ(jsonString("a\"b\\c\n\x01\x1f/é"), "\"a\\\"b\\\\c\\u000a\\u0001\\u001f/é\"");
  EXPECT_EQ(jsonString("\xff"), "\"\uFFFD\"");
  EXPECT_EQ(jsonString({}), "\"\"");
  EXPECT_EQ(jsonNumber(1.25, 1), "1.2");
  EXPECT_EQ(jsonNumber(std::nullopt, 1), "null");
  EXPECT_EQ(jsonNumber(std::nan(""), 1), "null");
  EXPECT_EQ(jsonNumber(-INFINITY, 1), "null");
}

TEST(Table, NumbersAtItsEndShareWhatIsWide) {
  static constexpr std::array TABLE = {TableColumn{'n', "Name", false, 0, 0}, TableColumn{'x', "Some us", true, 9, 20},
                                       TableColumn{'o', "More", true, 8, 20}};
  const auto heading = [](std::size_t columns) {
    return textOf({headingLine(TABLE, 1, true, columns, Glyphs::ASCII)});
  };
  EXPECT_EQ(heading(19), "Name               \n");
  EXPECT_EQ(heading(24), "Name   v Some us    More\n");
  EXPECT_EQ(heading(86), "Name" + std::string(62, ' ') + "v Some us       More\n");
  // A text column at the end takes the rest.
  const auto row = [](std::size_t columns) {
    return rowText(std::span(TABLE).first(1), columns,
                   [](std::size_t, std::size_t width) { return std::to_string(width); });
  };
  EXPECT_EQ(row(90), "90" + std::string(88, ' '));
}

TEST(Report, JsonLineNamesWhatIsMissing) {
  Readings readings;
  readings.memory = Memory{1, 2};
  readings.temperatures = {{"a\"b", 20.25}};
  EXPECT_EQ(jsonLine(readings, {{"t", 3, 0.5, 1, 2, false}}, Timeval::usec(1'709'802'301'000'123)),
            R"({"time":"2024-03-07T09:05:01.000Z","processor_percent":null,"memory":{"used":1,"total":2},)"
            R"("disk":null,"network":null,"processes":null,"temperatures":[{"sensor":"a\"b","celsius":20.2}],)"
            R"("repeaters":[{"name":"t","count":3,"total_seconds":0.500000,"average_interval_seconds":1.000000,)"
            R"("average_duration_microseconds":2.000}]})");
}

TEST(Graph, ShowsGapsAndTheLeastActivity) {
  History history;
  for (const std::optional<double> value :
       {std::optional(0.0), std::optional(0.01), std::optional<double>(), std::optional(100.0), std::optional(500.0)})
    history.add(value);
  EXPECT_EQ(graph(history, 7, {0, 100}, Glyphs::UNICODE), "  ▁▂ ██");
  EXPECT_EQ(graph(history, 2, {0, 100}, Glyphs::ASCII), "##");
  EXPECT_EQ(graph(history, 3, {7, 7}, Glyphs::ASCII), " __");
  EXPECT_EQ(history.range(2)->low, 100);
  EXPECT_FALSE(History().range(5));
}

}  // namespace

}  // namespace corvane::inspector
