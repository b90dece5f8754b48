#include "corvane/platform/Message.h"

#include <unistd.h>

#include <cmath>

namespace corvane {

SharedDescriptor::SharedDescriptor(int fd)
    : m_fd(new int(fd), [](const int* owned) {
        if (*owned >= 0) close(*owned);
        delete owned;
      }) {}

Message::Message() = default;
Message::Message(const Message& other) = default;
Message::Message(Message&& other) noexcept = default;
Message& Message::operator=(const Message& other) = default;
Message& Message::operator=(Message&& other) noexcept = default;
Message::~Message() = default;

const Message* Message::find(std::string_view key) const {
  const Dictionary* dictionary = asDictionary();
  if (!dictionary) return nullptr;
  const auto entry = dictionary->find(key);
  return entry == dictionary->end() ? nullptr : &entry->second;
}

void Message::set(std::string key, Message value) {
  auto* dictionary = std::get_if<Dictionary>(&m_content);
  if (!dictionary) dictionary = &m_content.emplace<Dictionary>();
  dictionary->insert_or_assign(std::move(key), std::move(value));
}

bool Message::operator==(const Message& other) const {
  const double* left = asReal();
  const double* right = other.asReal();
  if (left && right && std::isnan(*left)) return std::isnan(*right);
  return m_content == other.m_content;
}

}  // namespace corvane
