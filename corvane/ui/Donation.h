#pragma once

#include <QDialog>
#include <QObject>
#include <QPointer>
#include <QString>
#include <memory>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"
#include "corvane/ui/RichTextView.h"
#include "corvane/ui/URLButton.h"

namespace corvane {

/// The maker's web pages that the window offers besides the donation page. Those of an application are its own: there
/// are no others to fall back on. An empty address has no button.
struct DonationPages {
  std::string otherSoftware;  ///< the maker's other programs
  std::string socialProfile;  ///< where the maker writes to the public
  std::string crowdfunding;   ///< for regular support
};

/// A small window that asks the user of a free application to support it: a text of the application's, a button for the
/// donation page, and one after which this version of the application does not ask again. The next version asks once
/// more.
///
///     if (!Donation::hasDonated())
///       Donation::newDonation("/usr/share/viewer/Donate.rtfd", "https://example.org/donate",
///                             {.otherSoftware = "https://example.org/", .socialProfile = {}, .crowdfunding = {}});
///
/// What is remembered is true in the settings behind `Defaults`, under KEY_PREFIX, "-" and Bundle::appVersionName() of
/// the main bundle: "DONATE_Donated-MyApp-2.1(345)".
///
/// This object is the controller of its window(), which keeps it. Main thread.
class CORVANE_API Donation : public QObject, public std::enable_shared_from_this<Donation> {
  Q_OBJECT

 public:
  static constexpr std::string_view KEY_PREFIX = "DONATE_Donated";  ///< what the key of the setting begins with

  /// Opens a window, and puts it into shared(). It shows the rich text at the path (see readRichText), read in the
  /// background; if that cannot be read, one line is logged and the window is without text. `paypal` is the address of
  /// the donation page; the button for it is hidden unless it is an address.
  static void newDonation(const std::string& rtf, const std::string& paypal, const DonationPages& pages);

  /// The open window; null if there is none. It is the last one opened, and null once any one has been closed.
  static std::shared_ptr<Donation> shared();
  static void setShared(std::shared_ptr<Donation> donation);

  /// Whether the user of this version has asked not to be reminded; false for an application without
  /// Bundle::appVersionName().
  static bool hasDonated();

  ~Donation() override;

  /// Null once it has been closed. It is deleted then.
  QDialog* window() const { return m_window; }

  void donate();  ///< opens the donation page, if its address is one, and closes the window
  void ignore();  ///< closes the window
  /// Remembers that this version is not to ask again, forgets what was remembered of others, and closes the window.
  void stopNagging();

  // These open a page of the maker's, in the user's browser; the window stays open.
  void tracewell();  ///< the other programs
  void twitter();    ///< the social profile
  void patreon();    ///< the crowdfunding page

 private:
  Donation(std::string paypal, DonationPages pages);
  void windowDidLoad();
  void windowWillClose();
  void read(const std::string& rtf);

  const std::string m_paypal;
  const DonationPages m_pages;
  bool m_isOpen = true;
  QPointer<QDialog> m_window;
  QPointer<RichTextView> m_text;
};

}  // namespace corvane
