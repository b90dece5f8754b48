#pragma once

/// Marks what the shared libraries export; everything else is hidden. Usable from C.
#define CORVANE_API __attribute__((visibility("default")))
