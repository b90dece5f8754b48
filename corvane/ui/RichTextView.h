#pragma once

#include <QTextBrowser>
#include <QTextDocument>
#include <memory>

#include "corvane/platform/Export.h"

namespace corvane {

/// Shows a document of rich text (corvane/ui/RichText.h) for reading: text can be selected and copied, links are
/// reached with Tab and opened with Return or a click.
///
/// Links to addresses of http, https and mailto open in the user's application for them, in the background; nothing
/// else is ever opened or run. The view loads nothing: pictures are the document's own. Colours in which the text could
/// not be read on the view's ground, such as dark blue on black, are made lighter or darker, also when the look of the
/// desktop changes. Main thread.
class CORVANE_API RichTextView : public QTextBrowser {
  Q_OBJECT

 public:
  explicit RichTextView(QWidget* parent = nullptr);  ///< an empty view

  /// Shows a document; null for nothing.
  void setRichText(std::unique_ptr<QTextDocument> document);

  QVariant loadResource(int type, const QUrl& name) override;

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void adaptColors();
};

}  // namespace corvane
