#pragma once

#include <memory>

#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/TimelineView.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/ui/NumberStepper.h"

class QLineEdit;
class QTimer;

namespace corvane::inspector {

/// What the program's threads did in some seconds, as a timeline. While the page is seen, the program's activity is
/// recorded, so that the last seconds can be shown; a recording that was begun goes on when it is not.
class TimelinePage : public Page {
  Q_OBJECT

 public:
  static constexpr int MAX_SECONDS = 600;

  explicit TimelinePage(Source& source, QWidget* parent = nullptr);

  QLineEdit* searchField() const override { return m_search; }

  /// Writes the recording to a file in the trace-event format (corvane/infra/Trace.h), in the background.
  void save(const QString& path);

 protected:
  void appear() override;
  void disappear() override;

 private:
  void addControls(QVBoxLayout* layout);
  void addFooter(QVBoxLayout* layout);
  void makeZoomActions();
  bool isRecording() const;
  void toggleRecording();
  void tellTimeLeft();
  void take(double seconds);
  void arrange(Result<Recording> recording, double seconds, std::int64_t asked);
  void mark();
  void tellSelection();
  void tellCount();
  void goOn(bool backward);
  void goToLongest();
  void askWhereToSave();

  QAction* m_record;
  QAction* m_last;
  QAction* m_save;
  QAction* m_longest;
  MessageBar* m_message;
  QLineEdit* m_search;
  NumberStepper* m_seconds = nullptr;
  TimelineView* m_view;
  QLabel* m_selection;
  QLabel* m_same;
  QLabel* m_count;
  QTimer* m_clock;  // while recording
  int m_left = 0;   // seconds to record
  int m_begun = 0;  // seconds that the recording was to take
  std::shared_ptr<void> m_watch;
  std::shared_ptr<void> m_request;
  std::shared_ptr<const Recording> m_recording;
  DispatchQueueSerial m_work{"timeline", QoS::USER_INITIATED};
};

}  // namespace corvane::inspector
