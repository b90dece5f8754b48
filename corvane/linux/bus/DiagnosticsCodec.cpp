#include "corvane/linux/bus/DiagnosticsCodec.h"

#include <errno.h>

#include <algorithm>
#include <concepts>
#include <type_traits>
#include <utility>

#include "corvane/core/Text.h"
#include "corvane/linux/bus/MessageCodec.h"

namespace corvane::diagnostics {

namespace {

// Tables as they are sent.

struct RepeaterColumns {
  std::vector<std::uint64_t> ids;
  std::vector<std::int64_t> counts, running;
  std::vector<std::uint8_t> paused;
  std::vector<double> figures;
  std::vector<std::string> names;
};

struct SpanColumns {
  std::vector<std::string> texts;
  std::vector<std::uint8_t> kinds;
  std::vector<std::uint32_t> threads;
  std::vector<std::int64_t> starts, ends, waits;
  std::vector<std::uint32_t> names, items;
};

struct LogBytes {
  std::string path;
  std::optional<std::uint64_t> size;
  std::int64_t archives = 0, lines = 0;
  std::vector<std::uint8_t> text;
  LogPlace place;
};

// The fields of each structure, in the order in which they are sent; const or not.
template <class T, class Structure>
concept Is = std::same_as<std::remove_const_t<T>, Structure>;

auto fields(Is<ProgramIdentity> auto& s) {
  return std::tie(s.identifier, s.name, s.version, s.library, s.executable, s.pid, s.started, s.allowsControl,
                  s.showsSettingValues);
}
auto fields(Is<RepeaterColumns> auto& s) {
  return std::tie(s.ids, s.counts, s.running, s.paused, s.figures, s.names);
}
auto fields(Is<QueueState> auto& s) {
  return std::tie(s.label, s.depth, s.item, s.runningSince, s.thread);
}
auto fields(Is<LongestState> auto& s) {
  return std::tie(s.name, s.began, s.duration);
}
auto fields(Is<TimerState> auto& s) {
  return std::tie(s.label, s.usecs, s.runningSince, s.thread);
}
auto fields(Is<QueueStates> auto& s) {
  return std::tie(s.main, s.longestWait, s.longestItem, s.serial, s.timers);
}
auto fields(Is<ListenerState> auto& s) {
  return std::tie(s.key, s.listener, s.count, s.elapsed);
}
auto fields(Is<LogPlace> auto& s) {
  return std::tie(s.file, s.offset);
}
auto fields(Is<LogBytes> auto& s) {
  return std::tie(s.path, s.size, s.archives, s.lines, s.text, s.place);
}
auto fields(Is<SettingState> auto& s) {
  return std::tie(s.key, s.value);
}
auto fields(Is<SpanColumns> auto& s) {
  return std::tie(s.texts, s.kinds, s.threads, s.starts, s.ends, s.waits, s.names, s.items);
}
template <class... T>
auto& fields(std::tuple<T...>& tuple) {
  return tuple;
}
template <class... T>
auto& fields(const std::tuple<T...>& tuple) {
  return tuple;
}

// The numbers of a repeater, in the order in which they are sent.
auto figures(Is<RepeaterState> auto& s) {
  return std::tie(s.interval, s.timeConstant, s.totalElapsed, s.elapsed.last, s.elapsed.smoothed,
                  s.elapsed.smoothedSquare, s.elapsed.deviation, s.period.last, s.period.smoothed,
                  s.period.smoothedSquare, s.period.deviation);
}
constexpr std::size_t FIGURES = std::tuple_size_v<decltype(figures(std::declval<RepeaterState&>()))>;

template <class T>
constexpr bool IS_VECTOR = false;
template <class E>
constexpr bool IS_VECTOR<std::vector<E>> = true;
template <class T>
constexpr bool IS_OPTIONAL = false;
template <class E>
constexpr bool IS_OPTIONAL<std::optional<E>> = true;

// The D-Bus type of plain numbers; 0 for other types.
template <class T>
constexpr char LETTER = std::same_as<T, bool>            ? 'b'
                        : std::same_as<T, double>        ? 'd'
                        : std::same_as<T, std::uint8_t>  ? 'y'
                        : std::same_as<T, std::int32_t>  ? 'i'
                        : std::same_as<T, std::uint32_t> ? 'u'
                        : std::same_as<T, std::int64_t>  ? 'x'
                        : std::same_as<T, std::uint64_t> ? 't'
                                                         : 0;
static_assert(LETTER<std::size_t> == 't', "where it is not, give it a field of 64 bits to be sent as");

// Copied in one go: a truth has one byte here and four there.
template <class T>
constexpr bool IS_FIXED = LETTER<T> != 0 && !std::same_as<T, bool>;

template <class T>
std::string typeOf();

template <class... Field>
std::string typesOf(const std::tuple<Field...>*) {
  return "(" + (std::string() + ... + typeOf<std::remove_cvref_t<Field>>()) + ")";
}

template <class T>
std::string typeOf() {
  if constexpr (LETTER<T> != 0) {
    return {LETTER<T>};
  } else if constexpr (std::same_as<T, std::string>) {
    return "s";
  } else if constexpr (std::same_as<T, Value>) {
    return "v";
  } else if constexpr (IS_VECTOR<T> || IS_OPTIONAL<T>) {
    return "a" + typeOf<typename T::value_type>();
  } else {
    return typesOf(static_cast<std::remove_reference_t<decltype(fields(std::declval<T&>()))>*>(nullptr));
  }
}

// D-Bus carries UTF-8 without NUL.
std::string sendable(std::string text) {
  std::erase(text, '\0');
  return repaired(std::move(text));
}

Message messageOf(const Value& value) {
  if (const auto* entries = value.asDictionary()) {
    Message::Dictionary dictionary;
    for (const auto& [key, content] : *entries) dictionary.insert_or_assign(sendable(key), messageOf(content));
    return dictionary;
  }
  if (const auto* elements = value.asArray()) {
    Message::Array array;
    for (const Value& element : *elements) array.push_back(messageOf(element));
    return array;
  }
  if (const auto* text = value.asString()) return sendable(*text);
  if (const auto* integer = value.asInteger()) return *integer;
  if (const auto* real = value.asReal()) return *real;
  if (const auto* truth = value.asBool()) return *truth;
  if (const auto* data = value.asData()) return *data;
  return *value.asDate();
}

// std::nullopt for what settings cannot hold.
std::optional<Value> valueOf(const Message& message) {
  if (const auto* entries = message.asDictionary()) {
    Value::Dictionary dictionary;
    for (const auto& [key, content] : *entries) {
      auto value = valueOf(content);
      if (!value) return std::nullopt;
      dictionary.emplace(key, std::move(*value));
    }
    return dictionary;
  }
  if (const auto* elements = message.asArray()) {
    Value::Array array;
    for (const Message& element : *elements) {
      auto value = valueOf(element);
      if (!value) return std::nullopt;
      array.push_back(std::move(*value));
    }
    return array;
  }
  if (const auto* text = message.asString()) return *text;
  if (const auto* integer = message.asInteger()) return *integer;
  if (const auto* real = message.asReal()) return *real;
  if (const auto* truth = message.asBool()) return *truth;
  if (const auto* data = message.asData()) return *data;
  if (const auto* date = message.asDate()) return *date;
  return std::nullopt;
}

// Floating references; null for a Value that D-Bus cannot express.
GVariant* write(const Value& value) {
  const auto encoded = corvane::encode(Message::Dictionary{{"", messageOf(value)}});
  if (!encoded) return nullptr;
  const glib::Ptr<GVariant> content(g_variant_lookup_value(encoded->dictionary.get(), "", nullptr));
  return g_variant_new_variant(content.get());
}

GVariant* write(const std::string& text) {
  const bool isSendable = g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
  return g_variant_new_string(isSendable ? text.c_str() : sendable(text).c_str());
}

template <class T>
GVariant* write(const T& value) {
  if constexpr (LETTER<T> != 0) {
    return g_variant_new(typeOf<T>().c_str(), value);
  } else {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE(typeOf<T>().c_str()));
    if constexpr (IS_OPTIONAL<T>) {
      if (GVariant* const content = value ? write(*value) : nullptr) g_variant_builder_add_value(&builder, content);
    } else if constexpr (IS_VECTOR<T>) {
      using Element = typename T::value_type;
      if constexpr (IS_FIXED<Element>) {
        g_variant_builder_clear(&builder);
        return g_variant_new_fixed_array(G_VARIANT_TYPE(typeOf<Element>().c_str()), value.data(), value.size(),
                                         sizeof(Element));
      } else {
        for (const Element& element : value) g_variant_builder_add_value(&builder, write(element));
      }
    } else {
      std::apply([&](const auto&... field) { (g_variant_builder_add_value(&builder, write(field)), ...); },
                 fields(value));
    }
    return g_variant_builder_end(&builder);
  }
}

// False if the content of a variant of the right type cannot be used.
bool read(GVariant* variant, Value& value) {
  const glib::Ptr<GVariant> dictionary(g_variant_ref_sink(g_variant_new_parsed("{'': %@v}", variant)));
  const auto message = corvane::decode(dictionary.get(), nullptr);
  auto content = message ? valueOf(*message->find("")) : std::nullopt;
  if (content) value = std::move(*content);
  return content.has_value();
}

bool read(GVariant* variant, std::string& text) {
  gsize size = 0;
  const char* const characters = g_variant_get_string(variant, &size);
  text.assign(characters, size);
  return true;
}

// What programs tell of themselves is never negative: moments, lengths and counts, which others reckon with.
template <class T>
bool isNegative(const T& value) {
  if constexpr (std::same_as<T, std::int64_t>) return value < 0;
  return false;
}

template <class T>
constexpr bool IS_TUPLE = false;
template <class... T>
constexpr bool IS_TUPLE<std::tuple<T...>> = true;

template <class T>
bool read(GVariant* variant, T& value) {
  const auto readChild = [variant](std::size_t index, auto& child) {
    return read(glib::Ptr<GVariant>(g_variant_get_child_value(variant, index)).get(), child);
  };
  if constexpr (std::same_as<T, bool>) {
    value = g_variant_get_boolean(variant) != FALSE;
  } else if constexpr (LETTER<T> != 0) {
    g_variant_get(variant, typeOf<T>().c_str(), &value);
  } else if constexpr (IS_OPTIONAL<T>) {
    if (g_variant_n_children(variant) > 1) return false;
    if (g_variant_n_children(variant) == 1) return readChild(0, value.emplace());
  } else if constexpr (IS_VECTOR<T>) {
    using Element = typename T::value_type;
    if constexpr (IS_FIXED<Element>) {
      gsize count = 0;
      const auto* const elements =
          static_cast<const Element*>(g_variant_get_fixed_array(variant, &count, sizeof(Element)));
      value.assign(elements, elements + count);
      return std::ranges::none_of(value, isNegative<Element>);
    } else {
      value.resize(g_variant_n_children(variant));
      for (std::size_t i = 0; i < value.size(); ++i)
        if (!readChild(i, value[i])) return false;
    }
  } else {
    std::size_t index = 0;
    const auto readField = [&](auto& field) {
      return readChild(index++, field) && (IS_TUPLE<T> || !isNegative(field));
    };
    return std::apply([&](auto&... field) { return (readField(field) && ...); }, fields(value));
  }
  return true;
}

tl::unexpected<Error> contradiction() {
  return failure("posix", EPROTO, "The program's answer contradicts itself");
}

template <class T>
Result<T> readAll(GVariant* arguments) {
  T result;
  if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE(typeOf<T>().c_str())))
    return failure("posix", EPROTO,
                   "The program's answer has the type " + std::string(g_variant_get_type_string(arguments)));
  if (!read(arguments, result)) return contradiction();
  return result;
}

