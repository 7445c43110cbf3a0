// Registries of loaders, exporters and creators: what can be registered for a format, and whether it is.
//
// A registry holds descriptors, objects of this runtime behind the interfaces of the API. Each stands for one format; a
// program can take it out of its registry and put it in again. A descriptor makes workers: loaders, exporters,
// creators.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_REGISTRIES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_REGISTRIES_H

#include <functional>
#include <string>

#include "runtime/native/behaviors/images/format_classes.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

// What the objects of a registry do; there is one registry for each.
enum class Trade : uint8_t { kLoading, kExporting, kCreating };

// Whether the registry has a descriptor of the format.
bool is_registered(Trade trade, FileFormat format);
// NotSupportedException where it has none.
void require_registered(Trade trade, FileFormat format);

// A descriptor, or a worker that one has made.
class FormatObject : public ManagedObject {
 public:
    FormatObject(const TypeName& interface, Trade its_trade, FileFormat its_format)
        : ManagedObject(require_type(interface.name)), trade(its_trade), format(its_format) {}
    const Trade trade;
    const FileFormat format;

    std::string class_name() const;  // "PngImageLoaderDescriptor"
    std::u16string to_text() const override;

 protected:
    virtual const char* suffix() const = 0;
};

class DescriptorObject final : public FormatObject {
 public:
    static constexpr const char* kManagedName = api::IImageDescriptor::kType.name;
    DescriptorObject(Trade its_trade, FileFormat its_format);

 protected:
    const char* suffix() const override { return "Descriptor"; }
};

class WorkerObject final : public FormatObject {
 public:
    static constexpr const char* kManagedName = api::IImageLoader::kType.name;
    WorkerObject(Trade its_trade, FileFormat its_format);

 protected:
    const char* suffix() const override { return ""; }
};

// The first descriptor in the registry that fits; null where none does.
Ref<DescriptorObject> first_descriptor(Trade trade, const std::function<bool(const DescriptorObject&)>& fits);
Ref<DescriptorObject> first_descriptor(Trade trade, FileFormat format);

// The descriptor as a result, and a worker that it makes; null for null.
Interface as_interface(const Ref<DescriptorObject>& descriptor);
Interface worker_of(const Ref<DescriptorObject>& descriptor);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_REGISTRIES_H
