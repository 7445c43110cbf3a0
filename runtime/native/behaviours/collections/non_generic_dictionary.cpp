// NonGenericDictionary: pairs in the order in which they were added. As a collection its elements are the keys.
#include "runtime/native/core/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kDictionary = "Zelmor.Imaging.NonGenericDictionary";

class NonGenericDictionary final : public ManagedCollection {
 public:
    static constexpr const char* kManagedName = kDictionary;
    NonGenericDictionary()
        : ManagedCollection(require_type(kDictionary)),
          keys_(make_list(ListShape::kArrayList, variant_element())),
          values_(make_list(ListShape::kArrayList, variant_element())) {}

    const ElementType& element() const override { return variant_element(); }
    size_t size() const override { return keys_->size(); }
    Ref<ManagedEnumerator> enumerator() override { return keys_->enumerator(); }
    bool contains(const Value& key) override { return keys_->contains(key); }

    void add(const Value& key, const Value& value) {
        if (is_null(key)) throw_argument_null("key");
        if (keys_->contains(key)) throw_argument("An item with the same key has already been added.");
        keys_->append(key);
        values_->append(value);
    }
    void remove(const Value& key) {
        if (is_null(key)) throw_argument_null("key");
        const int64_t found = keys_->find(key, 0, keys_->size());
        if (found < 0) return;
        keys_->erase(static_cast<size_t>(found), 1);
        values_->erase(static_cast<size_t>(found), 1);
    }
    void clear() {
        keys_->erase(0, keys_->size());
        values_->erase(0, values_->size());
    }
    const Ref<ManagedList>& keys() const { return keys_; }
    const Ref<ManagedList>& values() const { return values_; }

 private:
    Ref<ManagedList> keys_;
    Ref<ManagedList> values_;
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
bool no(NonGenericDictionary&) {
    return false;
}
// Copies: who goes through them may change the dictionary meanwhile.
Collection keys(NonGenericDictionary& self) {
    return {self.keys()->copy()};
}
Collection values(NonGenericDictionary& self) {
    return {self.values()->copy()};
}

const FactoryRegistration factory(kDictionary,
                                  [](const TypeInfo&) { return Ref<ManagedObject>(make_ref<NonGenericDictionary>()); });

const Behaviour kMembers[] = {
    {kDictionary, "call_000_Add", entry<&add>()},     {kDictionary, "call_000_Remove", entry<&remove>()},
    {kDictionary, "call_000_Clear", entry<&clear>()}, {kDictionary, "get_IsFixedSize", entry<&no>()},
    {kDictionary, "get_IsReadOnly", entry<&no>()},    {kDictionary, "get_Keys", entry<&keys>()},
    {kDictionary, "get_Values", entry<&values>()},
};
const BehaviourTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed
