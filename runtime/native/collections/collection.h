// Managed collections of all kinds, and how a collection argument becomes one.
//
// Numbers are stored as they are, so that an array of pixels is one block of memory; everything else is stored as
// values. A Python object that stands in for a collection is copied where the member names a class (T[], List<T>,
// Array, ArrayList) and used in place, through a proxy, where it names an interface. The services that Python calls on
// a collection are in collections/.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_COLLECTION_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_COLLECTION_H

#include <cstdint>
#include <vector>

#include "runtime/native/core/handles.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {

const ElementType& variant_element();
const ElementType* find_element(std::string_view id);
// The element with this wire type and managed type name, for arrays that C++ code makes.
const ElementType& element_of(Wire wire, std::string_view type_name = {});
// The element of a member's collection type: the variant element where it names none.
const ElementType& element_of(const CollectionInfo& collection);

enum class ListShape : uint8_t { kArray, kArrayList, kList, kCollectionBase, kReadOnlyCollectionBase, kOther };

// An IEnumerator.
class ManagedEnumerator : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Collections.IEnumerator";
    using ManagedObject::ManagedObject;
    virtual const ElementType& element() const = 0;
    // The next element, or false at the end.
    virtual bool move_next(Value& element) = 0;
    // The Python object that this one stands for, or null: a result shows that one.
    virtual PyObject* python_object() const { return nullptr; }
};

// An IEnumerable.
class ManagedEnumerable : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Collections.IEnumerable";
    using ManagedObject::ManagedObject;
    virtual const ElementType& element() const = 0;
    virtual Ref<ManagedEnumerator> enumerator() = 0;
    virtual PyObject* python_object() const { return nullptr; }
};

// An ICollection.
class ManagedCollection : public ManagedEnumerable {
 public:
    static constexpr const char* kManagedName = "System.Collections.ICollection";
    using ManagedEnumerable::ManagedEnumerable;
    virtual size_t size() const = 0;
    virtual bool contains(const Value& value);
    virtual size_t count_of(const Value& value);
};

// An IList. Indices are the caller's to check.
class ManagedList : public ManagedCollection {
 public:
    static constexpr const char* kManagedName = "System.Collections.IList";
    ManagedList(ListShape shape, const ElementType& element);
    ManagedList(const TypeInfo& type, const ElementType& element);  // of shape kOther

    ListShape shape() const { return m_shape; }
    const ElementType& element() const override { return *m_element; }
    virtual bool fixed_size() const { return m_shape == ListShape::kArray; }
    // Counts the changes that end an enumeration. An array's elements may change under its enumerators.
    virtual uint32_t version() const { return m_version; }

    virtual Value get(size_t index) const = 0;
    // A value of the wrong kind raises InvalidCastException, a number out of range OverflowException.
    void set(size_t index, const Value& value);
    void insert(size_t index, const Value& value);
    void append(const Value& value) { insert(size(), value); }
    void erase(size_t first, size_t count);
    // The first equal element; false where there is none.
    bool remove(const Value& value);
    void reverse();
    // The elements' own order; InvalidOperationException where they have none.
    void sort(bool descending);
    // The position of the first equal element from `first` on and before `end`, or -1.
    virtual int64_t find(const Value& value, size_t first, size_t end) const;
    bool contains(const Value& value) override { return find(value, 0, size()) >= 0; }
    size_t count_of(const Value& value) override;

    virtual void resize(size_t count) = 0;
    virtual void reserve(size_t) {}
    // The numbers in memory, `element_width` bytes each, or null where the elements are no plain numbers.
    virtual void* numbers() { return nullptr; }

    Ref<ManagedEnumerator> enumerator() override;
    // The wrapper of an untyped collection around this list, for results of managed type `object`.
    PyObject* write_wrapper();

 protected:
    virtual void store(size_t index, const Value& value) = 0;
    virtual void store_new(size_t index, const Value& value) = 0;
    virtual void take_out(size_t first, size_t count) = 0;
    virtual bool take_out_equal(const Value& value);
    virtual void turn() = 0;
    virtual void order(bool descending) = 0;
    void count_change() { ++m_version; }

 private:
    ListShape m_shape;
    const ElementType* m_element;
    uint32_t m_version = 0;
};

// A list of numbers, whose storage C++ code may use directly.
template <class T>
class ScalarList final : public ManagedList {
 public:
    ScalarList(ListShape shape, const ElementType& element, std::vector<T> initial = {})
        : ManagedList(shape, element), items(std::move(initial)) {}
    std::vector<T> items;

    size_t size() const override { return items.size(); }
    Value get(size_t index) const override;
    int64_t find(const Value& value, size_t first, size_t end) const override;
    void resize(size_t count) override { items.resize(count); }
    void reserve(size_t count) override { items.reserve(count); }
    void* numbers() override { return items.data(); }
    Ref<ManagedObject> copy() const override { return make_ref<ScalarList>(shape(), element(), items); }

