#pragma once

#include <map>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/FontBook.h"

namespace corvane {

/// Fonts defined by a test.
class CORVANE_API FakeFontBook : public FontBook {
 public:
  std::map<std::string, FontFace> faces;  ///< by the names under which they are found

  Result<std::optional<FontFace>> face(const std::string& name) override;
};

}  // namespace corvane
