#include "apps/inspector/window/SingleInstance.h"

#include <QCryptographicHash>
#include <QGuiApplication>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

constexpr int MOST = 4096;     // bytes of a message
constexpr int PATIENCE = 200;  // ms between attempts
constexpr int ATTEMPTS = 25;

// Another display has another window. The runtime folder is the user's own.
QString pathFor(const QString& name) {
  const QByteArray display = qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && QGuiApplication::platformName() != u"xcb"
                                 ? qgetenv("WAYLAND_DISPLAY")
                                 : qgetenv("DISPLAY");
  const QByteArray mark = QCryptographicHash::hash(display, QCryptographicHash::Sha1).toHex().left(8);
  return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + u'/' + name + u'-' + QLatin1String(mark);
}

}  // namespace

SingleInstance::SingleInstance(const QString& name) : m_path(pathFor(name)), m_lock(m_path + ".lock") {
  m_lock.setStaleLockTime(0);  // only the death of its process frees it
  m_server.setSocketOptions(QLocalServer::UserAccessOption);
  connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::accept);
}

bool SingleInstance::isFirst() {
  if (!m_lock.tryLock(0))
    return m_lock.error() != QLockFile::LockFailedError;  // without such a folder nobody else runs
  QLocalServer::removeServer(m_path);
  if (!m_server.listen(m_path)) Logger::instance()->log("SingleInstance: " + m_server.errorString().toStdString());
  return true;
}

bool SingleInstance::pass(const QString& message) const {
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt, QThread::msleep(PATIENCE)) {
    QLocalSocket socket;  // the first one may just be starting
    socket.connectToServer(m_path);
    if (!socket.waitForConnected(PATIENCE)) continue;
    socket.write(message.toUtf8() + '\n');
    if (socket.waitForReadyRead(PATIENCE * ATTEMPTS)) return true;
    return false;
  }
  return false;
}

void SingleInstance::accept() {
  while (QLocalSocket* const socket = m_server.nextPendingConnection()) {
    socket->setReadBufferSize(MOST);
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
      if (socket->canReadLine()) {
        const QByteArray line = socket->readLine(MOST).chopped(1);
        socket->write("taken\n");
        socket->flush();
        socket->disconnectFromServer();
        Q_EMIT received(QString::fromUtf8(line));
      } else if (socket->bytesAvailable() >= MOST) {
        socket->abort();
      }
    });
  }
}

}  // namespace corvane::inspector
