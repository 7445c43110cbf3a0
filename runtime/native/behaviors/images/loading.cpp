// Loading images, and questions about a file that are answered without decoding it.
#include "runtime/native/behaviors/images/loading.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <sys/stat.h>

#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/load_option_checks.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/images/picture_source.h"
#include "runtime/native/behaviors/images/registries.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/open_files.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using Path = std::optional<std::u16string>;
using FileBytes = std::vector<uint8_t>;

std::string shown(const Path& path) {
    return "'" + to_utf8(*path) + "'";
}

DecodeOptions decode_options(const Record* load_options) {
    DecodeOptions options;
    options.memory = std::make_shared<imagework::MemoryBudget>(decoded_memory_limit(load_options));
    if (load_options == nullptr) {
        return options;
    }
    switch (property_enum<api::DataRecoveryMode>(*load_options, "DataRecoveryMode")) {
        case api::DataRecoveryMode::kConsistentRecover:
            options.recovery = Recovery::kConsistent;
            break;
        case api::DataRecoveryMode::kMaximalRecover:
            options.recovery = Recovery::kMaximal;
            break;
        case api::DataRecoveryMode::kNone:
            break;
    }
    options.background = color_property(*load_options, "DataBackgroundColor");
    options.convert_profile = property_bool(*load_options, "UseIccProfileConversion");
    return options;
}

[[noreturn]] void throw_load_error(const PictureError& error, const std::string& subject) {
    if (error.kind() == Failure::kTooLarge) {  // the file is at fault, not a lack of memory
        throw_picture_error(PictureError(Failure::kDamaged, error.what()), subject);
    }
    throw_picture_error(error, subject);
}

// A format that is not read here, and one without a loader, is refused.
void require_loader(const FileFacts& facts) {
    require_readable_format(facts);
    if (facts.format != Format::kUnknown) {
        require_registered(Trade::kLoading, file_format_of(facts));
    }
}

// A format without a loader is refused before more than its header is read.
FileBytes bytes_of(Ref<ManagedStream> stream, const Record* load_options, const std::string& subject) {
    try {
        PictureSource source(std::move(stream));
        FileBytes data =
            source.picture(decode_options(load_options), [](const FileFacts& facts) { require_loader(facts); });
        return data;
    } catch (const PictureError& error) {
        throw_load_error(error, subject);
    }
}

Ref<ManagedStream> opened(const std::string& path) {
    return open_file_stream(path, FileUse::kRead, "read");
}

FileFacts facts_of_path(const Path& file_path) {
    return PictureSource(opened(file_path_of(file_path, "file_path"))).facts();
}

// A file that is read at once costs less than one that is kept open.
constexpr int64_t kSmallFile = 128 * 1024;

