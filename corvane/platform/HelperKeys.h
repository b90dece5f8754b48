#pragma once

/// Entries of a helper's information dictionary besides those of every bundle. Both are optional.
namespace corvane::helper_names {

/// Array of absolute paths: the programs that may call the helper. Any program if it is missing.
inline constexpr char CALLERS_KEY[] = "CorvaneHelperCallers";
/// Dictionary: right, which is the label or begins with the label and a dot, to its description.
inline constexpr char ACTIONS_KEY[] = "CorvaneHelperActions";

}  // namespace corvane::helper_names
