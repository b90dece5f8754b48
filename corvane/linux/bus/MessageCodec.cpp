#include "corvane/linux/bus/MessageCodec.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

namespace {

constexpr const char* NULL_TYPE = "(y)";
constexpr const char* DATE_TYPE = "(d)";
constexpr std::size_t VARIANT = 2;  // bytes of a variant besides its type and content

tl::unexpected<Error> unusable(std::string description) {
  return failure("message", 0, std::move(description));
}

std::string tooDeep() {
  return "The message has more than " + std::to_string(MessageLimits::DEPTH) + " levels of dictionaries and arrays";
}

// Each takes memory of its own, far more than in the message.
std::string tooMany() {
  return "The message holds more than " + std::to_string(MessageLimits::VALUES) + " values";
}

class Builder {
 public:
  explicit Builder(const GVariantType* type) { g_variant_builder_init(&m_builder, type); }
  ~Builder() { g_variant_builder_clear(&m_builder); }
  Builder(const Builder&) = delete;
  Builder& operator=(const Builder&) = delete;

  void add(GVariant* value) { g_variant_builder_add_value(&m_builder, value); }
  GVariant* end() { return g_variant_builder_end(&m_builder); }

 private:
  GVariantBuilder m_builder;
};

// Counts the bytes of the D-Bus encoding on the way. Functions return a floating reference, or null after an error.
class Encoder {
 public:
  Result<EncodedMessage> operator()(const Message& message) {
    const auto* entries = message.asDictionary();
    if (!entries) return unusable("Only a dictionary can be sent");
    glib::Ptr<GVariant> encoded(dictionary(*entries));
    if (!encoded) return unusable(std::move(m_error));
    g_variant_ref_sink(encoded.get());
    return EncodedMessage{std::move(encoded), std::move(m_descriptors)};
  }

 private:
  std::nullptr_t fail(std::string error) {
    m_error = std::move(error);
    return nullptr;
  }

  // False if that is too much.
  bool count(std::size_t alignment, std::size_t bytes) {
    m_bytes = (m_bytes + alignment - 1) / alignment * alignment;
    if (bytes <= MessageLimits::BYTES && m_bytes + bytes <= MessageLimits::BYTES) {
      m_bytes += bytes;
      return true;
    }
    fail("The message is larger than " + std::to_string(MessageLimits::BYTES >> 20) + " MiB");
    return false;
  }

  // The same for a value inside a variant.
  bool countVariant(std::size_t typeLength, std::size_t alignment, std::size_t bytes) {
    return count(1, VARIANT + typeLength) && count(alignment, bytes);
  }

  GVariant* dictionary(const Message::Dictionary& entries) {
    if (++m_depth > MessageLimits::DEPTH) return fail(tooDeep());
    Builder builder(G_VARIANT_TYPE_VARDICT);
    if (!count(4, 4) || !count(8, 0)) return nullptr;
    for (const auto& [key, content] : entries) {
      if (!count(8, 0)) return nullptr;
      GVariant* const name = text(key);
      if (!name) return nullptr;
      glib::Ptr<GVariant> owner(g_variant_ref_sink(name));
      GVariant* const encoded = variant(content);
      if (!encoded) return nullptr;
      builder.add(g_variant_new_dict_entry(name, encoded));
    }
    --m_depth;
    return builder.end();
  }

  GVariant* array(const Message::Array& elements) {
    if (++m_depth > MessageLimits::DEPTH) return fail(tooDeep());
    Builder builder(G_VARIANT_TYPE("av"));
    for (const Message& element : elements) {
      GVariant* const encoded = variant(element);
      if (!encoded) return nullptr;
      builder.add(encoded);
    }
    --m_depth;
    return builder.end();
  }

  GVariant* text(const std::string& characters) {
    if (!count(4, 4 + characters.size() + 1)) return nullptr;
    if (!g_utf8_validate(characters.data(), static_cast<gssize>(characters.size()), nullptr))
      return fail("The message holds text that is not UTF-8 or contains NUL");
    return g_variant_new_string(characters.c_str());
  }

