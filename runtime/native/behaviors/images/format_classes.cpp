// The ways to look up formats; see format_classes.h.
#include "runtime/native/behaviors/images/format_classes.h"

#include <algorithm>
#include <string_view>

#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using imagework::Format;
using imagework::Variant;

namespace {

struct FileFormatRow {
    Format format;
    Variant variant;
    FileFormat file_format;
};
constexpr FileFormatRow kFileFormats[] = {
#include "generated/formats/file_formats.inc"
};

}  // namespace

const std::vector<const FormatClasses*>& format_classes() {
    static const auto* all = new const std::vector<const FormatClasses*>([] {
        std::vector<const FormatClasses*> classes;
        for (const FormatMembers* members : format_members()) {
            for (const FormatClasses& each : members->classes) {
                classes.push_back(&each);
            }
        }
        return classes;
    }());
    return *all;
}

const FormatClasses* classes_of(FileFormat format) {
    const auto& all = format_classes();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const FormatClasses* known) { return known->format == format; });
    return found == all.end() ? nullptr : *found;
}

FileFormat file_format_of(const imagework::FileFacts& facts) {
    const auto* found = std::find_if(std::begin(kFileFormats), std::end(kFileFormats), [&](const FileFormatRow& row) {
        return row.format == facts.format && row.variant == facts.variant;
    });
    return found == std::end(kFileFormats) ? FileFormat::kUndefined : found->file_format;
}

Variant variant_of(FileFormat format) {
    const auto* found = std::find_if(std::begin(kFileFormats), std::end(kFileFormats),
                                     [&](const FileFormatRow& row) { return row.file_format == format; });
    return found == std::end(kFileFormats) ? Variant::kUsual : found->variant;
}

FileFormat file_format_of_options(const ManagedObject& options) {
    const std::string_view type = options.type().full_name;
    for (const FormatClasses* known : format_classes()) {
        if (known->options.get() != nullptr && type == known->options.get()->name) {
            return known->format;
        }
    }
    return FileFormat::kUndefined;
}

const TypeInfo& image_type_for(const imagework::FileFacts& facts) {
    const FormatClasses* known = classes_of(file_format_of(facts));
    return require_type(known != nullptr ? known->image.name : api::RasterCachedImage::kType.name);
}

const TypeInfo& frame_type_for(const TypeInfo& image) {
    for (const FormatClasses* known : format_classes()) {
        if (known->frame != nullptr && is_assignable(require_type(known->image.name), image)) {
            return require_type(known->frame->name);
        }
    }
    return require_type(api::RasterCachedImage::kType.name);
}

}  // namespace zelmor::embed
