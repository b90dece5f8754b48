#pragma once

namespace corvane {

/// Fatal unless the caller is on the thread of the application object, which is where widgets, pictures for the screen
/// and screens live; `who` begins the message. Also fatal before a QGuiApplication has been made.
void requireMainThread(const char* who);

}  // namespace corvane
