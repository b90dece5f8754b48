#pragma once

#include <QString>
#include <QUrl>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// The help pages of an application: the files of the folder "Documentation" among the resources of its main bundle, or
/// of another folder. Answers depend on the files as they are at the time of the call. Any thread.
class CORVANE_API HelpPages {
 public:
  /// Those of the running program.
  HelpPages();

  /// Takes the pages from this folder from now on; from the resources again if it is empty.
  static void setFolder(const std::string& folder);

  /// The address of a page, by its name in the folder without ".html": "index", "files/save". Empty if there is no such
  /// page, or if the name is absolute or has a part "..".
  static QUrl page(const std::string& name);

  /// Whether this is the address of a file in the folder that can be read. Symbolic links are followed first.
  bool contains(const QUrl& url) const;

 private:
  QString m_folder;  // without symbolic links, with a slash at the end; empty if there is none
};

}  // namespace corvane
