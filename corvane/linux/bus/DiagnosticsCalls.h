#pragma once

#include <gio/gio.h>

#include <memory>

#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Result.h"

namespace corvane::diagnostics {

/// The interface's description, org.corvane.Diagnostics1.xml.
const char* interfaceXml();

/// Answers the calls of the interface org.corvane.Diagnostics1, and of the standard ones that tools need:
/// Introspectable, Properties, Peer. The caller may be anybody: what does not fit gets an error. One thread at a time.
class Calls {
 public:
  explicit Calls(std::shared_ptr<Inspectable> program);

  /// The answer to a call of a method. `watch` is what the connection holds until it ends.
  glib::Ptr<GDBusMessage> answer(GDBusMessage* call, std::shared_ptr<void>& watch) const;

  /// The answer that tells why there is none.
  static glib::Ptr<GDBusMessage> refusal(GDBusMessage* call, const Error& error);

 private:
  const std::shared_ptr<Inspectable> m_program;
};

/// The reverse of refusal(): the Error that an answer consists of.
tl::unexpected<Error> errorOf(GDBusMessage* refusal);

}  // namespace corvane::diagnostics
