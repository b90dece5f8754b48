#pragma once

/// A key: a byte of the text that it types, or one of these.
namespace corvane::inspector::key {

inline constexpr int UP = 0x11'0000;
inline constexpr int DOWN = 0x11'0001;
inline constexpr int HOME = 0x11'0002;
inline constexpr int END = 0x11'0003;
inline constexpr int PAGE_UP = 0x11'0004;
inline constexpr int PAGE_DOWN = 0x11'0005;
inline constexpr int BACKSPACE = 0x11'0006;
inline constexpr int ENTER = 0x11'0007;
inline constexpr int OTHER = 0x11'0008;  ///< any key without a meaning here
inline constexpr int ESCAPE = 27;
inline constexpr int CONTROL_L = 12;
inline constexpr int CONTROL_Z = 26;

}  // namespace corvane::inspector::key
