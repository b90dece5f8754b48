#pragma once

#include <optional>
#include <string>

#include "apps/inspector/model/FollowedFile.h"
#include "apps/inspector/window/LogView.h"
#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "corvane/core/DispatchQueueSerial.h"

class QLineEdit;
class QTimer;

namespace corvane::inspector {

/// Follows the program's log, or another text file.
class LogPage : public Page {
  Q_OBJECT

 public:
  explicit LogPage(Source& source, QWidget* parent = nullptr);

  QLineEdit* searchField() const override { return m_search; }

  /// Follows another file; the program's own log if the path is empty.
  void follow(const std::string& path);

 protected:
  void appear() override;
  void disappear() override { m_feed.reset(); }
  void refresh() override;

 private:
  QAction* addOption(const QString& text, const QKeySequence& keys, bool isOn);
  void addControls(QVBoxLayout* layout);
  void makeActions();
  void findNext(bool backward);
  void showState(const QString& failure);
  void chooseFile();
  void showFolder();

  void take(const Result<LogState>& state);

  std::string m_path;        // empty if there is no log, or none is known yet
  bool m_isOfOther = false;  // it is that of another program, through the source,
  std::shared_ptr<void> m_feed;
  std::optional<FollowedFile> m_file;  // and otherwise a file
  QAction* m_follow;
  QAction* m_wrap;
  MessageBar* m_message;
  QLineEdit* m_search;
  QLineEdit* m_filter;
  LogView* m_view;
  QLabel* m_state;
  QTimer* m_filterDelay;
  DispatchQueueSerial m_desktop{"show log folder", QoS::USER_INITIATED};
};

}  // namespace corvane::inspector
