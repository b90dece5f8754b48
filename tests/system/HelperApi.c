#include <stddef.h>

#include "corvane/system/helper/helper_c.h"

/* Calls every function with a helper that is bundled and not installed, and where everything is granted; returns the
   line of the first check that fails, 0 if all hold. */
int checkHelperApi(const char* label) {
  const AuthorizationRef given = checkAuthorised(NULL, "a.right", NULL);
  if (!given || checkAuthorised(given, "a.right", "Why") != given) return __LINE__;
  freeAuthorisation(given);
  freeAuthorisation(NULL);
  const AuthorizationRef install = authorisehelper("");
  if (!install) return __LINE__;
  freeAuthorisation(install);
  if (HelperIsInstalled(label) || !BlessHelper(label) || !HelperIsInstalled(label)) return __LINE__;
  if (!RemoveHelper(label) || HelperIsInstalled(label)) return __LINE__;
  return HelperIsInstalled(NULL) ? __LINE__ : 0;
}
