// A view of 3840 x 2160 points as the desktop's picture: what the main thread takes to draw it, and what it takes to
// compose and write the file, beside QImage::save with its defaults.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "corvane/core/Timeval.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "corvane/ui/Desktop.h"

namespace {

using namespace corvane;

// A gradient, a graph and labels.
struct Graph : QWidget {
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    QLinearGradient gradient(0, 0, width(), height());
    gradient.setColorAt(0, QColor(10, 30, 60));
    gradient.setColorAt(1, QColor(200, 120, 40));
    painter.fillRect(0, height() / 2, width(), height() / 2, gradient);
    painter.setPen(QPen(Qt::red, 3));
    const auto point = [this](int i) {
      return QPointF(i * width() / 200., height() / 2. + height() / 3. * std::sin(i * .1));
    };
    for (int i = 0; i < 200; ++i) painter.drawLine(point(i), point(i + 1));
    painter.setFont(QFont("DejaVu Sans", 40));
    for (int i = 0; i < 60; ++i) painter.drawText(50 + i % 6 * 600, 80 + i * 34, QString("A label %1").arg(i));
  }
};

// A desktop of this size in a folder of its own.
struct Display {
  Display() {
    const std::string config = folder / "screen.json";
    std::filesystem::create_directories(folder);
    FILE* const file = std::fopen(config.c_str(), "w");
    std::fputs(R"({"screens": [{"name": "A", "x": 0, "y": 0, "width": 3840, "height": 2160, "logicalDpi": 96,)"
               R"( "logicalBaseDpi": 96, "dpr": 1}]})",
               file);
    std::fclose(file);
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + QByteArray::fromStdString(config));
    application.emplace(count, arguments);
    fake.emplace(folder.string());
    fake->bundles->main.info =
        writePropertyList(Value::Dictionary{{"CFBundleIdentifier", "a.b.App"}}, PropertyListFormat::XML).value();
  }
  ~Display() { std::filesystem::remove_all(folder); }

  int count = 1;
  char name[6] = "bench";
  char* arguments[2] = {name, nullptr};
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "corvane-desktop-bench";
  std::optional<QApplication> application;
  std::optional<FakePlatform> fake;
};

// Until the file is there, or only until the main thread is free again.
void update(benchmark::State& state, bool isWhole) {
  Display display;
  ManualClock clock(Timeval::sec(1'000'000));
  Graph graph;
  Desktop desktop;
  desktop.setFill(Desktop::FillStyle::SCREEN_STRETCH, Qt::darkBlue);
  for (auto _ : state) {
    desktop.useViews({&graph});
    if (!isWhole) state.PauseTiming();
    while (desktop.updating()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    clock.advance(Timeval::sec(5));
    if (!isWhole) state.ResumeTiming();
  }
}

void mainThread(benchmark::State& state) {
  update(state, false);
}
BENCHMARK(mainThread)->Name("desktop.main thread/Corvane Desktop")->Unit(benchmark::kMillisecond)->UseRealTime();

void wholeUpdate(benchmark::State& state) {
  update(state, true);
}
BENCHMARK(wholeUpdate)->Name("desktop.file/Corvane Desktop")->Unit(benchmark::kMillisecond)->UseRealTime();

void save(benchmark::State& state) {
  Display display;
  Graph graph;
  Desktop desktop;
  desktop.setFill(Desktop::FillStyle::SCREEN_STRETCH, Qt::darkBlue);
  for (auto _ : state) {
    const QImage image = desktop.makeImage({&graph}, {0, 0, 3840, 2160}, {});
    if (!image.save(QString::fromStdString(display.folder / "image.png"))) state.SkipWithError("not saved");
  }
}
BENCHMARK(save)->Name("desktop.file/QImage::save")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