  static GVariant* bytes(const std::vector<std::uint8_t>& content) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, content.data(), content.size(), 1);
  }

  GVariant* descriptor(int fd) {
    if (!m_descriptors) m_descriptors.reset(g_unix_fd_list_new());
    if (g_unix_fd_list_get_length(m_descriptors.get()) == MessageLimits::DESCRIPTORS)
      return fail("The message holds more than " + std::to_string(MessageLimits::DESCRIPTORS) + " file descriptors");
    GError* error = nullptr;
    const gint index = fd < 0 ? -1 : g_unix_fd_list_append(m_descriptors.get(), fd, &error);
    if (index >= 0) return g_variant_new_handle(index);
    const glib::Ptr<GError> owner(error);
    return fail("A file descriptor of the message cannot be sent" +
                (error ? ": " + std::string(error->message) : std::string()));
  }

  GVariant* value(const Message& content) {
    if (++m_values > MessageLimits::VALUES) return fail(tooMany());
    if (const auto* entries = content.asDictionary()) return countVariant(5, 1, 0) ? dictionary(*entries) : nullptr;
    if (const auto* elements = content.asArray()) return countVariant(2, 4, 4) ? array(*elements) : nullptr;
    if (const auto* string = content.asString()) return countVariant(1, 1, 0) ? text(*string) : nullptr;
    if (const auto* integer = content.asInteger())
      return countVariant(1, 8, 8) ? g_variant_new_int64(*integer) : nullptr;
    if (const auto* real = content.asReal()) return countVariant(1, 8, 8) ? g_variant_new_double(*real) : nullptr;
    if (const auto* truth = content.asBool()) return countVariant(1, 4, 4) ? g_variant_new_boolean(*truth) : nullptr;
    if (const auto* raw = content.asData())
      return countVariant(2, 4, 4) && count(1, raw->bytes.size()) ? bytes(raw->bytes) : nullptr;
    if (const auto* date = content.asDate())
      return countVariant(3, 8, 8) ? g_variant_new(DATE_TYPE, date->seconds) : nullptr;
    if (const auto* shared = content.asDescriptor()) return countVariant(1, 4, 4) ? descriptor(shared->get()) : nullptr;
    if (content.isNull()) return countVariant(3, 8, 1) ? g_variant_new(NULL_TYPE, 0) : nullptr;
    return fail("An error cannot be sent inside a message");
  }

  GVariant* variant(const Message& content) {
    GVariant* const encoded = value(content);
    return encoded ? g_variant_new_variant(encoded) : nullptr;
  }

  std::size_t m_bytes = 0;
  std::size_t m_values = 0;
  std::size_t m_depth = 0;
  std::string m_error;
  glib::Ptr<GUnixFDList> m_descriptors;
};

class Decoder {
 public:
  explicit Decoder(GUnixFDList* descriptors)
      : m_list(descriptors),
        m_descriptors(descriptors ? static_cast<std::size_t>(g_unix_fd_list_get_length(descriptors)) : 0) {}

  Result<Message> dictionary(GVariant* variant) {
    if (++m_depth > MessageLimits::DEPTH) return unusable(tooDeep());
    Message::Dictionary entries;
    GVariantIter each;
    g_variant_iter_init(&each, variant);
    const char* key = nullptr;
    GVariant* content = nullptr;
    while (g_variant_iter_next(&each, "{&sv}", &key, &content)) {
      const glib::Ptr<GVariant> owner(content);
      auto decoded = value(content);
      if (!decoded) return decoded;
      if (!entries.try_emplace(key, std::move(*decoded)).second)
        return unusable("A dictionary of the message holds the key \"" + std::string(key) + "\" twice");
    }
    --m_depth;
    return Message(std::move(entries));
  }

 private:
  Result<Message> array(GVariant* variant) {
    if (++m_depth > MessageLimits::DEPTH) return unusable(tooDeep());
    Message::Array elements;
    GVariantIter each;
    g_variant_iter_init(&each, variant);
    GVariant* content = nullptr;
    while (g_variant_iter_next(&each, "v", &content)) {
      const glib::Ptr<GVariant> owner(content);
      auto decoded = value(content);
      if (!decoded) return decoded;
      elements.push_back(std::move(*decoded));
    }
    --m_depth;
    return Message(std::move(elements));
  }

