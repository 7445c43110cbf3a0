// GifBlocksRegistry: finds the loader for the block at the position of a stream. There is a loader for each kind of
// extension; a program may unregister loaders.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "runtime/native/behaviors/formats/gif_blocks.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kDescriptor = api::FileFormats::Gif::IGifBlockLoaderDescriptor::kType.name;

// Loads blocks of one label, or those of all labels that have no loader of their own. Python has no type for the class
// that it stands for, so its type is the interface.
class GifLoader final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = kDescriptor;
    explicit GifLoader(std::optional<GifLabel> label = {})
        : ManagedObject(require_type(kDescriptor)),
          m_name(std::string(gif_block_class(label ? static_cast<uint8_t>(*label) : 0)) + "LoaderDescriptor"),
          m_label(label) {}

    const std::string& name() const { return m_name; }
    std::u16string to_text() const override { return to_utf16(m_name); }
    bool loads(uint8_t label) const {
        if (m_label) {
            return static_cast<uint8_t>(*m_label) == label;
        }
        return gif_block_class(label) == gif_block_class(0);
    }

 private:
    std::string m_name;
    std::optional<GifLabel> m_label;
};

// One registry for the process, as the class is static. No callback runs during a search.
std::vector<Ref<GifLoader>>& loaders() {
    static auto& all = *new std::vector<Ref<GifLoader>>{
        make_ref<GifLoader>(GifLabel::kControl),
        make_ref<GifLoader>(GifLabel::kApplication),
        make_ref<GifLoader>(GifLabel::kComment),
        make_ref<GifLoader>(GifLabel::kPlainText),
        make_ref<GifLoader>(),
    };
    return all;
}

// The label of the extension at the position of a stream, or nothing. The position is restored.
std::optional<uint8_t> label_at(ManagedStream& stream) {
    const int64_t position = stream.position();
    const int introducer = stream.read_byte();
    const int label = introducer == kGifExtensionIntroducer ? stream.read_byte() : -1;
    stream.set_position(position);
    return label < 0 ? std::nullopt : std::optional(static_cast<uint8_t>(label));
}

Ref<GifLoader> first_for(ManagedStream& stream) {
    const auto label = label_at(stream);
    if (!label) {
        return nullptr;
    }
    const auto found =
        std::find_if(loaders().begin(), loaders().end(), [&](auto& each) { return each->loads(*label); });
    return found == loaders().end() ? nullptr : *found;
}

bool can_load(GifLoader& self, StreamContainerObject* stream_container) {
    if (stream_container == nullptr) {
        throw_argument_null("stream_container");
    }
    const auto label = label_at(*stream_container->stream());
    return label && self.loads(*label);
}

Interface load(GifLoader& self, StreamContainerObject* stream_container, const VariantArg*) {
    if (!can_load(self, stream_container)) {
        throw_argument("The stream stands at no block that the " + self.name() + " loads.");
    }
    return {read_gif_block(*stream_container->stream())};
}

Interface descriptor_by_name(const std::optional<std::string>& descriptor_type_name) {
    for (const auto& each : loaders()) {
        const std::string& full = each->name();
        if (descriptor_type_name == full || descriptor_type_name == full.substr(full.rfind('.') + 1)) {
            return {each};
        }
    }
    return {};
}
Interface descriptor_for(const Ref<ManagedStream>& stream) {
    return {first_for(*stream)};
}
Interface load_first(const Ref<ManagedStream>& stream, const VariantArg*) {
    return {first_for(*stream) ? read_gif_block(*stream) : nullptr};
}

Ref<GifLoader> required(const VariantArg* descriptor) {
    auto object = read_object(descriptor, require_type(kDescriptor));
    if (!object) {
        throw_argument_null("opener_descriptor");
    }
    return Ref<GifLoader>(&cast_object<GifLoader>(*object));
}
void register_opener(const VariantArg* opener_descriptor) {
    auto loader = required(opener_descriptor);
    if (std::find(loaders().begin(), loaders().end(), loader) == loaders().end()) {
        loaders().push_back(std::move(loader));
    }
}
void unregister_opener(const VariantArg* opener_descriptor) {
    std::erase(loaders(), required(opener_descriptor));
}

Collection registered() {
    std::vector<Value> all(loaders().begin(), loaders().end());
    return {Ref<ManagedObject>(
        make_ref<ValueList>(ListShape::kArray, element_of(Wire::kInterface, kDescriptor), std::move(all)))};
}

using GifBlocksRegistryApi = api::FileFormats::Gif::GifBlocksRegistry;
using IGifBlockLoaderDescriptorApi = api::FileFormats::Gif::IGifBlockLoaderDescriptor;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&can_load, IGifBlockLoaderDescriptorApi::call_000_CanLoad>(),
    behavior<&load, IGifBlockLoaderDescriptorApi::call_000_Load>(),
    behavior<&descriptor_by_name, GifBlocksRegistryApi::call_000_GetFirstSupportedDescriptorByTypeName>(),
    behavior<&descriptor_for, GifBlocksRegistryApi::call_000_GetFirstSupportedDescriptor>(),
    behavior<&load_first, GifBlocksRegistryApi::call_000_LoadBlockByFirstSupportedDescriptor>(),
    behavior<&register_opener, GifBlocksRegistryApi::call_000_RegisterOpener>(),
    behavior<&unregister_opener, GifBlocksRegistryApi::call_000_UnregisterOpener>(),
    behavior<&registered, GifBlocksRegistryApi::getsa_RegisteredDescriptors>(),
});

}  // namespace

}  // namespace zelmor::embed
