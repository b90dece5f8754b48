#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view TREE_HELP =
    "  PATH           the folder; symbolic links in it are not followed\n"
    "  --svg FILE     write the picture to FILE, - being standard output\n"
    "  --depth N      go down N levels (default: 3)\n"
    "  --hide N       show no entries of folders with more than N shown below them (default: 50)\n";

/// The tree command: draws a folder with SvgTree.
int tree(const Arguments& arguments);

}  // namespace corvane::inspector
