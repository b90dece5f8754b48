#pragma once

#include <QLocale>
#include <QObject>
#include <QPointer>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Repeater.h"
#include "corvane/platform/Export.h"
#include "corvane/ui/NumberStepper.h"
#include "corvane/ui/RowModel.h"
#include "corvane/ui/ScreenWindow.h"

namespace corvane {

class TableView;

/// A window that lists every repeater of the shared MasterTimer with its statistics, taken anew once a second. Users
/// sort and copy the rows, reset the statistics, and choose the time constant of the averages.
///
///     connect(action, &QAction::triggered, [] { RepeaterStatsWindow::show(); });
///
/// | column | shows | |
/// |---|---|---|
/// | "ident" | Repeater::repeater_stats::name | at first the rows are sorted by it |
/// | "count" | count | |
/// | "elapsed" | total_elapsed in seconds | three decimals |
/// | "interval" | smoothed interval_stats in seconds | three decimals |
/// | "usecs" | smoothed elapsed_stats in whole microseconds | fatal if it is not finite or exceeds 64 bits |
///
/// Numbers are in the user's locale, without separators of thousands.
///
/// The time constant is a whole number of seconds from 1 to 60, stored in the settings behind `Defaults` under
/// "REPEATER_average_interval"; 10 if none is stored. Opening the window and every change set that of all registered
/// repeaters; those that are registered later have their own.
///
/// The refresh is a repeater itself, "org.corvane.repeater.stats", registered until the window is closed and therefore
/// in the list. It shows nothing while the window is hidden or minimised, or as long as the rows are not sorted by any
/// column. Selection and scroll position survive it.
///
/// This object is the controller of its window(). The repeater's task holds it until the window is closed or deleted.
/// Main thread.
class CORVANE_API RepeaterStatsWindow : public QObject,
                                        public NumberStepperDelegate,
                                        public std::enable_shared_from_this<RepeaterStatsWindow> {
  Q_OBJECT

 public:
  /// Opens another window, and puts it into shared(). It opens where one was closed, unless another is open.
  static void show();

  /// The open window; null if there is none. It is the last one opened, and null once any one has been closed.
  static std::shared_ptr<RepeaterStatsWindow> shared();
  static void setShared(std::shared_ptr<RepeaterStatsWindow> window);

  ~RepeaterStatsWindow() override;

  /// Null once it has been closed. It is deleted then.
  ScreenWindow* window() const { return m_window; }

  /// Takes the statistics anew and shows them, as happens once a second; takes them only, if nothing is to be shown.
  void refresh();

  /// Resets the statistics of every repeater, as MasterTimer::resetStats() does; the button does it, too.
  void resetStats();

  void numberStepperValueChanged(NumberStepper& stepper) override;

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  using Stats = Repeater::repeater_stats;
  struct NameOf {
    const std::string& operator()(const Stats& stats) const { return stats.name; }
  };

  RepeaterStatsWindow();
  std::vector<RowColumn<Stats>> columns() const;
  void windowDidLoad();
  void windowWillClose();
  void reload();

  QLocale m_locale;
  RowModel<Stats, NameOf> m_stats;
  std::optional<std::vector<Stats>> m_latest;  // until they are shown
  std::shared_ptr<Repeater> m_timer;
  QPointer<ScreenWindow> m_window;
  QPointer<TableView> m_table;
  QPointer<NumberStepper> m_average_interval;
};

}  // namespace corvane
