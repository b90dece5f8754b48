#include "corvane/ui/RichText.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextDocumentFragment>
#include <QTextTable>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/Appearance.h"
#include "corvane/ui/RichTextView.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

// What is not as usual about characters: "b i 18 #ff0000 ".
std::string lookOf(const QTextCharFormat& format) {
  QStringList look;
  if (format.fontWeight() == QFont::Bold) look << "b";
  if (format.fontItalic()) look << "i";
  if (format.underlineStyle() != QTextCharFormat::NoUnderline) look << "u";
  if (format.fontStrikeOut()) look << "s";
  if (format.verticalAlignment() == QTextCharFormat::AlignSuperScript) look << "^";
  if (format.verticalAlignment() == QTextCharFormat::AlignSubScript) look << "_";
  if (format.fontCapitalization() != QFont::MixedCase) look << "caps";
  if (const auto families = format.fontFamilies().toStringList(); !families.isEmpty()) look << families.first();
  if (format.fontPointSize() != 12 && !format.isImageFormat()) look << QString::number(format.fontPointSize());
  if (format.hasProperty(QTextFormat::ForegroundBrush)) look << format.foreground().color().name();
  if (format.hasProperty(QTextFormat::BackgroundBrush)) look << "on " + format.background().color().name();
  if (format.isAnchor()) look << format.anchorHref();
  if (format.isImageFormat())
    look << QString("%1x%2").arg(format.toImageFormat().width()).arg(format.toImageFormat().height());
  return look.isEmpty() ? "" : "<" + look.join(' ').toStdString() + ">";
}

// Paragraphs end with "/", cells with "|" and rows with "#".
std::string shown(const QTextDocument& document) {
  std::string all;
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    if (block != document.begin()) {
      const QTextTable* const table = QTextCursor(block).currentTable();
      const bool isCell = table && table->cellAt(block.position()).firstPosition() == block.position();
      all += !isCell ? "/" : table->cellAt(block.position()).column() == 0 ? "#" : "|";
    }
    for (auto part = block.begin(); !part.atEnd(); ++part)
      all += lookOf(part.fragment().charFormat()) + part.fragment().text().toStdString();
  }
  return all;
}

// Of one bit a pixel, as every process makes all that the rows below name.
QByteArray pictureFile(const char* format, int width = 4, int height = 3) {
  QImage image(width, height, QImage::Format_Mono);
  image.fill(1);
  QByteArray bytes;
  QBuffer buffer(&bytes);
  image.save(&buffer, format);
  return bytes;
}

std::string picture(const char* words, const QByteArray& bytes) {
  return "{\\pict" + std::string(words) + " " + bytes.toHex().toStdString() + "}";
}

const std::string OBJECT = "\xEF\xBF\xBC";  // what stands for a picture

struct Row {
  const char* name;
  std::string text;  // after "{\rtf1"
  std::string shown;
};

class RichTextTest : public testing::TestWithParam<Row> {};

TEST_P(RichTextTest, IsShownAs) {
  const auto document = richText("{\\rtf1" + GetParam().text);
  ASSERT_TRUE(document) << document.error().description;
  EXPECT_EQ(shown(**document), GetParam().shown);
}

const std::string FONTS =
    "{\\fonttbl{\\f0\\fswiss\\fcharset0 Arial{\\*\\falt Other};}{\\f1\\fnil\\fcharset204 Cyr;}{\\f2\\fcharset2 "
    "Symbol;}{\\f3\\fcharset128 Jap;}}";
const std::string COLORS = "{\\colortbl;\\red255\\green0\\blue0;\\red0\\green0\\blue0;\\red255\\green255\\blue0;}";
const std::string TABLE = "\\trowd\\cellx1000\\cellx2000";

