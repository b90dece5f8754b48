#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/DesktopPicture.h"

namespace corvane {

// The ways of the desktops.
std::shared_ptr<DesktopPicture> cinnamonPicture();
std::shared_ptr<DesktopPicture> gnomePicture();
std::shared_ptr<DesktopPicture> lxqtPicture();
std::shared_ptr<DesktopPicture> matePicture();
std::shared_ptr<DesktopPicture> plasmaPicture();
std::shared_ptr<DesktopPicture> portalPicture();
std::shared_ptr<DesktopPicture> rootPicture();
std::shared_ptr<DesktopPicture> xfcePicture();

/// The failure of a desktop that has no pictures, or none that programs may change.
tl::unexpected<Error> noPictures(const std::string& why);

/// The URL of a file; empty for the empty path.
std::string urlOf(const std::string& path);

/// The path of a file's URL.
Result<std::string> pathOf(const std::string& url);

/// An option of a picture that is a text; empty if it is missing.
std::string option(const ScreenPicture& picture, std::string_view key);

/// A value, and its text with its type; the text is empty for none, and so is the value of a text that is none.
std::string textOf(const glib::Ptr<GVariant>& value);
glib::Ptr<GVariant> valueOf(const std::string& text);

}  // namespace corvane
