#include "corvane/linux/helper/service/HelperFiles.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>

#include "corvane/core/Text.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/linux/helper/HelperNames.h"
#include "corvane/platform/HelperKeys.h"
#include "corvane/system/helper/HelperVersion.h"

namespace corvane {

namespace {

tl::unexpected<Error> refused(const std::string& why) {
  return failure("helper", 0, why);
}

bool isActionCharacter(char c) {
  return g_ascii_isalnum(c) || c == '.' || c == '-' || c == '_';
}

// In all of the files, without the label, which may hold what a comment of XML must not.
constexpr std::string_view REMARK = "Written by corvane-helpers";

// "%" stands for the label.
constexpr std::string_view BUS_SERVICE = R"(# Written by corvane-helpers
[D-BUS Service]
Name=%
Exec=/usr/local/libexec/corvane/helpers/%
User=root
)";
constexpr std::string_view BUS_POLICY =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<!-- Written by corvane-helpers -->
<busconfig>
  <policy user="root">
    <allow own="%"/>
  </policy>
  <policy context="default">
    <allow send_destination="%" send_interface="org.corvane.Helper1" send_type="method_call"/>
    <allow send_destination="%" send_interface="org.freedesktop.DBus.Peer" send_type="method_call"/>
  </policy>
</busconfig>
)";
constexpr std::string_view ACTIONS_BEGIN =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<!-- Written by corvane-helpers -->
<policyconfig>
)";
constexpr std::string_view ACTION_DEFAULTS =
    R"(    <defaults>
      <allow_any>auth_admin</allow_any>
      <allow_inactive>auth_admin</allow_inactive>
      <allow_active>auth_admin_keep</allow_active>
    </defaults>
  </action>
)";

static_assert(BUS_SERVICE.find(helper_names::FOLDER) != std::string_view::npos &&
              BUS_POLICY.find(helper_names::INTERFACE) != std::string_view::npos);

std::string filled(std::string_view text, const std::string& label) {
  std::string result;
  for (const char c : text) {
    if (c == '%')
      result += label;
    else
      result += c;
  }
  return result;
}

Result<void> checkCallers(const Value& callers) {
  const Value::Array* const paths = callers.asArray();
  if (!paths || paths->size() > HelperLimits::CALLERS) return refused("Its list of callers is damaged or too long");
  for (const Value& path : *paths) {
    const std::string* const text = path.asString();
    if (!text || !text->starts_with('/') || !checkShown(*text)) return refused("A caller is not an absolute path");
  }
  return {};
}

Result<std::map<std::string, std::string>> declaredActions(const Value& declared, const std::string& label) {
  const Value::Dictionary* const actions = declared.asDictionary();
  if (!actions || actions->size() > HelperLimits::ACTIONS) return refused("Its actions are damaged or too many");
  std::map<std::string, std::string> found;
  for (const auto& [action, description] : *actions) {
    if ((action != label && !action.starts_with(label + ".")) || action.size() > HelperLimits::LABEL ||
        !std::ranges::all_of(action, isActionCharacter))
      return refused("It declares an action that is not its own");
    const std::string* const text = description.asString();
    // polkit shows only what follows the last of the references that some of these would have to be written as.
    if (!text || text->empty() || !checkShown(*text) || text->find_first_of("<>&") != std::string::npos)
      return refused("The description of " + action + " is no plain text without <, > and &");
    found[action] = *text;
  }
  return found;
}

}  // namespace

Result<void> checkLabel(std::string_view label) {
  const std::string name(label);
  if (label.size() > HelperLimits::LABEL || label.find('\0') != std::string_view::npos || label.starts_with(':') ||
      !g_dbus_is_name(name.c_str()))
    return refused("The label is not a bus name of at most " + std::to_string(HelperLimits::LABEL) + " bytes");
  static const std::string OURS = upperCasedAscii(helper_names::SERVICE);
  const std::string upper = upperCasedAscii(name);
  for (const std::string_view reserved : {std::string_view("ORG.FREEDESKTOP"), std::string_view(OURS)})
    if (upper == reserved || (upper.starts_with(reserved) && upper[reserved.size()] == '.'))
      return refused("The label " + name + " belongs to the system");
  return {};
}

Result<void> checkShown(std::string_view text) {
  // What XML forbids besides the control characters.
  static constexpr std::array<std::string_view, 2> NONCHARACTERS = {"\xEF\xBF\xBE", "\xEF\xBF\xBF"};
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  if (text.size() > HelperLimits::TEXT || !isUtf8(text) || std::ranges::any_of(text, isControl) ||
      std::ranges::any_of(NONCHARACTERS, [text](auto each) { return text.find(each) != std::string_view::npos; }))
    return refused("A text is too long or cannot be shown");
  return {};
}

Result<HelperInfo> helperInfo(std::string_view dictionary, const std::string& label) {
  static constexpr PropertyListLimits LIMITS = {HelperLimits::DICTIONARY, 8, 10'000, HelperLimits::DICTIONARY};
  const auto list = readPropertyList(dictionary, LIMITS);
  if (!list) return refused("Its information dictionary is damaged: " + list.error().description);
  const Value* const identifier = list->find("CFBundleIdentifier");
  if (!identifier || *identifier != Value(label)) return refused("It does not call itself " + label);
  const auto version = helperVersion(*list);
  if (!version) return refused("It has no version that is a whole number");
  HelperInfo info{*version, {}};
  if (const Value* const callers = list->find(helper_names::CALLERS_KEY)) {
    const auto valid = checkCallers(*callers);
    if (!valid) return tl::unexpected(valid.error());
  }
  if (const Value* const declared = list->find(helper_names::ACTIONS_KEY)) {
    auto actions = declaredActions(*declared, label);
    if (!actions) return tl::unexpected(actions.error());
    info.actions = std::move(*actions);
  }
  return info;
}

std::string busServiceFile(const std::string& label) {
  return filled(BUS_SERVICE, label);
}

std::string busPolicyFile(const std::string& label) {
  return filled(BUS_POLICY, label);
}

std::string actionsFile(const std::map<std::string, std::string>& actions) {
  std::string text(ACTIONS_BEGIN);
  for (const auto& [action, description] : actions)
    text.append("  <action id=\"" + action + "\">\n    <description>" + description + "</description>\n    <message>" +
                description + "</message>\n")
        .append(ACTION_DEFAULTS);
  return text + "</policyconfig>\n";
}

bool isHelperFile(std::string_view content) {
  return content.find(REMARK) != std::string_view::npos;
}

}  // namespace corvane
