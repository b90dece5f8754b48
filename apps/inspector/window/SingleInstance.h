#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

namespace corvane::inspector {

/// Makes a program run once for each user and display: later starts pass a message to the first one.
class SingleInstance : public QObject {
  Q_OBJECT

 public:
  /// `name` is the program's, as in a file name.
  explicit SingleInstance(const QString& name);

  /// True if no other one runs; from now on this one receives messages.
  bool isFirst();

  /// Passes a message, of one line, to the first one; false if it does not take it within some seconds.
  bool pass(const QString& message) const;

 Q_SIGNALS:
  void received(const QString& message);

 private:
  void accept();

  const QString m_path;
  QLockFile m_lock;  // the system frees it with the process, however that ends
  QLocalServer m_server;
};

}  // namespace corvane::inspector
