// Loaders, exporters and creators: how they are found, and what they do.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/picture_source.h"
#include "runtime/native/behaviors/images/registries.h"
#include "runtime/native/behaviors/images/saving.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

// ---- Loading

// The format of the data ahead in a stream, whose position stays.
FileFormat format_ahead(const Ref<ManagedStream>& stream) {
    return file_format_of(facts_ahead(stream));
}

Ref<DescriptorObject> loader_for(const Ref<ManagedStream>& stream) {
    return first_descriptor(Trade::kLoading, format_ahead(stream));
}
Interface first_loader_descriptor(Ref<ManagedStream> stream, Record*) {
    return as_interface(loader_for(stream));
}
Interface first_loader(Ref<ManagedStream> stream, Record*) {
    return worker_of(loader_for(stream));
}
Interface loader_by_name(const std::optional<std::u16string>& descriptor_type_name) {
    if (!descriptor_type_name) {
        throw_argument_null("descriptor_type_name");
    }
    const std::string name = to_utf8(*descriptor_type_name);
    return as_interface(first_descriptor(Trade::kLoading, [&](const DescriptorObject& d) {
        return name == d.class_name() || name == to_utf8(d.to_text());
    }));
}
Interface loader_by_format(FileFormat file_format) {
    return as_interface(first_descriptor(Trade::kLoading, [&](const DescriptorObject& d) {
        return (static_cast<uint64_t>(d.format) & static_cast<uint64_t>(file_format)) != 0;
    }));
}

StreamContainerObject& required_container(StreamContainerObject* container) {
    if (container == nullptr) {
        throw_argument_null("stream_container");
    }
    return *container;
}
bool can_load(DescriptorObject& self, StreamContainerObject* stream_container, Record*) {
    return format_ahead(required_container(stream_container).stream()) == self.format;
}
Ref<ImageBase> load(WorkerObject&, StreamContainerObject* stream_container, Record* load_options) {
    return any_image_of_stream(required_container(stream_container).stream(), load_options);
}

// ---- Exporting

// The format that the options are for; ArgumentNullException without any.
FileFormat worker_format(const Record* options) {
    return file_format_of_options(required_options(options));
}

Ref<DescriptorObject> exporter_for(ImageBase* image, const Record* options) {
    if (image == nullptr) {
        throw_argument_null("image");
    }
    return first_descriptor(Trade::kExporting, worker_format(options));
}
Interface first_exporter_descriptor(ImageBase* image, Record* options) {
    return as_interface(exporter_for(image, options));
}
Interface first_exporter(ImageBase* image, Record* options) {
    return worker_of(exporter_for(image, options));
}
bool can_export(DescriptorObject& self, ImageBase* image, Record* options_base) {
    if (image == nullptr) {
        throw_argument_null("image");
    }
    image->require_live();
    return worker_format(options_base) == self.format;
}
void export_part(WorkerObject&, ImageBase* image, Ref<ManagedStream> stream, Record* options_base,
                 const RectangleValue* bounds) {
    if (image == nullptr) {
        throw_argument_null("image");
    }
    save_to_stream(*image, *stream, required_options(options_base), bounds);
}
void export_all(WorkerObject& self, ImageBase* image, Ref<ManagedStream> stream, Record* options_base) {
    export_part(self, image, std::move(stream), options_base, nullptr);
}
void export_bounds(WorkerObject& self, ImageBase* image, Ref<ManagedStream> stream, Record* options_base,
                   const RectangleValue& bounds_rectangle) {
    export_part(self, image, std::move(stream), options_base, &bounds_rectangle);
}

// ---- Creating

Ref<DescriptorObject> creator_for(const Record* image_options) {
    return first_descriptor(Trade::kCreating, worker_format(image_options));
}
Interface first_creator_descriptor(Record* image_options) {
    return as_interface(creator_for(image_options));
}
Interface first_creator(Record* image_options) {
    return worker_of(creator_for(image_options));
}
bool can_create(DescriptorObject& self, Record* image_options) {
    return worker_format(image_options) == self.format;
}
Ref<ImageBase> create(WorkerObject&, StreamContainerObject* stream_container, Record* image_options, int32_t width,
                      int32_t height) {
    Ref<ManagedStream> target = required_container(stream_container).stream();
    Ref<ImageBase> image = create_any_image(image_options, width, height);
    image->target_stream = std::move(target);
    return image;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&loader_by_name, api::ImageLoadersRegistry::call_000_GetFirstSupportedDescriptorByTypeName>(),
    behavior<&loader_by_format, api::ImageLoadersRegistry::call_000_GetFirstSupportedDescriptorByFileFormat>(),
    behavior<&first_loader_descriptor, api::ImageLoadersRegistry::call_000_GetFirstSupportedDescriptor>(),
    behavior<&first_loader, api::ImageLoadersRegistry::call_000_CreateFirstSupportedLoader>(),
    behavior<&can_load, api::IImageLoaderDescriptor::call_000_CanLoad>(),
    behavior<&load, api::IImageLoader::call_000_Load>(),
    behavior<&first_exporter_descriptor, api::ImageExportersRegistry::call_000_GetFirstSupportedDescriptor>(),
    behavior<&first_exporter, api::ImageExportersRegistry::call_000_CreateFirstSupportedExporter>(),
    behavior<&can_export, api::IImageExporterDescriptor::call_000_CanExport>(),
    behavior<&export_all, api::IImageExporter::call_000_Export>(),
    behavior<&export_bounds, api::IImageExporter::call_001_Export>(),
    behavior<&first_creator_descriptor, api::ImageCreatorsRegistry::call_000_GetFirstSupportedDescriptor>(),
    behavior<&first_creator, api::ImageCreatorsRegistry::call_000_CreateFirstSupportedCreator>(),
    behavior<&can_create, api::IImageCreatorDescriptor::call_000_CanCreate>(),
    behavior<&create, api::IImageCreator::call_000_Create>(),
});

}  // namespace

}  // namespace zelmor::embed
