#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/live/Cursor.h"
#include "apps/inspector/live/Page.h"
#include "apps/inspector/model/Machine.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The page of disks, which mounts and unmounts the selected one. A request does not hold up the view, and its outcome
/// is shown even if the page was left meanwhile.
class DiskPage : public Page {
 public:
  /// `changed` is called when there is something new to see.
  DiskPage(Machine& machine, const Glyphs& glyphs, std::function<void()> changed);

  /// Takes new rows, or the reason why there are none. The selection stays with its device.
  void take(Result<std::vector<DiskRow>> rows);

  void open() override;
  void close() override;
  bool press(int pressed) override;
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;
  Frame prompt(std::size_t columns) const override;

 private:
  void ask(bool mounts, bool force);
  void begin(const DiskRequest& request);

  Machine& m_machine;
  const Glyphs& m_glyphs;
  const std::function<void()> m_changed;
  std::shared_ptr<void> m_feed;  // while the page is shown
  std::vector<DiskRow> m_rows;
  std::string m_note;      // shown if there are no rows
  std::string m_selected;  // name of the device; empty if none
  Cursor m_cursor;
  std::optional<DiskRequest> m_question;  // to be confirmed
  std::shared_ptr<void> m_request;        // while one is under way
  std::string m_message;                  // about the request, or shown until the next key
};

}  // namespace corvane::inspector
