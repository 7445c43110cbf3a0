// Saving images.
//
// Without options a file gets the format that its extension stands for, or the image's own where that says nothing; an
// image that keeps its format keeps the settings that its file had. Formats that hold several pictures get all frames,
// unless the options choose some. The target is not touched before everything is encoded: the bytes of a file are
// written beside it meanwhile, and a stream gets all of them at once.
#include "runtime/native/behaviors/images/saving.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/file_extensions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/memory_limits.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/images/page_selection.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/images/registries.h"
#include "runtime/native/behaviors/metadata/described_file.h"
#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/behaviors/vector/page_choice.h"
#include "runtime/native/behaviors/vector/picture_drawing.h"
#include "runtime/native/behaviors/vector/rasterize.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using Path = std::optional<std::u16string>;

// A save: with options that the caller names, or with the settings that follow from the format and the image.
struct Request {
    Format format;
    const Record* options = nullptr;         // or none
    const RectangleValue* bounds = nullptr;  // or the whole of each page
    std::string extension = {};              // of the file name; empty where options or the image decide
};

// Whether a file takes all frames: an animated PNG has to be asked for, by options or by being one.
bool holds_frames(const ImageBase& image, const Request& request) {
    FileFacts facts;
    facts.format = request.format;
    if (const auto* raster = dynamic_cast<const ImageObject*>(&image);
        raster != nullptr && raster->facts().format == request.format) {
        facts.variant = raster->facts().variant;
    }
    const FormatClasses* classes =
        classes_of(request.options != nullptr ? file_format_of_options(*request.options) : file_format_of(facts));
    return classes != nullptr && classes->holds_frames;
}

std::string cannot_hold(const Request& request, size_t count) {
    return std::string(format_name(request.format)) + " holds one picture, not " + std::to_string(count);
}

// Whether frames of an animation are to be as large as its canvas and show the frames before them, in any format.
bool wants_full_frames(const ImageObject& image, const Request& request) {
    return request.options != nullptr && property_bool(*request.options, "FullFrame") && image.frame_count() > 1 &&
           !has_pages(image.facts().format);
}

std::vector<Page> full_pages(ImageObject& image, const std::vector<size_t>& indices) {
    std::vector<Page> all = pages_of(image, every_page(image));
    fit_to_canvas(all);
    std::vector<Page> pages;
    for (const size_t index : indices) {
        pages.push_back({all[index].picture->copy(), all[index].duration, Ref<ImageObject>(&image)});
    }
    return pages;
}

// The pages to be written. Without a choice in the options, a format of one picture gets the active page.
std::vector<Page> requested_pages(ImageObject& image, const Request& request) {
    const Ref<ManagedObject> choice =
        request.options != nullptr ? property_object(*request.options, "MultiPageOptions") : nullptr;
    const bool several = holds_frames(image, request);
    const auto pages_at = [&](const std::vector<size_t>& indices) {
        return wants_full_frames(image, request) ? full_pages(image, indices) : pages_of(image, indices);
    };
    if (!choice) {
        if (several && image.frame_count() > 1) {
            return pages_at(every_page(image));
        }
        if (wants_full_frames(image, request)) {
            return full_pages(image, {image.active_index()});
        }
        std::vector<Page> pages;
        pages.push_back({image.picture().copy(), image.duration, Ref<ImageObject>(&image)});
        return pages;
    }
    std::vector<Page> pages = pages_at(selected_pages(image, *choice));
    if (const auto area = export_area(*choice); area && request.bounds == nullptr) {
        for (Page& page : pages) {
            page.picture->crop({area->x, area->y, area->width, area->height});
        }
    }
    if (property_bool(*choice, "MergeLayers")) {
        merge(pages);
    }
    if (pages.size() > 1 && !several) {
        throw ManagedException("NotSupportedException",
                               cannot_hold(request, pages.size()) + ". Choose one page, or set merge_layers.");
    }
    return pages;
}

