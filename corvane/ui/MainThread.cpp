#include "corvane/ui/MainThread.h"

#include <QGuiApplication>
#include <QThread>
#include <string>

#include "corvane/core/fatal.h"

namespace corvane {

void requireMainThread(const char* who) {
  if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
    fatal(std::string(who) + ": there is no QGuiApplication");
  if (QThread::currentThread() != qApp->thread()) fatal(std::string(who) + ": not on the main thread");
}

}  // namespace corvane
