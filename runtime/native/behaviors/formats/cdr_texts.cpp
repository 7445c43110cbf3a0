// CdrTextCollection: the texts of a CDR document, several under one key.
#include "runtime/native/behaviors/formats/cdr_texts.h"

#include <map>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Types.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

constexpr const char* kTexts = api::FileFormats::Cdr::Types::CdrTextCollection::kType.name;
constexpr const char* kText = api::FileFormats::Cdr::Objects::CdrText::kType.name;

class CdrTexts final : public Record {
 public:
    static constexpr const char* kManagedName = kTexts;
    explicit CdrTexts(const TypeInfo& type) : Record(type) { track(); }
    std::map<int32_t, std::vector<Value>> by_key;
    void references(ReferenceVisitor& visitor) override {
        Record::references(visitor);
        visitor(by_key);
    }
};

void add(CdrTexts& self, int32_t key, Record* cdr_text) {
    if (cdr_text == nullptr) {
        throw_argument_null("cdr_text");
    }
    self.by_key[key].emplace_back(Ref<ManagedObject>(cdr_text));
}

// The texts of a key in the order in which they came; none for one that is not there.
Collection get_text(CdrTexts& self, int32_t key) {
    const auto found = self.by_key.find(key);
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kClass, kText),
                                                   found == self.by_key.end() ? std::vector<Value>() : found->second))};
}

const FactoryRegistration ZELMOR_UNNAMED(kTexts, [](const TypeInfo& type) {
    return Ref<ManagedObject>(make_ref<CdrTexts>(type));
});

using CdrTextCollectionApi = api::FileFormats::Cdr::Types::CdrTextCollection;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&add, CdrTextCollectionApi::call_000_Add>(),
    behavior<&get_text, CdrTextCollectionApi::call_000_GetText>(),
});

}  // namespace

void add_cdr_text(ManagedObject& collection, int32_t key, Ref<ManagedObject> text) {
    cast_object<CdrTexts>(collection).by_key[key].emplace_back(std::move(text));
}

}  // namespace zelmor::embed