// A page has metadata of its own; a frame of an animation has those of its image.
WrittenPicture written_picture(ImageObject& image, const Picture& picture, ImageObject& source) {
    return {Ref<ImageObject>(has_pages(source.facts().format) ? &source : &image), picture.resolution(),
            picture.changed_at(), picture.width(), picture.height()};
}
WrittenPicture written_picture(ImageObject& image, const Request& request, const Page& page) {
    WrittenPicture written = written_picture(image, *page.picture, *page.source);
    if (request.options != nullptr) {
        const Encoding encoding = encoding_for(image, *request.options);
        written.resolution = encoding.resolution.value_or(written.resolution);
    }
    return written;
}

void crop_to_bounds(std::vector<Page>& pages, const Request& request) {
    for (size_t i = 0; request.bounds != nullptr && i < pages.size(); ++i) {
        pages[i].picture->crop({request.bounds->x, request.bounds->y, request.bounds->width, request.bounds->height});
    }
}

void write_pages(ImageObject& image, const Request& request, std::vector<Page> pages, DescribedFile& out);

void write_image(ImageObject& image, const Request& request, DescribedFile& out) {
    require_uninterrupted(image);
    image.put_drawings();
    const FormatMembers* members = members_of(request.format);
    const bool as_it_is = request.options == nullptr && request.bounds == nullptr &&
                          image.facts().format == request.format && image.is_container();
    if (as_it_is && members != nullptr && members->encode_frames != nullptr) {
        out.set_pictures(request.format, {written_picture(image, image.picture(), image)});
        return members->encode_frames(image, out);
    }
    std::vector<Page> pages = requested_pages(image, request);
    if (request.options != nullptr) {
        require_within_limits(*request.options, pages);
    }
    crop_to_bounds(pages, request);
    write_pages(image, request, std::move(pages), out);
}

// The picture beside an animation, where the file is an animation of the format that the image has.
std::unique_ptr<Picture> still_of(const ImageObject& image, const Request& request) {
    if (image.facts().format != request.format || !holds_frames(image, request) || image.still() == nullptr) {
        return nullptr;
    }
    std::unique_ptr<Picture> still = image.still()->copy();
    if (request.bounds != nullptr) {
        still->crop({request.bounds->x, request.bounds->y, request.bounds->width, request.bounds->height});
    }
    return still;
}

// `image` adds its colors, its durations and its metadata.
void write_pages(ImageObject& image, const Request& request, std::vector<Page> pages, DescribedFile& out) {
    const FormatMembers* members = members_of(request.format);
    const auto encoding_of = [&](const Page& page) {
        // A page that keeps its format keeps its own settings; the colors around it are the image's.
        if (request.options != nullptr) {
            Encoding encoding = encoding_for(image, *request.options);
            if (members != nullptr && members->has_pages && members->complete != nullptr) {
                members->complete(*page.source, encoding.format);  // what pages have of their own
            }
            return encoding;
        }
        Encoding encoding = encoding_for(*page.source, request.format, image);
        if (members != nullptr && members->take_extension != nullptr) {
            members->take_extension(request.extension, encoding.format);
        }
        return encoding;
    };
    const bool describes = members != nullptr && members->describe_frame != nullptr;
    const auto still = still_of(image, request);
    if (pages.size() == 1 && still == nullptr && !(describes && members->is_described(*pages[0].source))) {
        const Encoding encoding = encoding_of(pages[0]);
        out.set_pictures(request.format, {written_picture(image, request, pages[0])});
        return pages[0].picture->encode(encoding, out);
    }
    if (!has_pages(request.format)) {
        fit_to_canvas(pages);
    }
    std::vector<Encoding> encodings;
    for (const Page& page : pages) {
        require_uninterrupted(image);
        encodings.push_back(encoding_of(page));
    }
    const int32_t usual = usual_duration(image, request.options);
    std::vector<FrameToWrite> frames;
    for (size_t i = 0; i < pages.size(); ++i) {
        frames.push_back({pages[i].picture.get(), pages[i].duration > 0 ? pages[i].duration : usual, &encodings[i]});
        if (describes) {
            members->describe_frame(image, *pages[i].source, i + 1 == pages.size(), frames[i]);
        }
    }
    frames[0].still = still.get();
    std::vector<WrittenPicture> pictures;
    for (const Page& page : pages) {
        pictures.push_back(written_picture(image, request, page));
    }
    out.set_pictures(request.format, std::move(pictures));
    image_backend().encode_frames(frames, out);
}

