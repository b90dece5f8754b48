#pragma once

#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "corvane/core/DispatchQueueSerial.h"

class QLabel;
class QProgressBar;

namespace corvane::inspector {

/// The privileged helper: what it is for, whether it is installed, and how to install and remove it. Whatever may wait
/// for a person runs in the background.
class HelperPage : public Page {
  Q_OBJECT

 public:
  explicit HelperPage(Source& source, QWidget* parent = nullptr);

 protected:
  void appear() override { readState(); }

 private:
  struct State {
    bool isInstalled = false;  // and as new as the program's own copy
    bool isOld = false;
    bool isAtHand = false;  // the program has a copy that could be installed
  };

  static State look();
  void readState();
  void take(const State& state);
  void change(bool installs);
  void setBusy(bool isBusy);

  QAction* m_install;
  QAction* m_remove;
  QLabel* m_state;
  QProgressBar* m_busy;
  MessageBar* m_message;
  State m_known;
  bool m_isBusy = false;
  DispatchQueueSerial m_queue{"helper page", QoS::USER_INITIATED};
};

}  // namespace corvane::inspector
