#include "corvane/ui/HelpPages.h"

#include <QFileInfo>
#include <filesystem>
#include <optional>

#include "corvane/core/Mutex.h"
#include "corvane/infra/Bundle.h"

namespace corvane {

namespace {

// The folder that was set, if one was.
class Elsewhere {
 public:
  void set(const std::string& folder) {
    MutexLock lock(m_mutex);
    m_folder = folder;
  }

  std::string folder() {
    MutexLock lock(m_mutex);
    return m_folder;
  }

 private:
  Mutex m_mutex;
  std::string m_folder CORVANE_GUARDED_BY(m_mutex);
};

Elsewhere& elsewhere() {
  static Elsewhere& instance = *new Elsewhere;
  return instance;
}

// The path of a file among the pages, whether or not it exists; of their folder, if the name is empty.
std::optional<std::string> path(const std::string& name) {
  const std::string folder = elsewhere().folder();
  if (folder.empty()) return Bundle::mainBundle()->resource(name.empty() ? "Documentation" : "Documentation/" + name);
  return folder + '/' + name;
}

}  // namespace

void HelpPages::setFolder(const std::string& folder) {
  elsewhere().set(folder);
}

HelpPages::HelpPages() {
  const auto folder = path("");
  if (folder) m_folder = QFileInfo(QString::fromStdString(*folder)).canonicalFilePath();
  if (!m_folder.isEmpty()) m_folder += '/';
}

QUrl HelpPages::page(const std::string& name) {
  const std::filesystem::path parts(name);
  if (parts.is_absolute() || std::find(parts.begin(), parts.end(), "..") != parts.end()) return {};
  const auto file = path(name + ".html");
  if (!file) return {};
  const QUrl url = QUrl::fromLocalFile(QString::fromStdString(*file));
  return HelpPages().contains(url) ? url : QUrl();
}

bool HelpPages::contains(const QUrl& url) const {
  if (m_folder.isEmpty() || !url.isLocalFile()) return false;
  const QFileInfo file(QFileInfo(url.toLocalFile()).canonicalFilePath());
  return file.filePath().startsWith(m_folder) && file.isFile() && file.isReadable();
}

}  // namespace corvane
