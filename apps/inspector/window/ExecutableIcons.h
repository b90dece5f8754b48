#pragma once

#include <QIcon>
#include <QObject>
#include <string>
#include <unordered_map>

#include "corvane/core/DispatchQueueSerial.h"

namespace corvane::inspector {

/// The icons of executables from the icon cache, which is filled on another thread, so that no one waits for hundreds
/// of new ones. Main thread.
class ExecutableIcons : public QObject {
  Q_OBJECT

 public:
  ExecutableIcons();

  /// The icon of the file at this path: an empty picture of an icon's size until it is known, and if there is none.
  QIcon icon(const std::string& path);

 Q_SIGNALS:
  /// An icon has become known.
  void changed();

 private:
  void look(const std::string& path);

  const QIcon m_empty;
  std::unordered_map<std::string, QIcon> m_icons;  // by path
  std::unordered_map<qint64, QIcon> m_pictures;    // by QImage::cacheKey(): most files share one
  DispatchQueueSerial m_queue{"executable icons", QoS::UTILITY};
};

}  // namespace corvane::inspector
