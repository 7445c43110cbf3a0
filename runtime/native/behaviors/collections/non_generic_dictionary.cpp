// NonGenericDictionary: pairs in the order in which they were added. As a collection its elements are the keys.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

using DictionaryApi = api::NonGenericDictionary;

class NonGenericDictionary final : public ManagedCollection {
 public:
    static constexpr const char* kManagedName = DictionaryApi::kType.name;
    NonGenericDictionary()
        : ManagedCollection(require_type(kManagedName)),
          m_keys(make_list(ListShape::kArrayList, variant_element())),
          m_values(make_list(ListShape::kArrayList, variant_element())) {
        track();
    }

    const ElementType& element() const override { return variant_element(); }
    size_t size() const override { return m_keys->size(); }
    Ref<ManagedEnumerator> enumerator() override { return m_keys->enumerator(); }
    void references(ReferenceVisitor& visitor) override {
        visitor(m_keys);
        visitor(m_values);
    }
    bool contains(const Value& key) override { return m_keys->contains(key); }

    void add(const Value& key, const Value& value) {
        if (is_null(key)) {
            throw_argument_null("key");
        }
        if (m_keys->contains(key)) {
            throw_argument("An item with the same key has already been added.");
        }
        m_keys->append(key);
        m_values->append(value);
    }
    void remove(const Value& key) {
        if (is_null(key)) {
            throw_argument_null("key");
        }
        const int64_t found = m_keys->find(key, 0, m_keys->size());
        if (found < 0) {
            return;
        }
        m_keys->erase(static_cast<size_t>(found), 1);
        m_values->erase(static_cast<size_t>(found), 1);
    }
    void clear() {
        m_keys->erase(0, m_keys->size());
        m_values->erase(0, m_values->size());
    }
    const Ref<ManagedList>& keys() const { return m_keys; }
    const Ref<ManagedList>& values() const { return m_values; }

 private:
    Ref<ManagedList> m_keys;
    Ref<ManagedList> m_values;
};

void add(NonGenericDictionary& self, const VariantArg* key, const VariantArg* value) {
    self.add(read_variant(key), read_variant(value));
}
void remove(NonGenericDictionary& self, const VariantArg* key) {
    self.remove(read_variant(key));
}
void clear(NonGenericDictionary& self) {
    self.clear();
}
bool is_restricted(NonGenericDictionary&) {
    return false;
}
// Copies, so that the dictionary can be changed while a caller iterates over them.
Collection keys(NonGenericDictionary& self) {
    return {self.keys()->copy()};
}
Collection values(NonGenericDictionary& self) {
    return {self.values()->copy()};
}

const FactoryRegistration ZELMOR_UNNAMED(DictionaryApi::kType.name, [](const TypeInfo&) {
    return Ref<ManagedObject>(make_ref<NonGenericDictionary>());
});

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&add, DictionaryApi::call_000_Add>(),
    behavior<&remove, DictionaryApi::call_000_Remove>(),
    behavior<&clear, DictionaryApi::call_000_Clear>(),
    behavior<&is_restricted, DictionaryApi::get_IsFixedSize, DictionaryApi::get_IsReadOnly>(),
    behavior<&keys, DictionaryApi::get_Keys>(),
    behavior<&values, DictionaryApi::get_Values>(),
});

}  // namespace

}  // namespace zelmor::embed
