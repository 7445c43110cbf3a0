// The registries of loaders, exporters and creators, their descriptors, and what these make.
//
// Descriptors are objects of this runtime behind the interfaces of the API. Each stands for one format; a user can take
// it out of its registry and put it in again.
#include "runtime/native/behaviors/images/registries.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <algorithm>

#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/images/picture_source.h"
#include "runtime/native/behaviors/images/saving.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

namespace {

constexpr size_t kTrades = 3;
struct Interfaces {
    const char* descriptor;
    const char* worker;
    const char* word;  // in the names of the objects
};
constexpr Interfaces kInterfaces[kTrades] = {
    {"Zelmor.Imaging.IImageLoaderDescriptor", "Zelmor.Imaging.IImageLoader", "Loader"},
    {"Zelmor.Imaging.IImageExporterDescriptor", "Zelmor.Imaging.IImageExporter", "Exporter"},
    {"Zelmor.Imaging.IImageCreatorDescriptor", "Zelmor.Imaging.IImageCreator", "Creator"},
};
const Interfaces& interfaces_of(Trade trade) {
    return kInterfaces[static_cast<size_t>(trade)];
}

struct KnownFormat {
    FileFormat format;
    const char* name;
};
constexpr KnownFormat kFormats[] = {
    {FileFormat::kBmp, "Bmp"},         {FileFormat::kGif, "Gif"},   {FileFormat::kJpeg, "Jpeg"},
    {FileFormat::kPng, "Png"},         {FileFormat::kApng, "Apng"}, {FileFormat::kTiff, "Tiff"},
    {FileFormat::kBigTiff, "BigTiff"}, {FileFormat::kWebp, "Webp"},
};

const char* name_of(FileFormat format) {
    for (const KnownFormat& known : kFormats) {
        if (known.format == format) {
            return known.name;
        }
    }
    return "?";
}

// Behind the interface of a descriptor, or of what a descriptor makes.
class FormatObject : public ManagedObject {
 public:
    FormatObject(const char* interface, Trade its_trade, FileFormat its_format)
        : ManagedObject(require_type(interface)), trade(its_trade), format(its_format) {}
    const Trade trade;
    const FileFormat format;

    std::string class_name() const {
        return std::string(name_of(format)) + "Image" + interfaces_of(trade).word + suffix();
    }
    std::u16string to_text() const override { return to_utf16("Zelmor.Imaging.FileFormats." + class_name()); }
    virtual const char* suffix() const = 0;
};

class DescriptorObject final : public FormatObject {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.IImageDescriptor";
    DescriptorObject(Trade its_trade, FileFormat its_format)
        : FormatObject(interfaces_of(its_trade).descriptor, its_trade, its_format) {}
    const char* suffix() const override { return "Descriptor"; }
};

class WorkerObject final : public FormatObject {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.IImageLoader";
    WorkerObject(Trade its_trade, FileFormat its_format)
        : FormatObject(interfaces_of(its_trade).worker, its_trade, its_format) {}
    const char* suffix() const override { return ""; }
};

using Registry = std::vector<Ref<DescriptorObject>>;

// Of the process, as the classes are static; no callback runs while one is gone through.
Registry& registry(Trade trade) {
    static auto* registries = new std::vector<Registry>([] {
        std::vector<Registry> all(kTrades);
        for (size_t i = 0; i < kTrades; ++i) {
            for (const KnownFormat& known : kFormats) {
                all[i].push_back(make_ref<DescriptorObject>(static_cast<Trade>(i), known.format));
            }
        }
        return all;
    }());
    return (*registries)[static_cast<size_t>(trade)];
}

Interface as_interface(const Ref<DescriptorObject>& descriptor) {
    return {Ref<ManagedObject>(descriptor)};
}

// ---- What all registries have

template <Trade T>
Collection registered_descriptors() {
    std::vector<Value> items;
    for (const Ref<DescriptorObject>& descriptor : registry(T)) {
        items.emplace_back(Ref<ManagedObject>(descriptor));
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(
        ListShape::kArray, element_of(Wire::kInterface, interfaces_of(T).descriptor), std::move(items)))};
}

