#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "corvane/linux/bus/DiagnosticsCodec.h"

using namespace corvane;
using namespace corvane::diagnostics;

namespace {

// What was understood is sent as what is understood in the same way.
template <class T>
void check(GVariant* answer) {
  const auto decoded = decode<T>(answer);
  if (!decoded) return;
  const glib::Ptr<GVariant> sent(g_variant_ref_sink(encode(*decoded)));
  const auto again = decode<T>(sent.get());
  if (!again) std::abort();
  const glib::Ptr<GVariant> twice(g_variant_ref_sink(encode(*again)));
  if (!g_variant_equal(sent.get(), twice.get())) std::abort();
}

void checkRepeaters(GVariant* answer) {
  RepeaterNames names;
  (void)decodeRepeaters(answer, 1, names);
}

constexpr struct {
  const char* type;
  void (*check)(GVariant*);
} ANSWERS[] = {
    {"(ataxaxayadas)", checkRepeaters},
    {"((asayauaxaxaxauau)tt)", check<LongSpans>},
    {"(a(sav))", check<std::vector<SettingState>>},
    {"(satxxay(tt))", check<LogState>},
};

}  // namespace

// The bytes as what a program may answer: the first one selects the type.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const auto& answer = ANSWERS[bytes[0] % std::size(ANSWERS)];
  auto* const copy = static_cast<std::uint8_t*>(g_malloc(size));  // aligned, as GVariant wants it
  std::memcpy(copy, bytes + 1, size - 1);
  const glib::Ptr<GVariant> raw(
      g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE(answer.type), copy, size - 1, FALSE, g_free, copy)));
  const glib::Ptr<GVariant> value(g_variant_get_normal_form(raw.get()));
  answer.check(value.get());
  return 0;
}
