#pragma once

/* The library's version. C and C++. */

/// The three parts of the version.
#define CORVANE_VERSION_MAJOR 0
#define CORVANE_VERSION_MINOR 2
#define CORVANE_VERSION_PATCH 0

/// The version as a single number that grows with every release: 1.2.3 is 10203.
#define CORVANE_VERSION_NUMBER (CORVANE_VERSION_MAJOR * 10000 + CORVANE_VERSION_MINOR * 100 + CORVANE_VERSION_PATCH)
