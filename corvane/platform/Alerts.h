#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// A question with two answers, or something to be taken note of.
struct AlertQuestion {
  std::string title;    ///< in one line
  std::string text;     ///< plain, in UTF-8
  std::string accept;   ///< the label of the button that Return presses
  std::string decline;  ///< the label of the other one; empty: there is none
  double limit = 600;   ///< seconds for which to wait for an answer
};

/// DECLINED, too, if the user closed the window; NONE if no answer came in time.
enum class AlertAnswer : std::uint8_t { ACCEPTED, DECLINED, NONE };

/// Asks the user by the desktop's own means, for programs that have no window of their own, or cannot have one. Any
/// thread.
///
/// On Linux with the first of zenity, kdialog and xmessage that works (kdialog before zenity on desktops made with Qt).
///
/// @feature Notices without a toolkit: `noticeWithoutToolkit`.
/// @needs zenity, kdialog or xmessage (`x11-utils`), and a display.
/// @without The notice stands on standard error only.
class Alerts {
 public:
  virtual ~Alerts() = default;

  /// Asks, and returns when there is an answer or the limit has passed; the window is gone then. At once an Error, if
  /// there is no display or nothing to ask with.
  virtual Result<AlertAnswer> ask(const AlertQuestion& question) = 0;
};

template <>
CORVANE_API std::shared_ptr<Alerts> makeService<Alerts>();

}  // namespace corvane
