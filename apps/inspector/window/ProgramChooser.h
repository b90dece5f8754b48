#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/ProgramList.h"
#include "corvane/core/DispatchQueueSerial.h"

class QComboBox;
class QTimer;

namespace corvane::inspector {

/// Chooses the program that a window looks at: this one, or another one that can be looked at. They are listed in the
/// background, every few seconds while the chooser can be seen.
class ProgramChooser : public QWidget {
  Q_OBJECT

 public:
  /// The port must outlive the chooser by a call's time.
  explicit ProgramChooser(DiagnosticsPort& port, QWidget* parent = nullptr);

  /// Chooses the program with this name or process id (see programsNamed()) as soon as the programs are known.
  void choose(const std::string& text);

  /// The chosen program goes on in another process, or it has ended and stays in the list.
  void follow(const ProgramIdentity& program, bool isEnded);

  /// Puts the focus on the list and opens it.
  void open();

 Q_SIGNALS:
  /// Someone has chosen another program; std::nullopt is this one.
  void chosen(const std::optional<corvane::ProgramIdentity>& program);

  /// The program that choose() was asked for cannot be chosen.
  void failed(const QString& why);

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  using Programs = Result<std::vector<RunningProgram>>;

  void read();
  void take(Programs programs);
  void chooseWanted();
  void list();
  void put(int row, std::int32_t pid, const QString& text, const QString& tip, bool isEnabled);
  void choose(std::int32_t pid);

  QComboBox* m_list;
  QTimer* m_clock;
  const std::shared_ptr<ProgramList> m_reader;  // used on the queue
  DispatchQueueSerial m_queue{"program list", QoS::USER_INITIATED};
  bool m_isReading = false;
  std::vector<RunningProgram> m_programs;
  std::optional<ProgramIdentity> m_current;  // another program
  bool m_isEnded = false;
  std::optional<std::string> m_wanted;
};

}  // namespace corvane::inspector
