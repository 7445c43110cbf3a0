// Fonts, the folders where they are looked for, and formats of text.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/drawing/fonts.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kFont = "Zelmor.Imaging.Font";
constexpr const char* kSettings = "Zelmor.Imaging.FontSettings";
constexpr const char* kFormat = "Zelmor.Imaging.StringFormat";

// ---- Font

constexpr int32_t kPointUnit = 3;
constexpr int32_t kDefaultCharacters = 1;

Ref<ManagedObject> new_font(const TypeInfo& type) {
    auto font = make_ref<Record>(type);
    set_property(*font, "CharacterSet", int64_t{kDefaultCharacters});
    set_property(*font, "Name", Value(std::u16string()));
    set_property(*font, "Style", int64_t{0});
    set_property(*font, "Size", 0.0);
    set_property(*font, "Unit", int64_t{kPointUnit});
    return font;
}

Ref<ManagedObject> font_of_all(std::u16string name, float size, int32_t style, int32_t unit, int32_t character_set) {
    auto font = make_instance(kFont);
    set_property(*font, "Name", std::move(name));
    set_property(*font, "Size", double{size});
    set_property(*font, "Style", int64_t{style});
    set_property(*font, "Unit", int64_t{unit});
    set_property(*font, "CharacterSet", int64_t{character_set});
    return font;
}
Ref<ManagedObject> font_of_style_and_unit(std::u16string name, float size, int32_t style, int32_t unit) {
    return font_of_all(std::move(name), size, style, unit, kDefaultCharacters);
}
Ref<ManagedObject> font_of_style(std::u16string name, float size, int32_t style) {
    return font_of_style_and_unit(std::move(name), size, style, kPointUnit);
}
Ref<ManagedObject> font_of_unit(std::u16string name, float size, int32_t unit) {
    return font_of_style_and_unit(std::move(name), size, 0, unit);
}
Ref<ManagedObject> font_of_size(std::u16string name, float size) {
    return font_of_style(std::move(name), size, 0);
}
Ref<ManagedObject> font_like(Record* prototype, int32_t style) {
    if (!prototype) {
        throw_argument_null("prototype");
    }
    auto font = prototype->copy();
    set_property(*font, "Style", int64_t{style});
    return font;
}

template <int kBit>
bool has_style(Record& self) {
    return (property_int(self, "Style") & kBit) != 0;
}
Ref<ManagedObject> copy_of(Record& self) {
    return self.copy();
}

// ---- FontSettings

// One setting of the process, as FontSettings is a static class.
std::vector<std::string>& chosen_folders() {
    static auto& folders = *new std::vector<std::string>;
    return folders;
}

Collection folder_array(const std::vector<std::string>& folders) {
    std::vector<Value> items;
    for (const std::string& folder : folders) {
        items.emplace_back(to_utf16(folder));
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString), std::move(items)))};
}
// Where a system keeps its fonts, as far as it has these folders.
std::vector<std::string> system_folders() {
    std::vector<std::string> folders{"/usr/share/fonts", "/usr/local/share/fonts"};
    if (const char* home = std::getenv("HOME"); home && *home) {
        folders.push_back(std::string(home) + "/.local/share/fonts");
        folders.push_back(std::string(home) + "/.fonts");
    }
    std::erase_if(folders, [](const std::string& folder) {
        std::error_code ignored;  // a folder that cannot be looked at is none to read fonts from
        return !std::filesystem::is_directory(folder, ignored);
    });
    return folders;
}
Collection default_folders() {
    return folder_array(system_folders());
}
Collection folders() {
    return chosen_folders().empty() ? default_folders() : folder_array(chosen_folders());
}
void set_folder(std::string folder) {
    chosen_folders() = {std::move(folder)};
}
// Folders are searched with those in them, as the font library does anyway.
void set_folders(const VariantArg* folders, bool) {
    std::vector<std::string> names;
    for (const Value& folder : read_any_elements(folders, "fonts_folders")) {
        const auto* text = std::get_if<std::u16string>(&folder);
        if (!text) {
            throw_argument_null("fonts_folders");
        }
        names.push_back(to_utf8(*text));
    }
    chosen_folders() = std::move(names);
}
const TypeInfo& settings_type() {
    return require_type(kSettings);
}
void reset() {
    chosen_folders().clear();
    set_static_property(settings_type(), "DefaultFontName", Ref<ManagedObject>());
    set_static_property(settings_type(), "GetSystemAlternativeFont", true);
}
// Fonts are looked for when text is drawn, so that there is nothing to be done ahead.
void update() {}
bool system_alternative() {
    const Value& value = static_property(settings_type(), "GetSystemAlternativeFont");
    const auto* chosen = std::get_if<bool>(&value);
    return !chosen || *chosen;
}

