// The registries themselves, and the members that all three have; see registries.h.
#include "runtime/native/behaviors/images/registries.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/delegates/row_behavior.h"
#include "runtime/native/formats/format_room.h"

namespace zelmor::embed {

namespace {

using CreatorsApi = api::ImageCreatorsRegistry;
using ExportersApi = api::ImageExportersRegistry;
using LoadersApi = api::ImageLoadersRegistry;

// A registry: what it holds, and how the API names the members that all registries have.
struct RegistryClass {
    Trade trade;
    const TypeName& descriptor;
    const TypeName& worker;
    const char* noun;  // in the names of the objects
    const char* verb;  // in messages
    const EntryName* descriptors;
    const EntryName* formats;
    const EntryName* add;
    const EntryName* add_by_name;
    const EntryName* remove;
    const EntryName* make_worker;
};
constexpr RegistryClass kRegistries[] = {
    {Trade::kLoading, api::IImageLoaderDescriptor::kType, api::IImageLoader::kType, "Loader", "load",
     &LoadersApi::getsa_RegisteredDescriptors, &LoadersApi::getsa_RegisteredFormats, &LoadersApi::call_000_Register,
     &LoadersApi::call_000_RegisterLoader, &LoadersApi::call_000_UnregisterLoader,
     &api::IImageLoaderDescriptor::call_000_CreateInstance},
    {Trade::kExporting, api::IImageExporterDescriptor::kType, api::IImageExporter::kType, "Exporter", "save",
     &ExportersApi::getsa_RegisteredExporterDescriptors, &ExportersApi::getsa_RegisteredFormats,
     &ExportersApi::call_000_Register, &ExportersApi::call_000_RegisterExporter,
     &ExportersApi::call_000_UnregisterExporter, &api::IImageExporterDescriptor::call_000_CreateInstance},
    {Trade::kCreating, api::IImageCreatorDescriptor::kType, api::IImageCreator::kType, "Creator", "create",
     &CreatorsApi::getsa_RegisteredDescriptors, &CreatorsApi::getsa_RegisteredFormats, &CreatorsApi::call_000_Register,
     &CreatorsApi::call_000_RegisterCreator, &CreatorsApi::call_000_UnregisterCreator,
     &api::IImageCreatorDescriptor::call_000_CreateInstance},
};
const RegistryClass& class_of(Trade trade) {
    const auto index = static_cast<size_t>(trade);
    assert(kRegistries[index].trade == trade);
    return kRegistries[index];
}

const char* name_of(FileFormat format) {
    const FormatClasses* known = classes_of(format);
    return known != nullptr ? known->name : "?";
}

using Registry = std::vector<Ref<DescriptorObject>>;

bool is_vector_image(const TypeName& image) {
    return is_assignable(require_type(api::VectorImage::kType.name), require_type(image.name));
}

bool takes_part(Trade trade, const FormatClasses& known) {
    switch (trade) {
        case Trade::kLoading:
            return imagework::room_of(known.codec).probe != nullptr;
        case Trade::kExporting:
            return known.options.get() != nullptr;
        case Trade::kCreating:
            break;
    }
    const FormatMembers& members = *members_of(known.codec);
    return known.options.get() != nullptr && (members.new_pixels != nullptr || is_vector_image(known.image));
}

// Of the process, as the API's classes are static. No Python code runs while a registry is walked.
Registry& registry(Trade trade) {
    static auto* registries = new std::vector<Registry>([] {
        std::vector<Registry> all(std::size(kRegistries));
        for (const RegistryClass& each : kRegistries) {
            for (const FormatClasses* known : format_classes()) {
                if (!takes_part(each.trade, *known)) {
                    continue;
                }
                all[static_cast<size_t>(each.trade)].push_back(make_ref<DescriptorObject>(each.trade, known->format));
            }
        }
        return all;
    }());
    return (*registries)[static_cast<size_t>(trade)];
}

}  // namespace

std::string FormatObject::class_name() const {
    return std::string(name_of(format)) + "Image" + class_of(trade).noun + suffix();
}

std::u16string FormatObject::to_text() const {
    return to_utf16("Zelmor.Imaging.FileFormats." + class_name());
}

DescriptorObject::DescriptorObject(Trade its_trade, FileFormat its_format)
    : FormatObject(class_of(its_trade).descriptor, its_trade, its_format) {}

WorkerObject::WorkerObject(Trade its_trade, FileFormat its_format)
    : FormatObject(class_of(its_trade).worker, its_trade, its_format) {}

bool is_registered(Trade trade, FileFormat format) {
    return static_cast<bool>(first_descriptor(trade, format));
}

void require_registered(Trade trade, FileFormat format) {
    if (!is_registered(trade, format)) {
        throw ManagedException("NotSupportedException", std::string("Nothing is registered to ") +
                                                            class_of(trade).verb + " images of the format " +
                                                            name_of(format) + ".");
    }
}

Ref<DescriptorObject> first_descriptor(Trade trade, const std::function<bool(const DescriptorObject&)>& fits) {
    for (const Ref<DescriptorObject>& descriptor : registry(trade)) {
        if (fits(*descriptor)) {
            return descriptor;
        }
    }
    return nullptr;
}

Ref<DescriptorObject> first_descriptor(Trade trade, FileFormat format) {
    return first_descriptor(trade, [&](const DescriptorObject& descriptor) { return descriptor.format == format; });
}

Interface as_interface(const Ref<DescriptorObject>& descriptor) {
    return {Ref<ManagedObject>(descriptor)};
}

Interface worker_of(const Ref<DescriptorObject>& descriptor) {
    if (!descriptor) {
        return {nullptr};
    }
    return {Ref<ManagedObject>(make_ref<WorkerObject>(descriptor->trade, descriptor->format))};
}

namespace {

Collection registered_descriptors(const RegistryClass& row) {
    std::vector<Value> items;
    for (const Ref<DescriptorObject>& descriptor : registry(row.trade)) {
        items.emplace_back(Ref<ManagedObject>(descriptor));
    }
    return {Ref<ManagedObject>(
        make_ref<ValueList>(ListShape::kArray, element_of(Wire::kInterface, row.descriptor.name), std::move(items)))};
}

FileFormat registered_formats(const RegistryClass& row) {
    uint64_t formats = 0;
    for (const Ref<DescriptorObject>& descriptor : registry(row.trade)) {
        formats |= static_cast<uint64_t>(descriptor->format);
    }
    return static_cast<FileFormat>(formats);
}

Ref<DescriptorObject> read_descriptor(const RegistryClass& row, const VariantArg* descriptor) {
    const Ref<ManagedObject> object = read_object(descriptor, require_type(row.descriptor.name));
    if (!object) {
        throw_argument_null("descriptor");
    }
    return Ref<DescriptorObject>(&cast_object<DescriptorObject>(*object));
}

void unregister(const RegistryClass& row, const VariantArg* descriptor) {
    const Ref<DescriptorObject> object = read_descriptor(row, descriptor);
    std::erase_if(registry(row.trade),
                  [&](const Ref<DescriptorObject>& known) { return known->format == object->format; });
}

// The latest is asked first. One of a format that is registered already takes the place of the earlier one.
void register_first(const RegistryClass& row, const VariantArg* descriptor) {
    Ref<DescriptorObject> object = read_descriptor(row, descriptor);
    Registry& all = registry(row.trade);
    std::erase_if(all, [&](const Ref<DescriptorObject>& known) { return known->format == object->format; });
    all.insert(all.begin(), std::move(object));
}

Interface make_worker(const RegistryClass& row, DescriptorObject& self) {
    return {Ref<ManagedObject>(make_ref<WorkerObject>(row.trade, self.format))};
}

FileFormat supported_format(DescriptorObject& self) {
    return self.format;
}

std::vector<BehaviorRow> rows() {
    std::vector<BehaviorRow> result = {behavior<&supported_format, api::IImageDescriptor::get_SupportedFormat>()};
    for (const RegistryClass& row : kRegistries) {
        result.insert(result.end(),
                      {row_behavior<&registered_descriptors>(row.descriptors, row),
                       row_behavior<&registered_formats>(row.formats, row), row_behavior<&register_first>(row.add, row),
                       row_behavior<&register_first>(row.add_by_name, row), row_behavior<&unregister>(row.remove, row),
                       row_behavior<&make_worker>(row.make_worker, row)});
    }
    return result;
}

const BehaviorTable ZELMOR_UNNAMED{std::span<const BehaviorRow>(rows())};

}  // namespace

}  // namespace zelmor::embed
