// The functions of the C interface: each runs in a turn, and what is thrown becomes the error of the thread.
#include <bit>
#include <cassert>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>

#include "exchange/wire/tags.h"
#include "runtime/native/c_api/host_side.h"
#include "runtime/native/c_api/pictures.h"
#include "runtime/native/c_api/turns.h"
#include "runtime/native/c_api/values.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/boundary.h"
#include "runtime/native/core/collector.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/delegates/resolve.h"
#include "runtime/native/delegates/wire_call.h"

#define ZELMOR_EXPORT extern "C" __attribute__((visibility("default")))

using namespace zelmor::embed;

struct zelmor_pictures_entry {
    const TypeInfo* type;
    const EntryInfo* info;
    void* address;
    const char* signature;
};

namespace zelmor::embed {

namespace {

Handle handle_of(int64_t word) {
    return reinterpret_cast<Handle>(static_cast<intptr_t>(word));
}

template <class F>
int32_t answer(F&& work) {
    const Turn turn;
    host_error().is_set = false;
    const AssemblyScope scope(Assembly::kImaging);
    try {
        work();
    } catch (...) {
        report_current_exception();
        if (!host_error().is_set) {
            host_error() = {true, u"SystemException", u"A value of the host cannot be read."};
        }
    }
    return host_error().is_set ? -1 : 0;
}

// The arguments of one call on the wire, and what has to live as long as it.
class WireArguments {
 public:
    explicit WireArguments(size_t most) { m_pointers.reserve(most); }
    ~WireArguments() {
        for (const Handle handle : m_handles) {
            free_handle(handle);
        }
        for (PyObject* object : m_objects) {
            drop_value_object(object);
        }
    }
    WireArguments(const WireArguments&) = delete;
    WireArguments& operator=(const WireArguments&) = delete;

    void** pointers() { return m_pointers.data(); }

    void add(const void* pointer) { add(reinterpret_cast<uintptr_t>(pointer)); }
    template <class T>
        requires std::is_arithmetic_v<T>
    void add(T value) {
        static_assert(sizeof(T) <= sizeof(uint64_t));
        uint64_t& slot = m_words.emplace_back(0);
        std::memcpy(&slot, &value, sizeof value);
        m_pointers.push_back(&slot);
    }
    void add(const zelmor_pictures_value& given, Wire wire, const CollectionInfo& collection);
    // A slot that the call writes to.
    uint64_t* add_out() {
        uint64_t* slot = &m_words.emplace_back(0);
        add(slot);
        return slot;
    }
    // A record that the call writes to.
    template <class T>
    T* add_record() {
        static_assert(sizeof(T) <= sizeof(Record));
        T* record = new (m_records.emplace_back().bytes) T{};
        add(record);
        return record;
    }

    // The lists of arguments that the call has changed, and those that arguments became and that something besides the
    // handle keeps now.
    void give_lists(zelmor_pictures_value* given) {
        for (const auto& [index, handle, is_new, version] : m_lists) {
            Ref<ManagedObject> list(object_of(handle));
            const bool is_changed = static_cast<const ManagedList&>(*list).version() != version;
            if (is_changed || (is_new && Collector::has_more_references(*list, 2))) {
                give_object(std::move(list), given[index]);
                given[index].detail = is_changed ? 3 : given[index].detail;
            }
        }
    }
    // Adds the argument at an index, and remembers it where it is a list.
    void add_argument(size_t index, const zelmor_pictures_value& given, Wire wire, const CollectionInfo& collection) {
        const size_t before = m_handles.size();
        add(given, wire, collection);
        const auto* list =
            m_handles.size() > before ? dynamic_cast<const ManagedList*>(object_of(m_handles.back())) : nullptr;
        if (list != nullptr && list->shape() != ListShape::kOther) {
            const bool is_new = given.kind != ZELMOR_PICTURES_OBJECT;
            m_lists.push_back({index, m_handles.back(), is_new, list->version()});
        }
    }

