#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Calls every process information function and returns the line of the first check that fails, 0 if all hold. */
int checkProcInfoApi(void);

#ifdef __cplusplus
}
#endif
