// Pictures of what the library tells users: the donation window, rich text, missing libraries.
#include <QBuffer>
#include <QImage>
#include <QTemporaryFile>
#include <QTest>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/Donation.h"
#include "corvane/ui/RichText.h"
#include "corvane/ui/RichTextView.h"
#include "corvane/ui/RuntimeNotice.h"
#include "pictures/Pictures.h"
#include "tests/support/InfoPlist.h"

namespace corvane {
namespace {

// An application for the windows' texts.
void beViewer() {
  static FakePlatform platform;
  platform.bundles->main.info = infoPlist(
      Value::Dictionary{{"CFBundleName", "Viewer"}, {"CFBundleShortVersionString", "2.1"}, {"CFBundleVersion", "345"}});
}

std::string pictureInHex() {
  QImage image(48, 48, QImage::Format_RGB32);
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x) image.setPixelColor(x, y, QColor(x * 5, y * 5, 160));
  QByteArray bytes;
  QBuffer buffer(&bytes);
  image.save(&buffer, "PNG");
  return "{\\pict\\pngblip\\picwgoal720\\pichgoal720 " + bytes.toHex().toStdString() + "}";
}

const std::string HEAD = R"({\rtf1\ansi\deff0{\fonttbl{\f0\fswiss DejaVu Sans;}{\f1\froman DejaVu Serif;}
{\f2\fmodern\fcharset204 DejaVu Sans Mono;}}{\colortbl;\red0\green0\blue128;\red192\green0\blue0;
\red255\green240\blue160;
\red30\green60\blue90;})";

QWidget* donation() {
  beViewer();
  QTemporaryFile file;
  if (!file.open()) return nullptr;
  const std::string text = HEAD + R"(\pard\qc\sa200\f0\fs36\b Thank you for using Viewer\b0\fs24\par
\pard\sa160 Viewer is made in spare time, and it is free. If it is of use to you, please support it: )" +
                           pictureInHex() +
                           R"(\par\pard\li400\fi-300\sa80{\listtext\'95\tab}a \i small\i0  sum pays for
 the server;\par
{\listtext\'95\tab}a \b larger\b0  one for the next version.\par\pard\sa160 What has been done so far is
 on {\field{\*\fldinst{HYPERLINK "https://example.org/news"}}{\fldrslt our page}}.\par})";
  file.write(QByteArray::fromStdString(text));
  file.close();
  Donation::newDonation(
      file.fileName().toStdString(), "https://example.org/donate",
      {.otherSoftware = "https://a.b/", .socialProfile = "https://c.d/", .crowdfunding = "https://e.f/"});
  QDialog* const window = Donation::shared()->window();
  const auto& view = *window->findChild<RichTextView*>();
  return QTest::qWaitFor([&] { return !view.document()->isEmpty(); }) ? window : nullptr;
}

QWidget* richTextView() {
  auto* const view = new RichTextView;
  view->resize(560, 620);
  const std::string text = HEAD + R"(\pard\sa120\outlinelevel0\fs40\b Looks\b0\fs24\par
\pard\qj\sa120 Text is {\b bold}, {\i italic}, {\ul underlined}, {\ulwave wavy}, {\uld dotted}, {\strike struck}, x{\super 2}, H{\sub 2}O,
 {\caps capitals}, {\scaps Small Capitals}, {\cf1 dark blue}, {\cf2 red}, {\highlight3 marked}, {\f1 with serifs},
 {\f2 of one width},
 {\fs16 small} and {\fs48 large}; caf\'e9, {\f2\'cf\'f0\'e8\'e2\'e5\'f2}, \u28450?\u23383?, \u-10179?\u-8640?.\par
\pard\qc\sa120 In the middle\par\pard\qr\sa120 On the right\par\pard\rtlpar\sa120
\u1605?\u1585?\u1581?\u1576?\u1575? )" +
                           pictureInHex() + R"( 48\par
\pard\tx2880 Name\tab Value\par\pard\li720\fi-360{\listtext 1.\tab}The first of a list whose text goes on in a
 second line below
 the first one, as far from the edge as that\par{\listtext 2.\tab}The second\par\pard\sa120\par
\trowd\trleft0\clcbpat4\clbrdrb\brdrs\cellx3000\clcbpat4\clbrdrb\brdrs\cellx6000\clcbpat4\clbrdrb\brdrs
\cellx9000\pard\intbl City\cell\qr Height\cell\qc Seen\cell\row
\trowd\trleft0\clbrdrb\brdrs\cellx3000\clbrdrb\brdrs\cellx6000\clcbpat3\clbrdrb\brdrs\cellx9000\pard\intbl Bern
\cell\qr 540 m\cell\qc yes\cell\row
\pard\intbl La Paz\cell\qr 3,640 m\cell\qc no\cell\row\pard
A {\field{\*\fldinst{HYPERLINK "https://example.org/"}}{\fldrslt link}}, and one {\field{\*\fldinst{HYPERLINK
 "file:///etc"}}{\fldrslt that is none}}.\par})";
  view->setRichText(std::move(*richText(text)));
  view->show();
  return view;
}

QWidget* notice(bool isOptional) {
  beViewer();
  return RuntimeNotice::show({"libviewer-pages.so.1", "the help pages", "https://example.org/get"},
                             "libviewer-pages.so.1", {.isOptional = isOptional});
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
  using namespace corvane;
  return takePictures(argc, argv,
                      {{"donation", donation},
                       {"rich-text", richTextView},
                       {"notice", [] { return notice(false); }},
                       {"notice-optional", [] { return notice(true); }}});
}
