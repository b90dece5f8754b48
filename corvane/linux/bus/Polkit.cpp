#include "corvane/linux/bus/Polkit.h"

#include <unistd.h>

#include <utility>

#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/process/ProcessStart.h"

namespace corvane {

namespace {

constexpr guint32 ALLOW_USER_INTERACTION = 1;

BusMethod method(const char* name, const char* replyType) {
  return {.service = "org.freedesktop.PolicyKit1",
          .object = "/org/freedesktop/PolicyKit1/Authority",
          .interface = "org.freedesktop.PolicyKit1.Authority",
          .name = name,
          .replyType = replyType,
          .trouble = "polkit: "};
}

BusMethod enumeration() {
  return method("EnumerateActions", "(a(ssssssuuua{ss}))");
}
BusMethod checking() {
  return method("CheckAuthorization", "((bba{ss}))");
}

GVariant* noLocale() {
  return g_variant_new("(s)", "");
}

bool contains(const BusReply& actions, const std::string& action) {
  const glib::Ptr<GVariant> all(g_variant_get_child_value(actions.values.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(all.get()); ++i) {
    const glib::Ptr<GVariant> each(g_variant_get_child_value(all.get(), i));
    const char* name = nullptr;
    g_variant_get_child(each.get(), 0, "&s", &name);
    if (action == name) return true;
  }
  return false;
}

Deadline deadline(const PolkitQuestion& question) {
  return question.mayAsk ? Deadline::none() : Deadline();
}

// Floating.
Result<GVariant*> arguments(const PolkitQuestion& question) {
  const auto subject = question.subject.variant();
  if (!subject) return subject;
  GVariantBuilder details;
  g_variant_builder_init(&details, G_VARIANT_TYPE("a{ss}"));
  for (const auto& [name, value] : question.details)
    g_variant_builder_add(&details, "{ss}", name.c_str(), value.c_str());
  return g_variant_new("(@(sa{sv})sa{ss}us)", *subject, question.action.c_str(), &details,
                       question.mayAsk ? ALLOW_USER_INTERACTION : 0U, "");
}

Result<void> verdict(const BusReply& reply, const std::string& action) {
  gboolean granted = FALSE;
  gboolean challenge = FALSE;
  GVariant* details = nullptr;
  g_variant_get(reply.values.get(), "((bb@a{ss}))", &granted, &challenge, &details);
  const glib::Ptr<GVariant> owner(details);
  if (granted) return {};
  const auto refusal = [&action](PolkitRefusal why, const std::string& text) {
    return failure("polkit", static_cast<int>(why), "polkit: " + text + " " + action);
  };
  if (g_variant_lookup(details, "polkit.dismissed", "&s", nullptr))
    return refusal(PolkitRefusal::DISMISSED, "the question was dismissed:");
  if (challenge) return refusal(PolkitRefusal::CHALLENGE, "somebody would have to be asked for");
  return refusal(PolkitRefusal::DENIED, "not authorised for");
}

}  // namespace

PolkitSubject PolkitSubject::connection(std::string uniqueName) {
  PolkitSubject subject;
  subject.m_connection = std::move(uniqueName);
  return subject;
}

Result<GVariant*> PolkitSubject::variant() const {
  if (m_connection) {
    if (!g_dbus_is_unique_name(m_connection->c_str()))
      return failure("polkit", 0, "polkit: not the unique name of a connection: " + *m_connection);
    return g_variant_new_parsed("('system-bus-name', {'name': <%s>})", m_connection->c_str());
  }
  const auto started = processStart(getpid());
  if (!started) return failure("polkit", 0, "polkit: /proc does not show this process");
  return g_variant_new_parsed("('unix-process', {'pid': <%u>, 'start-time': <%t>})", static_cast<guint32>(getpid()),
                              guint64{*started});
}

PolkitQuestion PolkitQuestion::generic(PolkitSubject subject, const std::string& right, const std::string& message,
                                       bool mayAsk) {
  PolkitQuestion question{std::move(subject), helper_names::GENERIC_ACTION, {{"right", right}}, mayAsk};
  if (!message.empty()) question.details["polkit.message"] = message;
  return question;
}

Result<bool> Polkit::isDeclared(const std::string& action) {
  const auto answer = m_link.call(enumeration(), noLocale(), Deadline());
  if (!answer) return tl::unexpected(answer.error());
  return contains(answer->reply, action);
}

Result<void> Polkit::check(const PolkitQuestion& question) {
  const auto values = arguments(question);
  if (!values) return tl::unexpected(values.error());
  const auto answer = m_link.call(checking(), *values, deadline(question));
  if (!answer) return tl::unexpected(answer.error());
  return verdict(answer->reply, question.action);
}

void Polkit::isDeclaredLater(const Bus& bus, const std::string& action,
                             std::function<void(const Result<bool>& declared)> done) {
  bus.callLater(enumeration(), noLocale(), Deadline(), [action, done = std::move(done)](const Result<BusReply>& reply) {
    done(reply.map([&](const BusReply& actions) { return contains(actions, action); }));
  });
}

void Polkit::checkLater(const Bus& bus, const PolkitQuestion& question,
                        std::function<void(const Result<void>& granted)> done) {
  const auto values = arguments(question);
  if (!values) return done(tl::unexpected(values.error()));
  bus.callLater(checking(), *values, deadline(question),
                [action = question.action, done = std::move(done)](const Result<BusReply>& reply) {
                  done(reply.and_then([&](const BusReply& given) { return verdict(given, action); }));
                });
}

}  // namespace corvane
