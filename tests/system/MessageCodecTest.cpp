#include "corvane/linux/bus/MessageCodec.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace corvane {
namespace {

using testing::HasSubstr;
using Dictionary = Message::Dictionary;
using Array = Message::Array;

glib::Ptr<GVariant> parsed(const char* text) {
  return glib::Ptr<GVariant>(g_variant_ref_sink(g_variant_new_parsed(text)));
}

// "levels" dictionaries or arrays, one in the other.
Message nested(std::size_t levels, bool arrays, Message innermost) {
  for (std::size_t i = 1; i < levels; ++i)
    innermost = arrays ? Message(Array{innermost}) : Message(Dictionary{{"k", innermost}});
  return Dictionary{{"k", innermost}};
}

Message withData(std::size_t bytes) {
  return Dictionary{{"k", Data{std::vector<std::uint8_t>(bytes, 7)}}};
}

Message withDescriptors(std::size_t count) {
  return Dictionary{{"k", Array(count, SharedDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)))}};
}

TEST(MessageCodec, returns_every_kind_as_it_was) {
  const Message message = Dictionary{
      {"", Message::Null()},
      {"text ü", "text \U0001F600"},
      {"integers", Array{INT64_MIN, INT64_MAX, 0}},
      {"reals", Array{1.5, std::nan(""), -INFINITY}},
      {"truths", Array{true, false}},
      {"data", Array{Data{{0, 255}}, Data{}}},
      {"dates", Array{Date{-0.25}, Date{}}},
      {"empty", Array{Dictionary{}, Array{}, ""}},
      {"nested", Dictionary{{"k", Array{Dictionary{{"deeper", Array{Array{}}}}}}}},
  };
  const auto encoded = encode(message).value();
  EXPECT_EQ(encoded.descriptors, nullptr);
  EXPECT_EQ(decode(encoded.dictionary.get(), nullptr).value(), message);
}

TEST(MessageCodec, reads_what_strangers_send) {
  const struct {
    const char* sent;
    Message read;  // the value of "k", or the error
  } rows[] = {
      {"{'k': <byte 255>}", 255},
      {"{'k': <int16 -2>}", -2},
      {"{'k': <uint16 65535>}", 65535},
      {"{'k': <int32 -3>}", -3},
      {"{'k': <uint32 4294967295>}", 4294967295},
      {"{'k': <uint64 9223372036854775807>}", INT64_MAX},
      {"{'k': <uint64 9223372036854775808>}", MessageError{{}, {}, "beyond 64 bits"}},
      {"{'k': <objectpath '/a'>}", "/a"},
      {"{'k': <signature 'a{sv}'>}", "a{sv}"},
      {"{'k': <['a']>}", MessageError{{}, {}, "type as,"}},
      {"{'k': <<1>>}", MessageError{{}, {}, "type v,"}},
      {"{'k': <@() ()>}", MessageError{{}, {}, "type (),"}},
      {"{'k': <{'a': 1}>}", MessageError{{}, {}, "type a{si},"}},
      {"{'k': <1>, 'k': <2>}", MessageError{{}, {}, "\"k\" twice"}},
      {"{'k': <handle 0>}", MessageError{{}, {}, "descriptor that did not come"}},
      {"{'k': <handle -1>}", MessageError{{}, {}, "descriptor that did not come"}},
      {"{'k': <[<handle 2147483647>]>}", MessageError{{}, {}, "descriptor that did not come"}},
      {"({'k': <1>},)", MessageError{{}, {}, "not a dictionary"}},
      {"@a{ss} {}", MessageError{{}, {}, "not a dictionary"}},
  };
  for (const auto& row : rows) {
    const auto message = decode(parsed(row.sent).get(), nullptr);
    if (const MessageError* error = row.read.asError())
      EXPECT_THAT(message ? "" : message.error().description, HasSubstr(error->description)) << row.sent;
    else
      EXPECT_TRUE(message && *message->find("k") == row.read) << row.sent;
  }
  EXPECT_FALSE(decode(nullptr, nullptr));
  std::string deep = "@av []";
  for (int level = 1; level < 20; ++level) deep = "[<" + deep + ">]";
  deep = "{'k': <" + deep + ">}";
  EXPECT_THAT(decode(parsed(deep.c_str()).get(), nullptr).error().description, HasSubstr("more than 20 levels"));
}

TEST(MessageCodec, refuses_what_no_bus_would_carry) {
  // 4 bytes for the length, 4 to align, 6 for the key, 4 for the type, 2 to align, 4 for the length.
  constexpr std::size_t MOST = MessageLimits::BYTES - 24;
  const struct {
    const char* error;  // empty: none
    Message message;
  } rows[] = {
      {"Only a dictionary", Array{}},
      {"Only a dictionary", MessageError{}},
      {"error cannot be sent", Dictionary{{"k", MessageError{}}}},
      {"not UTF-8 or contains NUL", Dictionary{{"k", "\xff"}}},
      {"not UTF-8 or contains NUL", Dictionary{{"k", std::string("a\0b", 3)}}},
      {"not UTF-8 or contains NUL", Dictionary{{"k", Array{Dictionary{{std::string("\0", 1), 1}}}}}},
      {"", withData(MOST)},
      {"larger than 31 MiB", withData(MOST + 1)},
      {"larger than 31 MiB", Dictionary{{std::string(MessageLimits::BYTES, 'k'), 1}}},
      {"", withDescriptors(16)},
      {"more than 16 file descriptors", withDescriptors(17)},
      {"descriptor of the message cannot be sent", Dictionary{{"k", SharedDescriptor(-1)}}},
      {"", nested(20, false, 1)},
      {"more than 20 levels", nested(21, false, 1)},
      {"", nested(20, true, 1)},
      {"more than 20 levels", nested(21, true, 1)},
  };
  for (const auto& row : rows) {
    const auto encoded = encode(row.message);
    if (*row.error)
      EXPECT_THAT(encoded ? "" : encoded.error().description, HasSubstr(row.error));
    else
      EXPECT_TRUE(encoded) << encoded.error().description;
  }
}

TEST(MessageCodec, duplicates_a_descriptor_once) {
  const auto encoded = encode(withDescriptors(2)).value();
  const auto twice = parsed("{'k': <[<handle 1>, <handle 1>]>}");
  const Message message = decode(twice.get(), encoded.descriptors.get()).value();
  const Array& both = *message.find("k")->asArray();
  EXPECT_EQ(both[0], both[1]);
  EXPECT_NE(fcntl(both[0].asDescriptor()->get(), F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace corvane