// ---- Vector images, and formats of lines and text

// What one file of the format cannot hold.
void require_holdable(const Request& request, size_t count, bool several) {
    if (count > 1 && !several) {
        throw ManagedException("NotSupportedException",
                               cannot_hold(request, count) + ". Choose one page, or set merge_layers.");
    }
}

// The pixels of a page as an image of their own.
Ref<ImageObject> drawn_image(const DrawnPage& page, const SharedBudget& budget) {
    const auto& source = dynamic_cast<const VectorImageObject&>(*page.source);
    Ref<ImageObject> raster = raster_of(page, budget);
    raster->is_drawn = true;
    if (source.palette_replaces_colors) {
        std::unique_ptr<Picture> picture = raster->picture().copy();
        picture->reduce(source.palette, false);
        raster->set_picture(std::move(picture));
    } else {
        raster->offer_palette(source.palette);
    }
    return raster;
}

bool merges_pages(const Request& request) {
    const Ref<ManagedObject> choice =
        request.options != nullptr ? property_object(*request.options, "MultiPageOptions") : Ref<ManagedObject>();
    return choice && property_bool(*choice, "MergeLayers");
}

void write_pixels(VectorImageObject& image, const Request& request, ByteSink& out) {
    const bool several = holds_frames(image, request);
    const std::vector<DrawnPage> drawn = chosen_pages(image, request.options, request.bounds, several);
    const auto budget = std::make_shared<MemoryBudget>(decoded_memory_limit(request.options));
    std::vector<Page> pages;
    for (const DrawnPage& page : drawn) {
        require_uninterrupted(image);
        Ref<ImageObject> raster = drawn_image(page, budget);
        pages.push_back({raster->picture().copy(), 0, raster});
    }
    if (request.options != nullptr) {
        require_within_limits(*request.options, pages);
    }
    if (merges_pages(request)) {
        merge(pages);
    }
    require_holdable(request, pages.size(), several);
    const Ref<ImageObject> first = pages.front().source;
    DescribedFile file(*first, request.options, out);
    write_pages(*first, request, std::move(pages), file);
    file.finish();
}

// A page of pixels. The picture outlives it.
DrawnPage drawn_page(const Page& page) {
    DrawnPage result;
    result.picture = page.picture.get();
    result.drawing = std::make_shared<PictureDrawing>(page.picture->copy());
    result.width = page.picture->width();
    result.height = page.picture->height();
    result.resolution = page.picture->resolution();
    result.source = Ref<ImageBase>(page.source);
    return result;
}

void write_drawing(ImageBase& image, const Request& request, const FormatMembers& members, ByteSink& out) {
    require_uninterrupted(image);
    auto* vector = dynamic_cast<VectorImageObject*>(&image);
    if (request.options != nullptr) {
        require_effective_options(*request.options, vector != nullptr);
    }
    const bool several = holds_frames(image, request);
    std::vector<Page> pictures;
    std::vector<DrawnPage> pages;
    if (vector != nullptr) {
        pages = chosen_pages(*vector, request.options, request.bounds, several);
        if (merges_pages(request) && pages.size() > 1) {
            throw_not_supported("MultiPageOptions.MergeLayers for pages of lines and text");
        }
    } else {
        auto& raster = dynamic_cast<ImageObject&>(image);
        raster.put_drawings();
        pictures = requested_pages(raster, request);
        if (request.options != nullptr) {
            require_within_limits(*request.options, pictures);
        }
        crop_to_bounds(pictures, request);
        for (const Page& picture : pictures) {
            pages.push_back(drawn_page(picture));
        }
    }
    require_holdable(request, pages.size(), several);
    try {
        members.write_drawing(pages, request.options, request.extension, out);
    } catch (const drawwork::DrawError& error) {
        throw PictureError(Failure::kEncoding, error.what());
    }
}