// ---- StringFormat

constexpr int32_t kNoTrimming = 0;
constexpr int32_t kCharacterTrimming = 1;

class TextFormat final : public Record {
 public:
    static constexpr const char* kManagedName = kFormat;
    explicit TextFormat(const TypeInfo& type) : Record(type) {
        set_property(*this, "Trimming", int64_t{kCharacterTrimming});
        set_property(*this, "FirstTabOffset", 0.0);
        set_tab_stops({});
    }
    void set_tab_stops(std::vector<float> stops) {
        set_property(*this, "TabStops", Value(Ref<ManagedObject>(make_array(std::move(stops)))));
    }
};

Ref<ManagedObject> format_of_flags(int32_t flags) {
    auto format = make_instance(kFormat);
    set_property(*format, "FormatFlags", int64_t{flags});
    return format;
}
Ref<ManagedObject> format_like(TextFormat* other) {
    if (!other) {
        throw_argument_null("format");
    }
    return other->copy();
}
void set_tabs(TextFormat& self, float first_offset, const VariantArg* stops) {
    self.set_tab_stops(read_array<float>(stops, "tab_stops"));
    set_property(self, "FirstTabOffset", double{first_offset});
}
Ref<ManagedObject> generic_default() {
    return make_instance(kFormat);
}
// As type is set: only whole lines are shown, not clipped, and nothing is trimmed.
Ref<ManagedObject> generic_typographic() {
    constexpr int64_t kFitBlackBox = 0x4, kLineLimit = 0x2000, kNoClip = 0x4000;
    auto format = make_instance(kFormat);
    set_property(*format, "FormatFlags", kFitBlackBox | kLineLimit | kNoClip);
    set_property(*format, "Trimming", int64_t{kNoTrimming});
    return format;
}

using FontApi = api::Font;
using FontSettingsApi = api::FontSettings;
using OpenTypeFontsCacheApi = api::OpenTypeFontsCache;
using StringFormatApi = api::StringFormat;

const BehaviorTable table({
    behavior<&font_like, FontApi::ctor_000_Font, FontApi::call_000_CreateFromPrototype>(),
    behavior<&font_of_size, FontApi::ctor_001_Font, FontApi::call_000_CreateWithSize>(),
    behavior<&font_of_style, FontApi::ctor_002_Font, FontApi::call_000_CreateWithSizeStyle>(),
    behavior<&font_of_unit, FontApi::ctor_003_Font, FontApi::call_000_CreateWithSizeUnit>(),
    behavior<&font_of_all, FontApi::ctor_004_Font>(),
    behavior<&font_of_style_and_unit, FontApi::ctor_005_Font>(),
    behavior<&copy_of, FontApi::call_000_DeepClone, StringFormatApi::call_000_DeepClone>(),
    behavior<&has_style<1>, FontApi::get_Bold>(),
    behavior<&has_style<2>, FontApi::get_Italic>(),
    behavior<&has_style<4>, FontApi::get_Underline>(),
    behavior<&has_style<8>, FontApi::get_Strikeout>(),
    behavior<&folders, FontSettingsApi::call_000_GetFontsFolders>(),
    behavior<&default_folders, FontSettingsApi::call_000_GetDefaultFontsFolders>(),
    behavior<&set_folder, FontSettingsApi::call_000_SetFontsFolder>(),
    behavior<&set_folders, FontSettingsApi::call_000_SetFontsFolders>(),
    behavior<&reset, FontSettingsApi::call_000_Reset>(),
    behavior<&update, FontSettingsApi::call_000_UpdateFonts, OpenTypeFontsCacheApi::call_000_UpdateCache>(),
    behavior<&format_of_flags, StringFormatApi::ctor_001_StringFormat, StringFormatApi::call_000_CreateFromFlags>(),
    behavior<&format_like, StringFormatApi::ctor_002_StringFormat, StringFormatApi::call_000_CreateFromFormat>(),
    behavior<&set_tabs, StringFormatApi::call_000_SetTabStops>(),
    behavior<&generic_default, StringFormatApi::getsa_GenericDefault>(),
    behavior<&generic_typographic, StringFormatApi::getsa_GenericTypographic>(),
});

const FactoryRegistration font_factory(kFont, new_font);
const FactoryRegistration format_factory(kFormat, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<TextFormat>(type);
});

}  // namespace

FontChoice font_choice() {
    FontChoice choice;
    choice.folders = chosen_folders();
    const Value& name = static_property(settings_type(), "DefaultFontName");
    if (const auto* text = std::get_if<std::u16string>(&name)) {
        choice.default_name = to_utf8(*text);
    }
    choice.may_replace = system_alternative();
    return choice;
}

}  // namespace zelmor::embed