// The bytes of a regular file that is worth keeping open, or nothing. When too many files are open already, it is read
// like a small one.
SharedSource source_of_file(const ManagedStream& stream) {
    struct stat info {};
    const bool lasts = ::fstat(stream.descriptor(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > kSmallFile;
    return lasts && open_file_count() < limits::kOpenFiles ? file_source(stream.descriptor()) : nullptr;
}

// The image where it has pixels.
Ref<ImageObject> with_pixels(Ref<ImageBase> image) {
    auto* raster = dynamic_cast<ImageObject*>(image.get());
    if (raster == nullptr) {
        throw_not_supported(std::string("Taking the pixels of a ") + image->type().name + ", which has none,");
    }
    return Ref<ImageObject>(raster);
}

Ref<ImageBase> image_of_source(SharedSource source, const Record* load_options, const std::string& subject) {
    try {
        if (source->size() == 0) {
            throw PictureError(Failure::kDamaged, "there is no data in it");
        }
        DecodeOptions options = decode_options(load_options);
        options.subject = subject;
        SourceBytes bytes(source, SourceBytes::kHeaderWindow);
        FileFacts facts = probe(bytes);
        require_loader(facts);
        if (load_options != nullptr) {
            require_load_options(*load_options, facts, source);
            take_load_options(*load_options, facts, options);
        }
        require_uninterrupted();
        require_decodable(facts, options);
        if (const FormatMembers* members = members_of(facts.format);
            members != nullptr && members->load_drawing != nullptr) {
            return members->load_drawing(source, facts, load_options);
        }
        auto frames = image_backend().open_frames(source, facts, options);
        facts.encoding = frames->header(0).facts.encoding;
        // Of an animation the frames are composed when they are looked at. What a recovery shows first is the picture
        // for programs that know no animations.
        std::unique_ptr<Picture> picture;
        if (facts.has_still && options.recovery != Recovery::kNone) {
            picture = image_backend().decode(all_bytes(*source), options);
        } else if (!frames->composes()) {
            picture = image_backend().decode_frame(frames, 0, options);
        }
        const Resolution resolution = picture != nullptr ? picture->resolution() : kDefaultResolution;
        auto image = make_ref<ImageObject>(std::move(picture), std::move(facts));
        attach_metadata(*image, keep_metadata(source), resolution);
        image->set_file_frames(std::move(frames), options);
        return Ref<ImageBase>(image);
    } catch (const PictureError& error) {
        throw_load_error(error, subject);
    }
}

}  // namespace

Ref<ImageBase> any_decoded_image(std::vector<uint8_t> data, const Record* load_options, const std::string& subject) {
    return image_of_source(memory_source(std::move(data)), load_options, subject);
}

Ref<ImageBase> any_image_of_file(const std::optional<std::u16string>& file_path, const Record* load_options,
                                 const char* parameter) {
    std::string path = file_path_of(file_path, parameter);
    const std::string subject = "Cannot load " + shown(file_path);
    const Ref<ManagedStream> file = opened(path);
    SharedSource source = source_of_file(*file);
    if (source == nullptr) {
        source = memory_source(bytes_of(file, load_options, subject));
    }
    auto image = image_of_source(std::move(source), load_options, subject);
    image->target_path = absolute_path(std::move(path));
    return image;
}

Ref<ImageBase> any_image_of_stream(const Ref<ManagedStream>& stream, const Record* load_options) {
    const std::string subject = "Cannot load the image from the stream";
    auto image = any_decoded_image(bytes_of(stream, load_options, subject), load_options, subject);
    image->source_stream = stream;
    return image;
}

Ref<ImageObject> decoded_image(std::vector<uint8_t> data, const Record* load_options, const std::string& subject) {
    return with_pixels(any_decoded_image(std::move(data), load_options, subject));
}
Ref<ImageObject> image_of_file(const std::optional<std::u16string>& file_path, const Record* load_options,
                               const char* parameter) {
    return with_pixels(any_image_of_file(file_path, load_options, parameter));
}
Ref<ImageObject> image_of_stream(const Ref<ManagedStream>& stream, const Record* load_options) {
    return with_pixels(any_image_of_stream(stream, load_options));
}

namespace {

Ref<ImageBase> load_path(const Path& file_path) {
    return any_image_of_file(file_path, nullptr, "file_path");
}
Ref<ImageBase> load_path_with_options(const Path& file_path, Record* load_options) {
    return any_image_of_file(file_path, load_options, "file_path");
}

Ref<ImageBase> load_stream_with_options(const VariantArg* stream, Record* load_options) {
    return any_image_of_stream(read_stream(stream), load_options);
}
Ref<ImageBase> load_stream(const VariantArg* stream) {
    return load_stream_with_options(stream, nullptr);
}

// A file that is there is asked by its header; one that is not there is an error, as it is for load().
bool is_loadable(const FileFacts& facts) {
    return facts.readable && is_registered(Trade::kLoading, file_format_of(facts));
}
bool can_load_path(const Path& file_path) {
    return is_loadable(facts_of_path(file_path));
}
bool can_load_path_with_options(const Path& file_path, Record*) {
    return can_load_path(file_path);
}

bool can_load_stream(const VariantArg* stream) {
    return is_loadable(facts_ahead(read_stream(stream)));
}
bool can_load_stream_with_options(const VariantArg* stream, Record*) {
    return can_load_stream(stream);
}

FileFormat get_file_format(const Path& file_path) {
    return file_format_of(facts_of_path(file_path));
}
FileFormat get_file_format_of_stream(const VariantArg* stream) {
    return file_format_of(facts_ahead(read_stream(stream)));
}

using ImageApi = api::Image;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&load_path_with_options, ImageApi::call_000_Load, ImageApi::call_000_LoadWithOptions>(),
    behavior<&load_path, ImageApi::call_001_Load>(),
    behavior<&load_stream_with_options, ImageApi::call_002_Load, ImageApi::call_000_LoadStreamWithOptions>(),
    behavior<&load_stream, ImageApi::call_003_Load, ImageApi::call_000_LoadStream>(),
    behavior<&can_load_path, ImageApi::call_000_CanLoad>(),
    behavior<&can_load_path_with_options, ImageApi::call_001_CanLoad, ImageApi::call_000_CanLoadWithOptions>(),
    behavior<&can_load_stream, ImageApi::call_002_CanLoad, ImageApi::call_000_CanLoadStream>(),
    behavior<&can_load_stream_with_options, ImageApi::call_003_CanLoad, ImageApi::call_000_CanLoadStreamWithOptions>(),
    behavior<&get_file_format, ImageApi::call_000_GetFileFormat>(),
    behavior<&get_file_format_of_stream, ImageApi::call_001_GetFileFormat, ImageApi::call_000_GetFileFormatOfStream>(),
});

}  // namespace

}  // namespace zelmor::embed
