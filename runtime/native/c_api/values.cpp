// Values of the C interface; see values.h.
#include "runtime/native/c_api/values.h"

#include <bit>
#include <cassert>
#include <cstring>
#include <new>
#include <utility>

#include "runtime/native/c_api/host_side.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

namespace {

template <class T>
T from_memory(const void* data) {
    T value{};
    std::memcpy(static_cast<void*>(&value), data, sizeof value);
    return value;
}

// A struct whose fields are the numbers of the interface, in their order.
template <class V>
Ref<ManagedObject> boxed_fields(const void* data) {
    return box(from_memory<V>(data));
}

Ref<ManagedObject> struct_of(const zelmor_pictures_value& given) {
    switch (given.detail) {
        case ZELMOR_PICTURES_SIZE:
            return boxed_fields<SizeValue>(given.data);
        case ZELMOR_PICTURES_SIZE_F:
            return boxed_fields<SizeFValue>(given.data);
        case ZELMOR_PICTURES_POINT:
            return boxed_fields<PointValue>(given.data);
        case ZELMOR_PICTURES_POINT_F:
            return boxed_fields<PointFValue>(given.data);
        case ZELMOR_PICTURES_RECTANGLE:
            return boxed_fields<RectangleValue>(given.data);
        case ZELMOR_PICTURES_RECTANGLE_F:
            return boxed_fields<RectangleFValue>(given.data);
        case ZELMOR_PICTURES_CMYK:
            return boxed_fields<CmykValue>(given.data);
        case ZELMOR_PICTURES_COLOR: {
            const auto color = from_memory<zelmor_pictures_color>(given.data);
            ColorValue value{color.argb, color.known, color.state, {}};
            if (color.name != nullptr) {
                value.name.assign(reinterpret_cast<const char16_t*>(color.name), static_cast<size_t>(color.length));
            }
            return box(std::move(value));
        }
        default:
            throw_argument("The value is of a structure of unknown kind.");
    }
}

// The element of numbers, by what the caller says of them.
const ElementType& element_of_numbers(int32_t detail) {
    struct Number {
        Wire wire;
        const char* name;
    };
    constexpr Number kNumbers[3][4] = {{{Wire::kInt8, "System.SByte"},
                                        {Wire::kInt16, "System.Int16"},
                                        {Wire::kInt32, "System.Int32"},
                                        {Wire::kInt64, "System.Int64"}},
                                       {{Wire::kUInt8, "System.Byte"},
                                        {Wire::kUInt16, "System.UInt16"},
                                        {Wire::kUInt32, "System.UInt32"},
                                        {Wire::kUInt64, "System.UInt64"}},
                                       {{}, {}, {Wire::kSingle, "System.Single"}, {Wire::kDouble, "System.Double"}}};
    const auto width = static_cast<uint32_t>(detail >> 8 & 0xFF);
    const auto family = static_cast<uint32_t>(detail >> 16);
    const bool is_known = family < 3 && std::has_single_bit(width) && width <= 8;
    const Number found = is_known ? kNumbers[family][std::countr_zero(width)] : Number{};
    if (found.name == nullptr) {
        throw_argument("The numbers of a list are of no known kind.");
    }
    return element_of(found.wire, found.name);
}

Ref<ManagedList> list_of(const zelmor_pictures_value& given, const ElementType& element) {
    const auto shape = static_cast<ListShape>(given.detail & 0xFF);
    const auto count = static_cast<size_t>(given.length);
    if (given.kind == ZELMOR_PICTURES_NUMBERS) {
        const ElementType& own = element_of_numbers(given.detail);
        const bool is_any = element.wire == Wire::kObject;
        Ref<ManagedList> numbers = make_list(shape, is_any ? own : element, count);
        if (count == 0) {
            return numbers;
        }
        if (numbers->numbers() == nullptr || (!is_any && width_of(element.wire) != width_of(own.wire))) {
            throw_argument("The numbers of a list are of another kind than its elements.");
        }
        std::memcpy(numbers->numbers(), given.data, count * static_cast<size_t>(width_of(own.wire)));
        return numbers;
    }
    Ref<ManagedList> list = make_list(shape, element, count);
    const ElementType& inner = element.inner() != nullptr ? *element.inner() : element;
    const auto* items = static_cast<const zelmor_pictures_value*>(given.data);
    for (size_t i = 0; i < count; ++i) {
        list->set(i, value_of(items[i], inner));
    }
    return list;
}

// The memory behind the results of this thread.
struct Kept {
    Value value = {};
    std::u16string name = {};
    alignas(8) std::byte words[32] = {};
};
Kept& kept() {
    thread_local Kept memory;  // each thread has its own
    return memory;
}

template <class T>
void give_words(const T& value, zelmor_pictures_value& out) {
    static_assert(sizeof(T) <= sizeof(Kept::words));
    std::memcpy(kept().words, &value, sizeof value);
    out.data = kept().words;
}

template <class V>
bool give_fields(const ManagedObject& object, int32_t which, zelmor_pictures_value& out) {
    if (&object.type() != &struct_type<V>()) {
        return false;
    }
    out.kind = ZELMOR_PICTURES_STRUCT;
    out.detail = which;
    give_words(unbox<V>(object), out);
    return true;
}

bool give_struct(const ManagedObject& object, zelmor_pictures_value& out) {
    if (&object.type() == &struct_type<ColorValue>()) {
        const auto& color = unbox<ColorValue>(object);
        kept().name = color.name;
        out.kind = ZELMOR_PICTURES_STRUCT;
        out.detail = ZELMOR_PICTURES_COLOR;
        give_words(zelmor_pictures_color{color.argb, color.known_color, color.state,
                                         reinterpret_cast<const uint16_t*>(kept().name.data()),
                                         static_cast<int64_t>(kept().name.size())},
                   out);
        return true;
    }
    return give_fields<SizeValue>(object, ZELMOR_PICTURES_SIZE, out) ||
           give_fields<SizeFValue>(object, ZELMOR_PICTURES_SIZE_F, out) ||
           give_fields<PointValue>(object, ZELMOR_PICTURES_POINT, out) ||
           give_fields<PointFValue>(object, ZELMOR_PICTURES_POINT_F, out) ||
           give_fields<RectangleValue>(object, ZELMOR_PICTURES_RECTANGLE, out) ||
           give_fields<RectangleFValue>(object, ZELMOR_PICTURES_RECTANGLE_F, out) ||
           give_fields<CmykValue>(object, ZELMOR_PICTURES_CMYK, out);
}

}  // namespace