 private:
    struct Record {
        alignas(8) std::byte bytes[32] = {};
    };
    struct List {
        size_t argument;
        Handle handle;
        bool is_new;  // made for the call
        uint32_t version;
    };

    Handle lend(Ref<ManagedObject> object) {
        const Handle handle = make_handle(std::move(object));
        m_handles.push_back(handle);
        return handle;
    }
    void add_variant(int32_t tag, void* value) {
        VariantArg* record = add_record<VariantArg>();
        *record = {tag, value};
    }
    void add_any(const zelmor_pictures_value& given);
    void add_object(const zelmor_pictures_value& given, const ElementType& element) {
        const Value value = value_of(given, element);
        const auto* object = std::get_if<Ref<ManagedObject>>(&value);
        if (object == nullptr) {
            throw_invalid_value_cast(value, "the type of the parameter");
        }
        const bool is_struct = *object && (*object)->type().kind == TypeKind::kStruct;
        add_variant(is_struct ? kHandleStruct : kHandleObject, *object ? lend(*object) : nullptr);
    }

    std::deque<uint64_t> m_words;
    std::deque<Record> m_records;
    std::vector<void*> m_pointers;
    std::vector<Handle> m_handles;
    std::vector<PyObject*> m_objects;
    std::vector<List> m_lists;
};

double real_of(const zelmor_pictures_value& given) {
    return given.kind == ZELMOR_PICTURES_REAL ? std::bit_cast<double>(given.word) : static_cast<double>(given.word);
}

void WireArguments::add_any(const zelmor_pictures_value& given) {
    const auto hold = [&](int32_t tag) {
        m_objects.push_back(new_value_object(value_of(given, variant_element())));
        add_variant(tag, m_objects.back());
    };
    switch (given.kind) {
        case ZELMOR_PICTURES_NULL:
            return add_variant(kVariantNull, nullptr);
        case ZELMOR_PICTURES_BOOL:
            return hold(kVariantBool);
        case ZELMOR_PICTURES_INTEGER:
        case ZELMOR_PICTURES_UNSIGNED:
            return hold(kVariantInt);
        case ZELMOR_PICTURES_REAL:
            return hold(kVariantFloat);
        case ZELMOR_PICTURES_TEXT:
            return hold(kVariantString);
        case ZELMOR_PICTURES_BYTES:
            return hold(kVariantBuffer);
        case ZELMOR_PICTURES_DECIMAL:
            return hold(kVariantDecimal);
        case ZELMOR_PICTURES_DATE_TIME:
        case ZELMOR_PICTURES_DATE_OFFSET:
            return hold(kVariantDateTime);
        case ZELMOR_PICTURES_TIME_SPAN:
            return hold(kVariantTimeDelta);
        case ZELMOR_PICTURES_GUID:
            return hold(kVariantUuid);
        case ZELMOR_PICTURES_ENUM: {
            const TypeInfo& type = require_type(static_cast<const char*>(given.data));
            return add_variant(kVariantObject, lend(make_ref<EnumObject>(type, given.word)));
        }
        case ZELMOR_PICTURES_STRUCT:
            return add_variant(kVariantStruct, lend(std::get<Ref<ManagedObject>>(value_of(given, variant_element()))));
        default:
            return add_variant(kVariantObject, lend(std::get<Ref<ManagedObject>>(value_of(given, variant_element()))));
    }
}

void WireArguments::add(const zelmor_pictures_value& given, Wire wire, const CollectionInfo& collection) {
    switch (wire) {
        case Wire::kBool:
            return add(static_cast<uint8_t>(given.word != 0));
        case Wire::kSingle:
            return add(static_cast<float>(real_of(given)));
        case Wire::kDouble:
            return add(real_of(given));
        case Wire::kInt8:
        case Wire::kUInt8:
        case Wire::kInt16:
        case Wire::kUInt16:
        case Wire::kInt32:
        case Wire::kUInt32:
        case Wire::kInt64:
        case Wire::kUInt64:
        case Wire::kChar:
        case Wire::kDateTime:
        case Wire::kTimeSpan:
            return add(given.word);  // little-endian: the low bytes are the number
        case Wire::kNullableDateTime:
            add(static_cast<int32_t>(given.kind != ZELMOR_PICTURES_NULL));
            return add(given.word);
        case Wire::kDateTimeOffset: {
            auto* words = add_record<DateTimeOffsetValue>();
            *words = {given.word, given.length};
            return;
        }
        case Wire::kDecimal:
        case Wire::kGuid:
            return add(given.data);
        case Wire::kString: {
            const bool is_null = given.kind == ZELMOR_PICTURES_NULL;
            auto* text = add_record<PyStringArg>();
            *text = {is_null ? -1 : static_cast<int32_t>(given.length), sizeof(char16_t), given.data};
            return;
        }
        case Wire::kBytes: {
            const bool is_null = given.kind == ZELMOR_PICTURES_NULL;
            auto* bytes = add_record<PyBytesArg>();
            *bytes = {0, is_null ? -1 : static_cast<int32_t>(given.length), const_cast<void*>(given.data)};
            return;
        }
        case Wire::kObject:
            return add_any(given);
        case Wire::kClass: {
            const Value value = value_of(given, variant_element());
            const auto* object = std::get_if<Ref<ManagedObject>>(&value);
            if (object == nullptr) {
                throw_invalid_value_cast(value, "the type of the parameter");
            }
            return add(*object ? lend(*object) : nullptr);
        }
        case Wire::kStruct:
        case Wire::kInterface:
        case Wire::kStream:
            return add_object(given, variant_element());
        case Wire::kCollection: {
            zelmor_pictures_value list = given;
            if (given.kind == ZELMOR_PICTURES_BYTES) {
                list.kind = ZELMOR_PICTURES_NUMBERS;
                list.detail = ZELMOR_PICTURES_ARRAY | 1 << 8 | 1 << 16;
            }
            return add_object(list, element_of(collection));
        }
        case Wire::kVoid:
        case Wire::kRecord:
            break;
    }
    throw_not_supported("A parameter of this kind");
}

// A result in a register, of the width that the wire has it in.
void give_register(Wire wire, uint64_t bits, zelmor_pictures_value& out) {
    const auto number = [&](int64_t value) {
        out.kind = ZELMOR_PICTURES_INTEGER;
        out.word = value;
    };
    switch (wire) {
        case Wire::kBool:
            out.kind = ZELMOR_PICTURES_BOOL;
            out.word = (bits & 0xFF) != 0 ? 1 : 0;
            return;
        case Wire::kInt8:
            return number(static_cast<int8_t>(bits));
        case Wire::kUInt8:
            return number(static_cast<uint8_t>(bits));
        case Wire::kInt16:
            return number(static_cast<int16_t>(bits));
        case Wire::kUInt16:
        case Wire::kChar:
            return number(static_cast<uint16_t>(bits));
        case Wire::kInt32:
            return number(static_cast<int32_t>(bits));
        case Wire::kUInt32:
            return number(static_cast<uint32_t>(bits));
        case Wire::kUInt64:
            out.kind = ZELMOR_PICTURES_UNSIGNED;
            out.word = static_cast<int64_t>(bits);
            return;
        case Wire::kTimeSpan:
            out.kind = ZELMOR_PICTURES_TIME_SPAN;
            out.word = static_cast<int64_t>(bits);
            return;
        case Wire::kSingle: {
            const auto low = static_cast<uint32_t>(bits);
            out.kind = ZELMOR_PICTURES_REAL;
            out.word = std::bit_cast<int64_t>(static_cast<double>(std::bit_cast<float>(low)));
            return;
        }
        case Wire::kDouble:
            out.kind = ZELMOR_PICTURES_REAL;
            out.word = static_cast<int64_t>(bits);
            return;
        default:
            return number(static_cast<int64_t>(bits));
    }
}

void give_handle(Handle handle, zelmor_pictures_value& out) {
    Ref<ManagedObject> object(object_of(handle));
    if (handle != nullptr) {
        free_handle(handle);
    }
    give_object(std::move(object), out);
}

// Where the result of a call comes out that does not come in a register.
union OutRecord {
    PyObjectOutArg object;
    PyCollectionArg collection;
    int64_t words[4];
};

void run_call(const zelmor_pictures_entry& entry, int64_t self, zelmor_pictures_value* given, int32_t count,
              zelmor_pictures_value& result) {
    const EntryInfo& info = *entry.info;
    const PropertyInfo* property =
        info.property >= 0 ? &entry.type->properties[static_cast<size_t>(info.property)] : nullptr;
    const bool is_setter = info.role == EntryRole::kSet || info.role == EntryRole::kSetStatic;
    assert(given != nullptr || count == 0);
    const size_t expected = is_setter ? 1 : info.params.size();
    if (static_cast<size_t>(count) != expected) {
        throw_argument(std::string(info.name) + " takes " + std::to_string(expected) + " arguments.");
    }
    WireArguments arguments(std::strlen(entry.signature));
    if (info.role == EntryRole::kCall || info.role == EntryRole::kGet || info.role == EntryRole::kSet) {
        arguments.add(handle_of(self));
    }
    std::vector<std::pair<size_t, uint64_t*>> written;
    if (is_setter) {
        assert(property != nullptr);
        arguments.add_argument(0, given[0], property->wire, property->collection);
    } else {
        for (size_t i = 0; i < expected; ++i) {
            const ParamInfo& parameter = info.params[i];
            arguments.add_argument(i, given[i], parameter.wire, parameter.collection);
            if (parameter.by_ref) {
                written.emplace_back(i, arguments.add_out());
            }
        }
    }
    const Wire wire = info.role == EntryRole::kCtor ? Wire::kClass : info.result;
    OutRecord* record = nullptr;
    int32_t* present = nullptr;
    switch (wire) {
        case Wire::kNullableDateTime:
            present = reinterpret_cast<int32_t*>(arguments.add_out());
            [[fallthrough]];
        case Wire::kDateTime:
        case Wire::kDateTimeOffset:
        case Wire::kDecimal:
        case Wire::kGuid:
        case Wire::kInterface:
        case Wire::kStream:
        case Wire::kCollection:
            record = arguments.add_record<OutRecord>();
            break;
        case Wire::kRecord:
            throw_not_supported("A result of this kind");
        default:
            break;
    }
    uint64_t bits = 0;
    CallFrame frame(entry.signature, &bits, arguments.pointers());
    call_delegate(entry.address, frame);
    if (host_error().is_set) {
        return;
    }
    arguments.give_lists(given);
    for (const auto& [index, slot] : written) {
        give_register(info.params[index].wire, *slot, given[index]);
    }
    result = {};
    switch (wire) {
        case Wire::kVoid:
            return;
        case Wire::kString:
        case Wire::kBytes:
        case Wire::kObject:
            return give_made(reinterpret_cast<PyObject*>(static_cast<uintptr_t>(bits)), result);
        case Wire::kClass:
        case Wire::kStruct:
            return give_handle(handle_of(static_cast<int64_t>(bits)), result);
        case Wire::kInterface:
            return give_handle(record->object.handle, result);
        case Wire::kStream:
        case Wire::kCollection: {
            if (record->collection.kind != kCollectionPyObject) {
                return give_handle(record->collection.value, result);
            }
            auto* held = static_cast<PyObject*>(record->collection.value);  // borrowed
            if (held != nullptr) {
                ++held->count;
            }
            return give_made(held, result);
        }
        case Wire::kNullableDateTime:
            if (*present == 0) {
                return;
            }
            [[fallthrough]];
        case Wire::kDateTime:
            return give_value(DateTimeValue{static_cast<uint64_t>(record->words[0]), record->words[1]}, result);
        case Wire::kDateTimeOffset:
            return give_value(DateTimeOffsetValue{record->words[0], record->words[1]}, result);
        case Wire::kDecimal: {
            DecimalValue value;
            std::memcpy(value.words.data(), record, sizeof value.words);
            return give_value(value, result);
        }
        case Wire::kGuid: {
            GuidValue value;
            std::memcpy(value.bytes.data(), record, sizeof value.bytes);
            return give_value(value, result);
        }
        default:
            return give_register(wire, bits, result);
    }
}

const zelmor_pictures_entry& find_entry(const char* type_name, const char* name) {
    // Shared by all threads: used in a turn only, and nothing here lets another thread in.
    static auto& known = *new std::unordered_map<std::string, std::unique_ptr<zelmor_pictures_entry>>;
    const std::string key = std::string(type_name) + '\n' + name;
    if (const auto found = known.find(key); found != known.end()) {
        return *found->second;
    }
    const TypeInfo& type = require_type(type_name);
    for (const EntryInfo& info : type.entries) {
        if (std::strcmp(info.name, name) == 0) {
            const Delegate made = resolve_delegate(type.assembly, type.host_class, name);
            if (made.status != kOk) {
                break;
            }
            auto entry = std::make_unique<zelmor_pictures_entry>(
                zelmor_pictures_entry{&type, &info, made.address, made.signature});
            return *known.emplace(key, std::move(entry)).first->second;
        }
    }
    throw ManagedException("MissingMemberException",
                           std::string("The class ") + type_name + " has no entry " + name + ".");
}

void require_inside(int64_t index, size_t end) {
    if (index < 0 || static_cast<size_t>(index) >= end) {
        throw_out_of_range("index", "The index " + std::to_string(index) + " is not inside the list.");
    }
}

ManagedList& list_behind(int64_t handle) {
    return target<ManagedList>(handle_of(handle));
}

void replace_elements(ManagedList& list, const zelmor_pictures_value& given) {
    const Value value = value_of(given, list.element());
    const auto* made = std::get_if<Ref<ManagedObject>>(&value);
    const auto* items = made != nullptr ? dynamic_cast<const ManagedList*>(made->get()) : nullptr;
    if (items == nullptr) {
        throw_argument("The elements of a list are no list.");
    }
    const size_t count = items->size();
    if (list.size() != count) {
        list.resize(count);
    }
    for (size_t i = 0; i < count; ++i) {
        list.set(i, items->get(i));
    }
}

void give_text(const std::u16string& text, zelmor_pictures_value& out) {
    out = {ZELMOR_PICTURES_TEXT, 0, 0, text.data(), static_cast<int64_t>(text.size())};
}

}  // namespace

}  // namespace zelmor::embed