SpanColumns columnsOf(const std::vector<ActivitySpan>& spans) {
  SpanColumns columns;
  std::unordered_map<std::string_view, std::uint32_t> places;
  const auto place = [&](const std::string& text) {
    const auto [found, isNew] = places.try_emplace(text, static_cast<std::uint32_t>(places.size()));
    if (isNew) columns.texts.push_back(text);
    return found->second;
  };
  for (const ActivitySpan& span : spans) {
    columns.kinds.push_back(static_cast<std::uint8_t>(span.kind));
    columns.threads.push_back(span.thread);
    columns.starts.push_back(span.start);
    columns.ends.push_back(span.end);
    columns.waits.push_back(span.waited);
    columns.names.push_back(place(span.name));
    columns.items.push_back(place(span.item));
  }
  return columns;
}

Result<std::vector<ActivitySpan>> spansOf(const SpanColumns& columns) {
  const std::size_t count = columns.kinds.size();
  for (const std::size_t other : {columns.threads.size(), columns.starts.size(), columns.ends.size(),
                                  columns.waits.size(), columns.names.size(), columns.items.size()})
    if (other != count) return contradiction();
  std::vector<ActivitySpan> spans(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (columns.kinds[i] >= ActivitySpan::KINDS || columns.names[i] >= columns.texts.size() ||
        columns.items[i] >= columns.texts.size())
      return contradiction();
    spans[i] = {static_cast<ActivitySpan::Kind>(columns.kinds[i]),
                columns.threads[i],
                columns.starts[i],
                columns.ends[i],
                columns.waits[i],
                columns.texts[columns.names[i]],
                columns.texts[columns.items[i]]};
  }
  return spans;
}

}  // namespace

