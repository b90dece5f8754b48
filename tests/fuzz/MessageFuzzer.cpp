#include <fcntl.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "corvane/linux/bus/MessageCodec.h"

// The bytes as any value that a stranger can send, with two descriptors: the first byte selects the type.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  if (size == 0) return 0;
  static const int FILE = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const glib::Ptr<GUnixFDList> descriptors(g_unix_fd_list_new());
  for (int i = 0; i < 2; ++i) g_unix_fd_list_append(descriptors.get(), FILE, nullptr);
  const GVariantType* const type = bytes[0] == '?' ? G_VARIANT_TYPE("(a{sv})") : G_VARIANT_TYPE_VARDICT;
  auto* const copy = static_cast<std::uint8_t*>(g_malloc(size));  // aligned, as GVariant wants it
  std::memcpy(copy, bytes + 1, size - 1);
  const glib::Ptr<GVariant> raw(g_variant_ref_sink(g_variant_new_from_data(type, copy, size - 1, FALSE, g_free, copy)));
  const glib::Ptr<GVariant> value(g_variant_get_normal_form(raw.get()));
  const auto message = decode(value.get(), descriptors.get());
  if (!message) return message.error().description.empty() ? std::abort(), 1 : 0;
  const auto encoded = encode(*message);
  if (!encoded) return message->asDictionary() ? 0 : (std::abort(), 1);  // perhaps more than 16 descriptors
  const auto again = decode(encoded->dictionary.get(), encoded->descriptors.get());
  if (!again) std::abort();
  const auto twice = encode(*again);
  // Messages cannot be compared: descriptors are other ones after each way, dates need not be numbers.
  if (!twice || !g_variant_equal(encoded->dictionary.get(), twice->dictionary.get())) std::abort();
  return 0;
}