template <Trade T>
FileFormat registered_formats() {
    uint64_t formats = 0;
    for (const Ref<DescriptorObject>& descriptor : registry(T)) {
        formats |= static_cast<uint64_t>(descriptor->format);
    }
    return static_cast<FileFormat>(formats);
}

template <Trade T>
Ref<DescriptorObject> descriptor_of(const VariantArg* arg) {
    const Ref<ManagedObject> object = read_object(arg, require_type(interfaces_of(T).descriptor));
    if (!object) {
        throw_argument_null("descriptor");
    }
    return Ref<DescriptorObject>(&cast_object<DescriptorObject>(*object));
}

// The latest is asked first, so that it goes to the front; one that is there already only moves.
template <Trade T>
void register_one(const VariantArg* descriptor) {
    Ref<DescriptorObject> object = descriptor_of<T>(descriptor);
    Registry& all = registry(T);
    std::erase_if(all, [&](const Ref<DescriptorObject>& known) { return known->format == object->format; });
    all.insert(all.begin(), std::move(object));
}

template <Trade T>
void unregister_one(const VariantArg* descriptor) {
    const Ref<DescriptorObject> object = descriptor_of<T>(descriptor);
    std::erase_if(registry(T), [&](const Ref<DescriptorObject>& known) { return known->format == object->format; });
}

template <Trade T, class Fits>
Ref<DescriptorObject> first_of(Fits&& fits) {
    for (const Ref<DescriptorObject>& descriptor : registry(T)) {
        if (fits(*descriptor)) {
            return descriptor;
        }
    }
    return nullptr;
}

template <Trade T>
Interface worker_of(const Ref<DescriptorObject>& descriptor) {
    if (!descriptor) {
        return {nullptr};
    }
    return {Ref<ManagedObject>(make_ref<WorkerObject>(T, descriptor->format))};
}
template <Trade T>
Interface create_instance(DescriptorObject& self) {
    return worker_of<T>(Ref<DescriptorObject>(&self));
}

FileFormat supported_format(DescriptorObject& self) {
    return self.format;
}

// ---- Loading

// The format of what lies ahead in a stream, whose position stays.
FileFormat format_ahead(const Ref<ManagedStream>& stream) {
    return file_format_of(facts_ahead(stream));
}

Ref<DescriptorObject> loader_for(const Ref<ManagedStream>& stream) {
    const FileFormat format = format_ahead(stream);
    return first_of<Trade::kLoading>([&](const DescriptorObject& d) { return d.format == format; });
}
Interface first_loader_descriptor(Ref<ManagedStream> stream, Record*) {
    return as_interface(loader_for(stream));
}
Interface first_loader(Ref<ManagedStream> stream, Record*) {
    return worker_of<Trade::kLoading>(loader_for(stream));
}
Interface loader_by_name(const std::optional<std::u16string>& descriptor_type_name) {
    if (!descriptor_type_name) {
        throw_argument_null("descriptor_type_name");
    }
    const std::string name = to_utf8(*descriptor_type_name);
    return as_interface(first_of<Trade::kLoading>(
        [&](const DescriptorObject& d) { return name == d.class_name() || name == to_utf8(d.to_text()); }));
}
Interface loader_by_format(FileFormat file_format) {
    return as_interface(first_of<Trade::kLoading>([&](const DescriptorObject& d) {
        return (static_cast<uint64_t>(d.format) & static_cast<uint64_t>(file_format)) != 0;
    }));
}

StreamContainerObject& required_container(StreamContainerObject* container) {
    if (!container) {
        throw_argument_null("stream_container");
    }
    return *container;
}
bool can_load(DescriptorObject& self, StreamContainerObject* stream_container, Record*) {
    return format_ahead(required_container(stream_container).stream()) == self.format;
}
Ref<ImageObject> load(WorkerObject&, StreamContainerObject* stream_container, Record* load_options) {
    return image_of_stream(required_container(stream_container).stream(), load_options);
}