ZELMOR_EXPORT void zelmor_pictures_start(const zelmor_pictures_host* host) {
    assert(host != nullptr);
    const Turn turn;
    start_host_side(*host);
}

ZELMOR_EXPORT int32_t zelmor_pictures_find(const char* type, const char* name, const zelmor_pictures_entry** entry) {
    assert(type != nullptr && name != nullptr && entry != nullptr);
    return answer([&] { *entry = &find_entry(type, name); });
}

ZELMOR_EXPORT int32_t zelmor_pictures_call(const zelmor_pictures_entry* entry, int64_t self,
                                           zelmor_pictures_value* arguments, int32_t count,
                                           zelmor_pictures_value* result) {
    assert(entry != nullptr && count >= 0 && result != nullptr);
    return answer([&] { run_call(*entry, self, arguments, count, *result); });
}

ZELMOR_EXPORT int32_t zelmor_pictures_make(const char* type, const zelmor_pictures_named* properties, int32_t count,
                                           zelmor_pictures_value* result) {
    assert(type != nullptr && count >= 0 && result != nullptr);
    return answer([&] {
        const Ref<ManagedObject> made = make_instance(type);
        for (int32_t i = 0; i < count; ++i) {
            if (has_property(*made, properties[i].name)) {
                set_property(*made, properties[i].name, value_of(properties[i].value, variant_element()));
            }
        }
        give_object(made, *result);
    });
}

