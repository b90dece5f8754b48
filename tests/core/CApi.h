#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Calls every C function of the core and returns the line of the first check that fails, 0 if all hold. */
int checkCApi(void);

#ifdef __cplusplus
}
#endif