GVariant* encode(const ProgramIdentity& identity) {
  return write(identity);
}

GVariant* encode(const std::vector<RepeaterState>& repeaters, std::uint64_t known) {
  RepeaterColumns columns;
  columns.ids.reserve(repeaters.size());
  columns.counts.reserve(repeaters.size());
  columns.running.reserve(repeaters.size());
  columns.paused.reserve(repeaters.size());
  columns.figures.reserve(repeaters.size() * FIGURES);
  for (const RepeaterState& repeater : repeaters) {
    columns.ids.push_back(repeater.id);
    columns.counts.push_back(repeater.count);
    columns.running.push_back(repeater.runningSince);
    columns.paused.push_back(repeater.isPaused);
    std::apply([&](const auto&... figure) { (columns.figures.push_back(figure), ...); }, figures(repeater));
    if (repeater.id > known) columns.names.push_back(repeater.name);
  }
  return write(columns);
}

GVariant* encode(const QueueStates& states) {
  return write(states);
}

GVariant* encode(const std::vector<ListenerState>& listeners) {
  return write(std::tie(listeners));
}

GVariant* encode(const LogState& log) {
  return write(LogBytes{log.path, log.size, log.archives, log.lines, {log.text.begin(), log.text.end()}, log.place});
}

GVariant* encode(const std::vector<SettingState>& settings) {
  return write(std::tie(settings));
}

