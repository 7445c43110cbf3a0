// Paths among image resources; see path_resources.h.
#include "runtime/native/behaviors/metadata/path_resources.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Core.VectorPaths.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.PathResources.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/formats/path_records.h"
#include "runtime/native/behaviors/metadata/containers/image_resources.h"
#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;

constexpr const char* kPathResources = TiffFrameApi::property_PathResources.name;
constexpr const char* kPathResource = api::FileFormats::Tiff::PathResources::PathResource::kType.name;
constexpr const char* kPathRecord = api::FileFormats::Core::VectorPaths::VectorPathRecord::kType.name;

Ref<ManagedObject> list_of(const char* element, std::vector<Value> items) {
    return make_ref<ValueList>(ListShape::kList, element_of(Wire::kClass, element), std::move(items));
}

// Names of other programs need not be UTF-8; each byte of such a name is a character then.
std::u16string text_of_name(std::string_view name) {
    std::u16string text = to_utf16(name);
    if (to_utf8(text) != name) {
        text.assign(name.size(), u'\0');
        std::transform(name.begin(), name.end(), text.begin(),
                       [](char c) { return static_cast<char16_t>(static_cast<unsigned char>(c)); });
    }
    return text;
}

// A record of a kind that the API does not have ends the path.
std::vector<Value> records_of(std::span<const std::byte> data) {
    std::vector<Value> records;
    for (; data.size() >= kPathRecordBytes; data = data.subspan(kPathRecordBytes)) {
        try {
            records.emplace_back(path_record_of_bytes(data.first(kPathRecordBytes)));
        } catch (const ManagedException&) {
            break;
        }
    }
    return records;
}

std::vector<Value> paths_of(const Bytes& resources) {
    std::vector<Value> paths;
    for (const ImageResource& resource : image_resources(resources)) {
        if (!is_path_resource(resource.number)) {
            continue;
        }
        const Ref<ManagedObject> path = make_instance(kPathResource);
        set_property(*path, "BlockId", int64_t{resource.number});
        set_property(*path, "Name", text_of_name(resource.name));
        set_property(*path, "Records", list_of(kPathRecord, records_of(resource.data)));
        paths.emplace_back(path);
    }
    return paths;
}

// The number of a path; one that has none yet gets the first that is free.
uint16_t number_of_path(const ManagedObject& path, const std::vector<int64_t>& taken) {
    int64_t number = property_int(path, "BlockId");
    if (number == 0) {
        for (number = kFirstPathResource; std::count(taken.begin(), taken.end(), number) > 0;) {
            ++number;
        }
    }
    if (number < kFirstPathResource || number > kLastPathResource) {
        throw_out_of_range("PathResources", "The value " + std::to_string(number) +
                                                " of PathResource.BlockId is not between 2000 and 2997.");
    }
    return static_cast<uint16_t>(number);
}

Bytes bytes_of_paths(const std::vector<Value>& paths) {
    std::vector<int64_t> taken;
    for (const Value& each : paths) {
        const auto* path = std::get_if<Ref<ManagedObject>>(&each);
        if (path == nullptr || !*path) {
            throw_argument("A path of TiffFrame.PathResources is null.");
        }
        const int64_t number = property_int(**path, "BlockId");
        if (number != 0 && std::count(taken.begin(), taken.end(), number) > 0) {
            throw_argument("Two paths of TiffFrame.PathResources have the number " + std::to_string(number) + ".");
        }
        taken.push_back(number);
    }
    Bytes out;
    for (const Value& each : paths) {
        const ManagedObject& path = *std::get<Ref<ManagedObject>>(each);
        Bytes records;
        if (const Value& stored = property(path, "Records"); !is_null(stored)) {
            for (const Value& record : elements_of(stored)) {
                const auto* object = std::get_if<Ref<ManagedObject>>(&record);
                if (object == nullptr || !*object) {
                    throw_argument("A record of a path of TiffFrame.PathResources is null.");
                }
                put_path_record(records, **object);
            }
        }
        const std::string name = to_utf8(property_string(path, "Name").value_or(u""));
        constexpr size_t kLongestName = 255;
        if (name.size() > kLongestName) {
            throw_argument("The name of a path of TiffFrame.PathResources has more than 255 bytes.");
        }
        const uint16_t number = number_of_path(path, taken);
        taken.push_back(number);
        put_image_resource(out, number, name, records);
    }
    return out;
}

const Value* set_paths(const ImageObject& image) {
    if (!has_property(image, kPathResources)) {
        return nullptr;
    }
    const Value& value = property(image, kPathResources);
    return is_unset(value) ? nullptr : &value;
}

// The list of the file becomes that of the frame when it is first looked at.
Collection get_path_resources(ImageObject& self) {
    self.require_live();
    if (const Value* known = set_paths(self)) {
        return {*known};
    }
    if (self.metadata != nullptr) {
        if (std::vector<Value> paths = paths_of(self.metadata->photoshop()); !paths.empty()) {
            set_property(self, kPathResources, list_of(kPathResource, std::move(paths)));
        }
    }
    const Value* read = set_paths(self);
    return {read != nullptr ? *read : Value(Ref<ManagedObject>())};
}

constexpr DefaultValue kNothingYet[] = {DefaultValue::unset(TiffFrameApi::property_PathResources)};
const DefaultTable ZELMOR_UNNAMED(kNothingYet);

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_path_resources, TiffFrameApi::get_PathResources>(),
});

}  // namespace

Bytes with_path_resources(const ImageObject& image, Bytes resources) {
    const Value* set = set_paths(image);
    if (set == nullptr) {
        return resources;
    }
    const Bytes paths = is_null(*set) ? Bytes() : bytes_of_paths(elements_of(*set));
    if (bytes_of_paths(paths_of(resources)) == paths) {
        return resources;
    }
    Bytes result = resources_without_paths(resources);
    result.insert(result.end(), paths.begin(), paths.end());
    return result;
}

void carry_path_resources(const ImageObject& from, ImageObject& to) {
    const Value* set = set_paths(from);
    if (set != nullptr && has_property(to, kPathResources)) {
        set_property(to, kPathResources,
                     is_null(*set) ? Ref<ManagedObject>() : list_of(kPathResource, elements_of(*set)));
    }
}

}  // namespace zelmor::embed
