#include "corvane/ui/HelpPages.h"

#include <QFileInfo>
#include <filesystem>

#include "corvane/infra/Bundle.h"

namespace corvane {

namespace {

constexpr const char* FOLDER = "Documentation";

}  // namespace

HelpPages::HelpPages() {
  const auto folder = Bundle::mainBundle()->resource(FOLDER);
  if (folder) m_folder = QFileInfo(QString::fromStdString(*folder)).canonicalFilePath();
  if (!m_folder.isEmpty()) m_folder += '/';
}

QUrl HelpPages::page(const std::string& name) {
  const std::filesystem::path path(name);
  if (path.is_absolute() || std::find(path.begin(), path.end(), "..") != path.end()) return {};
  const auto file = Bundle::mainBundle()->resource(std::string(FOLDER) + '/' + name + ".html");
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
