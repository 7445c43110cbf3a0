// NonGenericList and MetaObjectList, which derives from it: a list around another list, which may be a Python list. All
// its operations are those of the list inside.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

using api::FileFormats::Emf::MetaObjectList;

class NonGenericList final : public ManagedList {
 public:
    NonGenericList(const TypeInfo& type, Ref<ManagedList> inner)
        : ManagedList(type, inner->element()), m_inner(std::move(inner)) {
        track();
    }

    const Ref<ManagedList>& inner() const { return m_inner; }
    bool fixed_size() const override { return m_inner->fixed_size(); }
    uint32_t version() const override { return m_inner->version(); }
    size_t size() const override { return m_inner->size(); }
    Value get(size_t index) const override { return m_inner->get(index); }
    int64_t find(const Value& value, size_t first, size_t end) const override {
        return m_inner->find(value, first, end);
    }
    bool contains(const Value& value) override { return m_inner->contains(value); }
    void resize(size_t count) override { m_inner->resize(count); }
    void reserve(size_t count) override { m_inner->reserve(count); }
    Ref<ManagedEnumerator> enumerator() override { return m_inner->enumerator(); }
    void references(ReferenceVisitor& visitor) override { visitor(m_inner); }

 protected:
    void store(size_t index, const Value& value) override { m_inner->set(index, value); }
    void store_new(size_t index, const Value& value) override { m_inner->insert(index, value); }
    void take_out(size_t first, size_t count) override { m_inner->erase(first, count); }
    bool take_out_equal(const Value& value) override { return m_inner->remove(value); }
    void turn() override { m_inner->reverse(); }
    void order(bool descending) override { m_inner->sort(descending); }

 private:
    Ref<ManagedList> m_inner;
};

template <const TypeName& kType>
Ref<ManagedObject> list_around(const VariantArg* list) {
    const auto object = read_collection(list, CollectionShape::kIList, variant_element());
    if (!object) {
        throw_argument_null("list");
    }
    Ref<ManagedList> inner(&cast_object<ManagedList>(*object));
    // A list around such a list uses the innermost list directly.
    if (const auto* around = dynamic_cast<const NonGenericList*>(inner.get()); around != nullptr) {
        inner = around->inner();
    }
    return make_ref<NonGenericList>(require_type(kType.name), std::move(inner));
}

// A list that the runtime makes by itself is empty.
const FactoryRegistration ZELMOR_UNNAMED(api::NonGenericList::kType.name, [](const TypeInfo& type) {
    return Ref<ManagedObject>(make_ref<NonGenericList>(type, make_list(ListShape::kArrayList, variant_element())));
});

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&list_around<api::NonGenericList::kType>, api::NonGenericList::ctor_000_NonGenericList>(),
    behavior<&list_around<MetaObjectList::kType>, MetaObjectList::ctor_000_MetaObjectList>(),
});

}  // namespace

}  // namespace zelmor::embed