int width_of(Wire wire) {
    switch (wire) {
        case Wire::kBool:
        case Wire::kInt8:
        case Wire::kUInt8:
            return 1;
        case Wire::kInt16:
        case Wire::kUInt16:
        case Wire::kChar:
            return 2;
        case Wire::kInt64:
        case Wire::kUInt64:
        case Wire::kDouble:
            return 8;
        default:
            return 4;  // enumerations, too
    }
}

Value value_of(const zelmor_pictures_value& given, const ElementType& element) {
    const auto size = static_cast<size_t>(given.length);
    switch (given.kind) {
        case ZELMOR_PICTURES_NULL:
            return Ref<ManagedObject>();
        case ZELMOR_PICTURES_BOOL:
            return given.word != 0;
        case ZELMOR_PICTURES_INTEGER:
        case ZELMOR_PICTURES_ENUM:
            return given.word;
        case ZELMOR_PICTURES_UNSIGNED:
            return static_cast<uint64_t>(given.word);
        case ZELMOR_PICTURES_REAL:
            return std::bit_cast<double>(given.word);
        case ZELMOR_PICTURES_TEXT:
            return std::u16string(static_cast<const char16_t*>(given.data), size);
        case ZELMOR_PICTURES_BYTES: {
            const auto* bytes = static_cast<const std::byte*>(given.data);
            return Bytes(bytes, bytes + size);
        }
        case ZELMOR_PICTURES_OBJECT:
            return Ref<ManagedObject>(object_of(reinterpret_cast<Handle>(given.word)));
        case ZELMOR_PICTURES_STREAM:
            return make_host_stream(given.word);
        case ZELMOR_PICTURES_DECIMAL:
            return from_memory<DecimalValue>(given.data);
        case ZELMOR_PICTURES_DATE_TIME:
            return DateTimeValue{static_cast<uint64_t>(given.word), given.length};
        case ZELMOR_PICTURES_DATE_OFFSET:
            return DateTimeOffsetValue{given.word, given.length};
        case ZELMOR_PICTURES_TIME_SPAN:
            return TimeSpanValue{given.word};
        case ZELMOR_PICTURES_GUID:
            return from_memory<GuidValue>(given.data);
        case ZELMOR_PICTURES_STRUCT:
            return struct_of(given);
        case ZELMOR_PICTURES_NUMBERS:
        case ZELMOR_PICTURES_ITEMS:
            return list_of(given, element);
        default:
            throw_argument("The value is of an unknown kind.");
    }
}