void write_image(ImageBase& image, const Request& request, ByteSink& out, const std::string& subject) {
    try {
        prepare_options(request.options);
        const FormatMembers* members = members_of(request.format);
        auto* vector = dynamic_cast<VectorImageObject*>(&image);
        // Pixels go to the codec of the format, if it has one.
        if (members != nullptr && members->write_drawing != nullptr &&
            (vector != nullptr || members->settings == nullptr)) {
            return write_drawing(image, request, *members, out);
        }
        if (vector != nullptr) {
            if (members == nullptr) {
                throw_not_supported(std::string("Saving with ") + request.options->type().name);
            }
            return write_pixels(*vector, request, out);
        }
        auto& raster = dynamic_cast<ImageObject&>(image);
        DescribedFile file(raster, request.options, out);
        write_image(raster, request, file);
        file.finish();
    } catch (const PictureError& error) {
        if (error.kind() == Failure::kArgument && request.bounds != nullptr) {
            throw_out_of_range("bounds_rectangle", error.what());
        }
        throw_picture_error(error, subject);
    }
}

// The file that is saved to a path. Nothing is under its name before finish().
class FileSink final : public ByteSink, public EditableFile {
 public:
    explicit FileSink(const std::string& path) : m_path(path), m_file(path) {}
    void write(std::span<const uint8_t> bytes) override { m_file.write(bytes); }
    void write_whole(EncodedBytes file) override { m_whole = std::move(file); }
    EditableFile* editable() override { return this; }
    uint64_t size() const override { return m_file.size(); }
    void write_at(uint64_t offset, std::span<const uint8_t> bytes) override { m_file.write_at(offset, bytes); }
    void read_at(uint64_t offset, std::span<uint8_t> out) const override { m_file.read_at(offset, out); }
    void finish() { m_whole.data != nullptr ? write_file(m_path, m_whole.bytes()) : m_file.finish(); }

 private:
    std::string m_path;
    NewFile m_file;
    EncodedBytes m_whole;  // of an encoder that gives it so
};

void to_file(ImageBase& image, const std::string& path, const Request& request) {
    require_writable_target(path);
    FileSink file(path);
    write_image(image, request, file, "Cannot save '" + to_utf8(to_utf16(path)) + "'");
    file.finish();
}

void to_stream(ImageBase& image, ManagedStream& stream, const Request& request) {
    MemorySink memory;
    write_image(image, request, memory, "Cannot save the image to the stream");
    const EncodedBytes file = memory.take();
    stream.write(std::as_bytes(file.bytes()));
    stream.flush();
}

FileFormat written_format(const Request& request) {
    if (request.options != nullptr) {
        return file_format_of_options(*request.options);
    }
    FileFacts facts;
    facts.format = request.format;
    return file_format_of(facts);
}

Format own_format(const ImageBase& image) {
    if (const auto* raster = dynamic_cast<const ImageObject*>(&image)) {
        return raster->facts().format;
    }
    const FormatClasses* classes = classes_of(image.image_format());
    if (classes == nullptr) {
        throw_not_supported(std::string("Saving a ") + image.type().name + " in its own format");
    }
    return classes->codec;
}

// Frames or pages.
size_t picture_count(ImageBase& image) {
    auto* vector = dynamic_cast<VectorImageObject*>(&image);
    return vector != nullptr ? vector->shown_pages().size() : dynamic_cast<ImageObject&>(image).frame_count();
}

// A save that names no options must not lose frames unnoticed.
Request implied(ImageBase& image, const std::string& name = {}) {
    const Format format = format_of_extension(name);
    Request request{format == Format::kUnknown ? own_format(image) : format};
    request.extension = extension_of(name);
    if (const FormatMembers* members = members_of(request.format);
        members != nullptr && members->settings == nullptr && members->write_drawing == nullptr) {
        throw_not_supported(std::string("Saving as ") + format_name(request.format) + ", the format of the image,");
    }
    if (const size_t count = picture_count(image); count > 1 && !holds_frames(image, request)) {
        throw ManagedException("NotSupportedException",
                               "The image has " + std::to_string(count) + " frames, and " +
                                   cannot_hold(request, count) +
                                   ". Saving it without options would lose the others; name save options to write the "
                                   "one frame that is active.");
    }
    require_registered(Trade::kExporting, written_format(request));
    return request;
}

Request by_options(const Record* options, const RectangleValue* bounds = nullptr) {
    Request request{format_of_options(required_options(options)), options, bounds};
    if (request.format != Format::kUnknown) {
        require_registered(Trade::kExporting, written_format(request));
    }
    return request;
}

}  // namespace

