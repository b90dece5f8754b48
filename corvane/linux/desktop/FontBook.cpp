#include "corvane/platform/FontBook.h"

#include <fontconfig/fontconfig.h>

namespace corvane {

namespace {

struct Release {
  void operator()(FcConfig* config) const { FcConfigDestroy(config); }
  void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
  void operator()(FcObjectSet* objects) const { FcObjectSetDestroy(objects); }
  void operator()(FcFontSet* fonts) const { FcFontSetDestroy(fonts); }
};

template <class T>
using Ptr = std::unique_ptr<T, Release>;

std::string text(const FcPattern* pattern, const char* object) {
  FcChar8* value = nullptr;
  if (FcPatternGetString(pattern, object, 0, &value) != FcResultMatch) return {};
  return reinterpret_cast<const char*>(value);
}

FontFace faceOf(const FcPattern* font) {
  std::string name = text(font, FC_POSTSCRIPT_NAME);
  return {text(font, FC_FAMILY), name.empty() ? text(font, FC_FULLNAME) : std::move(name)};
}

class LinuxFontBook : public FontBook {
 public:
  Result<std::optional<FontFace>> face(const std::string& name) override {
    // Held, because a change of the fonts replaces the current configuration.
    const Ptr<FcConfig> config(FcConfigReference(nullptr));
    if (!config) return failure("fontconfig", 0, "The fonts cannot be read");
    if (name.empty()) return std::nullopt;
    for (const char* object : {FC_POSTSCRIPT_NAME, FC_FAMILY, FC_FULLNAME})
      if (auto found = regularFace(config.get(), object, name)) return found;
    return std::nullopt;
  }

 private:
  // First lists, which compares names, and then matches within the list. Matching alone would substitute another font
  // for a missing one.
  static std::optional<FontFace> regularFace(FcConfig* config, const char* object, const std::string& name) {
    const Ptr<FcPattern> wanted(FcPatternCreate());
    FcPatternAddString(wanted.get(), object, reinterpret_cast<const FcChar8*>(name.c_str()));
    const Ptr<FcObjectSet> objects(FcObjectSetBuild(FC_FAMILY, FC_POSTSCRIPT_NAME, FC_FULLNAME, FC_WEIGHT, FC_SLANT,
                                                    FC_WIDTH, FC_VARIABLE, FC_FILE, nullptr));
    const Ptr<FcFontSet> fonts(FcFontList(config, wanted.get(), objects.get()));
    if (!fonts || fonts->nfont == 0) return std::nullopt;

    const Ptr<FcPattern> regular(FcPatternCreate());
    FcPatternAddInteger(regular.get(), FC_WEIGHT, FC_WEIGHT_REGULAR);
    FcPatternAddInteger(regular.get(), FC_SLANT, FC_SLANT_ROMAN);
    FcPatternAddInteger(regular.get(), FC_WIDTH, FC_WIDTH_NORMAL);
    FcPatternAddBool(regular.get(), FC_VARIABLE, FcFalse);
    FcDefaultSubstitute(regular.get());
    FcResult result = FcResultMatch;
    FcFontSet* sets[] = {fonts.get()};
    const Ptr<FcPattern> best(FcFontSetMatch(config, sets, 1, regular.get(), &result));
    return best ? std::optional(faceOf(best.get())) : std::nullopt;
  }
};

}  // namespace

template <>
std::shared_ptr<FontBook> makeService<FontBook>() {
  return std::make_shared<LinuxFontBook>();
}

}  // namespace corvane
