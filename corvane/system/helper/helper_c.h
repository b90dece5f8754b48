#pragma once

/** Privileged helpers and the rights to do what needs an administrator, for C (C11 and later) and C++. Any thread.
 *
 *  A helper is a program that runs as root for an application. Its label is the identifier in the information
 *  dictionary that is embedded in it (CFBundleIdentifier), and the name under which it is reached; its version is the
 *  dictionary's CFBundleVersion, which must be text that is a whole decimal number. Dictionaries beside the file never
 *  count. corvane/platform/HelperInstaller.h says where helpers lie and who installs them.
 *
 *  What asks for a right waits for as long as a person needs to answer. */

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "corvane/platform/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The rights that a program has obtained. Release it with freeAuthorisation(). */
typedef struct corvane_authorization* AuthorizationRef;

/** True if the installed helper with this label is at least as new as the copy in the application's bundle. False if
 *  either of the two is missing, unreadable or without a version. Asks nobody. */
CORVANE_API bool HelperIsInstalled(const char* label);

/** Makes sure that the helper is installed and not older than the application's copy: if it is not, asks for an
 *  administrator's permission and installs the copy. The outcome is logged; why the installation failed is also written
 *  to standard output, as one line. */
CORVANE_API bool BlessHelper(const char* label);

/** Removes the installed helper, with an administrator's permission; a running one ends. True if it is gone. The
 *  outcome is logged. */
CORVANE_API bool RemoveHelper(const char* label);

/** Asks for the right to install helpers; null if it is refused. `prompt`, if it is neither null nor empty, tells the
 *  person what for. */
CORVANE_API AuthorizationRef authorisehelper(const char* prompt);

/** Obtains a right with a reference, or with a new one if it is null, and returns the reference. A right that the
 *  system does not know is defined as one for which an administrator is asked; `prompt`, if not null, describes it.
 *
 *  If the right is refused, the reference is released, even if it is the caller's, and the result is null. */
CORVANE_API AuthorizationRef checkAuthorised(AuthorizationRef reference, const char* right, const char* prompt);

/** Releases a reference; null is ignored. */
CORVANE_API void freeAuthorisation(AuthorizationRef reference);

#ifdef __cplusplus
}
#endif
