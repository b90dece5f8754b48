#include "corvane/linux/helper/ServiceCall.h"

#include "corvane/linux/helper/HelperNames.h"

namespace corvane {

Result<BusReply> callHelperService(const char* method, const char* replyType, GVariant* arguments,
                                   GUnixFDList* descriptors) {
  const glib::Ptr<GVariant> owner(g_variant_ref_sink(arguments));
  const auto bus = Bus::connect(G_BUS_TYPE_SYSTEM, Deadline());
  if (!bus) return tl::unexpected(bus.error());
  auto reply = (*bus)->call({helper_names::SERVICE, helper_names::SERVICE_OBJECT, helper_names::SERVICE_INTERFACE,
                             method, replyType, G_DBUS_CALL_FLAGS_ALLOW_INTERACTIVE_AUTHORIZATION},
                            arguments, Deadline::none(), descriptors);
  if (!reply && reply.error().domain == "org.freedesktop.DBus.Error.ServiceUnknown")
    return failure(reply.error().domain, 0, "The service that installs helpers is missing on this system");
  return reply;
}

}  // namespace corvane
