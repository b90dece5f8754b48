#pragma once

/// Marks the symbols that the shared libraries export; all others are hidden. Usable from C.
#define CORVANE_API __attribute__((visibility("default")))
