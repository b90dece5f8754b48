#pragma once

#include <QWidget>

namespace corvane::inspector {

/// What the shapes and colours of a timeline stand for. The last ones are left out where there is no room.
class TimelineLegend : public QWidget {
  Q_OBJECT

 public:
  explicit TimelineLegend(QWidget* parent = nullptr);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace corvane::inspector
