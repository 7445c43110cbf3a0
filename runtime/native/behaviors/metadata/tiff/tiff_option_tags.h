// TiffOptions as a set of tags.
//
// Many of its properties are tags under another name. The stored properties are what the encoder reads, so they are the
// truth; a tag object that was handed out or put in is kept in step with them, whichever of the two was changed last.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_OPTION_TAGS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_OPTION_TAGS_H

#include <map>
#include <set>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_tags.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

struct TiffOptionProperty;

class TiffOptionsObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::ImageOptions::TiffOptions::kType.name;
    explicit TiffOptionsObject(const TypeInfo& type);

    // The tags that are set, by number.
    std::vector<Ref<TagObject>> tags();
    Ref<TagObject> find(uint16_t id);
    void put(Ref<TagObject> tag);
    bool remove(uint16_t id);
    // Brings properties and tag objects in step: all, or one property with its tag, if there is an object of it.
    void synchronize();
    void synchronize_known(const TiffOptionProperty& property);
    // Sets a property, and its tag object if there is one. A value that the tag refuses changes neither.
    void set(const TiffOptionProperty& property, Value value);

    // The array that was handed out last.
    Ref<ManagedList> shown;

    Ref<ManagedObject> copy() const override;
    void references(ReferenceVisitor& visitor) override;
    void assign_options(const Record& other);

 private:
    bool is_present(const TiffOptionProperty& property) const;
    void synchronize(const TiffOptionProperty& property);

    struct Known {
        Ref<TagObject> tag;
        Value property;  // as it was when both agreed
        Bytes encoded;   // of the tag at that time
    };
    std::map<uint16_t, Known> m_known;
    std::set<uint16_t> m_put;      // set by a tag, even to what the property has anyway
    std::set<uint16_t> m_removed;  // of those that every file has
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_OPTION_TAGS_H
