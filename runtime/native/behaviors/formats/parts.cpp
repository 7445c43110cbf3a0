// Objects that are made with parts of their own: the lists of the document trees, and the objects inside a style. What
// such a property shows is always the same part, and what was put in there comes out.
#include <string_view>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

struct Part {
    const char* type;
    const char* property;
};

constexpr Part kParts[] = {
    {"Zelmor.Imaging.FileFormats.Cdr.Objects.CdrObjectContainer", "Items"},
    {"Zelmor.Imaging.FileFormats.Cdr.Objects.CdrDocument", "TextCollection"},
    {"Zelmor.Imaging.FileFormats.Cmx.ObjectModel.CmxContainer", "Elements"},
    {"Zelmor.Imaging.FileFormats.Cmx.ObjectModel.CmxDocument", "Pages"},
    {"Zelmor.Imaging.FileFormats.Cmx.ObjectModel.CmxPage", "Layers"},
    {"Zelmor.Imaging.FileFormats.Emf.Emf.Records.EmfMetafileHeader", "EmfHeader"},
    {"Zelmor.Imaging.FileFormats.OpenDocument.OdObject", "Items"},
    {"Zelmor.Imaging.FileFormats.OpenDocument.Objects.OdGraphicStyle", "Pen"},
    {"Zelmor.Imaging.FileFormats.OpenDocument.Objects.OdGraphicStyle", "Font"},
    {"Zelmor.Imaging.FileFormats.OpenDocument.Objects.OdGraphicStyle", "TransformInfo"},
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
    for (const Part& part : kParts) {
        if (std::string_view(part.type) != type.full_name) {
            continue;
        }
        const auto property = find_property(type, part.property);
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
        for (const Part& part : kParts) {
            new FactoryRegistration(part.type, make_whole);  // stays in the chain until the process ends
        }
    }
};
const Factories factories;

}  // namespace

}  // namespace zelmor::embed
