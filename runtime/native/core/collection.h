// Managed arrays and lists, and how a collection argument becomes C++ values.
//
// Numbers are stored as they are, so that an array of pixels is one block of memory; everything else is stored as
// values. A Python list or sequence that stands in for a managed collection is read once, element by element, through
// the callbacks. The services that Python calls on a collection are in collections/.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/native/core/handles.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {

// The element of a typed collection. Elements of the same identifier are of the same type.
struct ElementType {
    const char* id;    // eight hexadecimal digits; "" for the untyped collections, whose elements are any value
    Wire wire;         // kObject for the untyped ones
    const char* name;  // full managed name of a class, struct, interface or enumeration, of a number's .NET type, or
                       // the identifier of the inner element for an array of arrays (wire kCollection)
    const TypeInfo* type() const;      // null for numbers, text, bytes, arrays of arrays and variants
    const ElementType* inner() const;  // of an array of arrays
};

const ElementType& variant_element();
const ElementType* find_element(std::string_view id);
// The element with this wire type and managed type name, for arrays that C++ code makes.
const ElementType& element_of(Wire wire, std::string_view type_name = {});

enum class ListShape : uint8_t { kArray, kArrayList, kList, kCollectionBase, kReadOnlyCollectionBase };

class ManagedList : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Collections.IList";
    ManagedList(ListShape shape, const ElementType& element);

    ListShape shape() const { return shape_; }
    const ElementType& element() const { return *element_; }
    bool fixed_size() const { return shape_ == ListShape::kArray; }

    virtual size_t size() const = 0;
    // Indices are the caller's to check; a value of the wrong kind raises InvalidCastException.
    virtual Value get(size_t index) const = 0;
    virtual void set(size_t index, const Value& value) = 0;
    virtual void insert(size_t index, const Value& value) = 0;
    virtual void erase(size_t first, size_t count) = 0;
    virtual void resize(size_t count) = 0;
    virtual void reserve(size_t count) = 0;
    virtual void reverse() = 0;
    // The elements' own order; InvalidOperationException where they have none.
    virtual void sort(bool descending) = 0;

    // The wrapper of an untyped collection around this list, for results of managed type `object`.
    PyObject* write_wrapper();

 private:
    ListShape shape_;
    const ElementType* element_;
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
    void set(size_t index, const Value& value) override;
    void insert(size_t index, const Value& value) override;
    void erase(size_t first, size_t count) override;
    void resize(size_t count) override { items.resize(count); }
    void reserve(size_t count) override { items.reserve(count); }
    void reverse() override;
    void sort(bool descending) override;
    Ref<ManagedObject> copy() const override { return make_ref<ScalarList>(shape(), element(), items); }
};

// A list of anything else.
class ValueList final : public ManagedList {
 public:
    ValueList(ListShape shape, const ElementType& element, std::vector<Value> initial = {})
        : ManagedList(shape, element), items(std::move(initial)) {}
    std::vector<Value> items;

    size_t size() const override { return items.size(); }
    Value get(size_t index) const override { return items[index]; }
    void set(size_t index, const Value& value) override;
    void insert(size_t index, const Value& value) override;
    void erase(size_t first, size_t count) override;
    void resize(size_t count) override;
    void reserve(size_t count) override { items.reserve(count); }
    void reverse() override;
    void sort(bool descending) override;
    Ref<ManagedObject> copy() const override { return make_ref<ValueList>(shape(), element(), items); }

 private:
    const Value& checked(const Value& value) const;
};

// An enumerator over a list; a list that changed its length under it raises InvalidOperationException.
class ListEnumerator final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Collections.IEnumerator";
    explicit ListEnumerator(Ref<ManagedList> list);
    const ManagedList& list() const { return *list_; }
    bool move_next(Value& element);

 private:
    Ref<ManagedList> list_;
    size_t next_ = 0;
    size_t expected_size_;
};

// An empty list of the shape and element, with the storage that suits the element.
Ref<ManagedList> make_list(ListShape shape, const ElementType& element, size_t count = 0);
// An array from numbers: make_array<int32_t>(pixels) is an Int32[].
template <class T>
Ref<ManagedList> make_array(std::vector<T> items);

// The collection argument as a list: the managed one itself, or a new one read from the Python list or sequence. Empty
// for None.
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