ZELMOR_EXPORT int32_t zelmor_pictures_stored(int64_t handle, const char* name, zelmor_pictures_value* result) {
    assert(name != nullptr && result != nullptr);
    return answer([&] { give_value(property(require_object(handle_of(handle)), name), *result); });
}

ZELMOR_EXPORT int32_t zelmor_pictures_elements(int64_t list, zelmor_pictures_value* result) {
    assert(result != nullptr);
    return answer([&] {
        ManagedList& elements = list_behind(list);
        const void* numbers = elements.size() > 0 ? elements.numbers() : nullptr;
        const int32_t kind = numbers != nullptr ? ZELMOR_PICTURES_NUMBERS : ZELMOR_PICTURES_ITEMS;
        const int32_t detail = static_cast<int32_t>(elements.shape()) | width_of(elements.element().wire) << 8;
        const int64_t is_shared = Collector::has_more_references(elements, 1) ? 1 : 0;
        *result = {kind, detail, is_shared, numbers, static_cast<int64_t>(elements.size())};
    });
}

ZELMOR_EXPORT int32_t zelmor_pictures_item(int64_t list, int64_t index, zelmor_pictures_value* result) {
    assert(result != nullptr);
    return answer([&] {
        const ManagedList& elements = list_behind(list);
        require_inside(index, elements.size());
        give_value(elements.get(static_cast<size_t>(index)), *result);
    });
}