// ---- Exporting

// The format that options write.
FileFormat written_format(const Record& options) {
    imagework::FileFacts facts;
    facts.format = format_of_options(options);
    facts.is_apng = is_animation_options(options);
    facts.is_big_tiff = std::string_view(options.type().name) == "BigTiffOptions";
    return file_format_of(facts);
}
const Record& required_options(const Record* options) {
    if (!options) {
        throw_argument_null("options");
    }
    return *options;
}

Ref<DescriptorObject> exporter_for(ImageObject* image, const Record* options) {
    if (!image) {
        throw_argument_null("image");
    }
    const FileFormat format = written_format(required_options(options));
    return first_of<Trade::kExporting>([&](const DescriptorObject& d) { return d.format == format; });
}
Interface first_exporter_descriptor(ImageObject* image, Record* options) {
    return as_interface(exporter_for(image, options));
}
Interface first_exporter(ImageObject* image, Record* options) {
    return worker_of<Trade::kExporting>(exporter_for(image, options));
}
bool can_export(DescriptorObject& self, ImageObject* image, Record* options_base) {
    if (!image) {
        throw_argument_null("image");
    }
    image->require_live();
    return written_format(required_options(options_base)) == self.format;
}
void export_part(WorkerObject&, ImageObject* image, Ref<ManagedStream> stream, Record* options_base,
                 const RectangleValue* bounds) {
    if (!image) {
        throw_argument_null("image");
    }
    save_to_stream(*image, *stream, required_options(options_base), bounds);
}
void export_all(WorkerObject& self, ImageObject* image, Ref<ManagedStream> stream, Record* options_base) {
    export_part(self, image, std::move(stream), options_base, nullptr);
}
void export_bounds(WorkerObject& self, ImageObject* image, Ref<ManagedStream> stream, Record* options_base,
                   const RectangleValue& bounds_rectangle) {
    export_part(self, image, std::move(stream), options_base, &bounds_rectangle);
}

// ---- Creating

Ref<DescriptorObject> creator_for(const Record* image_options) {
    const FileFormat format = written_format(required_options(image_options));
    return first_of<Trade::kCreating>([&](const DescriptorObject& d) { return d.format == format; });
}
Interface first_creator_descriptor(Record* image_options) {
    return as_interface(creator_for(image_options));
}
Interface first_creator(Record* image_options) {
    return worker_of<Trade::kCreating>(creator_for(image_options));
}
bool can_create(DescriptorObject& self, Record* image_options) {
    return written_format(required_options(image_options)) == self.format;
}
Ref<ImageObject> create(WorkerObject&, StreamContainerObject* stream_container, Record* image_options, int32_t width,
                        int32_t height) {
    Ref<ManagedStream> target = required_container(stream_container).stream();
    Ref<ImageObject> image = create_image(image_options, width, height);
    image->target_stream = std::move(target);
    return image;
}

constexpr Trade kLoad = Trade::kLoading, kExport = Trade::kExporting, kCreate = Trade::kCreating;

using IImageCreatorApi = api::IImageCreator;
using IImageCreatorDescriptorApi = api::IImageCreatorDescriptor;
using IImageDescriptorApi = api::IImageDescriptor;
using IImageExporterApi = api::IImageExporter;
using IImageExporterDescriptorApi = api::IImageExporterDescriptor;
using IImageLoaderApi = api::IImageLoader;
using IImageLoaderDescriptorApi = api::IImageLoaderDescriptor;
using ImageCreatorsRegistryApi = api::ImageCreatorsRegistry;
using ImageExportersRegistryApi = api::ImageExportersRegistry;
using ImageLoadersRegistryApi = api::ImageLoadersRegistry;

