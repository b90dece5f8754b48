#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/RowTree.h"
#include "apps/inspector/window/TreeTable.h"
#include "corvane/core/DispatchQueueSerial.h"

class QProgressBar;

namespace corvane::inspector {

/// The machine's disks, which can be mounted and unmounted. One request at a time; it goes on, and its outcome is told,
/// even if the page is left meanwhile.
class DisksPage : public Page {
  Q_OBJECT

 public:
  explicit DisksPage(Source& source, QWidget* parent = nullptr);

 protected:
  void appear() override;
  void disappear() override { m_feed.reset(); }

 private:
  struct NameOf {
    const std::string& operator()(const DiskRow& row) const { return row.name; }
  };
  using Model = RowTree<DiskRow, NameOf>;

  static std::vector<RowColumn<DiskRow>> columns();
  void take(Result<std::vector<DiskRow>> rows);
  const DiskRow* current() const;
  void noteCurrent();
  void request(bool mounts, bool force);
  void begin(const DiskRequest& request);
  void tell(const DiskRequest& request, const DiskOutcome& outcome);
  void openMountPoint();

  Model m_model;
  QAction* m_mount;
  QAction* m_unmount;
  QAction* m_force;
  QAction* m_open;
  QProgressBar* m_busy;
  MessageBar* m_message;
  TreeTable* m_tree;
  std::shared_ptr<void> m_feed;     // while the page is seen
  std::shared_ptr<void> m_request;  // while one is under way
  std::set<std::string> m_known;    // whose place in the tree was unfolded once
  DispatchQueueSerial m_desktop{"open mount points", QoS::USER_INITIATED};
};

}  // namespace corvane::inspector