ZELMOR_EXPORT int32_t zelmor_pictures_change(int64_t list, int32_t what, int64_t index,
                                             const zelmor_pictures_value* item) {
    assert(item != nullptr);
    return answer([&] {
        ManagedList& elements = list_behind(list);
        if (what == ZELMOR_PICTURES_REPLACE) {
            return replace_elements(elements, *item);
        }
        require_inside(index, elements.size() + (what == ZELMOR_PICTURES_INSERT ? 1 : 0));
        const auto place = static_cast<size_t>(index);
        switch (what) {
            case ZELMOR_PICTURES_SET:
                return elements.set(place, value_of(*item, elements.element()));
            case ZELMOR_PICTURES_INSERT:
                return elements.insert(place, value_of(*item, elements.element()));
            case ZELMOR_PICTURES_REMOVE:
                return elements.erase(place, 1);
            default:
                throw_argument("The change of the list is of an unknown kind.");
        }
    });
}

ZELMOR_EXPORT int32_t zelmor_pictures_enumerate(int64_t handle, zelmor_pictures_value* result) {
    assert(result != nullptr);
    return answer([&] {
        auto& items = target<ManagedEnumerable>(handle_of(handle));
        const Ref<ManagedList> list = make_list(ListShape::kArrayList, variant_element());
        const Ref<ManagedEnumerator> enumerator = items.enumerator();
        for (Value value; enumerator->move_next(value);) {
            list->append(value);
        }
        give_object(list, *result);
    });
}

