// Fonts, the folders in which they are searched, and formats of text.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/drawing/fonts.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

using api::CharacterSet;
using api::FontStyle;
using api::GraphicsUnit;
using api::StringFormatFlags;
using api::StringTrimming;

namespace {

// ---- Font

Ref<ManagedObject> new_font(const TypeInfo& type) {
    auto font = make_ref<Record>(type);
    set_property(*font, "CharacterSet", CharacterSet::kDefault);
    set_property(*font, "Name", Value(std::u16string()));
    set_property(*font, "Style", FontStyle::kRegular);
    set_property(*font, "Size", 0.0);
    set_property(*font, "Unit", GraphicsUnit::kPoint);
    return font;
}

Ref<ManagedObject> font_of_all(std::u16string name, float size, FontStyle style, GraphicsUnit unit,
                               CharacterSet character_set) {
    auto font = make_instance(api::Font::kType.name);
    set_property(*font, "Name", std::move(name));
    set_property(*font, "Size", double{size});
    set_property(*font, "Style", style);
    set_property(*font, "Unit", unit);
    set_property(*font, "CharacterSet", character_set);
    return font;
}
Ref<ManagedObject> font_of_style_and_unit(std::u16string name, float size, FontStyle style, GraphicsUnit unit) {
    return font_of_all(std::move(name), size, style, unit, CharacterSet::kDefault);
}
Ref<ManagedObject> font_of_style(std::u16string name, float size, FontStyle style) {
    return font_of_style_and_unit(std::move(name), size, style, GraphicsUnit::kPoint);
}
Ref<ManagedObject> font_of_unit(std::u16string name, float size, GraphicsUnit unit) {
    return font_of_style_and_unit(std::move(name), size, FontStyle::kRegular, unit);
}
Ref<ManagedObject> font_of_size(std::u16string name, float size) {
    return font_of_style(std::move(name), size, FontStyle::kRegular);
}
Ref<ManagedObject> font_like(Record* prototype, FontStyle style) {
    auto font = required(prototype, "prototype").copy();
    set_property(*font, "Style", style);
    return font;
}

template <FontStyle kStyle>
bool has_style(Record& self) {
    return (property_int(self, "Style") & number_of(kStyle)) != 0;
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
// The folders in which a system keeps its fonts, as far as they exist.
std::vector<std::string> system_folders() {
    std::vector<std::string> folders{"/usr/share/fonts", "/usr/local/share/fonts"};
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        folders.push_back(std::string(home) + "/.local/share/fonts");
        folders.push_back(std::string(home) + "/.fonts");
    }
    std::erase_if(folders, [](const std::string& folder) {
        std::error_code ignored;  // no fonts can be read from a folder that cannot be inspected
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
// The last argument, whether to search the folders in these folders, changes nothing: the font library always does.
void set_folders(const VariantArg* folders, bool) {
    std::vector<std::string> names;
    for (const Value& folder : read_any_elements(folders, "fonts_folders")) {
        const auto* text = std::get_if<std::u16string>(&folder);
        names.push_back(to_utf8(required(text, "fonts_folders")));
    }
    chosen_folders() = std::move(names);
}
const TypeInfo& settings_type() {
    return require_type(api::FontSettings::kType.name);
}
void reset_fonts() {
    chosen_folders().clear();
    set_static_property(settings_type(), "DefaultFontName", Ref<ManagedObject>());
    set_static_property(settings_type(), "GetSystemAlternativeFont", true);
}
// Nothing to do: fonts are searched when text is drawn.
void update() {}
// Until something is set, a font that is missing is replaced.
bool system_alternative() {
    const Value& value = static_property(settings_type(), "GetSystemAlternativeFont");
    const auto* chosen = std::get_if<bool>(&value);
    return chosen == nullptr || *chosen;
}

// ---- StringFormat

class TextFormat final : public Record {
 public:
    static constexpr const char* kManagedName = api::StringFormat::kType.name;
    explicit TextFormat(const TypeInfo& type) : Record(type) {
        set_property(*this, "Trimming", StringTrimming::kCharacter);
        set_property(*this, "FirstTabOffset", 0.0);
        set_tab_stops({});
    }
    void set_tab_stops(std::vector<float> stops) {
        set_property(*this, "TabStops", Value(Ref<ManagedObject>(make_array(std::move(stops)))));
    }
};

Ref<ManagedObject> format_of_flags(StringFormatFlags flags) {
    auto format = make_instance(TextFormat::kManagedName);
    set_property(*format, "FormatFlags", flags);
    return format;
}
Ref<ManagedObject> format_like(TextFormat* other) {
    return required(other, "format").copy();
}
void set_tabs(TextFormat& self, float first_offset, const VariantArg* stops) {
    self.set_tab_stops(read_array<float>(stops, "tab_stops"));
    set_property(self, "FirstTabOffset", double{first_offset});
}
// Digits are always drawn as they stand in the text.
void set_digit_substitution(TextFormat& self, api::StringDigitSubstitute value) {
    if (value != api::StringDigitSubstitute::kUser && value != api::StringDigitSubstitute::kNone) {
        throw_not_supported("The value " + std::to_string(number_of(value)) +
                            " of StringFormat.DigitSubstitutionMethod");
    }
    set_property(self, "DigitSubstitutionMethod", value);
}
void set_digit_language(TextFormat&, int32_t value) {
    if (value != 0) {
        throw_not_supported("The value " + std::to_string(value) + " of StringFormat.DigitSubstitutionLanguage");
    }
}
// Across; lines have the distance that the font gives them.
void set_spacing(TextFormat& self, const PointFValue& value) {
    if (!std::isfinite(value.x) || value.y != 0) {
        throw_not_supported("A distance of (" + to_utf8(number_text(value.x)) + ", " + to_utf8(number_text(value.y)) +
                            ") between characters (StringFormat.CustomCharIdent)");
    }
    set_property(self, "CustomCharIdent", box(value));
}
Ref<ManagedObject> generic_default() {
    return make_instance(TextFormat::kManagedName);
}
// As typesetters do it: only whole lines are shown, and text is neither clipped nor trimmed.
Ref<ManagedObject> generic_typographic() {
    auto format = make_instance(TextFormat::kManagedName);
    set_property(*format, "FormatFlags",
                 number_of(StringFormatFlags::kFitBlackBox) | number_of(StringFormatFlags::kLineLimit) |
                     number_of(StringFormatFlags::kNoClip));
    set_property(*format, "Trimming", StringTrimming::kNone);
    return format;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&font_like, api::Font::ctor_000_Font, api::Font::call_000_CreateFromPrototype>(),
    behavior<&font_of_size, api::Font::ctor_001_Font, api::Font::call_000_CreateWithSize>(),
    behavior<&font_of_style, api::Font::ctor_002_Font, api::Font::call_000_CreateWithSizeStyle>(),
    behavior<&font_of_unit, api::Font::ctor_003_Font, api::Font::call_000_CreateWithSizeUnit>(),
    behavior<&font_of_all, api::Font::ctor_004_Font>(),
    behavior<&font_of_style_and_unit, api::Font::ctor_005_Font>(),
    behavior<&copy_of, api::Font::call_000_DeepClone, api::StringFormat::call_000_DeepClone>(),
    behavior<&has_style<FontStyle::kBold>, api::Font::get_Bold>(),
    behavior<&has_style<FontStyle::kItalic>, api::Font::get_Italic>(),
    behavior<&has_style<FontStyle::kUnderline>, api::Font::get_Underline>(),
    behavior<&has_style<FontStyle::kStrikeout>, api::Font::get_Strikeout>(),
    behavior<&folders, api::FontSettings::call_000_GetFontsFolders>(),
    behavior<&default_folders, api::FontSettings::call_000_GetDefaultFontsFolders>(),
    behavior<&set_folder, api::FontSettings::call_000_SetFontsFolder>(),
    behavior<&set_folders, api::FontSettings::call_000_SetFontsFolders>(),
    behavior<&reset_fonts, api::FontSettings::call_000_Reset>(),
    behavior<&system_alternative, api::FontSettings::getsa_GetSystemAlternativeFont>(),
    behavior<&update, api::FontSettings::call_000_UpdateFonts, api::OpenTypeFontsCache::call_000_UpdateCache>(),
    behavior<&format_of_flags, api::StringFormat::ctor_001_StringFormat, api::StringFormat::call_000_CreateFromFlags>(),
    behavior<&format_like, api::StringFormat::ctor_002_StringFormat, api::StringFormat::call_000_CreateFromFormat>(),
    behavior<&set_tabs, api::StringFormat::call_000_SetTabStops>(),
    behavior<&set_digit_substitution, api::StringFormat::set_DigitSubstitutionMethod>(),
    behavior<&set_digit_language, api::StringFormat::set_DigitSubstitutionLanguage>(),
    behavior<&set_spacing, api::StringFormat::set_CustomCharIdent>(),
    behavior<&generic_default, api::StringFormat::getsa_GenericDefault>(),
    behavior<&generic_typographic, api::StringFormat::getsa_GenericTypographic>(),
});

const FactoryRegistration ZELMOR_UNNAMED(api::Font::kType.name, new_font);
const FactoryRegistration ZELMOR_UNNAMED(TextFormat::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<TextFormat>(type);
});

}  // namespace

FontChoice font_choice() {
    FontChoice choice;
    choice.folders = chosen_folders();
    const Value& name = static_property(settings_type(), "DefaultFontName");
    if (const auto* text = std::get_if<std::u16string>(&name); text != nullptr) {
        choice.default_name = to_utf8(*text);
    }
    choice.may_replace = system_alternative();
    return choice;
}

}  // namespace zelmor::embed
