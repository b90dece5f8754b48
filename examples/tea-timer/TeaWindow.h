#pragma once

#include <QLabel>
#include <QPushButton>
#include <cstdint>
#include <memory>

#include "corvane/core/Repeater.h"
#include "corvane/core/Timeval.h"
#include "corvane/ui/Popover.h"
#include "corvane/ui/ScreenWindow.h"

// The window of the application: it counts down, and says when the tea is ready.
class TeaWindow : public corvane::ScreenWindow {
  Q_OBJECT

 public:
  TeaWindow();
  ~TeaWindow() override;

 private:
  void addMenu();
  QWidget* minutesView();
  void start();
  void stop();
  void tick();
  void showTime(std::int64_t seconds);

  QLabel* const m_time;
  QPushButton* const m_start;
  QPushButton* const m_minutes;
  corvane::Popover m_popover;
  const std::shared_ptr<corvane::Repeater> m_countdown = std::make_shared<corvane::Repeater>("countdown");
  corvane::Timeval m_ready;  // while it counts down
};
