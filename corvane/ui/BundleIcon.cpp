#include "corvane/ui/BundleIcon.h"

#include "corvane/infra/Bundle.h"
#include "corvane/ui/IconCache.h"

namespace corvane {

void loadBundleIcon(QAbstractButton& button, const std::string& bundleID) {
  const QIcon icon = IconCache::shared()->qIcon(Bundle::path(bundleID).value_or(""));
  if (!icon.isNull()) button.setIcon(icon);
}

}  // namespace corvane
