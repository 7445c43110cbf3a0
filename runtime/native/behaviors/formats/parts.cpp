// Objects that are made with parts of their own: the lists of the document trees, and the objects inside a style. Such
// a property always returns the same object.
#include <cassert>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const PropertyName* kParts[] = {
    &api::FileFormats::Cdr::Objects::CdrObjectContainer::property_Items,
    &api::FileFormats::Cdr::Objects::CdrDocument::property_TextCollection,
    &api::FileFormats::Cmx::ObjectModel::CmxContainer::property_Elements,
    &api::FileFormats::Cmx::ObjectModel::CmxDocument::property_Pages,
    &api::FileFormats::Cmx::ObjectModel::CmxPage::property_Layers,
    &api::FileFormats::OpenDocument::OdObject::property_Items,
    &api::FileFormats::OpenDocument::Objects::OdGraphicStyle::property_Pen,
    &api::FileFormats::OpenDocument::Objects::OdGraphicStyle::property_Font,
    &api::FileFormats::OpenDocument::Objects::OdGraphicStyle::property_TransformInfo,
};

Value make_part(const PropertyInfo& property) {
    if (property.wire == Wire::kCollection) {
        return Ref<ManagedObject>(make_list(ListShape::kList, element_of(property.collection)));
    }
    return make_instance(*type_at(property.type));
}

void add_parts(Record& record, const TypeInfo& type) {
    if (const TypeInfo* base = base_of(type)) {
        add_parts(record, *base);
    }
    for (const PropertyName* part : kParts) {
        if (std::string_view(part->type.name) != type.full_name) {
            continue;
        }
        const auto property = find_property(type, part->name);
        assert(property.has_value());
        record.set_slot(property->slot, make_part(*property->info));
    }
}

Ref<ManagedObject> make_whole(const TypeInfo& type) {
    auto record = make_ref<Record>(type);
    add_parts(*record, type);
    return record;
}

// One for each type of the table, under its name.
struct Factories {
    Factories() {
        for (const PropertyName* part : kParts) {
            new FactoryRegistration(part->type.name, make_whole);  // stays in the chain until the process ends
        }
    }
};
const Factories factories;

}  // namespace

}  // namespace zelmor::embed
