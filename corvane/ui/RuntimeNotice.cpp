#include "corvane/ui/RuntimeNotice.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QPointer>
#include <QPushButton>
#include <QUrl>
#include <utility>

#include "corvane/core/MainQueue.h"
#include "corvane/infra/Bundle.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/OpenURL.h"

namespace corvane {

QMessageBox* RuntimeNotice::show(const RuntimeRequirement& requirement, const std::string& missing, Options options) {
  requireMainThread("RuntimeNotice.show");
  const std::string name =
      Bundle::mainBundle()->bundleName().value_or(QCoreApplication::applicationName().toStdString());
  const RuntimeNoticeTexts texts = runtimeNoticeTexts(name, requirement, missing);
  auto* const box = new QMessageBox(options.parent);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setIcon(QMessageBox::Warning);
  box->setWindowTitle(QString::fromStdString(name));
  box->setTextFormat(Qt::PlainText);
  box->setText(QString::fromStdString(texts.text));

  const QUrl address(QString::fromStdString(requirement.download));
  const auto add = [box](const std::string& label, QMessageBox::ButtonRole role) {
    return box->addButton(QString::fromStdString(label), role);
  };
  QPushButton* const download = address.isEmpty() ? nullptr : add(texts.download, QMessageBox::AcceptRole);
  QPushButton* const goOn = options.isOptional ? add(texts.goOn, QMessageBox::RejectRole) : nullptr;
  QPushButton* const quit = add(texts.quit, goOn ? QMessageBox::DestructiveRole : QMessageBox::RejectRole);
  box->setEscapeButton(goOn ? goOn : quit);
  box->setDefaultButton(download ? download : goOn ? goOn : quit);

  auto expiry = std::make_shared<Delayed>(main_after(options.limit, [box = QPointer(box)] {
    if (box) box->close();
  }));
  QObject::connect(box, &QObject::destroyed, box, [expiry] { expiry->cancel(); });
  QObject::connect(box, &QMessageBox::finished, box, [=, done = std::move(options.done)] {
    const QAbstractButton* const clicked = box->clickedButton();
    const bool wantsDownload = download && clicked == download;
    const bool continues = goOn && (wantsDownload || clicked != quit);
    if (done) done(wantsDownload ? RuntimeChoice::DOWNLOAD : continues ? RuntimeChoice::CONTINUE : RuntimeChoice::QUIT);
    const auto end = [continues](const QString&) {
      if (!continues) QCoreApplication::quit();
    };
    if (wantsDownload)
      openURL(address, "RuntimeNotice", end);
    else
      end({});
  });
  box->open();
  return box;
}

}  // namespace corvane
