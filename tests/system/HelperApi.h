#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Calls every function with a helper that is bundled and not installed, and where everything is granted; returns the
   line of the first check that fails, 0 if all hold. */
int checkHelperApi(const char* label);

#ifdef __cplusplus
}
#endif