void give_object(Ref<ManagedObject> object, zelmor_pictures_value& out) {
    out = {};
    if (!object) {
        return;
    }
    if (give_struct(*object, out)) {
        return;
    }
    if (const int64_t number = host_stream_number(*object); number >= 0) {
        out.kind = ZELMOR_PICTURES_STREAM;
        out.word = number;
        return;
    }
    if (const auto* value = dynamic_cast<const EnumObject*>(object.get()); value != nullptr) {
        out.kind = ZELMOR_PICTURES_ENUM;
        out.word = value->value();
        out.data = object->type().full_name;
        return;
    }
    if (auto shown = object->shown_as()) {
        return give_object(std::move(shown), out);
    }
    // A list that is a class of the catalogue is an object like any other.
    const auto* list = dynamic_cast<const ManagedList*>(object.get());
    const bool is_copied = list != nullptr && list->shape() != ListShape::kOther;
    const bool is_stream = dynamic_cast<const ManagedStream*>(object.get()) != nullptr;
    out.kind = ZELMOR_PICTURES_OBJECT;
    out.detail = is_copied ? 1 : is_stream ? 2 : 0;
    out.data = object->type().full_name;
    out.length = static_cast<int64_t>(reinterpret_cast<intptr_t>(object.get()));
    out.word = static_cast<int64_t>(reinterpret_cast<intptr_t>(make_handle(std::move(object))));
}

void give_value(const Value& value, zelmor_pictures_value& out) {
    struct Giver {
        zelmor_pictures_value& out;
        void word(int32_t kind, int64_t bits) const {
            out.kind = kind;
            out.word = bits;
        }
        void operator()(std::monostate) const {}
        void operator()(bool x) const { word(ZELMOR_PICTURES_BOOL, x ? 1 : 0); }
        void operator()(int64_t x) const { word(ZELMOR_PICTURES_INTEGER, x); }
        void operator()(uint64_t x) const { word(ZELMOR_PICTURES_UNSIGNED, static_cast<int64_t>(x)); }
        void operator()(double x) const { word(ZELMOR_PICTURES_REAL, std::bit_cast<int64_t>(x)); }
        void operator()(const std::u16string& x) const {
            kept().value = x;
            const auto& text = std::get<std::u16string>(kept().value);
            out.kind = ZELMOR_PICTURES_TEXT;
            out.data = text.data();
            out.length = static_cast<int64_t>(text.size());
        }
        void operator()(const Bytes& x) const {
            void* memory = nullptr;
            const int64_t number = host_functions().new_bytes(static_cast<int32_t>(x.size()), &memory);
            if (number < 0) {
                throw std::bad_alloc();
            }
            if (!x.empty()) {
                std::memcpy(memory, x.data(), x.size());
            }
            word(ZELMOR_PICTURES_BYTES, number);
        }
        void operator()(const Ref<ManagedObject>& x) const { give_object(x, out); }
        void operator()(const PyHeld& x) const { give_made(x.new_reference(), out); }
        void operator()(const DecimalValue& x) const {
            out.kind = ZELMOR_PICTURES_DECIMAL;
            give_words(x, out);
        }
        void operator()(const DateTimeValue& x) const {
            word(ZELMOR_PICTURES_DATE_TIME, static_cast<int64_t>(x.word));
            out.length = x.offset;
        }
        void operator()(const DateTimeOffsetValue& x) const {
            word(ZELMOR_PICTURES_DATE_OFFSET, x.ticks);
            out.length = x.offset;
        }
        void operator()(const TimeSpanValue& x) const { word(ZELMOR_PICTURES_TIME_SPAN, x.ticks); }
        void operator()(const GuidValue& x) const {
            out.kind = ZELMOR_PICTURES_GUID;
            give_words(x, out);
        }
    };
    out = {};
    std::visit(Giver{out}, static_cast<const ValueVariant&>(value));
}

void give_made(PyObject* made, zelmor_pictures_value& out) {
    out = {};
    if (made == nullptr) {
        return;
    }
    struct Drop {
        PyObject* object;
        ~Drop() { drop_value_object(object); }
    } const drop{made};
    if (made->bytes < 0) {
        return give_value(made->value, out);
    }
    out.kind = ZELMOR_PICTURES_BYTES;
    if (made->count == 1) {
        out.word = std::exchange(made->bytes, -1);  // the caller takes the memory over
        return;
    }
    // Something else holds the bytes, too: the caller gets a copy.
    void* memory = nullptr;
    out.word = host_functions().new_bytes(made->length, &memory);
    if (out.word < 0) {
        throw std::bad_alloc();
    }
    std::memcpy(memory, made->data, static_cast<size_t>(made->length));
}

}  // namespace zelmor::embed