    // What the inherited operations do, with the number as it is.
    void put(size_t index, T number) {
        items[index] = number;
        count_change();
    }
    void put_new(size_t index, T number) {
        items.insert(items.begin() + static_cast<std::ptrdiff_t>(index), number);
        count_change();
    }
    // A number is equal to one of its kind as values are: a floating one that is none is equal to none.
    int64_t find_number(T number, size_t first, size_t end) const;
    size_t count_number(T number) const;

 protected:
    void store(size_t index, const Value& value) override;
    void store_new(size_t index, const Value& value) override;
    void take_out(size_t first, size_t count) override;
    void turn() override;
    void order(bool descending) override;
};

// A list of anything else.
class ValueList final : public ManagedList {
 public:
    ValueList(ListShape shape, const ElementType& element, std::vector<Value> initial = {});
    std::vector<Value> items;

    size_t size() const override { return items.size(); }
    Value get(size_t index) const override { return items[index]; }
    void resize(size_t count) override;
    void reserve(size_t count) override { items.reserve(count); }
    Ref<ManagedObject> copy() const override { return make_ref<ValueList>(shape(), element(), items); }
    void references(ReferenceVisitor& visitor) override;

 protected:
    void store(size_t index, const Value& value) override;
    void store_new(size_t index, const Value& value) override;
    void take_out(size_t first, size_t count) override;
    void turn() override;
    void order(bool descending) override;

 private:
    Value checked(const Value& value) const;
};

// An enumerator over a list; a list that changed under it raises InvalidOperationException.
class ListEnumerator final : public ManagedEnumerator {
 public:
    explicit ListEnumerator(Ref<ManagedList> list);
    const ElementType& element() const override { return m_list->element(); }
    bool move_next(Value& element) override;
    void references(ReferenceVisitor& visitor) override;
    ManagedList& list() const { return *m_list; }
    // Steps to the next element of the list, which is of its final class; false at the end.
    template <class List>
    bool step(const List& list, size_t& index) {
        require_live();
        if (!list.fixed_size() && list.version() != m_expected_version) {
            throw_modified();
        }
        if (m_next >= list.size()) {
            return false;
        }
        index = m_next++;
        return true;
    }

 private:
    [[noreturn]] static void throw_modified();

    Ref<ManagedList> m_list;
    size_t m_next = 0;
    uint32_t m_expected_version;
};

// An empty list of the shape and element, with the storage that suits the element.
Ref<ManagedList> make_list(ListShape shape, const ElementType& element, size_t count = 0);
// An array from numbers: make_array<int32_t>(pixels) is an Int32[].
template <class T>
Ref<ManagedList> make_array(std::vector<T> items);

// Whether an object may stand for a collection of this shape and element.
bool fits_collection(CollectionShape shape, const ElementType& element, const ManagedObject& object);
// A collection argument: the managed one itself, a copy of the Python list or sequence, or a proxy of the Python
// object. Empty for None.
Ref<ManagedObject> read_collection(const VariantArg* arg, CollectionShape shape, const ElementType& element);
// A Python list as an ArrayList and a tuple as an Object[], for a value of managed type `object` (tags of VariantTag).
Ref<ManagedList> read_variant_list(const VariantArg* arg);

// A typed array argument: the managed one itself, or a new one read from the Python list or sequence. Empty for None.
Ref<ManagedList> read_list(const VariantArg* arg, const ElementType& element);
// The elements of a collection argument; ArgumentNullException naming the parameter for None.
std::vector<Value> read_elements(const VariantArg* arg, const ElementType& element, const char* parameter);
// The same for numbers: int8_t to uint64_t, float, double.
template <class T>
std::vector<T> read_array(const VariantArg* arg, const char* parameter);

extern template std::vector<int16_t> read_array<int16_t>(const VariantArg*, const char*);
extern template std::vector<uint16_t> read_array<uint16_t>(const VariantArg*, const char*);
extern template std::vector<int32_t> read_array<int32_t>(const VariantArg*, const char*);
extern template std::vector<uint32_t> read_array<uint32_t>(const VariantArg*, const char*);
extern template std::vector<int64_t> read_array<int64_t>(const VariantArg*, const char*);
extern template std::vector<float> read_array<float>(const VariantArg*, const char*);
extern template std::vector<double> read_array<double>(const VariantArg*, const char*);
extern template Ref<ManagedList> make_array<int32_t>(std::vector<int32_t>);
extern template Ref<ManagedList> make_array<int64_t>(std::vector<int64_t>);
extern template Ref<ManagedList> make_array<float>(std::vector<float>);
extern template Ref<ManagedList> make_array<double>(std::vector<double>);
extern template Ref<ManagedList> make_array<uint16_t>(std::vector<uint16_t>);
extern template Ref<ManagedList> make_array<int16_t>(std::vector<int16_t>);
extern template Ref<ManagedList> make_array<uint32_t>(std::vector<uint32_t>);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_COLLECTION_H