GVariant* encode(const Recording& recording) {
  return write(std::tuple(columnsOf(recording.spans), recording.lost));
}

GVariant* encode(const LongSpans& spans) {
  return write(std::tuple(columnsOf(spans.spans), spans.next, spans.lost));
}

GVariant* encode(const std::tuple<>& nothing) {
  return write(nothing);
}
GVariant* encode(const std::tuple<double>& number) {
  return write(number);
}
GVariant* encode(const std::tuple<std::uint64_t>& number) {
  return write(number);
}
GVariant* encode(const std::tuple<std::uint64_t, bool>& pair) {
  return write(pair);
}
GVariant* encode(const std::tuple<std::uint64_t, std::int64_t>& pair) {
  return write(pair);
}
GVariant* encode(const std::tuple<LogPlace, std::uint64_t>& pair) {
  return write(pair);
}

template <class T>
Result<T> decode(GVariant* arguments) {
  if constexpr (std::same_as<T, LogState>) {
    return readAll<LogBytes>(arguments).map([](const LogBytes& log) {
      return LogState{log.path, log.size, log.archives, log.lines, {log.text.begin(), log.text.end()}, log.place};
    });
  } else if constexpr (std::same_as<T, Recording>) {
    const auto sent = readAll<std::tuple<SpanColumns, std::uint64_t>>(arguments);
    if (!sent) return tl::unexpected(sent.error());
    return spansOf(std::get<0>(*sent)).map([&](auto&& spans) {
      return Recording{std::move(spans), std::get<1>(*sent)};
    });
  } else if constexpr (std::same_as<T, LongSpans>) {
    const auto sent = readAll<std::tuple<SpanColumns, std::uint64_t, std::uint64_t>>(arguments);
    if (!sent) return tl::unexpected(sent.error());
    return spansOf(std::get<0>(*sent)).map([&](auto&& spans) {
      return LongSpans{std::move(spans), std::get<1>(*sent), std::get<2>(*sent)};
    });
  } else if constexpr (IS_VECTOR<T>) {
    return readAll<std::tuple<T>>(arguments).map([](auto&& sent) { return std::move(std::get<0>(sent)); });
  } else {
    return readAll<T>(arguments);
  }
}

