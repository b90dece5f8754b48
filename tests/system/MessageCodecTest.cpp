#include "corvane/linux/bus/MessageCodec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvane {
namespace {

// What encode() makes of every kind, and its limits, is tested on a bus.
TEST(MessageCodec, reads_what_strangers_send) {
  const struct {
    const char* sent;
    Message read;            // the value of "k"
    const char* error = "";  // if there is none
  } rows[] = {
      {"{'k': <byte 255>}", 255},
      {"{'k': <int16 -2>}", -2},
      {"{'k': <uint16 65535>}", 65535},
      {"{'k': <int32 -3>}", -3},
      {"{'k': <uint32 4294967295>}", 4294967295},
      {"{'k': <uint64 9223372036854775807>}", INT64_MAX},
      {"{'k': <uint64 9223372036854775808>}", {}, "beyond 64 bits"},
      {"{'k': <objectpath '/a'>}", "/a"},
      {"{'k': <signature 'a{sv}'>}", "a{sv}"},
      {"{'k': <['a']>}", {}, "type as,"},
      {"{'k': <<1>>}", {}, "type v,"},
      {"{'k': <@() ()>}", {}, "type (),"},
      {"{'k': <{'a': 1}>}", {}, "type a{si},"},
      {"{'k': <1>, 'k': <2>}", {}, "\"k\" twice"},
      {"{'k': <handle 0>}", {}, "descriptor that did not come"},
      {"{'k': <handle -1>}", {}, "descriptor that did not come"},
      {"{'k': <[<handle 2147483647>]>}", {}, "descriptor that did not come"},
      {"{'k':<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<@av []>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>}", {}, "20 levels"},
      {"({'k': <1>},)", {}, "not a dictionary"},
      {"@a{ss} {}", {}, "not a dictionary"},
  };
  for (const auto& row : rows) {
    const glib::Ptr<GVariant> sent(g_variant_ref_sink(g_variant_new_parsed(row.sent)));
    const auto message = decode(sent.get(), nullptr);
    ASSERT_EQ(message.has_value(), !*row.error) << row.sent;
    if (message)
      EXPECT_TRUE(*message->find("k") == row.read) << row.sent;
    else
      EXPECT_THAT(message.error().description, testing::HasSubstr(row.error));
  }
  EXPECT_FALSE(decode(nullptr, nullptr));
}

}  // namespace
}  // namespace corvane