  // A handle may occur more than once; its descriptor is duplicated once.
  Result<Message> descriptor(gint32 handle) {
    if (handle < 0 || static_cast<std::size_t>(handle) >= m_descriptors.size())
      return unusable("The message refers to a file descriptor that did not come with it");
    auto& shared = m_descriptors[static_cast<std::size_t>(handle)];
    if (!shared) {
      GError* error = nullptr;
      const int fd = g_unix_fd_list_get(m_list, handle, &error);
      if (fd < 0) return glib::takeError(error, "A file descriptor of the message cannot be taken: ");
      shared.emplace(fd);
    }
    return Message(*shared);
  }

  Result<Message> container(GVariant* variant) {
    const auto is = [variant](const char* type) {
      return g_variant_is_of_type(variant, G_VARIANT_TYPE(type)) != FALSE;
    };
    if (is("a{sv}")) return dictionary(variant);
    if (is("av")) return array(variant);
    if (is("ay")) {
      gsize size = 0;
      const auto* bytes = static_cast<const std::uint8_t*>(g_variant_get_fixed_array(variant, &size, 1));
      return Message(Data{size ? std::vector(bytes, bytes + size) : std::vector<std::uint8_t>()});
    }
    if (is(NULL_TYPE)) return Message(Message::Null());
    if (is(DATE_TYPE)) {
      Date date;
      g_variant_get(variant, DATE_TYPE, &date.seconds);
      return Message(date);
    }
    return unusable(std::string("The message holds a value of the type ") + g_variant_get_type_string(variant) +
                    ", which has no meaning in it");
  }

  Result<Message> value(GVariant* variant) {
    if (++m_values > MessageLimits::VALUES) return unusable(tooMany());
    switch (g_variant_classify(variant)) {
      case G_VARIANT_CLASS_BOOLEAN:
        return Message(g_variant_get_boolean(variant) != FALSE);
      case G_VARIANT_CLASS_BYTE:
        return Message(g_variant_get_byte(variant));
      case G_VARIANT_CLASS_INT16:
        return Message(g_variant_get_int16(variant));
      case G_VARIANT_CLASS_UINT16:
        return Message(g_variant_get_uint16(variant));
      case G_VARIANT_CLASS_INT32:
        return Message(g_variant_get_int32(variant));
      case G_VARIANT_CLASS_UINT32:
        return Message(g_variant_get_uint32(variant));
      case G_VARIANT_CLASS_INT64:
        return Message(static_cast<std::int64_t>(g_variant_get_int64(variant)));
      case G_VARIANT_CLASS_UINT64:
        if (const guint64 integer = g_variant_get_uint64(variant); std::in_range<std::int64_t>(integer))
          return Message(static_cast<std::int64_t>(integer));
        return unusable("The message holds an integer beyond 64 bits with a sign");
      case G_VARIANT_CLASS_HANDLE:
        return descriptor(g_variant_get_handle(variant));
      case G_VARIANT_CLASS_DOUBLE:
        return Message(g_variant_get_double(variant));
      case G_VARIANT_CLASS_STRING:
      case G_VARIANT_CLASS_OBJECT_PATH:
      case G_VARIANT_CLASS_SIGNATURE: {
        gsize size = 0;
        const char* const characters = g_variant_get_string(variant, &size);
        return Message(std::string(characters, size));
      }
      default:
        return container(variant);
    }
  }

  GUnixFDList* const m_list;
  std::vector<std::optional<SharedDescriptor>> m_descriptors;
  std::size_t m_values = 0;
  std::size_t m_depth = 0;
};

}  // namespace

Result<EncodedMessage> encode(const Message& message) {
  return Encoder()(message);
}

Result<Message> decode(GVariant* dictionary, GUnixFDList* descriptors) {
  if (!dictionary || !g_variant_is_of_type(dictionary, G_VARIANT_TYPE_VARDICT))
    return unusable("The message is not a dictionary");
  return Decoder(descriptors).dictionary(dictionary);
}

}  // namespace corvane