template Result<ProgramIdentity> decode(GVariant* arguments);
template Result<QueueStates> decode(GVariant* arguments);
template Result<std::vector<ListenerState>> decode(GVariant* arguments);
template Result<LogState> decode(GVariant* arguments);
template Result<std::vector<SettingState>> decode(GVariant* arguments);
template Result<Recording> decode(GVariant* arguments);
template Result<LongSpans> decode(GVariant* arguments);
template Result<std::tuple<>> decode(GVariant* arguments);
template Result<std::tuple<double>> decode(GVariant* arguments);
template Result<std::tuple<std::uint64_t>> decode(GVariant* arguments);
template Result<std::tuple<std::uint64_t, bool>> decode(GVariant* arguments);
template Result<std::tuple<std::uint64_t, std::int64_t>> decode(GVariant* arguments);
template Result<std::tuple<LogPlace, std::uint64_t>> decode(GVariant* arguments);

Result<std::optional<std::vector<RepeaterState>>> decodeRepeaters(GVariant* arguments, std::uint64_t known,
                                                                  RepeaterNames& names) {
  auto columns = readAll<RepeaterColumns>(arguments);
  if (!columns) return tl::unexpected(columns.error());
  const std::size_t count = columns->ids.size();
  for (const std::size_t other :
       {columns->counts.size(), columns->running.size(), columns->paused.size(), columns->figures.size() / FIGURES})
    if (other != count) return contradiction();
  if (columns->figures.size() % FIGURES != 0) return contradiction();
  auto name = columns->names.begin();
  for (const std::uint64_t id : columns->ids) {
    if (id <= known) continue;
    if (name == columns->names.end()) return contradiction();
    names.names.insert_or_assign(id, std::move(*name++));
    names.known = std::max(names.known, id);
  }
  if (name != columns->names.end()) return contradiction();
  std::vector<RepeaterState> repeaters(count);
  const double* figure = columns->figures.data();
  for (std::size_t i = 0; i < count; ++i) {
    RepeaterState& repeater = repeaters[i];
    repeater.id = columns->ids[i];
    repeater.count = columns->counts[i];
    repeater.runningSince = columns->running[i];
    repeater.isPaused = columns->paused[i] != 0;
    std::apply([&](auto&... each) { ((each = *figure++), ...); }, figures(repeater));
    const auto found = names.names.find(repeater.id);
    if (found == names.names.end()) {
      names.known = 0;
      return std::nullopt;
    }
    repeater.name = found->second;
  }
  return repeaters;
}

}  // namespace corvane::diagnostics
