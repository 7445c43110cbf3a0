// Saving images.
//
// Without options a file gets the format that its extension stands for, or the image's own where that says nothing; an
// image that keeps its format keeps the settings that its file had. Everything is encoded before the target is touched.
#include "runtime/native/behaviours/images/encoding_options.h"
#include "runtime/native/behaviours/images/image_entry.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using Path = std::optional<std::u16string>;

EncodedBytes encoded(const ImageObject& image, const Encoding& encoding, const RectangleValue* bounds,
                     const std::string& subject) {
    try {
        if (!bounds) return image.picture().encode(encoding);
        auto part = image.picture().copy();
        part->crop({bounds->x, bounds->y, bounds->width, bounds->height});
        return part->encode(encoding);
    } catch (const PictureError& error) {
        if (error.kind() == Failure::kArgument) throw_out_of_range("bounds_rectangle", error.what());
        throw_picture_error(error, subject);
    }
}

void to_file(const ImageObject& image, const std::string& path, const Encoding& encoding,
             const RectangleValue* bounds = nullptr) {
    require_writable_target(path);
    const EncodedBytes bytes = encoded(image, encoding, bounds, "Cannot save '" + to_utf8(to_utf16(path)) + "'");
    write_file(path, {bytes.data.get(), bytes.size});
}

void to_stream(const ImageObject& image, ManagedStream& stream, const Encoding& encoding,
               const RectangleValue* bounds = nullptr) {
    const EncodedBytes bytes = encoded(image, encoding, bounds, "Cannot save the image to the stream");
    stream.write({reinterpret_cast<const std::byte*>(bytes.data.get()), bytes.size});
    stream.flush();
}

// The settings for a save that names none.
Encoding implied_encoding(const ImageObject& image, Format format) {
    const int frames = std::max(image.picture().frame_count(), image.facts().frame_count);
    if (frames > 1) {
        throw ManagedException("NotSupportedException",
                               "The image was loaded from a file of " + std::to_string(frames) +
                                   " frames, of which it holds the first. Saving it without options would lose the "
                                   "others; name save options to write the one frame.");
    }
    if (format == Format::kUnknown) format = image.facts().format;
    return encoding_for(image, format);
}

const Record& required(const Record* options) {
    if (!options) throw_argument_null("options");
    return *options;
}

void save(ImageObject& self) {
    self.require_live();
    if (self.target_stream) return to_stream(self, *self.target_stream, implied_encoding(self, Format::kUnknown));
    if (self.target_path.empty()) {
        throw_invalid_operation("The image belongs to no file. Name a target to save it to.");
    }
    to_file(self, self.target_path, implied_encoding(self, Format::kUnknown));
}

void save_path(ImageObject& self, const Path& file_path) {
    self.require_live();
    const std::string path = file_path_of(file_path, "file_path");
    to_file(self, path, implied_encoding(self, format_of_extension(path)));
}

void save_path_over_write(ImageObject& self, const Path& file_path, bool over_write) {
    self.require_live();
    const std::string path = file_path_of(file_path, "file_path");
    if (!over_write && file_exists(path)) {
        throw ManagedException("IOException", "The file '" + to_utf8(*file_path) + "' already exists.");
    }
    to_file(self, path, implied_encoding(self, format_of_extension(path)));
}

void save_path_options(ImageObject& self, const Path& file_path, Record* options) {
    self.require_live();
    to_file(self, file_path_of(file_path, "file_path"), encoding_for(self, required(options)));
}

void save_path_options_bounds(ImageObject& self, const Path& file_path, Record* options,
                              const RectangleValue& bounds_rectangle) {
    self.require_live();
    to_file(self, file_path_of(file_path, "file_path"), encoding_for(self, required(options)), &bounds_rectangle);
}

void save_stream(ImageObject& self, const VariantArg* stream) {
    self.require_live();
    to_stream(self, *read_stream(stream), implied_encoding(self, Format::kUnknown));
}

void save_stream_options(ImageObject& self, const VariantArg* stream, Record* options_base) {
    self.require_live();
    to_stream(self, *read_stream(stream), encoding_for(self, required(options_base)));
}

void save_stream_options_bounds(ImageObject& self, const VariantArg* stream, Record* options_base,
                                const RectangleValue& bounds_rectangle) {
    self.require_live();
    to_stream(self, *read_stream(stream), encoding_for(self, required(options_base)), &bounds_rectangle);
}

bool can_save(ImageObject& self, Record* options) {
    self.require_live();
    return format_of_options(required(options)) != Format::kUnknown;
}

constexpr const char* kSupporter = "Zelmor.Imaging.DataStreamSupporter";
constexpr const char* kImage = "Zelmor.Imaging.Image";
const BehaviourTable table(Assembly::kImaging,
                           {
                               {kSupporter, "call_000_Save", image_entry<&save>()},
                               {kSupporter, "call_001_Save", image_entry<&save_stream>()},
                               {kSupporter, "call_002_Save", image_entry<&save_path>()},
                               {kSupporter, "call_003_Save", image_entry<&save_path_over_write>()},
                               {kSupporter, "call_000_SaveToStream", image_entry<&save_stream>()},
                               {kImage, "call_000_Save", image_entry<&save>()},
                               {kImage, "call_001_Save", image_entry<&save_path>()},
                               {kImage, "call_002_Save", image_entry<&save_path_options>()},
                               {kImage, "call_003_Save", image_entry<&save_path_options_bounds>()},
                               {kImage, "call_004_Save", image_entry<&save_stream_options>()},
                               {kImage, "call_005_Save", image_entry<&save_stream_options_bounds>()},
                               {kImage, "call_000_SaveWithOptions", image_entry<&save_path_options>()},
                               {kImage, "call_000_SaveWithOptionsRect", image_entry<&save_path_options_bounds>()},
                               {kImage, "call_000_SaveToStreamWithOptions", image_entry<&save_stream_options>()},
                               {kImage, "call_000_SaveToStreamWithOptionsRect",
                                image_entry<&save_stream_options_bounds>()},
                               {kImage, "call_000_CanSave", image_entry<&can_save>()},
                           });

}  // namespace

}  // namespace zelmor::embed