ZELMOR_EXPORT int32_t zelmor_pictures_text(int64_t handle, zelmor_pictures_value* result) {
    assert(result != nullptr);
    return answer([&] { give_value(require_object(handle_of(handle)).to_text(), *result); });
}

ZELMOR_EXPORT int32_t zelmor_pictures_equals(int64_t handle, int64_t other, int32_t* equal) {
    assert(equal != nullptr);
    return answer([&] { *equal = require_object(handle_of(handle)).equals(require_object(handle_of(other))) ? 1 : 0; });
}

ZELMOR_EXPORT int32_t zelmor_pictures_hash(int64_t handle, int32_t* hash) {
    assert(hash != nullptr);
    return answer([&] { *hash = require_object(handle_of(handle)).hash_code(); });
}

ZELMOR_EXPORT int32_t zelmor_pictures_dispose(int64_t handle) {
    return answer([&] { require_object(handle_of(handle)).dispose(); });
}

ZELMOR_EXPORT void zelmor_pictures_release(int64_t handle) {
    answer([&] { free_handle(handle_of(handle)); });
}

ZELMOR_EXPORT void zelmor_pictures_error(zelmor_pictures_value* name, zelmor_pictures_value* text) {
    assert(name != nullptr && text != nullptr);
    give_text(host_error().name, *name);
    give_text(host_error().text, *text);
}
