// Objects of metafiles and what they keep beside their properties.
#include "runtime/native/formats/metafile/metafile_object.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"

namespace zelmor::embed::metafile {

namespace {

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<MetafileObject>(type);
}

// A new header record has its header.
Ref<ManagedObject> make_header(const TypeInfo& type) {
    Ref<ManagedObject> record = make(type);
    set_property(*record, api::FileFormats::Emf::Emf::Records::EmfMetafileHeader::property_EmfHeader.name,
                 Value(make_instance(api::FileFormats::Emf::Emf::Objects::EmfHeaderObject::kType.name)));
    return record;
}

// All classes of records and objects, and those that derive from nothing but have reserved fields.
namespace emf = api::FileFormats::Emf;
const FactoryRegistration ZELMOR_UNNAMED(emf::MetaObject::kType.name, &make);
const FactoryRegistration ZELMOR_UNNAMED(emf::Emf::Records::EmfMetafileHeader::kType.name, &make_header);
const FactoryRegistration ZELMOR_UNNAMED(emf::EmfPlus::Objects::EmfPlusBasePointType::kType.name, &make);
const FactoryRegistration ZELMOR_UNNAMED(emf::Emf::Records::EmfRop4::kType.name, &make);
const FactoryRegistration ZELMOR_UNNAMED(emf::Emf::Records::EmfVertexData::kType.name, &make);

}  // namespace

Ref<ManagedObject> MetafileObject::copy() const {
    Ref<ManagedObject> twin = Record::copy();
    auto& same = static_cast<MetafileObject&>(*twin);
    same.number = number;
    same.continues = continues;
    same.source = source;
    same.m_kept = m_kept;
    return twin;
}

const Kept* MetafileObject::find_kept(int32_t item, KeptAs as) const {
    for (const Kept& kept : m_kept) {
        if (kept.item == item && kept.as == as) {
            return &kept;
        }
    }
    return nullptr;
}

void MetafileObject::keep(int32_t item, KeptAs as, FileBytes bytes) {
    for (Kept& kept : m_kept) {
        if (kept.item == item && kept.as == as) {
            kept.bytes = std::move(bytes);
            return;
        }
    }
    m_kept.push_back({item, as, std::move(bytes)});
}

}  // namespace zelmor::embed::metafile
