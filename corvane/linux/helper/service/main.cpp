#include <errno.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "corvane/linux/helper/service/HelperStore.h"
#include "corvane/linux/helper/service/HelpersService.h"

namespace {

int complain(const corvane::Error& error) {
  syslog(LOG_ERR, "%s", error.description.c_str());
  return 1;
}

}  // namespace

// corvane-helpers: installs privileged helpers for the applications that use the library. The system bus starts it.
int main() {
  openlog("corvane-helpers", LOG_PID | LOG_PERROR, LOG_AUTHPRIV);
  if (geteuid() != 0) return complain({"posix", EPERM, "only root can run this"});
  umask(022);
  const auto clean = corvane::HelperStore::clean();
  if (!clean) complain(clean.error());
  const auto bus = corvane::Bus::connect(G_BUS_TYPE_SYSTEM, corvane::Deadline());
  if (!bus) return complain(bus.error());
  corvane::HelpersService service(**bus);
  const auto served = service.run();
  // Without destructors: a thread may still wait for a person, whose answer does not count any more.
  _exit(served ? 0 : complain(served.error()));
}