INSTANTIATE_TEST_SUITE_P(
    Characters, RichTextTest,
    testing::Values(Row{"looks", " a\\b b\\i c\\b0 d\\plain e}", "a<b>b<b i>c<i>de"},
                    Row{"more_looks",
                        "{\\ul a}{\\ulwave\\strike b}{\\super c\\nosupersub d}{\\sub e}{\\caps f}{\\v g}h}",
                        "<u>a<u s>b<^>cd<_>e<caps>fh"},
                    Row{"groups_give_back", "{\\b{\\i a}b}c}", "<b i>a<b>bc"},
                    Row{"sizes", "\\fs36 a\\fs-3 b\\fs99999999999 c}", "<18>a<0.5>b<500>c"},
                    Row{"fonts", FONTS + "\\f0 a\\f9 b}", "<Arial>ab"},
                    Row{"fonts_without_groups", "{\\fonttbl\\f0\\fswiss Helvetica-Bold;\\f1 X-Ray;}\\f0 a\\f1 b}",
                        "<Helvetica>a<X-Ray>b"},
                    Row{"colours", COLORS + "\\cf1 a\\cf2 b\\cf0 c\\cf9 d}", "<#ff0000>abcd"},
                    Row{"ordinary_text_on_paper", COLORS + "\\highlight3 a\\highlight2 b}",
                        "<#000000 on #ffff00>a<#ffffff on #000000>b"},
                    Row{"code_pages", FONTS + "caf\\'e9 \\f1 \\'c4\\'e0 \\f2 \\'b7\\u-3913 ?\\f3 \\'93\\'fa}",
                        "<Arial>café <Cyr>Да <Symbol>••<Jap>日"},
                    Row{"code_page_of_the_document", "\\ansicpg1251 \\'c4\\'e0}", "Да"},
                    Row{"mac", "\\mac \\'8e}", "é"}, Row{"utf8_bytes", "\\ansicpg65001 \xC3\xA9}", "é"},
                    Row{"unicode", "\\u233?\\uc0\\u28450 \\uc2\\u8364 ab\\u233\\'41\\'42{\\u228 x}}", "é漢€éä"},
                    Row{"surrogates", "{\\uc0\\u55357}{\\uc0\\i\\u56832}\\u-10240?}", "<i>😀\xEF\xBF\xBD"},
                    Row{"signs", "a\\~b\\_c\\-d\\{\\}\\\\\\tab\\emdash\\line\\bullet}",
                        "a\u00A0b\u2011c\u00AD"
                        "d{}\\\t—\u2028•"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Paragraphs, RichTextTest,
    testing::Values(
        Row{"lines", " a\r\nb\\par\r\nc\\\nd\\par}\r\n", "ab/c/d"}, Row{"empty_lines", " a\\par\\par b}", "a//b"},
        Row{"lists", "\\li720\\fi-720{\\listtext\\'95\\tab}a\\par{\\listtext  2.\\tab}b}", "•\ta/2.\tb"},
        Row{"left_out",
            "{\\info{\\title T}}{\\*\\generator G;}{\\header H}{\\stylesheet{\\s1 S;}}{\\footnote "
            "F}{\\*\\unknown{U}}a}",
            "a"},
        Row{"links",
            "{\\field{\\*\\fldinst{HYPERLINK \"https://a.b/c?d=1&e\" \\\\o \"x\"}}{\\fldrslt{\\ul a}}}{\\field{\\*"
            "\\fldinst HYPERLINK mailto:a@b.c}{\\fldrslt b}}c}",
            "<u https://a.b/c?d=1&e>a<u mailto:a@b.c>bc"},
        Row{"unsafe_links",
            "{\\field{\\*\\fldinst{HYPERLINK \"javascript:alert(1)\"}}{\\fldrslt a}}{\\field{\\*\\fldinst HYPERLINK "
            "\"file:///etc/passwd\"}{\\fldrslt b}}{\\field{\\*\\fldinst HYPERLINK \\\\l \"x\"}{\\fldrslt "
            "c}}{\\field{\\*\\fldinst PAGE}{\\fldrslt d}}}",
            "abcd"},
        Row{"tables", TABLE + "\\intbl a\\par b\\cell c\\cell\\row\\intbl d\\cell e\\cell\\row\\pard f}",
            "#a/b|c#d|e/f"},
        Row{"tables_that_grow_and_shrink",
            TABLE + "\\intbl a\\cell b\\cell c\\cell\\row\\trowd\\cellx9\\intbl d\\cell\\row}", "#a|b|c#d/"},
        Row{"paper_of_cells", COLORS + "\\trowd\\clcbpat3\\cellx1000\\clcbpat2\\cellx2000\\intbl a\\cell b\\cell\\row}",
            "#<#000000>a|<#ffffff>b/"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Pictures, RichTextTest,
    testing::Values(
        Row{"png",
            "a{\\*\\shppict" + picture("\\pngblip\\picwgoal150\\pichgoal300\\picscalex200", pictureFile("PNG")) +
                "}{\\nonshppict" + picture("\\pngblip", pictureFile("PNG")) + "}b}",
            "a<20x20>" + OBJECT + "b"},
        Row{"jpeg", picture("\\jpegblip", pictureFile("JPEG")) + "}", "<4x3>" + OBJECT},
        Row{"binary",
            "{\\pict\\pngblip\\bin" + std::to_string(pictureFile("PNG").size()) + " " +
                pictureFile("PNG").toStdString() + "}}",
            "<4x3>" + OBJECT},
        Row{"broken", picture("\\pngblip", pictureFile("PNG").first(40)) + "a}", "a"},
        Row{"too_large", picture("\\pngblip", pictureFile("PNG", 8193, 1)) + "a}", "a"},
        Row{"too_many",
            picture("\\pngblip", pictureFile("PNG", 8000, 3000)) +
                picture("\\pngblip", pictureFile("PNG", 8000, 1001)) + picture("\\pngblip", pictureFile("PNG")) + "}",
            "<8000x3000>" + OBJECT + "<4x3>" + OBJECT},
        Row{"other_kinds", "{\\pict\\wmetafile8 010203}a}", "a"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Damage, RichTextTest,
    testing::Values(Row{"cut_in_a_table", "{\\fonttbl{\\f0 Ari", ""},
                    Row{"cut_in_a_cell", TABLE + "\\intbl a\\cell b", "#a|b/"},
                    Row{"closed_too_often", " a}}}} b", "a b"}, Row{"not_closed", "{{{\\b a", "<b>a"},
                    Row{"binary_beyond_the_end", " x\\bin2147483647 a", "x"},
                    Row{"binary_of_negative_length", " x\\bin-5 a", "xa"},
                    Row{"numbers_beyond_their_range", "\\u99999999999999 x\\li-99999999999\\cf99999999999 a}",
                        "\xEF\xBF\xBF"
                        "a"},
                    Row{"bad_hex", " \\'zz\\'4}", "zz4"}, Row{"backslash_at_the_end", " a\\", "a"},
                    Row{"signs_of_the_toolkit", "\\u-560?\\u-559?\\u-4?\\u8233?a}", "a"},
                    Row{"deep", std::string(200'000, '{') + "x" + std::string(200'000, '}') + "y}", "xy"},
                    Row{"half_a_character", "\\uc0\\u55357}", "\xEF\xBF\xBD"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RichTextLimitsTest, FontsBeyondTheLimitAreTheViews) {
  std::string text = "{\\rtf1{\\fonttbl";
  for (int font = 0; font <= 512; ++font) text += "\\f" + std::to_string(font) + " A" + std::to_string(font) + ";";
  EXPECT_EQ(shown(**richText(text + "}\\f511 a\\f512 b}")), "<A511>ab");
}

TEST(RichTextLimitsTest, RowsBeyondTheLimitAreLinesWithTabs) {
  std::string text = "{\\rtf1" + TABLE;
  for (int row = 0; row < 2'501; ++row) text += "\\intbl a\\cell b\\cell\\row\n";
  const auto document = richText(text + "\\pard c}");
  EXPECT_TRUE(shown(**document).ends_with("#a|b#a|b/a\tb\t/c"));
}

TEST(RichTextFilesTest, PicturesComeFromTheFolderOnly) {
  const TempHome home;
  const std::string picture = pictureFile("PNG").toStdString();
  home.write("outside.png", picture);
  home.write("a.rtfd/in side.png", picture);
  home.write("a.rtfd/other.pdf", "%PDF");
  fs::create_symlink("../outside.png", home.path() / "a.rtfd/link.png");
  fs::create_directory(home.path() / "a.rtfd/folder.png");
  std::string text = "{\\rtf1 ";
  for (const char* const name : {"in side.png", "other.pdf", "../outside.png", "link.png", "folder.png", "", "missing"})
    text += "[{{\\NeXTGraphic " + std::string(name) + " \\width150 \\height150\n}\\'ac}]";
  home.write("a.rtfd/TXT.rtf", text);
  const auto document = readRichText(home.path() / "a.rtfd");
  ASSERT_TRUE(document);
  EXPECT_EQ(shown(**document), "[<10x10>" + OBJECT + "][][][][][][]");
  EXPECT_EQ(shown(**readRichText(home.path() / "a.rtfd/TXT.rtf")), "[][][][][][][]");

  home.write("not.rtf", "not rtf");
  home.write("empty.rtf", "");
  fs::resize_file(home.write("huge.rtf", "{\\rtf"), MAX_RICH_TEXT + 1);
  for (const char* const name : {"missing", "not.rtf", "empty.rtf", "huge.rtf", ".", "/dev/zero"})
    EXPECT_FALSE(readRichText(fs::path(home.path()) / name)) << name;
}

TEST(RichTextViewTest, OpensLinksOutsideAndLoadsNothing) {
  FakePlatform fake;
  RichTextView view;
  view.setRichText(*richText("{\\rtf1{\\field{\\*\\fldinst HYPERLINK \"https://a.b/c d\"}{\\fldrslt link}}}"));
  view.resize(200, 100);
  view.show();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&view));
  view.setFocus();
  QTest::keyClick(&view, Qt::Key_Tab);
  QTest::keyClick(&view, Qt::Key_Return);
  QTextCursor inLink(view.document());
  inLink.setPosition(2);
  QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.cursorRect(inLink).center());
  EXPECT_TRUE(QTest::qWaitFor([&] { return fake.workspace->callsSoFar().size() == 2; }));
  for (const char* address : {"javascript:alert(1)", "file:///etc/passwd", "c.html"})
    Q_EMIT view.anchorClicked(QUrl(address));
  Q_EMIT view.anchorClicked(QUrl("mailto:a@b.c"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return fake.workspace->callsSoFar().size() == 3; }));
  EXPECT_EQ(fake.workspace->callsSoFar(),
            (std::vector<std::string>{"open https://a.b/c%20d", "open https://a.b/c%20d", "open mailto:a@b.c"}));
  EXPECT_TRUE(
      view.document()->resource(QTextDocument::ImageResource, QUrl("file:///usr/share/pixmaps/x.png")).isNull());
}

TEST(RichTextViewTest, TextCanBeReadOnAnyGround) {
  RichTextView view;
  view.setRichText(*richText("{\\rtf1" + COLORS + "{\\colortbl\\blue128;}a\\cf1 b\\cf4 c\\highlight3 d}"));
  const auto colors = [&](ColorScheme scheme) {
    view.setPalette(paletteFor({.scheme = scheme}));
    return shown(*view.document());
  };
  // The nearest shades in steps of a sixteenth that have 4.5 to 1 with the paper, if the text has no other.
  const std::string light = "a<#e00000>b<#000080>c<#000080 on #ffff00>d";
  EXPECT_EQ(colors(ColorScheme::LIGHT), light);
  EXPECT_EQ(colors(ColorScheme::DARK), "a<#ff3f3f>b<#8f8fc7>c<#000080 on #ffff00>d");
  EXPECT_EQ(colors(ColorScheme::LIGHT), light);
}

}  // namespace
}  // namespace corvane
