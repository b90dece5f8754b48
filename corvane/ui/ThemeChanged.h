#pragma once

#include <QMetaObject>
#include <functional>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// Calls a function whenever the appearance has changed between light and dark, or its contrast, for as long as the
/// object lives: for what does not follow the palette by itself, such as pictures. On Linux the desktop portal tells of
/// it; where it says nothing, the application's palette does. Each change is told once.
///
///     ThemeChanged themeChanged([this] { loadPictures(isDarkAppearance()); });
///
/// The function is called on the main queue, never before the constructor has returned, and not after the destructor
/// has been called. Constructor and destructor: main thread, with a QApplication.
class CORVANE_API ThemeChanged {
 public:
  /// Without a function nothing is called.
  explicit ThemeChanged(std::function<void()> notifier = {});
  ~ThemeChanged();
  ThemeChanged(const ThemeChanged&) = delete;
  ThemeChanged& operator=(const ThemeChanged&) = delete;

  /// Queues a call of the function on the main queue, as a change does. Any thread.
  void themeChanged() const;

 private:
  const std::shared_ptr<const std::function<void()>> m_notifier;
  const QMetaObject::Connection m_connection;
};

}  // namespace corvane
