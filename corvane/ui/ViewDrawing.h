#pragma once

#include <QPainter>
#include <QSize>
#include <QWidget>

namespace corvane {

/// Draws a view as if its frame were (0, 0, `size`), shown or not, without its window's background; then it has its
/// frame and its places of scrolling back, whatever it does meanwhile. A window that is on the
/// screen, and a view whose size is limited, are drawn in their own size and scaled. Main thread.
void drawView(QPainter& painter, QWidget& view, const QSize& size);

}  // namespace corvane