void save_to_stream(ImageBase& image, ManagedStream& stream, const Record& options, const RectangleValue* bounds) {
    image.require_live();
    to_stream(image, stream, by_options(&options, bounds));
}

void save_all(ImageObject& image, const std::optional<std::u16string>& file_path, Record* options) {
    image.require_live();
    const Request request = by_options(options);
    if (image.frame_count() > 1 && !holds_frames(image, request) && !property_object(*options, "MultiPageOptions")) {
        throw ManagedException("NotSupportedException",
                               cannot_hold(request, image.frame_count()) + ". Choose one page, or set merge_layers.");
    }
    to_file(image, file_path_of(file_path, "file_path"), request);
}

namespace {

void save(ImageBase& self) {
    self.require_live();
    // Held: the stream may be a Python object, whose write() may dispose of the image.
    if (const Ref<ManagedStream> target = self.target_stream) {
        return to_stream(self, *target, implied(self));
    }
    if (self.target_path.empty()) {
        throw_invalid_operation("The image belongs to no file. Name a target to save it to.");
    }
    to_file(self, self.target_path, implied(self));
}

void save_path(ImageBase& self, const Path& file_path) {
    self.require_live();
    const std::string path = file_path_of(file_path, "file_path");
    to_file(self, path, implied(self, path));
}

void save_path_over_write(ImageBase& self, const Path& file_path, bool over_write) {
    self.require_live();
    const std::string path = file_path_of(file_path, "file_path");
    if (!over_write && file_exists(path)) {
        throw ManagedException("IOException", "The file '" + to_utf8(*file_path) + "' already exists.");
    }
    to_file(self, path, implied(self, path));
}

void save_path_options(ImageBase& self, const Path& file_path, Record* options) {
    self.require_live();
    to_file(self, file_path_of(file_path, "file_path"), by_options(options));
}

void save_path_options_bounds(ImageBase& self, const Path& file_path, Record* options,
                              const RectangleValue& bounds_rectangle) {
    self.require_live();
    to_file(self, file_path_of(file_path, "file_path"), by_options(options, &bounds_rectangle));
}

void save_stream(ImageBase& self, const VariantArg* stream) {
    self.require_live();
    to_stream(self, *read_stream(stream), implied(self));
}

void save_stream_options(ImageBase& self, const VariantArg* stream, Record* options_base) {
    self.require_live();
    to_stream(self, *read_stream(stream), by_options(options_base));
}

void save_stream_options_bounds(ImageBase& self, const VariantArg* stream, Record* options_base,
                                const RectangleValue& bounds_rectangle) {
    self.require_live();
    to_stream(self, *read_stream(stream), by_options(options_base, &bounds_rectangle));
}

bool can_save(ImageBase& self, Record* options) {
    self.require_live();
    const Request request{format_of_options(required_options(options)), options};
    return request.format != Format::kUnknown && is_registered(Trade::kExporting, written_format(request));
}

using DataStreamSupporterApi = api::DataStreamSupporter;
using ImageApi = api::Image;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&save, DataStreamSupporterApi::call_000_Save, ImageApi::call_000_Save>(),
    behavior<&save_stream, DataStreamSupporterApi::call_001_Save, DataStreamSupporterApi::call_000_SaveToStream>(),
    behavior<&save_path, DataStreamSupporterApi::call_002_Save, ImageApi::call_001_Save>(),
    behavior<&save_path_over_write, DataStreamSupporterApi::call_003_Save>(),
    behavior<&save_path_options, ImageApi::call_002_Save, ImageApi::call_000_SaveWithOptions>(),
    behavior<&save_path_options_bounds, ImageApi::call_003_Save, ImageApi::call_000_SaveWithOptionsRect>(),
    behavior<&save_stream_options, ImageApi::call_004_Save, ImageApi::call_000_SaveToStreamWithOptions>(),
    behavior<&save_stream_options_bounds, ImageApi::call_005_Save, ImageApi::call_000_SaveToStreamWithOptionsRect>(),
    behavior<&can_save, ImageApi::call_000_CanSave>(),
});

}  // namespace

}  // namespace zelmor::embed
