#pragma once

#include "corvane/platform/Result.h"

namespace corvane {

/// Success if the places from which an installed program loads its libraries and its loader, as far as the program
/// names them itself, can be changed by root only. This protects helpers from mistakes, such as libraries that are
/// still in the folder where they were built; a program that means harm has other ways once it is root's.
Result<void> checkLibraries(int program);

}  // namespace corvane