const BehaviorTable table({
    behavior<&registered_descriptors<kLoad>, ImageLoadersRegistryApi::getsa_RegisteredDescriptors>(),
    behavior<&registered_formats<kLoad>, ImageLoadersRegistryApi::getsa_RegisteredFormats>(),
    behavior<&register_one<kLoad>, ImageLoadersRegistryApi::call_000_Register,
             ImageLoadersRegistryApi::call_000_RegisterLoader>(),
    behavior<&unregister_one<kLoad>, ImageLoadersRegistryApi::call_000_UnregisterLoader>(),
    behavior<&loader_by_name, ImageLoadersRegistryApi::call_000_GetFirstSupportedDescriptorByTypeName>(),
    behavior<&loader_by_format, ImageLoadersRegistryApi::call_000_GetFirstSupportedDescriptorByFileFormat>(),
    behavior<&first_loader_descriptor, ImageLoadersRegistryApi::call_000_GetFirstSupportedDescriptor>(),
    behavior<&first_loader, ImageLoadersRegistryApi::call_000_CreateFirstSupportedLoader>(),
    behavior<&can_load, IImageLoaderDescriptorApi::call_000_CanLoad>(),
    behavior<&create_instance<kLoad>, IImageLoaderDescriptorApi::call_000_CreateInstance>(),
    behavior<&load, IImageLoaderApi::call_000_Load>(),
    behavior<&registered_descriptors<kExport>, ImageExportersRegistryApi::getsa_RegisteredExporterDescriptors>(),
    behavior<&registered_formats<kExport>, ImageExportersRegistryApi::getsa_RegisteredFormats>(),
    behavior<&register_one<kExport>, ImageExportersRegistryApi::call_000_Register,
             ImageExportersRegistryApi::call_000_RegisterExporter>(),
    behavior<&unregister_one<kExport>, ImageExportersRegistryApi::call_000_UnregisterExporter>(),
    behavior<&first_exporter_descriptor, ImageExportersRegistryApi::call_000_GetFirstSupportedDescriptor>(),
    behavior<&first_exporter, ImageExportersRegistryApi::call_000_CreateFirstSupportedExporter>(),
    behavior<&can_export, IImageExporterDescriptorApi::call_000_CanExport>(),
    behavior<&create_instance<kExport>, IImageExporterDescriptorApi::call_000_CreateInstance>(),
    behavior<&export_all, IImageExporterApi::call_000_Export>(),
    behavior<&export_bounds, IImageExporterApi::call_001_Export>(),
    behavior<&registered_descriptors<kCreate>, ImageCreatorsRegistryApi::getsa_RegisteredDescriptors>(),
    behavior<&registered_formats<kCreate>, ImageCreatorsRegistryApi::getsa_RegisteredFormats>(),
    behavior<&register_one<kCreate>, ImageCreatorsRegistryApi::call_000_Register,
             ImageCreatorsRegistryApi::call_000_RegisterCreator>(),
    behavior<&unregister_one<kCreate>, ImageCreatorsRegistryApi::call_000_UnregisterCreator>(),
    behavior<&first_creator_descriptor, ImageCreatorsRegistryApi::call_000_GetFirstSupportedDescriptor>(),
    behavior<&first_creator, ImageCreatorsRegistryApi::call_000_CreateFirstSupportedCreator>(),
    behavior<&can_create, IImageCreatorDescriptorApi::call_000_CanCreate>(),
    behavior<&create_instance<kCreate>, IImageCreatorDescriptorApi::call_000_CreateInstance>(),
    behavior<&create, IImageCreatorApi::call_000_Create>(),
    behavior<&supported_format, IImageDescriptorApi::get_SupportedFormat>(),
});
#undef "Zelmor.Imaging."

}  // namespace

bool is_registered(Trade trade, FileFormat format) {
    const Registry& all = registry(trade);
    return std::any_of(all.begin(), all.end(),
                       [&](const Ref<DescriptorObject>& descriptor) { return descriptor->format == format; });
}

void require_registered(Trade trade, FileFormat format) {
    if (is_registered(trade, format)) {
        return;
    }
    static constexpr const char* kWords[kTrades] = {"load", "save", "create"};
    throw ManagedException("NotSupportedException", std::string("Nothing is registered to ") +
                                                        kWords[static_cast<size_t>(trade)] + " images of the format " +
                                                        name_of(format) + ".");
}

}  // namespace zelmor::embed
