#include "corvane/ui/Donation.h"

#include <QCoreApplication>
#include <QShortcut>
#include <QThread>
#include <optional>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/OpenURL.h"
#include "corvane/ui/RichText.h"
#include "ui_Donation.h"

namespace corvane {

namespace {

std::shared_ptr<Donation>& sharedDonation() {
  static auto& shared = *new std::shared_ptr<Donation>;  // outlives the application object
  return shared;
}

// The setting of the running version.
std::optional<std::string> versionKey() {
  const auto version = Bundle::mainBundle()->appVersionName();
  return version ? std::optional(std::string(Donation::KEY_PREFIX) + '-' + *version) : std::nullopt;
}

// Empty unless the text is an address that can be opened: one with a scheme.
QUrl addressOf(const std::string& text) {
  const QUrl url(QString::fromStdString(text));
  return url.isValid() && !url.isRelative() ? url : QUrl();
}

void openPage(const std::string& address) {
  if (const QUrl url = addressOf(address); !url.isEmpty()) openURL(url, "Donation");
}

}  // namespace

void Donation::newDonation(const std::string& rtf, const std::string& paypal, const DonationPages& pages) {
  requireMainThread("Donation.newDonation");
  const std::shared_ptr<Donation> controller(new Donation(paypal, pages));
  controller->windowDidLoad();
  controller->read(rtf);
  controller->m_window->show();
}

std::shared_ptr<Donation> Donation::shared() {
  return sharedDonation();
}

void Donation::setShared(std::shared_ptr<Donation> donation) {
  sharedDonation().swap(donation);
}

bool Donation::hasDonated() {
  const auto key = versionKey();
  return key && Defaults.loadBool(*key, false);
}

Donation::Donation(std::string paypal, DonationPages pages) : m_paypal(std::move(paypal)), m_pages(std::move(pages)) {}

Donation::~Donation() = default;

void Donation::windowDidLoad() {
  setShared(shared_from_this());
  m_window = new QDialog;
  m_window->setAttribute(Qt::WA_DeleteOnClose);
  Ui::Donation interface;
  interface.setupUi(m_window);
  m_text = interface.text;
  // The window keeps its controller.
  connect(m_window, &QDialog::finished, this, [self = shared_from_this()] { self->windowWillClose(); });
  connect(m_window, &QObject::destroyed, this, &Donation::windowWillClose);
  connect(new QShortcut(QKeySequence::Close, m_window), &QShortcut::activated, this, &Donation::ignore);

  interface.donate->setHidden(addressOf(m_paypal).isEmpty());
  connect(interface.donate, &QPushButton::clicked, this, &Donation::donate);
  connect(interface.ignore, &QPushButton::clicked, this, &Donation::ignore);
  connect(interface.stopNagging, &QPushButton::clicked, this, &Donation::stopNagging);
  for (const auto& [button, address] :
       {std::pair(interface.tracewell, &m_pages.otherSoftware), std::pair(interface.twitter, &m_pages.socialProfile),
        std::pair(interface.patreon, &m_pages.crowdfunding)}) {
    button->setUrl(addressOf(*address));
    button->setHidden(button->url().isEmpty());
  }
}

void Donation::windowWillClose() {
  if (!std::exchange(m_isOpen, false)) return;
  m_window = nullptr;
  setShared(nullptr);
}

void Donation::read(const std::string& rtf) {
  const auto work = [self = weak_from_this(), rtf, main = thread()] {
    auto document = readRichText(rtf);
    if (!document) return logNotice("Donation: " + document.error().description);
    (*document)->moveToThread(main);
    main_post([self, document = std::make_shared<std::unique_ptr<QTextDocument>>(std::move(*document))] {
      if (const auto donation = self.lock(); donation && donation->m_text)
        donation->m_text->setRichText(std::move(*document));
    });
  };
  DispatchQueueSerial("org.corvane.donation", QoS::USER_INITIATED).async(work);
}

void Donation::donate() {
  openPage(m_paypal);
  ignore();
}

void Donation::ignore() {
  if (m_window) m_window->close();
}

void Donation::stopNagging() {
  Defaults.deleteKeys(KEY_PREFIX);
  if (const auto key = versionKey()) Defaults.saveBool(*key, true);
  ignore();
}

void Donation::tracewell() {
  openPage(m_pages.otherSoftware);
}

void Donation::twitter() {
  openPage(m_pages.socialProfile);
}

void Donation::patreon() {
  openPage(m_pages.crowdfunding);
}

}  // namespace corvane
